#pragma once

#include <cstdint>
#include <vector>

#include "host/api.h"
#include "host/framerate.h"

// A point in time: a count of units, `scale` of them in a second. 35280000 divides by every common frame
// rate's denominator and sample rate.
class KY_API MediaTime {
 public:
  static constexpr long kScale = 35280000;

  MediaTime() = default;
  explicit MediaTime(double seconds, long scale = kScale);
  // Start of frame `frames` (0-based) at the rate; a rate of 0 gives time 0.
  MediaTime(long frames, KyFramerate const& rate, long scale = kScale);

  int64_t units() const { return units_; }
  long scale() const { return scale_; }
  double seconds() const;
  bool operator==(MediaTime const& other) const { return compare(other) == 0; }
  bool operator<(MediaTime const& other) const { return compare(other) < 0; }

 private:
  int compare(MediaTime const& other) const;

  int64_t units_ = 0;
  long scale_ = kScale;
};

// Time stamps of the frames of a stream, in display order.
class KY_API KyStreamTimestamps {
 public:
  void addSample(MediaTime const& time) { samples_.push_back(time); }
  int size() const { return static_cast<int>(samples_.size()); }
  // Time of frame `i`; time 0 outside 0 .. size() - 1.
  MediaTime at(int i) const;

 private:
  std::vector<MediaTime> samples_;
};
