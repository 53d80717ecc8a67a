// Values of the host as JSON and as text for people.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/any.h"

namespace kyhost {

// Keeps the order of a dictionary's keys.
using Json = nlohmann::ordered_json;

// Frame rates become {"rate", "order", "dropFrame", "pulldown"}, pairs and vectors arrays, bytes lower-case
// hex, wide text UTF-8. Invalid values, addresses and numbers that are not finite become null.
Json toJson(Any const& value);
Json toJson(AnyDict const& value);

// JSON text of a whole document; bytes that are no UTF-8 are replaced.
std::string dumpJson(Json const& document);

// One value on one line.
std::string toLine(Any const& value);

}  // namespace kyhost
