#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "host/framerate.h"
#include "host/mediatime.h"
#include "host/timer.h"

namespace {

constexpr double kNtsc = 30000.0 / 1001.0;

TEST(Framerate, PalIs25And50) {
  EXPECT_TRUE(KyFramerate(25, 1, false, 0).isPAL());
  EXPECT_TRUE(KyFramerate(50, 0, false, 0).isPAL());
  EXPECT_TRUE(KyFramerate(25.00001, 0, false, 0).isPAL());
  EXPECT_FALSE(KyFramerate(24, 0, false, 0).isPAL());
  EXPECT_FALSE(KyFramerate(kNtsc, 0, false, 0).isPAL());
  EXPECT_FALSE(KyFramerate().isPAL());
}

TEST(Framerate, ProgressiveRatesNeedNoFieldOrder) {
  EXPECT_TRUE(KyFramerate(50, 0, false, 0).is50p());
  EXPECT_FALSE(KyFramerate(50, 1, false, 0).is50p());
  EXPECT_TRUE(KyFramerate(60000.0 / 1001.0, 0, false, 0).is59p());
  EXPECT_TRUE(KyFramerate(59.94, 0, false, 0).is59p());
  EXPECT_FALSE(KyFramerate(60, 0, false, 0).is59p());
  EXPECT_FALSE(KyFramerate(59.94, 2, false, 0).is59p());
}

TEST(Ratio, ReducesToLowestTermsWithAPositiveDenominator) {
  struct {
    long num, den, toNum, toDen;
  } const cases[] = {{1440, 1080, 4, 3},
                     {-6, 4, -3, 2},
                     {6, -4, -3, 2},
                     {-6, -4, 3, 2},
                     {0, 5, 0, 1},
                     {0, -5, 0, 1},
                     {7, 1, 7, 1},
                     {5, 0, 5, 0},
                     {0, 0, 0, 0},
                     {LONG_MIN, 2, LONG_MIN / 2, 1},
                     {LONG_MIN, LONG_MIN, 1, 1},
                     {2, LONG_MIN, -1, LONG_MAX / 2 + 1}};
  for (auto const& c : cases) {
    KyRatio ratio(c.num, c.den);
    ratio.reduce();
    EXPECT_EQ(ratio.num(), c.toNum) << c.num << '/' << c.den;
    EXPECT_EQ(ratio.den(), c.toDen) << c.num << '/' << c.den;
  }
  EXPECT_EQ(KyRatio(LONG_MIN, -1).reduce().num(), LONG_MAX);
}

TEST(Ratio, ReadsAsANumberAndZeroWithoutDenominator) {
  EXPECT_EQ(KyRatio(16, 9).ratio(), 16.0 / 9.0);
  EXPECT_EQ(static_cast<double>(KyRatio(1, 4)), 0.25);
  EXPECT_EQ(KyRatio(5, 0).ratio(), 0.0);
}

TEST(MediaTime, SecondsRoundToUnits) {
  EXPECT_EQ(MediaTime(1.0).units(), MediaTime::kScale);
  EXPECT_EQ(MediaTime(0.5, 3).units(), 2);
  EXPECT_EQ(MediaTime(-1.0, 1000).units(), -1000);
  EXPECT_EQ(MediaTime(2.5, 1000).seconds(), 2.5);
  EXPECT_EQ(MediaTime().units(), 0);
}

TEST(MediaTime, UnusableInputGivesUsableTimes) {
  EXPECT_EQ(MediaTime(std::nan("")).units(), 0);
  EXPECT_EQ(MediaTime(std::numeric_limits<double>::infinity()).units(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(MediaTime(-1e300).units(), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(MediaTime(1.0, 0).scale(), MediaTime::kScale);
  EXPECT_EQ(MediaTime(1.0, -5).units(), MediaTime::kScale);
  EXPECT_EQ(MediaTime(100L, KyFramerate()).units(), 0);
}

TEST(MediaTime, FramesStartWhereTheRateSays) {
  EXPECT_EQ(MediaTime(25L, KyFramerate(25, 0, false, 0)).units(), MediaTime::kScale);
  EXPECT_EQ(MediaTime(1L, KyFramerate(kNtsc, 0, false, 0)).units(), 1177176);
  EXPECT_EQ(MediaTime(30000L, KyFramerate(kNtsc, 0, false, 0)).units(), 1001 * MediaTime::kScale);
  // A day of frames, still exact.
  EXPECT_EQ(MediaTime(2589410L, KyFramerate(kNtsc, 0, false, 0)).units(), 2589410L * 1177176);
  EXPECT_EQ(MediaTime(-2L, KyFramerate(50, 0, false, 0), 27000000).units(), -1080000);
}

TEST(MediaTime, ComparesAcrossScales) {
  EXPECT_EQ(MediaTime(1.5, 1000), MediaTime(1.5, 27000000));
  EXPECT_TRUE(MediaTime(1.0, 3) < MediaTime(1.4, 5));
  EXPECT_FALSE(MediaTime(1.4, 5) < MediaTime(1.0, 3));
  EXPECT_TRUE(MediaTime(-1e300) < MediaTime(1e300, 1));
  EXPECT_TRUE(MediaTime(1e300, 1000) < MediaTime(1e300, 999));
}

TEST(StreamTimestamps, GivesTimesInOrderAndZeroOutside) {
  KyStreamTimestamps times;
  times.addSample(MediaTime(1.0));
  times.addSample(MediaTime(2.0));
  EXPECT_EQ(times.size(), 2);
  EXPECT_EQ(times.at(1), MediaTime(2.0));
  EXPECT_EQ(times.at(2), MediaTime());
  EXPECT_EQ(times.at(-1), MediaTime());
}

TEST(Timer, StopKeepsTheSecondsSinceStart) {
  KyTimer timer;
  timer.start();
  double const seconds = timer.stop();
  EXPECT_GE(seconds, 0.0);
  EXPECT_EQ(timer.seconds(), seconds);
}

}  // namespace
