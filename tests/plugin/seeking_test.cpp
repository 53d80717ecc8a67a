// Seeking in real files: limits, texts, and the new decoder for backward seeks in WMA.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/registry.h"
#include "mpegdecode/mpegindec.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

fs::path clip() {
  return test::made(
      "clip.mov",
      "-f lavfi -i testsrc2=s=64x64:r=25:d=2 -f lavfi -i sine=f=440:r=48000:d=2 -c:v libx264 -g "
      "12 -bf 2 -pix_fmt yuv420p -c:a pcm_s16be ");
}

// The inner decoder, asked for its own error texts.
std::unique_ptr<MpegInDec> innerOpened(fs::path const& file) {
  auto pipe = std::make_unique<MpegInDec>(test::module());
  EXPECT_EQ(pipe->init(), 0);
  EXPECT_EQ(pipe->setParam("filename", Any(file.string())), 0);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  return pipe;
}

TEST(SeekToFrame, TheFrameCount_IsOutOfRangeAndTheLastFrameIsNot) {
  auto const pipe = innerOpened(clip());
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  auto const hashes = test::frameHashes(clip());
  ASSERT_EQ(pipe->seekToFrame(20, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  for (int64_t frame : {int64_t{50}, int64_t{-1}, int64_t{1} << 32, INT64_MAX, INT64_MIN}) {
    EXPECT_EQ(pipe->seekToFrame(frame, 0), -1) << frame;
    EXPECT_STREQ(pipe->errorDesc(), "Position out of range in seekToFrame");
  }
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 20);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[20]);
  ASSERT_EQ(pipe->seekToFrame(49, 0), 0);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 49);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[49]);
  EXPECT_EQ(pipe->readFrame(0), -4);
}

TEST(SeekToFrame, PastTheEnd_FailsAndKeepsTheFramePending) {
  PipePtr const pipe = test::opened(clip());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(10, 0), 0);
  EXPECT_EQ(pipe->seekToFrame(1000, 0), -1);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 10);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 11);
}

TEST(SeekToFrame, TheTrace_SaysThatNothingWasRead) {
  ky_registry()->setDbgOption("log_progress", Any(1));
  PipePtr const pipe = test::opened(clip());
  ky_registry()->setDbgOption("log_progress", Any());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(10, 0), 0);
  test::LogLines lines;
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_TRUE(lines.hasAt(64, "mpegdec.readFrame: read not needed frame_nr=10"));
  EXPECT_TRUE(lines.hasAt(64, "mpegdec.readFrame: result=0, frame_nr=11"));
}

TEST(SeekToSample, OutOfRange_FailsAndKeepsThePosition) {
  auto const pipe = innerOpened(clip());
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(1234, 0), 0);
  for (int64_t sample : {int64_t{-1}, int64_t{96000}, INT64_MAX, INT64_MIN}) {
    EXPECT_EQ(pipe->seekToSample(sample, 0), -1) << sample;
    EXPECT_STREQ(pipe->errorDesc(), "Position out of range in seekToSample");
    EXPECT_EQ(pipe->audioPcm(0)->position, 1234);
  }
  EXPECT_EQ(pipe->seekToSample(95999, 0), 0);
  EXPECT_EQ(pipe->readSamples(10, 0), 1);
}

TEST(SeekToSample, AfterTheEnd_ReadsAgain) {
  PipePtr const pipe = test::opened(clip());
  ASSERT_TRUE(pipe);
  auto const first = test::readAllSamples<int16_t>(*pipe, 0, 1000);
  EXPECT_EQ(pipe->readSamples(1, 0), -4);
  EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, 1000) == first);
}

// Windows Media Audio made by an encoder that packs one block a packet.
class Wma : public testing::Test {
 protected:
  fs::path file_ =
      test::made("wma.asf", "-f lavfi -i \"aevalsrc=0.3*sin(440*t*t):s=44100:d=4\" -c:a wmav2 -b:a 96k ");
  static constexpr char kLine[] = "mpegdec: WMA audio seek workaround activated";
};

