// How the program fails: one exception type that carries the exit code.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace kyhost {

// Exit codes of the program. 128 + n stands for an interruption by signal n.
enum class ExitCode : int {
  Ok = 0,
  Usage = 1,   // wrong arguments, or a stream or position that the file does not have
  Plugin = 2,  // the plug-in cannot be loaded
  Open = 3,    // the plug-in cannot open the file
  Read = 4,    // opened, but not everything could be read
  Write = 5    // the output cannot be written
};

class Failure : public std::runtime_error {
 public:
  // `message` says what failed and names file and stream; `advice` what the user can do, or is empty.
  Failure(ExitCode code, std::string const& message, std::string advice = {})
      : std::runtime_error(message), code_(code), advice_(std::move(advice)) {}

  ExitCode code() const { return code_; }
  std::string const& advice() const { return advice_; }

 private:
  ExitCode code_;
  std::string advice_;
};

// Thrown by checkInterrupt() so that destructors clean up.
struct Interrupted {
  int signal;
};

}  // namespace kyhost
