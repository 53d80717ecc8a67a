// The libav* libraries that writing rests on, as this process found them.
#pragma once

#include <string>
#include <vector>

namespace kyhost {

// "libavformat 59.27.100" of each library that is used.
std::vector<std::string> libavVersions();

// What goes wrong in writing is reported by the calls' results alone.
void silenceLibav();

}  // namespace kyhost
