#include "kyhost/session/stdout_guard.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace kyhost {
namespace {

void flushStandardOutput() {
  std::cout.flush();
  std::fflush(stdout);
}

}  // namespace

StdoutGuard::StdoutGuard(To target) {
  flushStandardOutput();
  saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (saved_ < 0) return;
  if (target == To::StandardError) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return;
  }
  int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0) {
    dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
  }
}

StdoutGuard::~StdoutGuard() {
  flushStandardOutput();
  if (saved_ < 0) return;
  dup2(saved_, STDOUT_FILENO);
  ::close(saved_);
}

}  // namespace kyhost
