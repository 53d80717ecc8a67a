#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "mpegdecode/sampleconvert.h"
#include "mpegdecode/syncdelay.h"

namespace {

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

int32_t converted(float x) {
  int32_t out = 0;
  floatToInt24(&x, &out, 1);
  return out;
}

int32_t converted(int32_t v) {
  int32_t out = 0;
  int32ToInt24(&v, &out, 1);
  return out;
}

TEST(FloatSamples, AreScaledWithoutClipping) {
  EXPECT_EQ(converted(0.0F), 0);
  EXPECT_EQ(converted(0.5F), 4194304);
  EXPECT_EQ(converted(-1.0F), -8388608);
  EXPECT_EQ(converted(1.0F), 8388608);
  EXPECT_EQ(converted(-2.0F), -16777216);
}

TEST(FloatSamples, AreTruncatedTowardZero) {
  constexpr float kStep = 1.0F / 8388608.0F;
  EXPECT_EQ(converted(1.9F * kStep), 1);
  EXPECT_EQ(converted(-1.9F * kStep), -1);
  EXPECT_EQ(converted(0.9F * kStep), 0);
  EXPECT_EQ(converted(-0.9F * kStep), 0);
}

TEST(FloatSamples, ThatDoNotFitGoToTheEndsOfTheWord) {
  EXPECT_GE(converted(256.0F), 2147483520);
  EXPECT_GE(converted(1e30F), 2147483520);
  EXPECT_GE(converted(std::numeric_limits<float>::infinity()), 2147483520);
  EXPECT_EQ(converted(-256.0F), kMin);
  EXPECT_EQ(converted(-1e30F), kMin);
  EXPECT_EQ(converted(-std::numeric_limits<float>::infinity()), kMin);
  EXPECT_EQ(converted(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(IntegerSamples, AreRoundedToNearestTiesUp) {
  EXPECT_EQ(converted(384), 2);
  EXPECT_EQ(converted(-384), -1);
  EXPECT_EQ(converted(128), 1);
  EXPECT_EQ(converted(127), 0);
  EXPECT_EQ(converted(-128), 0);
  EXPECT_EQ(converted(-129), -1);
  EXPECT_EQ(converted(256), 1);
}

TEST(IntegerSamples, AtTheEndsDoNotOverflow) {
  EXPECT_EQ(converted(kMax), 8388608);
  EXPECT_EQ(converted(kMax - 127), 8388608);
  EXPECT_EQ(converted(kMax - 128), 8388607);
  EXPECT_EQ(converted(kMin), -8388608);
}

TEST(Conversions, TreatEveryLengthAsOneByOne) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int32_t> anyWord(kMin, kMax);
  for (int n = 0; n <= 70; ++n) {
    std::vector<int32_t> words(static_cast<size_t>(n));
    std::vector<float> floats(static_cast<size_t>(n));
    for (size_t i = 0; i < words.size(); ++i) {
      words[i] = anyWord(random);
      floats[i] = static_cast<float>(words[i]) / 1073741824.0F;
    }
    std::vector<int32_t> out(static_cast<size_t>(n) + 1, 12345);
    int32ToInt24(words.data(), out.data(), n);
    for (size_t i = 0; i < words.size(); ++i)
      ASSERT_EQ(out[i], static_cast<int32_t>(std::floor((static_cast<double>(words[i]) + 128.0) / 256.0)));
    ASSERT_EQ(out.back(), 12345);
    floatToInt24(floats.data(), out.data(), n);
    for (size_t i = 0; i < words.size(); ++i)
      ASSERT_EQ(out[i], static_cast<int32_t>(std::trunc(static_cast<double>(floats[i]) * 8388608.0)));
    ASSERT_EQ(out.back(), 12345);
  }
}

constexpr int64_t kMs = 27000;
constexpr int64_t kLongest = std::numeric_limits<int64_t>::max();

TEST(SyncDelay, LeavesAudioThatStartsWithinOneFrame) {
  EXPECT_FALSE(syncDelay(0, 40 * kMs, 25.0, 48000));
  EXPECT_FALSE(syncDelay(1000, 1000, 25.0, 48000));
  EXPECT_FALSE(syncDelay(1000 * kMs, 0, 25.0, 48000));
}

TEST(SyncDelay, CorrectsAudioThatStartsLaterByTheWholeDistance) {
  auto const delay = syncDelay(0, 41 * kMs, 25.0, 48000);
  ASSERT_TRUE(delay);
  EXPECT_EQ(delay->samples, 1968);
  EXPECT_EQ(delay->ms, 41);
}

TEST(SyncDelay, StartsOneTickBeyondTheTruncatedFrame) {
  constexpr int64_t kFrame = 900900;  // 2.7e7 * 1001 / 30000
  double const rate = 30000.0 / 1001.0;
  EXPECT_FALSE(syncDelay(0, kFrame, rate, 48000));
  EXPECT_TRUE(syncDelay(0, kFrame + 1, rate, 48000));
  EXPECT_FALSE(syncDelay(0, 450000, 60.0, 48000));
  EXPECT_TRUE(syncDelay(0, 450001, 60.0, 48000));
}

TEST(SyncDelay, CutsTheFrameOffToWholeTicks) {
  EXPECT_FALSE(syncDelay(0, 3857142, 7.0, 48000));  // 3857142.857 ticks
  EXPECT_TRUE(syncDelay(0, 3857143, 7.0, 48000));
  double const rate = 48000.0 / 1001.0;  // 563062.5 ticks
  EXPECT_FALSE(syncDelay(0, 563062, rate, 48000));
  EXPECT_TRUE(syncDelay(0, 563063, rate, 48000));
}

TEST(SyncDelay, TakesFortyMillisecondsForAnUnknownRate) {
  EXPECT_FALSE(syncDelay(0, 1080000, 0.0, 48000));
  EXPECT_TRUE(syncDelay(0, 1080001, 0.0, 48000));
}

TEST(SyncDelay, TakesFortyMillisecondsForARateThatIsNone) {
  double const none = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(syncDelay(0, 1080000, none, 48000));
  EXPECT_TRUE(syncDelay(0, 1080001, none, 48000));
}

TEST(SyncDelay, TakesNoTicksForARateWithoutBound) {
  double const infinite = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(syncDelay(5, 5, infinite, 48000));
  EXPECT_TRUE(syncDelay(5, 6, infinite, 48000));
}

// Nobody has such rates; the tolerance is what the arithmetic yields.
TEST(SyncDelay, TakesTheFrameOfARateBelowZeroAsItIs) {
  EXPECT_TRUE(syncDelay(1080001, 2, -25.0, 48000));
  EXPECT_FALSE(syncDelay(1080001, 1, -25.0, 48000));
  EXPECT_TRUE(syncDelay(kLongest, 0, -1e-300, 48000));
  EXPECT_TRUE(syncDelay(-2, 0, -1e-300, 48000)) << "a bound that no stamp is below";
  EXPECT_FALSE(syncDelay(-2, -kLongest - 1, -1e-300, 48000));
}

TEST(SyncDelay, RoundsSamplesAndMilliseconds) {
  auto const delay = syncDelay(-500, 2700000 - 500 + 14000, 25.0, 44100);
  ASSERT_TRUE(delay);
  EXPECT_EQ(delay->samples, 4433);  // 0.1005185 s * 44100 = 4432.87
  EXPECT_EQ(delay->ms, 101);
}

TEST(SyncDelay, RoundsFractionsBelowAHalfDown) {
  EXPECT_EQ(syncDelay(0, 2700225, 25.0, 48000)->samples, 4800);  // 4800.4
  EXPECT_EQ(syncDelay(0, 2700315, 25.0, 48000)->samples, 4801);  // 4800.56
  EXPECT_EQ(syncDelay(0, 2710800, 25.0, 48000)->ms, 100);        // 100.4
  EXPECT_EQ(syncDelay(0, 2715120, 25.0, 48000)->ms, 101);        // 100.56
}

TEST(SyncDelay, CountsEveryTick) {
  EXPECT_EQ(syncDelay(-1000, 2700281 - 1000, 25.0, 48000)->samples, 4800);  // 4800.4996
  EXPECT_EQ(syncDelay(-1000, 2700282 - 1000, 25.0, 48000)->samples, 4801);  // 4800.5013
}

TEST(SyncDelay, OfAbsurdStampsSaturates) {
  constexpr int64_t kFirst = std::numeric_limits<int64_t>::min();
  constexpr int64_t kLast = std::numeric_limits<int64_t>::max();
  EXPECT_FALSE(syncDelay(kLast, kLast, 25.0, 48000));
  EXPECT_FALSE(syncDelay(0, kLast, 1e-300, 48000));
  EXPECT_FALSE(syncDelay(kLast, kFirst, 25.0, 48000));
  EXPECT_FALSE(syncDelay(kLast, kLast - 1, 25.0, 48000));
  EXPECT_FALSE(syncDelay(kLast, kLast, 2.7e7, 48000)) << "a frame of one tick";
  EXPECT_TRUE(syncDelay(kLast - 1080001, kLast, 25.0, 48000));
  auto const delay = syncDelay(kFirst, kLast, std::numeric_limits<double>::quiet_NaN(), kMax);
  ASSERT_TRUE(delay);
  EXPECT_EQ(delay->samples, kLast);
  EXPECT_EQ(delay->ms, 683212743470724);  // 2^64 / 27000
}

TEST(SyncDelay, OfMoreSamplesThanAWordHoldsSaturates) {
  constexpr int64_t kSeconds = int64_t{1} << 37;
  auto const samplesAt = [](int rate) {
    auto const delay = syncDelay(0, 27000000 * kSeconds, 25.0, rate);
    return delay ? delay->samples : -1;
  };
  EXPECT_EQ(samplesAt(1 << 25), int64_t{1} << 62);
  EXPECT_EQ(samplesAt((1 << 26) - 1), kLongest - kSeconds + 1);
  EXPECT_EQ(samplesAt(1 << 26), kLongest);
  EXPECT_EQ(samplesAt((1 << 26) + 1), kLongest);
}

TEST(SyncDelay, BetweenStampsThatAreTooFarApartToSubtractIsExactToADouble) {
  auto const delay = syncDelay(-kLongest, 8100000000, 25.0, 0);
  ASSERT_TRUE(delay);
  EXPECT_EQ(delay->samples, 0);
  EXPECT_EQ(delay->ms, 341606372035362);  // (2^63 + 8.1e9) / 27000
}

}  // namespace
