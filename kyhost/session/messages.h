// The program's own lines on standard error.
#pragma once

#include <string_view>

#include "kyhost/session/failure.h"

namespace kyhost {

// "kyhost: TEXT".
void printMessage(std::string_view text);

// The message, then the advice on a line of its own. The exit code.
int reportFailure(Failure const& failure);

}  // namespace kyhost
