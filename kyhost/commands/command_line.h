// The words of a call, read by the description of the program.
#pragma once

#include <functional>
#include <string>

#include "kyhost/commands/program.h"

namespace kyhost {

struct Call {
  Command const* command = nullptr;  // of the program; null when there is nothing to run
  ExitCode code = ExitCode::Ok;      // then: the call asked for help, or was wrong
};

// Fills the targets of the arguments. Help, the version and what is wrong with the call are printed.
// `versions` is asked for the answer to --version.
Call readCommandLine(int argc, char** argv, Program const& program, std::function<std::string()> versions);

}  // namespace kyhost
