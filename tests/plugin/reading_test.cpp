// Reading frames and samples of real files: ends, silence, sample formats.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mpegdecode/mpegindec.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

fs::path pictures() {
  return test::made(
      "pictures.mov",
      "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i sine=f=440:r=48000:d=1 -c:v libx264 -g "
      "10 -bf 2 -pix_fmt yuv420p -c:a pcm_s16be ");
}

PipePtr openedVideo(fs::path const& file) {
  PipePtr pipe = test::opened(file);
  if (pipe) {
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  }
  return pipe;
}

// The inner decoder, whose error texts the plug-in's decoder does not pass on.
std::unique_ptr<MpegInDec> innerOpened(fs::path const& file) {
  auto pipe = std::make_unique<MpegInDec>(test::module());
  EXPECT_EQ(pipe->init(), 0);
  EXPECT_EQ(pipe->setParam("filename", Any(file.string())), 0);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  return pipe;
}

PipePtr openedAudio(fs::path const& file, int stream = 0) {
  PipePtr pipe = test::opened(file, AnyDict("joinMonoStreams", 0));
  if (pipe) {
    EXPECT_EQ(pipe->selectStream(kKindAudio, stream), 0);
  }
  return pipe;
}

// A RIFF file of one second or less: `formatTag` 1 for integers, 3 for floats.
template <class Word>
fs::path wav(std::string const& name, int formatTag, int channels, int bits, std::vector<Word> const& words) {
  fs::path const file = test::scratchDir() / name;
  std::ofstream out(file, std::ios::binary);
  auto const put = [&](auto value) { out.write(reinterpret_cast<char const*>(&value), sizeof value); };
  auto const bytes = static_cast<uint32_t>(words.size() * sizeof(Word));
  auto const frame = static_cast<uint16_t>(channels * bits / 8);
  out << "RIFF";
  put(uint32_t{36} + bytes);
  out << "WAVEfmt ";
  put(uint32_t{16});
  put(static_cast<uint16_t>(formatTag));
  put(static_cast<uint16_t>(channels));
  put(uint32_t{48000});
  put(uint32_t{48000} * frame);
  put(frame);
  put(static_cast<uint16_t>(bits));
  out << "data";
  put(bytes);
  out.write(reinterpret_cast<char const*>(words.data()), static_cast<std::streamsize>(bytes));
  return file;
}

std::vector<int32_t> words32(KyDecodePipe& pipe, int count) {
  EXPECT_EQ(pipe.readSamples(count, 0), count) << pipe.errorDesc();
  KyPcm const& pcm = *pipe.audioPcm(0);
  auto const* const words = reinterpret_cast<int32_t const*>(pcm.ptr());
  return {words, words + pcm.nSamples * pcm.channels()};
}

TEST(ReadFrame, FirstAfterASeek_TakesTheFrameThatTheSeekDecoded) {
  PipePtr const pipe = openedVideo(pictures());
  ASSERT_TRUE(pipe);
  auto const hashes = test::frameHashes(pictures());
  ASSERT_EQ(pipe->seekToFrame(7, 0), 0);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[7]);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 7);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[7]);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 8);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[8]);
}

TEST(ReadFrame, AfterTheLast_IsTheEndWithoutAnErrorText) {
  PipePtr const pipe = openedVideo(pictures());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToFrame(24, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->readFrame(0), -4);
  EXPECT_EQ(pipe->readFrame(0), -4);
  EXPECT_STREQ(pipe->errorDesc(), "");
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 24);
}

TEST(ReadFrame, OfAPictureThatIsNoLongerInTheFile_FailsAtItsPlaceAndGoesOn) {
  fs::path const whole =
      test::made("intra.mov", "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -c:v mpeg4 -g 1 -qscale:v 2 ");
  fs::path const file = test::scratchDir() / "shrinks.mov";
  fs::copy_file(whole, file, fs::copy_options::overwrite_existing);
  auto const pipe = innerOpened(file);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  // From here on the file ends within its pictures.
  fs::resize_file(file, fs::file_size(file) / 2);
  ASSERT_EQ(pipe->seekToFrame(0, 0), 0);
  int result = 0;
  while (result == 0 && pipe->videoFrame(0)->frameNumber() < 24) result = pipe->readFrame(0);
  EXPECT_EQ(result, -1);
  EXPECT_STREQ(pipe->errorDesc(), "Error in readFrame");
  EXPECT_EQ(pipe->seekToFrame(24, 0), -1);
  EXPECT_STREQ(pipe->errorDesc(), "seekToFrame failed");
  EXPECT_EQ(pipe->seekToFrame(1, 0), 0) << pipe->errorDesc();
}