TEST_F(Wma, OnlyASeekBackFromAPlaceBehindTheStart_OpensTheStreamAnew) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  auto const reopens = [&](int64_t sample) {
    test::LogLines lines;
    EXPECT_EQ(pipe->seekToSample(sample, 0), 0) << pipe->errorDesc();
    EXPECT_EQ(pipe->audioPcm(0)->position, sample);
    EXPECT_TRUE(pipe->isSelected(kKindAudio, 0));
    return lines.hasAt(32, kLine);
  };
  EXPECT_FALSE(reopens(0));      // at 0
  EXPECT_FALSE(reopens(50000));  // forward
  EXPECT_FALSE(reopens(50000));  // the same place
  EXPECT_TRUE(reopens(49999));   // back
  EXPECT_TRUE(reopens(0));
  EXPECT_FALSE(reopens(1000));
  EXPECT_EQ(pipe->readSamples(100, 0), 100);
}

TEST_F(Wma, SeeksInBothDirections_EqualTheLinearReading) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  auto const linear = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  ASSERT_EQ(static_cast<int64_t>(linear.size()), test::info(*pipe, kKindAudio, 0)["samples"].asInt64());
  std::mt19937 random(9);
  for (int i = 0; i < 60; ++i) {
    auto const at = static_cast<int64_t>(random() % (linear.size() - 3000));
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    ASSERT_EQ(pipe->readSamples(3000, 0), 3000);
    auto const* const words = reinterpret_cast<int16_t const*>(pipe->audioPcm(0)->ptr());
    ASSERT_TRUE(std::equal(words, words + 3000, linear.begin() + at)) << at;
  }
}

TEST_F(Wma, ASoundIsWhereItWasRecorded) {
  fs::path const file = test::made(
      "click.asf", "-f lavfi -i \"aevalsrc='if(eq(n,10001),0.9,0)':s=44100:d=1\" -c:a wmav2 -b:a 192k ");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  auto const words = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  auto const loudest =
      std::max_element(words.begin(), words.end(), [](int a, int b) { return std::abs(a) < std::abs(b); });
  EXPECT_EQ(loudest - words.begin(), 10001);
}

TEST_F(Wma, AStreamThatCannotBeOpenedAgain_StaysClosed) {
  fs::path const file = test::scratchDir() / "vanishes.asf";
  fs::copy_file(file_, file, fs::copy_options::overwrite_existing);
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(50000, 0), 0);
  fs::remove(file);
  test::Failures failures;
  EXPECT_NE(pipe->seekToSample(100, 0), 0);
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(1469)",
                           "mpegdec: failed to reopen previously opened stream -> can't recover."));
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
}

// Program and transport streams, whose packets are found again by their content: silence repeats itself.
class RepeatedPackets : public testing::TestWithParam<char const*> {};

TEST_P(RepeatedPackets, SeeksIntoAndAroundSilence_EqualTheLinearReading) {
  fs::path const file =
      test::made(std::string("silence.") + GetParam(),
                 "-f lavfi -i testsrc2=s=64x64:r=25:d=9 -f lavfi -i "
                 "\"aevalsrc='if(between(t,2,7),0,0.5*sin(440*t*t))':s=48000:d=9\" -c:v mpeg2video "
                 "-g 12 -bf 2 -c:a mp2 -b:a 192k ");
  test::ScopedAttribute const fix("AVSyncFix", Any(0));
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  auto const linear = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  ASSERT_GT(linear.size(), 400000u);
  std::mt19937 random(12);
  for (int i = 0; i < 120; ++i) {
    // Most around the end of the silence.
    auto const at = static_cast<int64_t>(i % 2 ? random() % 400000 : 300000 + random() % 60000);
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    for (int block = 0; block < 3; ++block) {
      ASSERT_EQ(pipe->readSamples(9000, 0), 9000);
      auto const* const words = reinterpret_cast<int16_t const*>(pipe->audioPcm(0)->ptr());
      ASSERT_TRUE(std::equal(words, words + 9000, linear.begin() + at + block * 9000))
          << "block " << block << " after a seek to " << at;
    }
  }
}

TEST_P(RepeatedPackets, SeeksInStillPictures_GiveTheFramesAskedFor) {
  fs::path const file =
      test::made(std::string("still.") + GetParam(),
                 "-f lavfi -i color=gray:s=64x64:r=25:d=6 -vf "
                 "\"drawbox=w=32:h=32:c=white:t=fill:enable='gt(t,4)'\" -c:v mpeg2video -g 12 -bf 2 ");
  auto const hashes = test::frameHashes(file);
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->frameCount(0), static_cast<int>(hashes.size()));
  std::mt19937 random(13);
  for (int i = 0; i < 100; ++i) {
    size_t const n = random() % hashes.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0);
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), hashes[n]) << n;
  }
}

