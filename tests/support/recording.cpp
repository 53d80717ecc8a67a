#include "tests/support/recording.h"

#include <algorithm>

namespace test {

Failures::Failures(Reaction reaction) : reaction_(reaction) { kySetFailureHandler(&record, this); }
Failures::~Failures() { kySetFailureHandler(nullptr, nullptr); }

void Failures::record(void* self, KyFailureKind kind, char const* where, char const* text) {
  auto* const failures = static_cast<Failures*>(self);
  failures->seen.push_back({kind, where, text ? text : ""});
  if (failures->reaction_ == kThrow) throw Thrown{};
}

bool Failures::has(std::string const& where, std::string const& text) const {
  return std::any_of(seen.begin(), seen.end(),
                     [&](Failure const& failure) { return failure.where == where && failure.text == text; });
}

LogLines::LogLines() : mask_(ky_dbg()->mask()) {
  ky_dbg()->setMask(kLogError | kLogWarning | kLogInfo | kLogTrace | kLogProgress);
  ky_dbg()->setSink(
      [this](int level, std::string_view text) { lines.push_back({level, std::string(text)}); });
}

LogLines::~LogLines() {
  ky_dbg()->setSink({});
  ky_dbg()->setMask(mask_);
}

bool LogLines::has(std::string const& text) const {
  return std::any_of(lines.begin(), lines.end(), [&](Line const& line) { return line.text == text; });
}

bool LogLines::hasAt(int level, std::string const& text) const {
  return std::any_of(lines.begin(), lines.end(),
                     [&](Line const& line) { return line.level == level && line.text == text; });
}

bool LogLines::contains(std::string const& part) const {
  return std::any_of(lines.begin(), lines.end(),
                     [&](Line const& line) { return line.text.find(part) != std::string::npos; });
}

}  // namespace test
