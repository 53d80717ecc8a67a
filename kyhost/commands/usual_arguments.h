// Arguments that several commands take.
#pragma once

#include <string>

#include "kyhost/commands/arguments.h"

namespace kyhost {

void addPath(Arguments& arguments, std::string& path);
// `what` is counted: "Video stream".
void addStream(Arguments& arguments, int& stream, std::string what);
void addRange(Arguments& arguments, std::string& from, std::string& to);
// `what` names the endings that are understood.
Argument& addOutput(Arguments& arguments, std::string& output, std::string what);
void addOverlay(Arguments& arguments, int& overlay);
void addJson(Arguments& arguments, bool& json);

}  // namespace kyhost
