// Settings that the real plug-in refuses.
#include <gtest/gtest.h>

#include "tests/kyhost/program.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using test::quoted;

bool says(Outcome const& run, std::string const& text) { return run.errors.find(text) != std::string::npos; }

std::string clip() {
  return quoted(test::made("settings.mov", "-f lavfi -i testsrc2=s=64x64:r=25:d=0.2 -c:v mpeg4 "));
}

TEST(Set, OfAKeyThatNobodyKnows_GivesTheReason) {
  Outcome const run = kyhost("info --set nonsense=1 " + clip());
  EXPECT_NE(run.code, 0);
  EXPECT_TRUE(says(run, "--set nonsense: is refused by the decoder: Invalid parameter 'nonsense'"))
      << run.errors;
}

TEST(Set, OfAFormatThatNoPictureHas_GivesTheReason) {
  Outcome const run = kyhost("info --set FOURCC=NV12 " + clip());
  EXPECT_NE(run.code, 0);
  EXPECT_TRUE(says(run, "Video stream #0 cannot be decoded as 'NV12', which is no output format"))
      << run.errors;
}

}  // namespace
