// One command of the program: its options come in, what it reads goes out through the writers.
#pragma once

#include <functional>
#include <memory>

#include "kyhost/commands/arguments.h"
#include "kyhost/session/settings.h"

namespace kyhost {

struct Command {
  char const* name;
  char const* what;     // one line of help
  char const* details;  // sentences of the manual page
  std::function<void(Arguments&)> describe;
  // Opens its file, does its work and returns; throws Failure or Interrupted.
  std::function<void(Settings const&)> run;
};

inline Arguments argumentsOf(Command const& command) {
  Arguments arguments;
  command.describe(arguments);
  return arguments;
}

// A command whose options live as long as it does.
template <class Options>
Command makeCommand(char const* name, char const* what, char const* details,
                    void (*describe)(Arguments&, Options&), void (*run)(Settings const&, Options const&)) {
  auto const options = std::make_shared<Options>();
  return {name, what, details, [=](Arguments& arguments) { describe(arguments, *options); },
          [=](Settings const& settings) { run(settings, *options); }};
}

}  // namespace kyhost
