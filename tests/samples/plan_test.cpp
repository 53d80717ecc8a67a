#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "samples/card_plan.h"
#include "samples/card_xml.h"

namespace {

using samples::Take;

TEST(Plan, SpansTheFirstTakeOverThreeUnevenClips) {
  auto const takes = samples::planCard({});
  ASSERT_EQ(takes.size(), 4u);
  ASSERT_EQ(takes[0].clips.size(), 3u);
  EXPECT_EQ(takes[0].clips[1].firstFrame, 37);
  EXPECT_EQ(takes[0].clips[2].firstFrame, 62);
  EXPECT_EQ(takes[0].frames(), 103);
}

TEST(Plan, NoClipEndsWithItsGop) {
  for (Take const& take : samples::planCard({}))
    for (auto const& clip : take.clips) EXPECT_NE(clip.frames % take.format.gopLength, 0) << clip.name;
}

TEST(Plan, SecondsSetTheLengthOfEveryTake) {
  samples::CardOptions options;
  options.seconds = 10;
  auto const takes = samples::planCard(options);
  EXPECT_EQ(takes[0].frames(), 250);
  EXPECT_EQ(takes[0].clips.size(), 3u);
  EXPECT_EQ(takes[1].frames(), 250);
  EXPECT_EQ(takes[2].frames(), 300);
  EXPECT_EQ(takes[3].frames(), 500);
}

TEST(Plan, LengthsBeyondTheSignalsAreRefused) {
  samples::CardOptions options;
  for (double const seconds : {-1.0, 6.0 * 3600 + 1, 1e300, 0.01}) {
    options.seconds = seconds;
    EXPECT_THROW(samples::planCard(options), std::invalid_argument) << seconds;
  }
}

TEST(Plan, UmidsDifferBeforeTheirLastDigit) {
  std::set<std::string> seen;
  for (Take const& take : samples::planCard({})) {
    EXPECT_EQ(take.umid.size(), 64u);
    if (take.spanned()) {
      EXPECT_TRUE(seen.insert(take.umid.substr(0, 63)).second);
    }
    for (auto const& clip : take.clips) {
      EXPECT_EQ(clip.umid.size(), 64u);
      EXPECT_TRUE(seen.insert(clip.umid.substr(0, 63)).second) << clip.name;
    }
  }
}

TEST(SamplesBefore, FollowTheCadenceOf2997) {
  auto const format = samples::planCard({})[2].format;
  int const expected[] = {1602, 1601, 1602, 1601, 1602};
  for (int frame = 0; frame < 20; ++frame)
    EXPECT_EQ(samples::samplesBefore(format, frame + 1) - samples::samplesBefore(format, frame),
              expected[frame % 5]);
}

TEST(SamplesBefore, AreWholeAt25And50) {
  auto const takes = samples::planCard({});
  EXPECT_EQ(samples::samplesBefore(takes[0].format, 37), 37 * 1920);
  EXPECT_EQ(samples::samplesBefore(takes[3].format, 37), 37 * 960);
}

std::string timecode(Take const& take, int frame) {
  auto const code = samples::timecodeAt(take, frame);
  return std::to_string(code.hours) + ":" + std::to_string(code.minutes) + ":" +
         std::to_string(code.seconds) + ":" + std::to_string(code.frames);
}

TEST(TimecodeAt, DropsTwoNumbersAtTheMinute) {
  Take const take = samples::planCard({})[2];
  EXPECT_EQ(timecode(take, 0), "0:0:59:20");
  EXPECT_EQ(timecode(take, 9), "0:0:59:29");
  EXPECT_EQ(timecode(take, 10), "0:1:0:2");
  EXPECT_EQ(timecode(take, 1807), "0:1:59:29");
  EXPECT_EQ(timecode(take, 1808), "0:2:0:2");
}

TEST(TimecodeAt, DropsNothingAtTheTenthMinute) {
  Take const take = samples::planCard({})[2];
  EXPECT_EQ(timecode(take, 17982 - 1790 - 1), "0:9:59:29");
  EXPECT_EQ(timecode(take, 17982 - 1790), "0:10:0:0");
  EXPECT_EQ(timecode(take, 6 * 17982 - 1790), "1:0:0:0");
}

TEST(TimecodeAt, CountsFramesAt25AndPairsAt50) {
  auto const takes = samples::planCard({});
  EXPECT_EQ(timecode(takes[0], 62), "1:0:2:12");
  EXPECT_EQ(timecode(takes[3], 49), "3:0:0:24");
  EXPECT_EQ(timecode(takes[3], 50), "3:0:1:0");
}

TEST(Sidecar, HoldsTheTimeCodeInBcdWithTheDropFrameBit) {
  auto const takes = samples::planCard({});
  std::string const text = samples::sidecarXml(takes[2], 0, 32);
  EXPECT_NE(text.find("value=\"60590000\" status=\"increment\""), std::string::npos) << text;
  EXPECT_NE(text.find("frameCount=\"31\" value=\"63000100\" status=\"end\""), std::string::npos) << text;
}

}  // namespace