TEST(ReadFrame, CarriesTheRateOfTheDescription) {
  PipePtr const pipe = openedVideo(pictures());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->framerate(), KyFramerate(25, 0, false, 0));
}

TEST(ReadSamples, OfNone_IsZeroEvenOnAClosedPipe) {
  auto const pipe = std::make_unique<MpegInDec>(test::module());
  EXPECT_EQ(pipe->readSamples(0, 0), 0);
  EXPECT_EQ(pipe->readSamples(0, -1), 0);
  EXPECT_STREQ(pipe->errorDesc(), "");
  EXPECT_EQ(pipe->readSamples(1, 0), -1);
  EXPECT_STREQ(pipe->errorDesc(), "stream not opened");
}

TEST(ReadSamples, BeyondTheCapacity_GivesOneSecond) {
  fs::path const file = test::made("long.wav", "-f lavfi -i sine=f=440:r=44100:d=2.5 -c:a pcm_s16le ");
  PipePtr const pipe = openedAudio(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->readSamples(48000, 0), 44100);
  EXPECT_EQ(pipe->readSamples(1 << 30, 0), 44100);
  EXPECT_EQ(pipe->readSamples(48000, 0), 22050);
  EXPECT_EQ(pipe->readSamples(48000, 0), -4);
}

TEST(ReadSamples, ThatAsksForMoreThanIsLeft_GivesTheRestThenTheEnd) {
  PipePtr const pipe = openedAudio(pictures());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToSample(47900, 0), 0);
  EXPECT_EQ(pipe->readSamples(1000, 0), 100);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 100);
  EXPECT_EQ(pipe->readSamples(1000, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST(ReadSamples, OfAFileThatEndsEarly_IsTheEndAlthoughTheBufferHoldsWhatWasRead) {
  std::vector<int16_t> words(48000);
  for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<int16_t>(i);
  fs::path const file = wav("ends.wav", 1, 1, 16, words);
  PipePtr const pipe = openedAudio(file);
  ASSERT_TRUE(pipe);
  fs::resize_file(file, 44 + 2 * 40000);
  ASSERT_EQ(pipe->seekToSample(39000, 0), 0);
  EXPECT_EQ(pipe->readSamples(5000, 0), -4);
  ASSERT_EQ(pipe->audioPcm(0)->nSamples, 1000);
  EXPECT_EQ(std::memcmp(pipe->audioPcm(0)->ptr(), words.data() + 39000, 2000), 0);
  // No sample is left, which the library tells as a failure of the file.
  EXPECT_LT(pipe->readSamples(5000, 0), 0);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST(ReadSamples, OfFloats_GivesValuesOf24BitsWithoutClipping) {
  PipePtr const pipe =
      openedAudio(wav<float>("floats.wav", 3, 2, 32, {0.5F, -1.0F, 1.0F, 0.0F, 2.0F, -0.25F}));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["codec"].asString(), "LPCM");
  EXPECT_EQ(info["bitsPerSample"].asInt32(), 32);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 4);
  EXPECT_EQ(words32(*pipe, 3), (std::vector<int32_t>{4194304, -8388608, 8388608, 0, 16777216, -2097152}));
}

TEST(ReadSamples, Of32BitIntegers_RoundsToNearestTiesUp) {
  PipePtr const pipe =
      openedAudio(wav<int32_t>("ints.wav", 1, 1, 32, {384, -384, 127, 128, -128, -129, INT32_MIN, 65536}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(words32(*pipe, 8), (std::vector<int32_t>{2, -1, 0, 1, 0, -1, -8388608, 256}));
}

TEST(ReadSamples, OfQuickTimePcm_ConvertsIntegersAndFloats) {
  for (std::string const codec : {"s32be", "f32le"}) {
    SCOPED_TRACE(codec);
    fs::path const file =
        test::made("qt_" + codec + ".mov",
                   "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i "
                   "\"aevalsrc=0.7*sin(440*t)|0.3*cos(99*t):s=48000:d=1\" -c:v mpeg2video -c:a "
                   "pcm_" +
                       codec + " ");
    PipePtr const pipe = openedAudio(file);
    ASSERT_TRUE(pipe);
    EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["codec"].asString(), "QT_PCM");
    auto const words = test::readAllSamples<int32_t>(*pipe, 0, 1000);
    auto const bytes = test::samples(file, 0, codec == "s32be" ? "s32le" : "f32le");
    ASSERT_EQ(words.size(), bytes.size() / 4);
    for (size_t i = 0; i < words.size(); ++i) {
      int32_t value = 0;
      float real = 0;
      std::memcpy(&value, &bytes[4 * i], 4);
      std::memcpy(&real, &bytes[4 * i], 4);
      int32_t const expected = codec == "s32be" ? static_cast<int32_t>(std::floor((value + 128.0) / 256))
                                                : static_cast<int32_t>(std::trunc(real * 8388608.0F));
      ASSERT_EQ(words[i], expected) << i;
    }
  }
}

TEST(ReadSamples, Of20Bits_GivesThreeBytesEach) {
  fs::path const file =
      test::made("twenty.ts",
                 "-f lavfi -i \"aevalsrc=0.7*sin(440*t)|0.3*cos(99*t):s=48000:d=1\" -c:a s302m "
                 "-strict -2 -sample_fmt s32 -bits_per_raw_sample 20 ");
  PipePtr const pipe = openedAudio(file);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["codec"].asString(), "AES3");
  EXPECT_EQ(info["bitsPerSample"].asInt32(), 20);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 3);
  EXPECT_TRUE(test::readAllSamples<uint8_t>(*pipe, 0, 777) == test::samples(file, 0, "s24le"));
}

