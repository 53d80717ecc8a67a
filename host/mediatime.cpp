#include "host/mediatime.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

__extension__ using Wide = __int128;

long usable(long scale) { return scale > 0 ? scale : MediaTime::kScale; }

// Extended precision keeps every 64-bit count exact.
int64_t rounded(long double units) {
  if (std::isnan(units)) return 0;
  if (units >= 0x1p63L) return std::numeric_limits<int64_t>::max();
  if (units <= -0x1p63L) return std::numeric_limits<int64_t>::min();
  return std::llroundl(units);
}

}  // namespace

MediaTime::MediaTime(double seconds, long scale)
    : units_(rounded(static_cast<long double>(seconds) * static_cast<long double>(usable(scale)))),
      scale_(usable(scale)) {}

MediaTime::MediaTime(long frames, KyFramerate const& rate, long scale) : scale_(usable(scale)) {
  if (rate.rate() > 0.0) {
    units_ = rounded(static_cast<long double>(frames) * static_cast<long double>(scale_) /
                     static_cast<long double>(rate.rate()));
  }
}

double MediaTime::seconds() const { return static_cast<double>(units_) / static_cast<double>(scale_); }

int MediaTime::compare(MediaTime const& other) const {
  Wide const left = static_cast<Wide>(units_) * other.scale_;
  Wide const right = static_cast<Wide>(other.units_) * scale_;
  return left < right ? -1 : static_cast<int>(left > right);
}

MediaTime KyStreamTimestamps::at(int i) const {
  return i >= 0 && i < size() ? samples_[static_cast<size_t>(i)] : MediaTime();
}
