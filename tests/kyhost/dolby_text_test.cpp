#include "kyhost/text/dolby_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace kyhost;

TEST(CodingModeText, NamesTheChannels) {
  EXPECT_EQ(codingModeText(0, false), "1+1 Ch1 Ch2");
  EXPECT_EQ(codingModeText(1, false), "1/0 C");
  EXPECT_EQ(codingModeText(2, true), "2/0 L R + LFE");
  EXPECT_EQ(codingModeText(5, false), "3/1 L C R S");
  EXPECT_EQ(codingModeText(7, true), "3/2 L C R Ls Rs + LFE");
  EXPECT_EQ(codingModeText(8, false), "unknown (8)");
}

TEST(BitStreamModeText, OfTheLastNumber_DependsOnTheChannels) {
  EXPECT_STREQ(bitStreamModeText(0, 2), "complete main");
  EXPECT_STREQ(bitStreamModeText(5, 1), "commentary");
  EXPECT_STREQ(bitStreamModeText(7, 1), "voice over");
  EXPECT_STREQ(bitStreamModeText(7, 2), "karaoke");
  EXPECT_STREQ(bitStreamModeText(-1, 2), "unknown");
}

// The two ends, no change, and the step of the exponent.
TEST(CompressionDb, FollowsTheStandard) {
  EXPECT_NEAR(compressionDb(0x00), 0.0, 0.001);
  EXPECT_NEAR(compressionDb(0x7F), 47.88, 0.02);
  EXPECT_NEAR(compressionDb(0x80), -48.16, 0.02);
  EXPECT_NEAR(compressionDb(0xFF), -0.28, 0.005);
  EXPECT_NEAR(compressionDb(0x10) - compressionDb(0x00), 6.02, 0.005);
}

}  // namespace
