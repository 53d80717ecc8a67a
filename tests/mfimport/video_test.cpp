#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "clips.h"
#include "player.h"

namespace {

// One decoded picture after the other, as the ffmpeg program decodes them.
class Reference {
 public:
  Reference(std::string const& path, std::string const& pixelFormat, size_t pictureBytes)
      : bytes_(decodedByFfmpeg(path, "-map 0:v:0 -fps_mode passthrough -f rawvideo -pix_fmt " + pixelFormat)),
        size_(pictureBytes) {
    EXPECT_EQ(bytes_.size() % size_, 0U);
  }
  int frames() const { return static_cast<int>(bytes_.size() / size_); }
  bool equals(int frame, std::vector<uint8_t> const& picture) const {
    return picture.size() == size_ &&
           std::equal(picture.begin(), picture.end(),
                      bytes_.begin() + static_cast<std::ptrdiff_t>(size_ * static_cast<size_t>(frame)));
  }
  std::vector<uint8_t>& bytes() { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t size_;
};

// Values of `depth` bits in 16-bit words moved to the top.
void moveUp(std::vector<uint8_t>& words, int depth) {
  for (size_t i = 0; i + 1 < words.size(); i += 2) {
    auto const value = static_cast<uint16_t>((words[i] | words[i + 1] << 8) << (16 - depth));
    words[i] = static_cast<uint8_t>(value);
    words[i + 1] = static_cast<uint8_t>(value >> 8);
  }
}

void expectSequentialEqual(Player& player, Reference const& reference) {
  ASSERT_EQ(player->video.frames, reference.frames());
  for (int frame = 0; frame < reference.frames(); ++frame) {
    ASSERT_EQ(player.next(), 0) << "picture " << frame;
    ASSERT_TRUE(reference.equals(frame, player.picture())) << "picture " << frame;
  }
  EXPECT_EQ(player.next(), kMpegEndOfStream);
}

void expectSeeksEqual(Player& player, Reference const& reference, int seeks) {
  std::mt19937 random(7);
  for (int i = 0; i < seeks; ++i) {
    int const frame = static_cast<int>(random() % static_cast<unsigned>(reference.frames()));
    ASSERT_EQ(player.seek(frame), 0) << "picture " << frame;
    ASSERT_TRUE(reference.equals(frame, player.picture())) << "picture " << frame;
  }
}

constexpr size_t kSmall = 320 * 240 * 3 / 2;
constexpr size_t kLarge = 1920 * 1080 * 3 / 2;

struct Case {
  char const* name;
  std::string (*path)();
  size_t bytes;
};

Case const kCases[] = {{"OpenGopMp4", openGopMp4, kSmall},
                       {"OpenGopMov", openGopMov, kSmall},
                       {"EditListMp4", editListMp4, kSmall},
                       {"Mpeg2Mov", mpeg2Mov, kLarge}};

class EightBitVideo : public testing::TestWithParam<Case> {};

TEST_P(EightBitVideo, SequentialReading_GivesTheFramesOfFfmpeg_AndNeverSeeks) {
  Player player;
  ASSERT_EQ(player.openVideo(GetParam().path()), 0);
  expectSequentialEqual(player, Reference(GetParam().path(), "yuv420p", GetParam().bytes));
  EXPECT_EQ(player.stats().seeks, 0);
  EXPECT_EQ(player.stats().flushes, 0);
  EXPECT_EQ(player.stats().conversions, player->video.frames);
}

TEST_P(EightBitVideo, RandomSeeks_GiveTheFramesOfFfmpeg) {
  Player player;
  ASSERT_EQ(player.openVideo(GetParam().path()), 0);
  expectSeeksEqual(player, Reference(GetParam().path(), "yuv420p", GetParam().bytes),
                   GetParam().bytes == kSmall ? 200 : 40);
}

TEST_P(EightBitVideo, SteppingBackward_GivesTheFramesOfFfmpeg_AndUsesDecodedOnes) {
  Reference const reference(GetParam().path(), "yuv420p", GetParam().bytes);
  Player player;
  ASSERT_EQ(player.openVideo(GetParam().path()), 0);
  for (int frame = reference.frames() - 1; frame >= 0; --frame) {
    ASSERT_EQ(player.seek(frame), 0);
    ASSERT_TRUE(reference.equals(frame, player.picture())) << "picture " << frame;
  }
  EXPECT_GT(player.stats().cacheHits, reference.frames() / 2);
  EXPECT_EQ(player.stats().conversions, reference.frames());
}

TEST_P(EightBitVideo, AnyThreadSetting_GivesTheSameFrames) {
  Reference const reference(GetParam().path(), "yuv420p", GetParam().bytes);
  for (int const mode : {0, 1, 2}) {
    for (int const threads : {1, 2, 3, 8}) {
      SCOPED_TRACE(testing::Message() << "mode " << mode << ", threads " << threads);
      Player player;
      ASSERT_EQ(player.openVideo(GetParam().path()), 0);
      ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxSmpMode, nullptr, mode), 0);
      ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxThreads, nullptr, threads), 0);
      expectSequentialEqual(player, reference);
      expectSeeksEqual(player, reference, 10);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, EightBitVideo, testing::ValuesIn(kCases),
                         [](auto const& test) { return test.param.name; });

