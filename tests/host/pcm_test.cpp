#include "host/pcm.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

TEST(Pcm, InitGivesZeroedAlignedMemoryAndOneSampleMore) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 2, 3, 101), 0);
  EXPECT_EQ(pcm.capacity, 101);
  EXPECT_EQ(pcm.nSamples, 0);
  EXPECT_EQ(pcm.position, 0);
  EXPECT_EQ(pcm.sampleRate(), 48000);
  EXPECT_EQ(pcm.channels(), 2);
  EXPECT_EQ(pcm.bytesPerSample(), 3);
  EXPECT_EQ(pcm.samples2bytes(5), 30);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(pcm.ptr()) % 64, 0U);
  EXPECT_EQ(pcm.ptr(7) - pcm.ptr(0), 42);
  // The sample beyond the capacity can be written.
  std::memset(pcm.ptr(101), 1, 6);
  for (int i = 0; i < 606; ++i) ASSERT_EQ(pcm.ptr()[i], 0);
}

TEST(Pcm, AddressesOutsideAreNull) {
  KyPcm pcm;
  EXPECT_EQ(pcm.ptr(0), nullptr);
  ASSERT_EQ(pcm.init(48000, 1, 2, 10), 0);
  EXPECT_NE(pcm.ptr(10), nullptr);
  EXPECT_EQ(pcm.ptr(11), nullptr);
  EXPECT_EQ(pcm.ptr(-1), nullptr);
}

TEST(Pcm, InitRefusesValuesThatAreNotPositiveOrTooLarge) {
  KyPcm pcm;
  EXPECT_EQ(pcm.init(0, 1, 2, 10), -1);
  EXPECT_EQ(pcm.init(48000, 0, 2, 10), -1);
  EXPECT_EQ(pcm.init(48000, 1, -2, 10), -1);
  EXPECT_EQ(pcm.init(48000, 1, 2, 0), -1);
  EXPECT_EQ(pcm.init(48000, 16, 4, INT_MAX), -1);
  EXPECT_EQ(pcm.init(48000, INT_MAX, INT_MAX, 1), -1);
  EXPECT_EQ(pcm.ptr(), nullptr);
  EXPECT_EQ(pcm.capacity, 0);
}

TEST(Pcm, InitForgetsWhatWasHeld) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 1, 2, 10), 0);
  pcm.addSilence(4);
  pcm.position = 9;
  pcm.metadata().append(1);
  ASSERT_EQ(pcm.init(44100, 1, 2, 10), 0);
  EXPECT_EQ(pcm.nSamples, 0);
  EXPECT_EQ(pcm.position, 0);
  EXPECT_TRUE(pcm.metadata().empty());
}

TEST(Pcm, GrowKeepsWhatIsHeldAndZeroesTheRest) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 1, 2, 4), 0);
  std::memset(pcm.ptr(), 0x11, 10);  // four samples and the one beyond
  pcm.nSamples = 3;
  ASSERT_EQ(pcm.grow(100), 0);
  EXPECT_EQ(pcm.capacity, 103);
  EXPECT_EQ(pcm.nSamples, 3);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(pcm.ptr()[i], 0x11);
  for (int i = 6; i < 208; ++i) EXPECT_EQ(pcm.ptr()[i], 0) << i;
}

TEST(Pcm, GrowDoesNothingWhereThereIsRoom) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 1, 2, 10), 0);
  unsigned char const* const before = pcm.ptr();
  EXPECT_EQ(pcm.grow(10), 0);
  EXPECT_EQ(pcm.grow(0), 0);
  EXPECT_EQ(pcm.grow(-5), 0);
  EXPECT_EQ(pcm.ptr(), before);
  EXPECT_EQ(pcm.capacity, 10);
}

TEST(Pcm, GrowFailsWithoutFormatAndBeyondTheAddressableSize) {
  KyPcm pcm;
  EXPECT_EQ(pcm.grow(5), -1);
  ASSERT_EQ(pcm.init(48000, 8, 4, 10), 0);
  pcm.nSamples = 10;
  EXPECT_EQ(pcm.grow(INT_MAX), -1);
  EXPECT_EQ(pcm.capacity, 10);
  EXPECT_NE(pcm.ptr(), nullptr);
}

