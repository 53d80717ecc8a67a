#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "samples/frame_pattern.h"
#include "samples/phase_signal.h"

using samples::FrameTag;
using samples::Phase;

namespace {

struct Size {
  int width, height;
};

class FramePattern : public testing::TestWithParam<Size> {
 protected:
  std::vector<std::uint8_t> drawn(FrameTag const& tag, int step = 1) const {
    auto const [width, height] = GetParam();
    std::vector<std::uint8_t> plane(static_cast<std::size_t>(width * height), 128);
    samples::drawFrameNumber(plane.data(), width, width, height, tag);
    std::vector<std::uint8_t> picture(plane.size() * static_cast<std::size_t>(step), 77);
    for (std::size_t i = 0; i < plane.size(); ++i) picture[i * static_cast<std::size_t>(step)] = plane[i];
    return picture;
  }
  std::optional<FrameTag> read(std::vector<std::uint8_t> const& picture, int step = 1) const {
    auto const [width, height] = GetParam();
    return samples::readFrameNumber(picture.data(), std::ptrdiff_t{width} * step, width, height, step);
  }
};

TEST_P(FramePattern, IsReadBack) {
  for (FrameTag const& tag : {FrameTag{0, 0, 0}, FrameTag{1, 1, 1}, FrameTag{0xFFFFFF, 255, 255},
                              FrameTag{0x800001, 2, 3}, FrameTag{123456, 200, 99}})
    EXPECT_EQ(read(drawn(tag)), tag) << tag.frame;
}

TEST_P(FramePattern, IsReadFromPackedPictures) {
  EXPECT_EQ(read(drawn({4711, 2, 1}, 2), 2), (FrameTag{4711, 2, 1}));
}

TEST_P(FramePattern, FieldsOfDifferentFramesAreRefused) {
  int const width = GetParam().width;
  std::vector<std::uint8_t> woven = drawn({100, 1, 1});
  std::vector<std::uint8_t> const other = drawn({101, 1, 1});
  for (int y = 1; y < GetParam().height; y += 2)
    std::copy_n(other.begin() + y * width, width, woven.begin() + y * width);
  EXPECT_EQ(read(woven), std::nullopt);
}

TEST_P(FramePattern, PicturesWithoutItAreRefused) {
  for (int const level : {0, 16, 128, 235, 255}) {
    std::vector<std::uint8_t> const flat(static_cast<std::size_t>(GetParam().width * GetParam().height),
                                         static_cast<std::uint8_t>(level));
    EXPECT_EQ(read(flat), std::nullopt) << level;
  }
}

TEST_P(FramePattern, AFlippedBlockIsRefused) {
  auto const [width, height] = GetParam();
  auto const area = samples::PatternArea::of(width, height);
  for (int block = 0; block < 48; ++block) {
    std::vector<std::uint8_t> picture = drawn({777, 3, 2});
    for (int y = 0; y < area.block; ++y)
      for (int x = 0; x < area.block; ++x) {
        auto& sample = picture[static_cast<std::size_t>((area.top + block / 8 * area.block + y) * width +
                                                        area.left + block % 8 * area.block + x)];
        sample = static_cast<std::uint8_t>(252 - sample);
      }
    EXPECT_EQ(read(picture), std::nullopt) << block;
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, FramePattern,
                         testing::Values(Size{1920, 1080}, Size{1440, 1080}, Size{1280, 720}, Size{352, 288},
                                         Size{352, 240}, Size{320, 240}, Size{320, 192}));

TEST(FramePatternSize, BlocksAreLargeInCameraPictures) {
  EXPECT_EQ(samples::PatternArea::of(1920, 1080).block, 80);
  EXPECT_GE(samples::PatternArea::of(1280, 720).block, 32);
}

TEST(FramePatternSize, TooSmallAPictureHoldsNoTag) {
  std::vector<std::uint8_t> const picture(100 * 100, 220);
  EXPECT_EQ(samples::readFrameNumber(picture.data(), 100, 100, 100), std::nullopt);
}

std::vector<std::int16_t> signal(Phase const& from, std::size_t count) {
  std::vector<std::int16_t> out(count);
  samples::fillPhase(out, from);
  return out;
}

TEST(PhaseSignal, IsTheSameHoweverItIsCut) {
  auto const whole = signal({1000, 1, 2}, 300);
  for (std::size_t cut = 0; cut <= 300; cut += 7) {
    auto head = signal({1000, 1, 2}, cut);
    auto const tail = signal({1000 + cut, 1, 2}, 300 - cut);
    head.insert(head.end(), tail.begin(), tail.end());
    EXPECT_EQ(head, whole) << cut;
  }
}

TEST(PhaseSignal, AnyFifteenSamplesTellTheirPosition) {
  for (std::uint64_t const position : {0ull, 1ull, 7ull, 48'000ull, 123'456'789ull, (1ull << 30) - 15})
    for (unsigned track = 1; track <= 4; ++track) {
      Phase const phase{position, 3, track};
      EXPECT_EQ(samples::readPhase(signal(phase, 15)), phase) << position;
    }
}

TEST(PhaseSignal, EveryWordIsUnique) {
  std::set<std::vector<std::int16_t>> words;
  for (unsigned track = 1; track <= 2; ++track)
    for (std::uint64_t position = 0; position < 8 * 20'000; position += 8)
      words.insert(signal({position, 1, track}, 8));
  EXPECT_EQ(words.size(), 40'000u);
}

TEST(PhaseSignal, AWordTornByALostSampleIsRefused) {
  for (std::size_t lost = 1; lost < 8; ++lost) {
    auto heard = signal({800, 1, 1}, 9);
    heard.erase(heard.begin() + static_cast<std::ptrdiff_t>(lost));
    EXPECT_EQ(samples::readPhase(heard), std::nullopt) << lost;
  }
}

TEST(PhaseSignal, SilenceHoldsNoPosition) {
  EXPECT_EQ(samples::readPhase(std::vector<std::int16_t>(5000, 0)), std::nullopt);
  EXPECT_EQ(samples::readPhase({}), std::nullopt);
}

TEST(PhaseSignal, ExtremeSamplesAreRefused) {
  for (std::int16_t const level : {std::int16_t{-32768}, std::int16_t{32767}})
    EXPECT_EQ(samples::readPhase(std::vector<std::int16_t>(64, level)), std::nullopt);
}

TEST(PhaseSignal, PositionIsFoundBehindForeignSamples) {
  std::vector<std::int16_t> heard(100, 0);
  auto const rest = signal({5000, 1, 1}, 50);
  heard.insert(heard.end(), rest.begin(), rest.end());
  EXPECT_EQ(samples::readPhase(heard), (Phase{4900, 1, 1}));
}

TEST(PhaseSignal, FirstMismatchNamesTheSample) {
  auto heard = signal({5003, 1, 1}, 1000);
  EXPECT_EQ(samples::firstMismatch(heard, {5003, 1, 1}), std::nullopt);
  heard[517] = static_cast<std::int16_t>(heard[517] ^ 1);
  EXPECT_EQ(samples::firstMismatch(heard, {5003, 1, 1}), 517u);
  EXPECT_TRUE(samples::firstMismatch(heard, {5004, 1, 1}).has_value());
  EXPECT_TRUE(samples::firstMismatch(heard, {5003, 1, 2}).has_value());
  EXPECT_TRUE(samples::firstMismatch(heard, {5003, 2, 1}).has_value());
}

TEST(PhaseSignal, IsQuiet) {
  for (std::int16_t const sample : signal({0, 1, 1}, 100'000)) ASSERT_LE(std::abs(int{sample}), 2048);
}

}  // namespace
