#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "clips.h"
#include "player.h"

namespace {

std::string mono(std::string const& name, std::string const& codec) {
  return clip(
      name,
      "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i aevalsrc='0.4*sin(2*PI*t*(300+200*t))':s=48000:d=1 "
      "-c:v libx264 -pix_fmt yuv420p -c:a " +
          codec + " -ac 1 {out}");
}

TEST(Audio, BigEndianMonoPcm_IsFfmpegsLittleEndian) {
  Player player;
  ASSERT_EQ(player.openAudio(mpeg2Mov(), kAudioAes3, 2), 0);
  EXPECT_EQ(player->audio.channels, 1);
  EXPECT_EQ(player->audio.bits, 16);
  EXPECT_EQ(player->audio.samples, 96000);
  EXPECT_EQ(player.readAll(1024), decodedByFfmpeg(mpeg2Mov(), "-map 0:a:1 -f s16le"));
}

TEST(Audio, Pcm24_IsPackedInThreeBytes) {
  std::string const path = mono("pcm24.mov", "pcm_s24be");
  Player player;
  ASSERT_EQ(player.openAudio(path, kAudioAes3), 0);
  EXPECT_EQ(player->audio.bits, 24);
  EXPECT_EQ(player->audio.blockAlign, 3);
  EXPECT_EQ(player.readAll(999), decodedByFfmpeg(path, "-map 0:a -f s24le"));
}

TEST(Audio, Pcm32AndFloat_KeepTheirWords) {
  Player integers;
  ASSERT_EQ(integers.openAudio(mono("pcm32.mov", "pcm_s32be"), kAudioAes3), 0);
  EXPECT_EQ(integers->audio.isFloat, 0);
  EXPECT_EQ(integers.readAll(4096), decodedByFfmpeg(mono("pcm32.mov", "pcm_s32be"), "-map 0:a -f s32le"));
  Player floats;
  ASSERT_EQ(floats.openAudio(mono("pcmf.mov", "pcm_f32be"), kAudioAes3), 0);
  EXPECT_EQ(floats->audio.isFloat, 1);
  EXPECT_EQ(floats.readAll(4096), decodedByFfmpeg(mono("pcmf.mov", "pcm_f32be"), "-map 0:a -f f32le"));
}

TEST(Audio, Aac_IsSampleExactAndTrimmedLikeFfmpeg) {
  Player player;
  ASSERT_EQ(player.openAudio(openGopMp4(), kAudioMpegAac), 0);
  EXPECT_EQ(player->audio.bits, 16);
  EXPECT_EQ(player->audio.channels, 2);
  std::vector<uint8_t> const wanted = decodedByFfmpeg(openGopMp4(), "-map 0:a -f s16le");
  EXPECT_EQ(player->audio.samples, static_cast<int64_t>(wanted.size() / 4));
  EXPECT_TRUE(player.readAll(1024) == wanted);
}

TEST(Audio, AacBehindAnEditList_IsSampleExact) {
  Player player;
  ASSERT_EQ(player.openAudio(editListMp4(), kAudioMpegAac), 0);
  EXPECT_TRUE(player.readAll(1000) == decodedByFfmpeg(editListMp4(), "-map 0:a -f s16le"));
}

TEST(Audio, AacIn24Bit_IsDeliveredOnRequest) {
  Player player;
  ASSERT_EQ(player.openAudio(openGopMp4(), kAudioMpegAac), 0);
  MpegAacRequest request{};
  std::memset(request.unset, 0xFF, sizeof request.unset);
  request.none1 = request.none2 = -1;
  request.wordSize = 4;
  request.one = 1;
  ASSERT_EQ(mpegInAudioAuxinfo(player.get(), 0, kAuxSampleFormat, &request, sizeof request), 0);
  EXPECT_EQ(player->audio.bits, 24);
  EXPECT_EQ(player->audio.blockAlign, 6);
  EXPECT_TRUE(player.readAll(1024) == decodedByFfmpeg(openGopMp4(), "-map 0:a -f s24le"));
  request.wordSize = 3;
  EXPECT_EQ(mpegInAudioAuxinfo(player.get(), 0, kAuxSampleFormat, &request, sizeof request),
            kMpegErrorUnsupported);
}

TEST(Audio, AnyBlockSize_GivesTheSameBytes) {
  for (auto const& [path, format] :
       {std::pair{mpeg2Mov(), kAudioAes3}, std::pair{openGopMp4(), kAudioMpegAac}}) {
    std::vector<uint8_t> first;
    for (int const block : {48000, 1024, 17, 1}) {
      SCOPED_TRACE(path + ", block " + std::to_string(block));
      Player player;
      ASSERT_EQ(player.openAudio(path, format), 0);
      std::vector<uint8_t> const all = player.readAll(block);
      if (first.empty()) first = all;
      ASSERT_EQ(all.size(), first.size());
      ASSERT_TRUE(all == first);
    }
  }
}

TEST(Audio, RandomSeeks_GiveTheSamplesOfSequentialReading) {
  for (auto const& [path, format] :
       {std::pair{mpeg2Mov(), kAudioAes3}, std::pair{openGopMp4(), kAudioMpegAac}}) {
    SCOPED_TRACE(path);
    Player player;
    ASSERT_EQ(player.openAudio(path, format), 0);
    std::vector<uint8_t> const all = player.readAll(1024);
    auto const align = static_cast<size_t>(player->audio.blockAlign);
    std::mt19937 random(11);
    std::vector<uint8_t> part(3000 * align);
    for (int i = 0; i < 200; ++i) {
      int64_t const sample = random() % player->audio.samples;
      auto const count = static_cast<int>(std::min<int64_t>(3000, player->audio.samples - sample));
      ASSERT_EQ(player.seekSample(sample), 0);
      ASSERT_EQ(mpegInGetNextSample(player.get(), part.data(), count), count);
      ASSERT_EQ(std::memcmp(part.data(), all.data() + static_cast<size_t>(sample) * align,
                            static_cast<size_t>(count) * align),
                0)
          << "sample " << sample;
    }
  }
}

TEST(Audio, SeekPastTheEnd_FailsAndKeepsThePosition) {
  Player player;
  ASSERT_EQ(player.openAudio(mpeg2Mov(), kAudioAes3), 0);
  ASSERT_EQ(player.seekSample(95000), 0);
  EXPECT_NE(player.seekSample(96000), 0);
  EXPECT_NE(player.seekSample(-1), 0);
  std::vector<uint8_t> rest(4000);
  EXPECT_EQ(mpegInGetNextSample(player.get(), rest.data(), 2000), 1000);
  EXPECT_EQ(mpegInGetNextSample(player.get(), rest.data(), 2000), 0);
}

TEST(Audio, PassThrough_IsReadyAndDeliversNoSamples) {
  Player player;
  player->smartRenderOnly = 1;
  ASSERT_EQ(player.openAudio(openGopMp4(), kAudioMpegAac), 0);
  EXPECT_EQ(player->audio.decoderReady, 1);
  uint8_t sample[4];
  EXPECT_LT(mpegInGetNextSample(player.get(), sample, 1), 0);
}

}  // namespace