// 24-bit LPCM, where samples lie in pairs: in a RIFF file and as a DVD has it.
class PairedLpcm : public testing::TestWithParam<char const*> {
 protected:
  static std::string encoding() {
    if (GetParam() == std::string("wav")) return "-map 1 -c:a pcm_s24le ";
    if (GetParam() == std::string("vob")) return "-c:v mpeg2video -c:a pcm_dvd -sample_fmt s32 -f dvd ";
    return "-c:v mpeg2video -c:a pcm_bluray -sample_fmt s32 ";
  }
  fs::path file_ = test::made(std::string("paired.") + GetParam(),
                              "-f lavfi -i testsrc2=s=64x64:r=25:d=3.1 -f lavfi -i "
                              "\"aevalsrc=0.7*sin(440*t)|0.3*cos(99*t):s=48000:d=3.1\" " +
                                  encoding());
  std::vector<uint8_t> expected_ = test::samples(file_, 0, "s24le");
  static constexpr int kBytes = 6;  // of one sample of both channels

  void expectSamples(KyPcm const& pcm, int64_t at) const {
    ASSERT_LE(static_cast<size_t>((at + pcm.nSamples) * kBytes), expected_.size());
    EXPECT_EQ(
        std::memcmp(pcm.ptr(), expected_.data() + at * kBytes, static_cast<size_t>(pcm.nSamples * kBytes)), 0)
        << pcm.nSamples << " samples at " << at;
  }
};

TEST_P(PairedLpcm, ARequestForThree_ReadsFourAndKeepsOneForTheNextCall) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["codec"].asString(), "LPCM");
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 3);
  ASSERT_EQ(pipe->readSamples(3, 0), 3);
  KyPcm const& pcm = *pipe->audioPcm(0);
  expectSamples(pcm, 0);
  EXPECT_EQ(std::memcmp(pcm.ptr(3), expected_.data() + 3 * kBytes, kBytes), 0);
  ASSERT_EQ(pipe->readSamples(3, 0), 3);
  expectSamples(pcm, 3);
  EXPECT_EQ(pcm.position, 6);
}

TEST_P(PairedLpcm, OddRequestsOfAllSizes_GiveEverySampleOnce) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  for (int block : {1, 3, 5, 7, 1001, 4097}) {
    ASSERT_EQ(pipe->seekToSample(0, 0), 0);
    ASSERT_TRUE(test::readAllSamples<uint8_t>(*pipe, 0, block) == expected_) << "blocks of " << block;
  }
}

TEST_P(PairedLpcm, OddRequestsAtFullCapacity_StayWithinTheBuffer) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  int64_t at = 0;
  // With one sample kept, a full second asks for an odd rest; without, for an even one.
  for (int want : {1, 48000, 48001, 3, 48000}) {
    int const given = pipe->readSamples(want, 0);
    ASSERT_EQ(given, std::min(want, 48000));
    expectSamples(*pipe->audioPcm(0), at);
    at += given;
  }
}

TEST_P(PairedLpcm, ASeek_DropsTheSampleThatWasKept) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  std::mt19937 random(3);
  for (int i = 0; i < 60; ++i) {
    int64_t const at = static_cast<int64_t>(random() % (expected_.size() / kBytes - 100));
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    ASSERT_EQ(pipe->readSamples(5, 0), 5);
    expectSamples(*pipe->audioPcm(0), at);
  }
}

