// Values of the host come in, JSON and text for people go out.
#pragma once

#include <string>

#include "host/any.h"

namespace kyhost {

// Frame rates become {"rate", "order", "dropFrame", "pulldown"}, pairs and vectors arrays, bytes lower-case
// hex, wide text UTF-8. Invalid values, addresses and numbers that are not finite become null; keys keep
// their order. Bytes of a text that are no UTF-8 are replaced. Indented by two blanks a level.
std::string jsonText(Any const& value);

// One value on one line.
std::string toLine(Any const& value);

}  // namespace kyhost
