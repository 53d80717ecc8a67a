// MP4 and MOV files of the usual codecs, through the plug-in, against the decode of the `ffmpeg` program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

using test::PipePtr;

std::filesystem::path madeFile(std::string const& name) {
  static std::string const pictures = "-f lavfi -i testsrc2=s=322x242:r=25:d=5 ";
  static std::string const stereo =
      "-f lavfi -i aevalsrc=\"0.4*sin(440*2*PI*t)|0.3*sin(3.3*t*t*300)\":s=44100:d=5 ";
  static std::string const quiet =
      "-f lavfi -i "
      "aevalsrc=\"0.4*sin(440*2*PI*t)+0.0004*random(0)|0.3*sin(660*2*PI*t)+0.0004*random(1)\":s=44100:d=5 ";
  static std::string const h264 =
      "-c:v libx264 -preset veryfast -x264-params "
      "keyint=24:min-keyint=24:bframes=3:b-pyramid=normal:open-gop=1:scenecut=0 ";
  static std::string const hevc =
      "-c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=30:open-gop=1:bframes=3 "
      "-pix_fmt yuv420p10le -tag:v hvc1 ";
  // Noise substitution leaves bands to the decoder's random numbers, which depend on all packets before.
  static std::string const aac = "-c:a aac -b:a 96k ";
  static std::string const aacWithoutNoise = aac + "-aac_pns 0 ";
  if (name == "h264.mp4" || name == "h264.mov")
    return test::made(name, pictures + stereo + h264 + aacWithoutNoise);
  if (name == "hevc10.mp4" || name == "hevc10.mov") return test::made(name, pictures + quiet + hevc + aac);
  if (name == "cut.mp4" || name == "cut.mov") {
    // A cut between key pictures: the file starts earlier than its edit list shows.
    std::string const whole = test::quoted(madeFile("h264." + name.substr(4)));
    return test::made(name, "-ss 1.33 -i " + whole + " -c copy ");
  }
  throw std::runtime_error("unknown file " + name);
}

std::vector<std::string> references(std::string const& name, std::filesystem::path const& file) {
  if (!name.starts_with("hevc10")) return test::frameHashes(file);
  // Delivered as 16-bit words with the value in the upper bits.
  std::vector<uint8_t> bytes = test::rawPictures(file, "yuv420p10le");
  auto* const words = reinterpret_cast<uint16_t*>(bytes.data());
  for (size_t i = 0; i < bytes.size() / 2; ++i) words[i] = static_cast<uint16_t>(words[i] << 6);
  size_t const pictureBytes = (322 * 242 + 2 * 161 * 121) * 2;
  std::vector<std::string> hashes;
  for (size_t at = 0; at + pictureBytes <= bytes.size(); at += pictureBytes)
    hashes.push_back(test::md5(std::span(bytes).subspan(at, pictureBytes)));
  return hashes;
}

class CodecFile : public testing::TestWithParam<char const*> {
 protected:
  std::string name_ = GetParam();
  std::filesystem::path file_ = madeFile(name_);
};

TEST_P(CodecFile, EveryFrameAndRandomSeeksEqualTheIndependentDecode) {
  auto const expected = references(name_, file_);
  ASSERT_GT(expected.size(), 50u);
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frames"].asInt32(), static_cast<int>(expected.size()));
  EXPECT_EQ(test::readAllFrames(*pipe, 0), expected);
  std::mt19937 random(30);
  for (int i = 0; i < 200; ++i) {
    size_t const n = random() % expected.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(pipe->readFrame(0), 0) << n;
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected[n]) << n;
  }
}

TEST_P(CodecFile, ThreadsByPicturesAndBySlicesGiveTheSameFrames) {
  auto const expected = references(name_, file_);
  for (int mode : {0, 1, 2}) {
    for (int threads : {1, 2, 3, 8}) {
      SCOPED_TRACE("mode " + std::to_string(mode) + ", " + std::to_string(threads) + " threads");
      PipePtr const pipe = test::opened(file_, AnyDict("smpMode", mode, "numThreads", threads));
      ASSERT_TRUE(pipe);
      ASSERT_EQ(test::readAllFrames(*pipe, 0), expected);
      for (size_t n : {size_t{70}, size_t{3}, expected.size() - 1, size_t{24}}) {
        ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0);
        ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected[n]) << n;
      }
    }
  }
}