TEST_P(PairedLpcm, TheLastOddSample_IsTheLast) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  int64_t const total = test::info(*pipe, kKindAudio, 0)["samples"].asInt64();
  ASSERT_EQ(static_cast<size_t>(total * kBytes), expected_.size());
  ASSERT_EQ(pipe->seekToSample(total - 3, 0), 0);
  int const given = pipe->readSamples(10, 0);
  EXPECT_EQ(given, 3);
  expectSamples(*pipe->audioPcm(0), total - 3);
  EXPECT_EQ(pipe->readSamples(1, 0), -4);
}

INSTANTIATE_TEST_SUITE_P(Containers, PairedLpcm, testing::Values("wav", "vob", "m2ts"),
                         [](auto const& parameter) { return std::string(parameter.param); });

// A transport stream of 50 pictures per second whose sound begins 1000 samples late: more than one picture.
class LateSound : public testing::Test {
 protected:
  static constexpr int kDelay = 1000;
  fs::path file_ =
      test::made("late.ts",
                 "-f lavfi -i testsrc2=s=64x64:r=50:d=2 -f lavfi -i "
                 "\"aevalsrc=0.5+0.2*sin(440*t):s=48000:d=2\" -c:v mpeg2video -bf 0 -c:a mp2 -bsf:v "
                 "setts=ts=N*1800 -bsf:a setts=ts=N*2160+1875 ");
  std::vector<int16_t> sound_ = [this] {
    test::ScopedAttribute const fix("AVSyncFix", Any(0));
    PipePtr const pipe = openedAudio(file_);
    return pipe ? test::readAllSamples<int16_t>(*pipe, 0, 4096) : std::vector<int16_t>{};
  }();

  std::vector<int16_t> held(KyDecodePipe& pipe) const {
    KyPcm const& pcm = *pipe.audioPcm(0);
    auto const* const words = reinterpret_cast<int16_t const*>(pcm.ptr());
    return {words, words + pcm.nSamples};
  }
  std::vector<int16_t> expected(int64_t at, int count) const {
    std::vector<int16_t> words;
    for (int64_t i = at; i < at + count; ++i)
      words.push_back(i < kDelay ? int16_t{0} : sound_[static_cast<size_t>(i - kDelay)]);
    return words;
  }
};

TEST_F(LateSound, InBlocksOf600_IsSilentThenMixedThenDecoded) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  EXPECT_EQ(held(*pipe), std::vector<int16_t>(600, 0));
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  EXPECT_EQ(held(*pipe), expected(600, 600));
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  EXPECT_EQ(held(*pipe), expected(1200, 600));
  EXPECT_EQ(pipe->audioPcm(0)->position, 1800);
}

TEST_F(LateSound, IsLongerByTheSilenceInItsDescription) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  auto const total = static_cast<int64_t>(sound_.size()) + kDelay;
  EXPECT_EQ(info["samples"].asInt64(), total);
  EXPECT_DOUBLE_EQ(info["aDuration"].asDouble(), static_cast<double>(total) / 48000);
  EXPECT_DOUBLE_EQ(info["duration"].asDouble(), static_cast<double>(total) / 48000);
  EXPECT_EQ(pipe->sampleCount(0), total);
}

TEST_F(LateSound, EverySampleIsThereForEveryBlockSize) {
  auto const all = expected(0, static_cast<int>(sound_.size()) + kDelay);
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  for (int block : {1, 17, 999, 1000, 1001, 48000})
    EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, block) == all) << "blocks of " << block;
}

TEST_F(LateSound, SeeksIntoTheSilenceGiveItsRest_SeeksPastItTheSound) {
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  for (int64_t at : {200, 0, 999, 1000, 1001, 800, 50000, 300}) {
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    EXPECT_EQ(pipe->audioPcm(0)->position, at);
    ASSERT_EQ(pipe->readSamples(1500, 0), 1500);
    EXPECT_TRUE(held(*pipe) == expected(at, 1500)) << "from " << at;
  }
}

TEST_F(LateSound, IsLeftAloneWhenTheAttributeSaysSo) {
  test::ScopedAttribute const fix("AVSyncFix", Any(0));
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->sampleCount(0), static_cast<int64_t>(sound_.size()));
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  EXPECT_EQ(held(*pipe), std::vector<int16_t>(sound_.begin(), sound_.begin() + 100));
}

TEST_F(LateSound, TheCorrectionIsSaid) {
  test::LogLines lines;
  PipePtr const pipe = openedAudio(file_);
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(lines.contains("]Audio stream 0 delayed 21ms, applying correction (1000 samples)"));
  EXPECT_TRUE(lines.contains("] Opening video in audio decoder instance to maintain AV Sync"));
}

}  // namespace
