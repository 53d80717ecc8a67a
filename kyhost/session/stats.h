// "--stats": what the work cost, for standard error.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

#include "host/failure.h"
#include "kyhost/session/session.h"

namespace kyhost {

inline double perSecond(int64_t count, double seconds) {
  return seconds > 0.0 ? static_cast<double>(count) / seconds : 0.0;
}

inline void printStats(Session const& session, Settings const& settings, std::string_view unit, int64_t count,
                       double seconds) {
  if (!settings.stats) return;
  fmt::print(stderr, "opened in {:.3f} s\n", session.openSeconds());
  if (count > 0) {
    fmt::print(stderr, "{} {} in {:.3f} s, {:.1f} {}/s\n", count, unit, seconds, perSecond(count, seconds),
               unit);
  }
  Any memory;
  if (session.pipe().getParam("memoryEstimateKB", memory) == 0 && memory.asInt32() > 0)
    fmt::print(stderr, "decoder memory {} KB\n", memory.asInt32());
  if (long const failures = kyFailureCount(); failures > 0)
    fmt::print(stderr, "failed checks {}\n", failures);
}

}  // namespace kyhost
