#include "host/framerate.h"

#include <climits>
#include <cmath>
#include <numeric>

namespace {

// Rates arrive from containers as decimal fractions, so 59.94 stands for 60000/1001.
bool near(double rate, double nominal) { return std::fabs(rate - nominal) < 1e-3; }

unsigned long magnitude(long value) {
  auto const bits = static_cast<unsigned long>(value);
  return value < 0 ? 0UL - bits : bits;
}

long clamped(unsigned long value) {
  return value > static_cast<unsigned long>(LONG_MAX) ? LONG_MAX : static_cast<long>(value);
}

}  // namespace

bool KyFramerate::isPAL() const { return near(rate_, 25.0) || near(rate_, 50.0); }

bool KyFramerate::is50p() const { return near(rate_, 50.0) && order_ == 0; }

bool KyFramerate::is59p() const { return near(rate_, 60000.0 / 1001.0) && order_ == 0; }

KyRatio& KyRatio::reduce() {
  if (den_ == 0) return *this;
  unsigned long const num = magnitude(num_);
  unsigned long const den = magnitude(den_);
  unsigned long const divisor = std::gcd(num, den);
  bool const negative = (num_ < 0) != (den_ < 0);
  num_ = negative ? -clamped(num / divisor) : clamped(num / divisor);
  den_ = clamped(den / divisor);
  return *this;
}

double KyRatio::ratio() const {
  return den_ == 0 ? 0.0 : static_cast<double>(num_) / static_cast<double>(den_);
}
