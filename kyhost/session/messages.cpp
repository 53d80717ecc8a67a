#include "kyhost/session/messages.h"

#include <fmt/format.h>

#include <cstdio>

namespace kyhost {

void printMessage(std::string_view text) { fmt::print(stderr, "kyhost: {}\n", text); }

int reportFailure(Failure const& failure) {
  printMessage(failure.what());
  if (!failure.advice().empty()) fmt::print(stderr, "  {}\n", failure.advice());
  return static_cast<int>(failure.code());
}

}  // namespace kyhost
