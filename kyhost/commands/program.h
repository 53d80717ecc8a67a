// The program: the words of its call come in, its exit code goes out.
#pragma once

#include <vector>

#include "kyhost/commands/command.h"
#include "kyhost/session/failure.h"

namespace kyhost {

struct ExitText {
  ExitCode code;
  char const* text;
};

// What help and the manual page say about the program.
struct Program {
  char const* name;
  char const* version;
  char const* what;
  std::vector<char const*> notes;  // about positions and outputs, line by line
  std::vector<ExitText> exits;
  Arguments arguments;  // of every command
  std::vector<Command> commands;
};

// Arguments that answer in place of a command.
constexpr char const* kHelpNames = "-h,--help";
constexpr char const* kHelpText = "Print this help message and exit";
constexpr char const* kVersionNames = "--version";
constexpr char const* kVersionText = "Print the versions of program, libraries and plug-in and exit";

int runProgram(int argc, char** argv);

}  // namespace kyhost
