#include "kyhost/session/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace kyhost {
namespace {

std::string clockText(double seconds) {
  auto const whole = std::llround(std::min(seconds, 359999.0));
  if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

std::string rateText(double perSecond) {
  if (perSecond >= 1e6) return fmt::format("{:.1f} M", perSecond / 1e6);
  if (perSecond >= 1e4) return fmt::format("{:.0f} k", perSecond / 1e3);
  return fmt::format("{:.1f} ", perSecond);
}

}  // namespace

Progress::Progress(std::string label, std::string unit, int64_t total, bool quiet)
    : label_(std::move(label)),
      unit_(std::move(unit)),
      total_(total),
      visible_(!quiet && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
}

void Progress::advance(int64_t pieces) {
  done_ += pieces;
  if (!visible_) return;
  Clock::time_point const now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  draw(seconds());
}

double Progress::seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }

void Progress::draw(double seconds) {
  constexpr int kWidth = 24;
  double const rate = static_cast<double>(done_) / seconds;
  double const share =
      total_ > 0 ? std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_)) : 0.0;
  int const filled = static_cast<int>(share * kWidth);
  std::string const bar =
      std::string(static_cast<size_t>(filled), '#') + std::string(static_cast<size_t>(kWidth - filled), '.');
  double const left = rate > 0.0 ? static_cast<double>(std::max<int64_t>(0, total_ - done_)) / rate : 0.0;
  fmt::print(stderr, "\r\x1b[K{} [{}] {:3.0f} %  {}{}/s  {} left", label_, bar, share * 100.0, rateText(rate),
             unit_, clockText(left));
  std::fflush(stderr);
  drawn_ = true;
}

}  // namespace kyhost
