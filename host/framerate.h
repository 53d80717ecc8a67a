// Frame rates, ratios and time values. All are plain values; threads may share constant ones.
#pragma once

#include <cstdint>

#include "host/api.h"

// A frame rate with what a player must know about its fields.
class KY_API KyFramerate {
 public:
  KyFramerate() = default;
  // `rate` in frames per second. `order`: 0 progressive, 1 top field first, 2 bottom field first.
  // `dropFrame`: SMPTE 12M drop-frame counting. `pulldown`: 0 none, 2 repeated fields (3:2),
  // 4 every frame shown twice.
  KyFramerate(double rate, int order, bool dropFrame, int pulldown)
      : rate_(rate), order_(order), dropFrame_(dropFrame), pulldown_(pulldown) {}

  double rate() const { return rate_; }
  int order() const { return order_; }
  bool dropFrame() const { return dropFrame_; }
  int pulldown() const { return pulldown_; }

  bool isPAL() const;  // 25 or 50 frames per second
  bool is50p() const;  // 50, progressive
  bool is59p() const;  // 60000/1001, progressive

  bool operator==(KyFramerate const&) const = default;

 private:
  double rate_ = 0.0;
  int order_ = 0;
  bool dropFrame_ = false;
  int pulldown_ = 0;
};

// A fraction of two integers; a denominator of 0 is kept and reads as 0.0.
class KY_API KyRatio {
 public:
  KyRatio(long num, long den) : num_(num), den_(den) {}

  long num() const { return num_; }
  long den() const { return den_; }
  KyRatio& reduce();  // to lowest terms, denominator positive
  double ratio() const;
  explicit operator double() const { return ratio(); }

 private:
  long num_;
  long den_;
};
