#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

// Output of the probe, started with nothing but `settings` in its environment.
std::string probe(std::string const& settings, std::string const& options = "") {
  std::string const command = "env -i " + settings + " '" KY_ENV_PROBE "' " + options + " 2>&1";
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (!pipe) return {};
  std::string text;
  char buffer[512];
  while (std::fgets(buffer, sizeof buffer, pipe)) text += buffer;
  EXPECT_EQ(::pclose(pipe), 0);
  return text;
}

bool contains(std::string const& text, std::string const& part) {
  return text.find(part) != std::string::npos;
}

struct MaskCase {
  char const* setting;
  int mask;
};

class LogMaskFromEnvironment : public testing::TestWithParam<MaskCase> {};

TEST_P(LogMaskFromEnvironment, IsAsDocumented) {
  std::string const text = probe(GetParam().setting);
  EXPECT_TRUE(contains(text, "mask=" + std::to_string(GetParam().mask) + " ")) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Settings, LogMaskFromEnvironment,
    testing::Values(MaskCase{"", 2}, MaskCase{"KY_DEBUG=", 2}, MaskCase{"KY_DEBUG=0", 0},
                    MaskCase{"KY_DEBUG=40", 40}, MaskCase{"KY_DEBUG=0x6e", 0x6e},
                    MaskCase{"KY_DEBUG=warn", 4},
                    MaskCase{"KY_DEBUG=error,warn,info,trace,progress", 2 | 4 | 8 | 32 | 64},
                    MaskCase{"KY_DEBUG='error , trace'", 2 | 32}, MaskCase{"KY_DEBUG=error,nonsense", 2},
                    MaskCase{"KY_DEBUG=12x", 0}, MaskCase{"KY_DEBUG=,,info,", 8}));

TEST(Environment, TempDirPrefersOurVariableThenTheSystemsThenTmp) {
  EXPECT_TRUE(contains(probe("KY_TEMP_DIR=/a TMPDIR=/b"), "temp=/a"));
  EXPECT_TRUE(contains(probe("TMPDIR=/b"), "temp=/b"));
  EXPECT_TRUE(contains(probe("KY_TEMP_DIR= TMPDIR=/b"), "temp=/b"));
  EXPECT_TRUE(contains(probe(""), "temp=/tmp"));
}

TEST(Environment, DebugOptionsAreIntegersOrTextAndANameAloneIsOne) {
  std::string const text =
      probe("KY_DEBUG_OPTIONS='log_progress=1,log_setparam, level = 7 ,name=abc,half=1.5,none=,=3'",
            "log_progress log_setparam level name half none absent");
  EXPECT_TRUE(contains(
      text, " log_progress=0:1 log_setparam=0:1 level=0:7 name=2:abc half=2:1.5 none=2: absent=255:"))
      << text;
}

TEST(Environment, StaticDestructorsOfTheProgramMayStillLog) {
  EXPECT_TRUE(contains(probe("KY_TEMP_DIR=/late"), "error: last words in /late\n"));
}

}  // namespace
