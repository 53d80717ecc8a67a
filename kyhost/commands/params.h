// "--set key=value" and the texts of other options as values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/any.h"

namespace kyhost {

// Whole numbers become int32 (int64 where they do not fit), "true" and "false" a boolean, numbers with a
// point or an exponent a double, everything else text.
Any valueFromText(std::string_view text);

struct Parameters {
  AnyDict pipe;    // parameters of the decoder, dots in a key lead into nested dictionaries
  AnyDict module;  // attributes of the module: keys that began with "module."
};

// From "key=value" texts in order; a later one replaces an earlier one. Throws Failure (usage).
Parameters parseParameters(std::vector<std::string> const& assignments);

// Mask of debug levels from a number or from names out of error, warn, info, trace, progress and all,
// separated by commas. Throws Failure (usage).
int parseDebugMask(std::string_view text);

// A place in a stream: a frame or sample number, or a time.
struct Position {
  int64_t number = 0;
  double seconds = -1.0;  // not negative: takes the place of the number

  // The frame or sample that is on at the time, with `rate` of them a second.
  int64_t resolve(double rate) const;
};

// "123" a number, "12.5s" seconds, "1:02:03.5" or "02:03" a time. Throws Failure (usage).
Position parsePosition(std::string_view text, std::string_view option);

// Frames or samples [from, to). `to` past the end is the end. Throws Failure (usage) when the range is empty
// or begins behind the end. Empty texts stand for the first and the last.
struct Range {
  int64_t from = 0;
  int64_t to = 0;
  int64_t size() const { return to - from; }
};
Range parseRange(std::string const& from, std::string const& to, int64_t count, double rate,
                 std::string_view unit);

}  // namespace kyhost
