#pragma once

#include <chrono>

// A stopwatch.
class KyTimer {
 public:
  void start() { begin_ = Clock::now(); }
  // Seconds since start().
  double stop() {
    seconds_ = std::chrono::duration<double>(Clock::now() - begin_).count();
    return seconds_;
  }
  double seconds() const { return seconds_; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point begin_ = Clock::now();
  double seconds_ = 0.0;
};
