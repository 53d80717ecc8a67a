#include "mpegdecode/syncdelay.h"

#include <cmath>
#include <limits>

namespace {

constexpr double kTicksPerSecond = 2.7e7;
constexpr int64_t kDefaultTolerance = 1080000;

// Toward zero; conversion of what does not fit is undefined, so it saturates. Not for NaN.
int64_t truncate(double value) {
  constexpr double kLimit = 9223372036854775808.0;
  if (value >= kLimit) return std::numeric_limits<int64_t>::max();
  if (value < -kLimit) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(value);
}

int64_t add(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

double difference(int64_t a, int64_t b) {
  int64_t exact = 0;
  if (!__builtin_sub_overflow(a, b, &exact)) return static_cast<double>(exact);
  return static_cast<double>(a) - static_cast<double>(b);
}

}  // namespace

std::optional<SyncDelay> syncDelay(int64_t firstVideo, int64_t firstAudio, double frameRate, int sampleRate) {
  bool const unknownRate = frameRate == 0.0 || std::isnan(frameRate);
  int64_t const tolerance = unknownRate ? kDefaultTolerance : truncate(kTicksPerSecond / frameRate);
  if (firstAudio <= add(firstVideo, tolerance)) return std::nullopt;
  double const delay = difference(firstAudio, firstVideo) / kTicksPerSecond;
  return SyncDelay{truncate(sampleRate * delay + 0.5), truncate(delay * 1000.0 + 0.5)};
}
