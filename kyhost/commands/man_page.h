// The manual page, from the description that --help shows.
#pragma once

#include <string>

#include "kyhost/commands/program.h"

namespace kyhost {

// troff with the macros of man(7).
std::string manPage(Program const& program);

}  // namespace kyhost
