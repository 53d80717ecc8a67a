#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/log.h"

// Collects the debug log's lines and restores mask and sink at its end.
class LogCapture {
 public:
  explicit LogCapture(int mask) : before_(ky_dbg()->mask()) {
    ky_dbg()->setMask(mask);
    ky_dbg()->setSink([this](int level, std::string_view text) { lines.emplace_back(level, text); });
  }
  ~LogCapture() {
    ky_dbg()->setSink({});
    ky_dbg()->setMask(before_);
  }
  LogCapture(LogCapture const&) = delete;
  LogCapture& operator=(LogCapture const&) = delete;

  std::vector<std::pair<int, std::string>> lines;

 private:
  int before_;
};
