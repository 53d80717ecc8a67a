// Times for people.
#pragma once

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace kyhost {

// "1:02:03.500"; `seconds` is not negative.
inline std::string timeText(double seconds) {
  auto const milliseconds = std::llround(seconds * 1000.0);
  return fmt::format("{}:{:02}:{:02}.{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace kyhost
