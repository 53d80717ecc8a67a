// Names and versions of components at the ends of what a component may answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "mfimport/mfimport.h"
#include "plugin/lowlevelcomponents.h"
#include "tests/support/recording.h"

namespace {

constexpr size_t kBuffer = 128;  // bytes that a component may fill

// Answers that may lack their end.
std::string nameBytes, versionBytes;

int query(int query, void* out) {
  if (query == 3) {
    static_cast<MpegModuleVersion*>(out)->type = 1;
    return 0;
  }
  std::string const& bytes = query == 1 ? nameBytes : versionBytes;
  std::memcpy(out, bytes.data(), bytes.size());
  return 0;
}
void* entry(int code) { return code == 1 ? reinterpret_cast<void*>(&query) : nullptr; }

std::string listed(std::string const& name, std::string const& version) {
  nameBytes = name;
  versionBytes = version;
  LowLevelComponentEntry const entries[] = {entry, nullptr};
  test::LogLines log;
  EXPECT_EQ(checkLowLevelComponents(entries), 0);
  std::string const before = "Low level components: ";
  std::string const line = log.lines.empty() ? "" : log.lines.front().text;
  EXPECT_TRUE(line.starts_with(before)) << line;
  return line.substr(std::min(before.size(), line.size()));
}

TEST(ComponentTexts, ThatFillTheirBuffersLoseTheLastCharacter) {
  EXPECT_EQ(listed(std::string(kBuffer, 'n'), std::string(kBuffer, 'v')),
            std::string(kBuffer - 1, 'n') + " (" + std::string(kBuffer - 1, 'v') + ")");
}

TEST(ComponentTexts, OfOneCharacterAreTexts) { EXPECT_EQ(listed("n", "7"), "n (7)"); }

}  // namespace
