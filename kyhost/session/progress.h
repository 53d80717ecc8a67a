// A progress bar for people who wait.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kyhost {

// Draws on standard error when that is a terminal, once the work has taken a second, ten times a second at
// most. One thread.
class Progress {
 public:
  // `total` pieces of work called `unit` ("frames"); `quiet` draws nothing.
  Progress(std::string label, std::string unit, int64_t total, bool quiet);
  ~Progress();
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  void advance(int64_t pieces = 1);

  int64_t done() const { return done_; }
  double seconds() const;

 private:
  void draw(double seconds);

  using Clock = std::chrono::steady_clock;
  std::string label_;
  std::string unit_;
  int64_t total_;
  int64_t done_ = 0;
  bool visible_;
  bool drawn_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point next_ = begin_ + std::chrono::seconds(1);
};

}  // namespace kyhost
