// Keeps standard output for the program's own data while code runs that prints to it.
#pragma once

namespace kyhost {

// While it lives, what any code of the process writes to file descriptor 1 goes to standard error, or
// nowhere.
class StdoutGuard {
 public:
  enum class To { StandardError, Nowhere };
  explicit StdoutGuard(To target);
  ~StdoutGuard();
  StdoutGuard(StdoutGuard const&) = delete;
  StdoutGuard& operator=(StdoutGuard const&) = delete;

 private:
  int saved_ = -1;
};

}  // namespace kyhost