TEST(Pcm, DestroyFreesTheMemoryAndKeepsTheFormat) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 2, 3, 10), 0);
  pcm.destroy();
  EXPECT_EQ(pcm.ptr(), nullptr);
  EXPECT_EQ(pcm.capacity, 0);
  EXPECT_EQ(pcm.channels(), 2);
  EXPECT_EQ(pcm.grow(3), 0);
  EXPECT_EQ(pcm.capacity, 3);
  EXPECT_EQ(pcm.ptr(2)[5], 0);
}

TEST(Pcm, SilenceIsAddedBehindWhatIsHeldAndGrowsTheBuffer) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 1, 2, 4), 0);
  std::memset(pcm.ptr(), 0x22, 8);
  pcm.nSamples = 2;
  pcm.addSilence(1);
  EXPECT_EQ(pcm.nSamples, 3);
  EXPECT_EQ(pcm.ptr(1)[0], 0x22);
  EXPECT_EQ(pcm.ptr(2)[0], 0);
  EXPECT_EQ(pcm.ptr(3)[0], 0x22);
  pcm.addSilence(10);
  EXPECT_EQ(pcm.nSamples, 13);
  EXPECT_GE(pcm.capacity, 13);
  EXPECT_EQ(pcm.ptr(3)[0], 0);
  pcm.addSilence(-3);
  EXPECT_EQ(pcm.nSamples, 13);
}

class PcmCombine : public testing::TestWithParam<int> {};

TEST_P(PcmCombine, InterleavesEveryWidth) {
  int const width = GetParam();
  int const samples = 7;
  std::vector<unsigned char> left(static_cast<size_t>(width * samples));
  std::vector<unsigned char> right(left.size());
  for (size_t i = 0; i < left.size(); ++i) {
    left[i] = static_cast<unsigned char>(i + 1);
    right[i] = static_cast<unsigned char>(i + 101);
  }
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 3, width, 4), 0);
  pcm.addSilence(1);
  pcm.combineWrite(samples, AnyVector{Any(left.data(), 0), Any(), Any(right.data(), 0)});
  ASSERT_EQ(pcm.nSamples, 8);
  for (int s = 0; s < samples; ++s) {
    for (int b = 0; b < width; ++b) {
      auto const at = static_cast<size_t>(s) * static_cast<size_t>(width) + static_cast<size_t>(b);
      EXPECT_EQ(pcm.ptr(s + 1)[b], left[at]);
      EXPECT_EQ(pcm.ptr(s + 1)[width + b], 0);
      EXPECT_EQ(pcm.ptr(s + 1)[2 * width + b], right[at]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, PcmCombine, testing::Values(1, 2, 3, 4, 5));

TEST(Pcm, CombineOverwritesOldSamplesOfMissingChannelsWithSilence) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 2, 2, 8), 0);
  std::memset(pcm.ptr(), 0x33, 32);
  int16_t const mono[3] = {1, 2, 3};
  pcm.combineWrite(3, AnyVector{Any(mono, 0)});
  int16_t out[6];
  std::memcpy(out, pcm.ptr(), sizeof out);
  EXPECT_EQ(std::vector<int16_t>(out, out + 6), (std::vector<int16_t>{1, 0, 2, 0, 3, 0}));
}

TEST(Pcm, CombineOfNothingOrWithoutMemoryWritesNothing) {
  KyPcm pcm;
  pcm.combineWrite(3, AnyVector());
  EXPECT_EQ(pcm.nSamples, 0);
  ASSERT_EQ(pcm.init(48000, 1, 2, 8), 0);
  pcm.combineWrite(0, AnyVector());
  pcm.combineWrite(-4, AnyVector());
  pcm.combineWrite(INT_MAX, AnyVector());
  EXPECT_EQ(pcm.nSamples, 0);
}

TEST(Pcm, CombineOfMoreThanAnyBufferHoldsBehindHeldSamplesKeepsThose) {
  KyPcm pcm;
  ASSERT_EQ(pcm.init(48000, 1, 2, 8), 0);
  pcm.addSilence(3);
  pcm.combineWrite(INT_MAX, AnyVector());
  EXPECT_EQ(pcm.nSamples, 3);
  EXPECT_EQ(pcm.capacity, 8);
}

}  // namespace