INSTANTIATE_TEST_SUITE_P(Containers, RepeatedPackets, testing::Values("ts", "mpg", "vob"),
                         [](auto const& parameter) { return std::string(parameter.param); });

// Sync samples that are none, as phones write them: the picture's own header counts.
class WrongSyncMarks : public testing::TestWithParam<char const*> {};

TEST_P(WrongSyncMarks, GiveThePicturesOfTheLinearReading) {
  std::string const codec = GetParam();
  fs::path const file = test::made(
      codec + ".3gp", "-f lavfi -i testsrc2=s=176x144:r=15:d=8 -c:v " + codec + " -bf 0 -g 40 -b:v 100k ");
  // The sync sample box renamed to free space: every picture then counts as marked.
  fs::path const unmarked = test::scratchDir() / (codec + "-unmarked.3gp");
  {
    std::ifstream in(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), {});
    size_t const box = bytes.find("stss");
    ASSERT_NE(box, std::string::npos);
    bytes.replace(box, 4, "free");
    std::ofstream(unmarked, std::ios::binary) << bytes;
  }
  auto const hashes = test::frameHashes(file);
  PipePtr const pipe = test::opened(unmarked);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["N"].asInt32(), 40);
  for (int n : {100, 3, 41, 39, 80, 119, 60}) {
    ASSERT_EQ(pipe->seekToFrame(n, 0), 0);
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), hashes[static_cast<size_t>(n)]) << n;
  }
}

INSTANTIATE_TEST_SUITE_P(Codecs, WrongSyncMarks, testing::Values("h263", "mpeg4"),
                         [](auto const& parameter) { return std::string(parameter.param); });

// Dither of AC-3 is that of the packet, wherever decoding began.
TEST(SeekToSample, InDolby_GivesTheSamplesOfTheLinearReading) {
  test::ScopedAttribute const tracker("dolbyMetadataTracker", Any(0));
  for (std::string const codec : {"ac3", "eac3"}) {
    fs::path const file = test::made(
        codec + ".mp4", "-f lavfi -i anoisesrc=a=0.2:r=48000:d=4:seed=1 -b:a 64k -c:a " + codec + " ");
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    auto const linear = test::readAllSamples<int32_t>(*pipe, 0, 4096);
    std::mt19937 random(15);
    for (int i = 0; i < 60; ++i) {
      auto const at = static_cast<int64_t>(random() % (linear.size() - 3000));
      ASSERT_EQ(pipe->seekToSample(at, 0), 0);
      ASSERT_EQ(pipe->readSamples(3000, 0), 3000);
      auto const* const words = reinterpret_cast<int32_t const*>(pipe->audioPcm(0)->ptr());
      ASSERT_TRUE(std::equal(words, words + 3000, linear.begin() + at)) << codec << " at " << at;
    }
  }
}

// A recording that was cut anywhere: what cannot be decoded at its ends is not counted.
TEST(Counting, OfACutDolbyStream_IsWhatTheIndependentDecodeGives) {
  test::ScopedAttribute const tracker("dolbyMetadataTracker", Any(0));
  fs::path const whole =
      test::made("whole.ac3", "-f lavfi -i anoisesrc=a=0.2:r=48000:d=2:seed=1 -b:a 192k -c:a ac3 ");
  std::ifstream in(whole, std::ios::binary);
  std::string const bytes((std::istreambuf_iterator<char>(in)), {});
  for (size_t cut : {size_t{0}, size_t{300}, size_t{700}}) {
    fs::path const part = test::scratchDir() / ("cut" + std::to_string(cut) + ".ac3");
    std::ofstream(part, std::ios::binary) << bytes.substr(0, bytes.size() - cut);
    fs::path const file =
        test::made("cut" + std::to_string(cut) + ".ts", "-i " + test::quoted(part) + " -c copy ");
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["samples"].asInt64(),
              static_cast<int64_t>(test::samples(file, 0, "f32le").size() / 4))
        << cut;
  }
}

}  // namespace