TEST_P(CodecFile, EverySampleEqualsTheIndependentDecode) {
  auto const bytes = test::samples(file_, 0, "s16le");
  auto const* const words = reinterpret_cast<int16_t const*>(bytes.data());
  std::vector<int16_t> const expected(words, words + bytes.size() / sizeof(int16_t));
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  AnyDict const description = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(description["codec"].asString(), "AAC");
  EXPECT_EQ(description["samples"].asInt64(), static_cast<int64_t>(expected.size() / 2));
  for (int block : {1, 17, 1024, 48000})
    ASSERT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, block) == expected) << "blocks of " << block;
}

// Over 50 random seeks into [from, to).
int largestDifferenceAfterSeeks(KyDecodePipe& pipe, std::vector<int16_t> const& linear, int64_t from,
                                int64_t to) {
  std::mt19937 random(31);
  int largest = 0;
  for (int i = 0; i < 50; ++i) {
    int64_t const at = from + static_cast<int64_t>(random()) % (to - from);
    int const want = static_cast<int>(std::min<int64_t>(3000, to - at));
    EXPECT_EQ(pipe.seekToSample(at, 0), 0);
    EXPECT_EQ(pipe.readSamples(want, 0), want);
    auto const* const got = reinterpret_cast<int16_t const*>(pipe.audioPcm(0)->ptr());
    for (int k = 0; k < want * 2; ++k)
      largest = std::max(largest, std::abs(got[k] - linear[static_cast<size_t>(at * 2 + k)]));
  }
  return largest;
}

TEST_P(CodecFile, SampleSeeksContinueTheLinearReading) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  auto const expected = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  EXPECT_EQ(largestDifferenceAfterSeeks(*pipe, expected, 0, static_cast<int64_t>(expected.size()) / 2), 0);
}

INSTANTIATE_TEST_SUITE_P(Files, CodecFile,
                         testing::Values("h264.mp4", "h264.mov", "cut.mp4", "cut.mov", "hevc10.mp4",
                                         "hevc10.mov"),
                         [](auto const& parameter) {
                           std::string name = parameter.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

TEST(ElementaryStreams, WithoutStampsAreInPresentationOrderAlsoAfterSeeks) {
  std::string const pictures = "-f lavfi -i testsrc2=s=322x242:r=25:d=3 ";
  for (auto const& [name, options] :
       {std::pair("open.h264", "-c:v libx264 -x264-params keyint=20:open-gop=1:bframes=3:b-pyramid=normal"),
        std::pair("closed.h264", "-c:v libx264 -x264-params keyint=20:bframes=2"),
        std::pair("open.hevc", "-c:v libx265 -x265-params log-level=none:keyint=20:open-gop=1"),
        std::pair("plain.m2v", "-c:v mpeg2video -bf 2 -g 12")}) {
    SCOPED_TRACE(name);
    auto const file = test::made(name, pictures + options);
    auto const expected = test::frameHashes(file);
    ASSERT_EQ(expected.size(), 75u);
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    ASSERT_EQ(test::readAllFrames(*pipe, 0), expected);
    std::mt19937 random(32);
    for (int i = 0; i < 40; ++i) {
      size_t const n = random() % expected.size();
      ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0);
      ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected[n]) << n;
    }
  }
}

// An encoder may leave noise to the decoder, whose generator runs on through the whole stream.
TEST(LongAac, SeeksAreExactAlsoInSubstitutedNoise) {
  auto const file = test::made("long.m4a",
                               "-f lavfi -i anoisesrc=d=40:r=48000:a=0.01:seed=7 -f lavfi -i "
                               "sine=330:d=40:r=48000 -filter_complex amerge=inputs=2 -c:a aac -b:a 48k");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  auto const linear = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  EXPECT_EQ(largestDifferenceAfterSeeks(*pipe, linear, 0, static_cast<int64_t>(linear.size()) / 2), 0);
}

}  // namespace
