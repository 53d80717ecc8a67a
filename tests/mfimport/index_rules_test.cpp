#include <gtest/gtest.h>

#include "mfimport/clip/stamps.h"
#include "mfimport/index/frame_rate.h"
#include "mfimport/index/picture_order.h"
#include "mfimport/takelist/media.h"

using namespace mfimport;

namespace {

constexpr int64_t kNone = AV_NOPTS_VALUE;
using Ranks = std::vector<uint32_t>;

TEST(PresentationOrder, FollowsStamps) {
  EXPECT_EQ(presentationRanks({{0, 0, false}, {3, 1, false}, {1, 2, true}, {2, 3, true}}, false),
            (Ranks{0, 3, 1, 2}));
}

TEST(PresentationOrder, WithoutStamps_HoldsAnchorsUntilTheNext) {
  EXPECT_EQ(presentationRanks(
                {{kNone, 0, false}, {kNone, 1, false}, {kNone, 2, true}, {kNone, 3, true}, {kNone, 4, false}},
                false),
            (Ranks{0, 3, 1, 2, 4}));
}

TEST(PresentationOrder, AfterALeapOfTheClock_StartsANewStretch) {
  int64_t const hour = int64_t{3600} * 27000000;
  std::vector<StampedPicture> const pictures = {
      {hour, hour, false}, {hour + 1, hour + 1, false}, {0, 0, false}, {1, 1, false}};
  EXPECT_EQ(presentationRanks(pictures, true), (Ranks{0, 1, 2, 3}));
  EXPECT_EQ(presentationRanks(pictures, false), (Ranks{2, 3, 0, 1}));
}

TEST(MeasuredRate, OfRegularStamps_IsExact) {
  std::vector<int64_t> stamps;
  for (int i = 0; i < 100; ++i) stamps.push_back(i * 1001);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf(stamps), {1, 30000}), 30000.0 / 1001);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf(stamps), {1, 25025}), 25);
}

TEST(MeasuredRate, OfRoundedStamps_IsTheUsualRate) {
  std::vector<int64_t> stamps;
  for (int i = 0; i < 300; ++i) stamps.push_back((i * 1001 * 1000 + 15000) / 30000);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf(stamps), {1, 1000}), 30000.0 / 1001);
}

TEST(MeasuredRate, CountsPicturesWithoutAStamp) {
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf({0, 1, kNone, 3, 4, kNone, kNone, 7}), {1, 25}), 25);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf({kNone, 0, kNone, 2, kNone}), {1, 25}), 25);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf({0, 3600, kNone, kNone, 14400, 18000, kNone, 25200}), {1, 90000}),
                   25);
  EXPECT_EQ(measuredRate(stepsOf({kNone, 5, kNone}), {1, 25}), 0);
}

TEST(DisplayStamps, OfPicturesWithoutOne_LieEvenlyBetweenTheirNeighbours) {
  StreamIndex stream(PacketList({}, HostMemory{}), VideoIndex(HostMemory{}));
  stream.timeBase = {1, 90000};
  stream.video().rate = 25;
  int64_t const stamps[] = {kNone, 3600, kNone, kNone, 15000, kNone};
  for (uint32_t i = 0; i < std::size(stamps); ++i) {
    stream.packets.push_back({stamps[i], kNone, 0, 1, 0});
    stream.video().pictures.push_back({i, 1, i == 0, false, i, static_cast<int32_t>(i)});
    stream.video().byDisplay.push_back(i);
  }
  EXPECT_EQ(displayStamps(stream),
            (std::vector<int64_t>{0, 1080000, 2220000, 3360000, 4500000, 4500000 + 1080000}));
  EXPECT_EQ(firstDisplayStamp(stream), 0);
}

TEST(DisplayStamps, WithoutAnyStamp_RunAtTheRateFromTheFirstDecodingTime) {
  StreamIndex stream(PacketList({}, HostMemory{}), VideoIndex(HostMemory{}));
  stream.timeBase = {1, 25};
  stream.video().rate = 25;
  for (uint32_t i = 0; i < 3; ++i) {
    stream.packets.push_back({AV_NOPTS_VALUE, i + 2, 0, 1, 0});
    stream.video().pictures.push_back({i, 1, i == 0, false, i, static_cast<int32_t>(i)});
    stream.video().byDisplay.push_back(i);
  }
  EXPECT_EQ(displayStamps(stream), (std::vector<int64_t>{2160000, 3240000, 4320000}));
}

TEST(MeasuredRate, LeavesGapsOut) {
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf({0, 1, 2, 3, 1000, 1001, 1002}), {1, 25}), 25);
  EXPECT_EQ(measuredRate(stepsOf({5}), {1, 25}), 0);
  EXPECT_EQ(measuredRate(stepsOf({5, 5, 5}), {1, 25}), 0);
}

TEST(MeasuredRate, IsThatOfRegularStampsAlthoughPicturesAreMissing) {
  std::vector<int64_t> stamps;
  for (int i = 0; i < 98; ++i)
    if (i != 40 && i != 41) stamps.push_back(i);
  EXPECT_DOUBLE_EQ(measuredRate(stepsOf(stamps), {1001, 24000}), 24000.0 / 1001);
}

TEST(MeasuredRate, OfIrregularStamps_IsTheAverage) {
  std::vector<int64_t> stamps;
  for (int64_t i = 0, at = 0; i < 101; ++i, at += i % 2 ? 3003 : 4505) stamps.push_back(at);
  EXPECT_NEAR(measuredRate(stepsOf(stamps), {1, 90000}), 24000.0 / 1001, 1e-9);
}

TEST(StartOfDecoding, ForLeadingPicturesOfAnOpenGroup_IsTheKeyBefore) {
  VideoIndex video{HostMemory{}};
  // I0 P3 B1 B2 | I6 B4 B5 P7
  uint32_t const ranks[] = {0, 3, 1, 2, 6, 4, 5, 7};
  for (uint32_t i = 0; i < 8; ++i)
    video.pictures.push_back({i, 1, i == 0 || i == 4, false, ranks[i], static_cast<int32_t>(ranks[i])});
  video.byDisplay.resize(8);
  for (uint32_t i = 0; i < 8; ++i) video.byDisplay[ranks[i]] = i;
  EXPECT_EQ(video.startFor(3), 0U);
  EXPECT_EQ(video.startFor(4), 0U);
  EXPECT_EQ(video.startFor(5), 0U);
  EXPECT_EQ(video.startFor(6), 4U);
  EXPECT_EQ(video.startFor(7), 4U);
  EXPECT_EQ(video.keyBefore(4), 0U);
  EXPECT_EQ(video.keyBefore(0), 0U);
}

TEST(PacketOfASample, SkipsPacketsThatDeliverNothing) {
  AudioIndex audio{HostMemory{}};
  for (SampleSpan const& span : {SampleSpan{0, 1024, 0, 1024}, SampleSpan{0, 24, 1000, 1024},
                                 SampleSpan{1000, 0, 1024, 1024}, SampleSpan{2024, 0, 0, 1024}})
    audio.spans.push_back(span);
  EXPECT_EQ(audio.packetOf(0), 1U);
  EXPECT_EQ(audio.packetOf(999), 1U);
  EXPECT_EQ(audio.packetOf(1000), 2U);
  EXPECT_EQ(audio.packetOf(2023), 2U);
}

}  // namespace