TEST(Video, Hevc10Bit_InW016_IsTheValueShiftedToTheTop) {
  Reference reference(hevc10Mp4(), "yuv420p10le", 2 * kSmall);
  moveUp(reference.bytes(), 10);
  Player player;
  ASSERT_EQ(player.openVideo(hevc10Mp4(), "W016"), 0);
  EXPECT_EQ(player->video.sourceDepth, 10);
  expectSequentialEqual(player, reference);
  expectSeeksEqual(player, reference, 60);
}

TEST(Video, H264Of422And10Bit_InY216_IsPackedAndShifted) {
  std::string const path =
      clip("h264_422_10.mov",
           "-f lavfi -i testsrc2=s=160x120:r=25:d=1 -c:v libx264 -preset veryfast -pix_fmt "
           "yuv422p10le {out}");
  std::vector<uint8_t> const planes =
      decodedByFfmpeg(path, "-fps_mode passthrough -f rawvideo -pix_fmt yuv422p10le");
  Player player;
  ASSERT_EQ(player.openVideo(path, "Y216"), 0);
  ASSERT_EQ(player.seek(7), 0);
  auto const* in = reinterpret_cast<uint16_t const*>(planes.data()) + 7 * 160 * 120 * 2;
  auto const* out = reinterpret_cast<uint16_t const*>(player.picture().data());
  for (int y = 0; y < 120; ++y) {
    for (int x = 0; x < 80; ++x) {
      uint16_t const* pixel = out + (y * 80 + x) * 4;
      ASSERT_EQ(pixel[0], in[y * 160 + 2 * x] << 6);
      ASSERT_EQ(pixel[1], in[160 * 120 + y * 80 + x] << 6);
      ASSERT_EQ(pixel[2], in[y * 160 + 2 * x + 1] << 6);
      ASSERT_EQ(pixel[3], in[160 * 120 + 80 * 120 + y * 80 + x] << 6);
    }
  }
}

TEST(Video, FourTwoTwoOf8Bit_InYuyv_IsFfmpegsYuyv422) {
  std::string const path =
      clip("mpeg2_422.mov",
           "-f lavfi -i testsrc2=s=320x240:r=25:d=1 -c:v mpeg2video -pix_fmt yuv422p -b:v 10M "
           "-g 6 -bf 2 {out}");
  Reference const reference(path, "yuyv422", 320 * 240 * 2);
  Player player;
  ASSERT_EQ(player.openVideo(path, "YUYV"), 0);
  EXPECT_EQ(player->video.chromaFormat, 2);
  expectSequentialEqual(player, reference);
}

TEST(Video, FourFourFour_InBgr4_HasFullAlpha) {
  std::string const path =
      clip("h264_444.mov", "-f lavfi -i color=red:s=160x120:r=25:d=1 -c:v libx264 -pix_fmt yuv444p {out}");
  Player player;
  ASSERT_EQ(player.openVideo(path, "BGR4"), 0);
  EXPECT_EQ(player->video.chromaFormat, 3);
  ASSERT_EQ(player.seek(3), 0);
  uint8_t const* pixel = player.picture().data() + 4 * (160 * 60 + 80);
  EXPECT_LT(pixel[0], 6);
  EXPECT_LT(pixel[1], 6);
  EXPECT_GT(pixel[2], 245);
  EXPECT_EQ(pixel[3], 255);
}

TEST(Video, SeekPastTheEnd_IsEndOfStream_AndLeavesTargetAndPosition) {
  Reference const reference(openGopMp4(), "yuv420p", kSmall);
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(20), 0);
  EXPECT_EQ(player.seek(player->video.frames), kMpegEndOfStream);
  EXPECT_LT(player.seek(-1), 0);
  EXPECT_TRUE(reference.equals(20, player.picture()));
  ASSERT_EQ(player.next(), 0);
  EXPECT_TRUE(reference.equals(21, player.picture()));
}

TEST(Video, SeekToTheLastFrame_ThenNext_IsEndOfStream) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(player->video.frames - 1), 0);
  EXPECT_EQ(player.next(), kMpegEndOfStream);
  EXPECT_EQ(player.next(), kMpegEndOfStream);
  EXPECT_EQ(player.seek(0), 0);
}

TEST(Video, SeekToTheShownFrame_WritesItAgainWithoutDecoding) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(30), 0);
  std::vector<uint8_t> const first = player.picture();
  int64_t const packets = player.stats().packets;
  std::fill(player.target().begin(), player.target().end(), uint8_t{0});
  ASSERT_EQ(player.seek(30), 0);
  EXPECT_EQ(player.picture(), first);
  EXPECT_EQ(player.stats().packets, packets);
}

TEST(Video, SeekAheadWithinTheGroup_DecodesOnWithoutSeeking) {
  Player player;
  ASSERT_EQ(player.openVideo(nonReferenceBMp4()), 0);
  ASSERT_EQ(player.seek(0), 0);
  ASSERT_EQ(player.seek(9), 0);
  EXPECT_EQ(player.stats().seeks, 0);
  EXPECT_EQ(player.stats().conversions, 2);
  ASSERT_EQ(player.seek(50), 0);
  EXPECT_EQ(player.stats().seeks, 1);
}

TEST(Video, ThreadsSetAfterTheFirstFrame_TakeEffectWithoutAWrongFrame) {
  Reference const reference(openGopMp4(), "yuv420p", kSmall);
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(33), 0);
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxThreads, nullptr, 4), 0);
  ASSERT_EQ(player.next(), 0);
  EXPECT_TRUE(reference.equals(34, player.picture()));
}

TEST(Video, StridesLargerThanTheRow_AreRespected) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(12), 0);
  std::vector<uint8_t> const packed = player.picture();
  constexpr int kStride = 352;
  std::vector<uint8_t> luma(kStride * 240, 0xEE), cb(kStride * 120), cr(kStride * 120);
  player->target.plane[0] = luma.data();
  player->target.plane[1] = cb.data();
  player->target.plane[2] = cr.data();
  for (int p = 0; p < 3; ++p) player->target.stride[p] = kStride;
  ASSERT_EQ(player.seek(12), 0);
  for (int y = 0; y < 240; ++y)
    ASSERT_TRUE(
        std::equal(packed.begin() + y * 320, packed.begin() + (y + 1) * 320, luma.begin() + y * kStride));
}

TEST(Video, TargetTooSmall_FailsAndIsNotWritten) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  std::fill(player.target().begin(), player.target().end(), uint8_t{0xEE});
  player->target.stride[1] = 100;
  EXPECT_LT(player.seek(0), 0);
  EXPECT_TRUE(
      std::all_of(player.picture().begin(), player.picture().end(), [](uint8_t b) { return b == 0xEE; }));
  EXPECT_TRUE(wasPrinted("target"));
}

TEST(Video, UnsupportedForcedFormat_FailsAtTheFirstSeek_WithAReason) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  player->video.fourcc = mpegFourcc("v210");
  EXPECT_EQ(player.seek(0), kMpegErrorUnsupported);
  EXPECT_TRUE(wasPrinted("format"));
}

}  // namespace
