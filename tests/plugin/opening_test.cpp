// Decoders of single streams: output format, blanking lines, threads, pass-through, sample formats.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
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

// MPEG-2 4:2:2 intra pictures with the vertical blanking in their upper lines.
fs::path imx(int lines) {
  return test::made("imx" + std::to_string(lines) + ".mov",
                    "-f lavfi -i testsrc2=s=720x" + std::to_string(lines) +
                        ":r=" + (lines == 608 ? "25" : "30000/1001") +
                        ":d=0.4 -c:v mpeg2video -pix_fmt yuv422p -g 1 -qscale:v 2 -intra_vlc 1 "
                        "-flags +ildct -top 1 -dc 10 ");
}

struct Blanking {
  int coded, shown;
};

class ImxBlanking : public testing::TestWithParam<Blanking> {};

TEST_P(ImxBlanking, IsLeftOutOfTheFramesOnRequest) {
  auto const [coded, shown] = GetParam();
  PipePtr const pipe = test::opened(imx(coded), AnyDict("removeIMXTopBlanking", true));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["height"].asInt32(), shown);
  EXPECT_EQ(info["encodedHeight"].asInt32(), coded);
  EXPECT_EQ(test::readAllFrames(*pipe, 0),
            test::frameHashes(imx(coded), "-vf crop=720:" + std::to_string(shown) +
                                              ":0:" + std::to_string(coded - shown) + " -pix_fmt yuyv422"));
  EXPECT_EQ(pipe->videoFrame(0)->height(), shown);
  ASSERT_EQ(pipe->seekToFrame(3, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->height(), shown);
}

TEST_P(ImxBlanking, StaysWithoutTheRequest) {
  auto const [coded, shown] = GetParam();
  PipePtr const pipe = test::opened(imx(coded));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["height"].asInt32(), coded);
  EXPECT_EQ(info["encodedHeight"].asInt32(), coded);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), test::frameHashes(imx(coded), "-pix_fmt yuyv422"));
}

TEST_P(ImxBlanking, StaysInFramesOf420) {
  int const coded = GetParam().coded;
  PipePtr const pipe = test::opened(imx(coded), AnyDict("removeIMXTopBlanking", true, "FOURCC", "I420"));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["height"].asInt32(), coded);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->height(), coded);
  EXPECT_TRUE(pipe->videoFrame(0)->is420());
}

INSTANTIATE_TEST_SUITE_P(Sizes, ImxBlanking, testing::Values(Blanking{608, 576}, Blanking{512, 486}),
                         [](auto const& parameter) { return std::to_string(parameter.param.coded); });

TEST(ImxBlanking, OtherPicturesOfThatHeightKeepTheirLines) {
  fs::path const file =
      test::made("tall420.mov",
                 "-f lavfi -i testsrc2=s=720x608:r=25:d=0.4 -c:v mpeg2video -pix_fmt yuv420p "
                 "-g 1 -qscale:v 2 ");
  PipePtr const pipe = test::opened(file, AnyDict("removeIMXTopBlanking", true));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["height"].asInt32(), 608);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), test::frameHashes(file));
}

fs::path h264() {
  return test::made("h264.mp4", "-f lavfi -i testsrc2=s=64x64:r=25:d=0.6 -c:v libx264 -pix_fmt yuv420p ");
}

uint32_t outputOf(fs::path const& file, AnyDict const& parameters = {}) {
  PipePtr const pipe = test::opened(file, parameters);
  if (!pipe || pipe->selectStream(kKindVideo, 0) != 0 || pipe->readFrame(0) != 0) return 0;
  return pipe->videoFrame(0)->fourcc();
}

TEST(OutputFormat, FollowsChromaAndDepth) {
  auto const coded = [](std::string const& format) {
    return test::made(format + ".mp4",
                      "-f lavfi -i testsrc2=s=64x64:r=25:d=0.2 -c:v libx264 -pix_fmt " + format + " ");
  };
  EXPECT_EQ(outputOf(coded("yuv420p")), kyFourcc("I420"));
  EXPECT_EQ(outputOf(coded("yuv422p")), kyFourcc("YUYV"));
  EXPECT_EQ(outputOf(coded("yuv444p")), kyFourcc("BGR4"));
  EXPECT_EQ(outputOf(coded("yuv420p10le")), kyFourcc("W016"));
  EXPECT_EQ(outputOf(coded("yuv422p10le")), kyFourcc("Y216"));
}

TEST(OutputFormat, ARequestForB64a_GivesY216) {
  EXPECT_EQ(outputOf(h264(), AnyDict("FOURCC", "b64a")), kyFourcc("Y216"));
  EXPECT_EQ(outputOf(h264(), AnyDict("FOURCC", static_cast<int>(kyFourcc("b64a")))), kyFourcc("Y216"));
}

TEST(OutputFormat, OtherRequestsAreMet) {
  for (char const* wanted : {"I420", "YUYV", "BGR4", "Y216", "W016"}) {
    uint32_t fourcc = 0;
    std::memcpy(&fourcc, wanted, 4);
    EXPECT_EQ(outputOf(h264(), AnyDict("FOURCC", wanted)), fourcc) << wanted;
  }
}

TEST(OutputFormat, ThatNobodyCanWrite_FailsTheOpening) {
  PipePtr const pipe = test::pipeFor(h264());
  pipe->setParam("FOURCC", "abcd");
  EXPECT_NE(pipe->open(), 0);
  EXPECT_STREQ(pipe->errorDesc(), "No video/audio streams can be decoded.");
}

// Lines about threads that opening writes, each without its bracketed name.
std::vector<std::string> threadLines(fs::path const& file, AnyDict const& parameters = {}) {
  test::LogLines log;
  PipePtr const pipe = test::opened(file, parameters);
  std::vector<std::string> lines;
  for (auto const& line : log.lines) {
    size_t const end = line.text.find("] ");
    std::string const text = end == std::string::npos ? line.text : line.text.substr(end + 2);
    if (text.starts_with("SET_NUM_CPU") || text.starts_with("SMP_MODE")) lines.push_back(text);
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST(Threads, AreChosenByTheCodec) {
  auto const coded = [](std::string const& codec, std::string const& suffix) {
    return test::made("threads_" + codec + "." + suffix,
                      "-f lavfi -i testsrc2=s=64x64:r=25:d=0.4 -pix_fmt yuv420p -c:v " + codec + " ");
  };
  EXPECT_EQ(threadLines(coded("libx264", "mp4")), Lines{"SET_NUM_CPU=2"});
  EXPECT_EQ(threadLines(coded("libx265", "mp4")), (Lines{"SMP_MODE=SMP by pictures", "SET_NUM_CPU=1"}));
  EXPECT_EQ(threadLines(coded("mpeg2video", "ts")), Lines{"SET_NUM_CPU=1"});
  EXPECT_EQ(threadLines(coded("mpeg1video", "mpg")), Lines{"SET_NUM_CPU=1"});
  EXPECT_EQ(threadLines(coded("mpeg4", "mp4")), Lines{});
}

TEST(Threads, AreThoseThatTheHostSets) {
  EXPECT_EQ(threadLines(h264(), AnyDict("numThreads", 5)), Lines{"SET_NUM_CPU=5"});
  EXPECT_EQ(threadLines(h264(), AnyDict("smpMode", 0)), (Lines{"SMP_MODE=NONE", "SET_NUM_CPU=2"}));
  EXPECT_EQ(threadLines(h264(), AnyDict("smpMode", 1)), (Lines{"SMP_MODE=SMP by pictures", "SET_NUM_CPU=2"}));
  EXPECT_EQ(threadLines(h264(), AnyDict("smpMode", 2)), (Lines{"SMP_MODE=SMP by slices", "SET_NUM_CPU=2"}));
  EXPECT_EQ(threadLines(h264(), AnyDict("smpMode", 9)), (Lines{"SMP_MODE=UNKNOWN", "SET_NUM_CPU=2"}));
}

TEST(ForcedRate, IsSaid) {
  for (int mode : {1, 2}) {
    test::LogLines log;
    PipePtr const pipe = test::opened(h264(), AnyDict("openParameters", AnyDict("forceFramerate", mode)));
    ASSERT_TRUE(pipe);
    EXPECT_TRUE(log.has(std::string("[mpegindec] Video forcing ") + (mode == 1 ? "container" : "stream") +
                        " frame-rate mode."));
  }
}

struct PassedThrough {
  char const *codec, *name, *options;
};

class PassThrough : public testing::TestWithParam<PassedThrough> {
 protected:
  fs::path file_ = test::made(std::string("pass.") + GetParam().codec + ".ts",
                              "-f lavfi -i \"aevalsrc=0.3*sin(440*t)|0.3*cos(440*t):s=48000:d=1\" " +
                                  std::string(GetParam().options));
  PipePtr forced() const {
    PipePtr pipe = test::opened(file_, AnyDict("openParameters", AnyDict("forceAudioSmartRender", 1)));
    if (pipe) {
      EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    }
    return pipe;
  }
};

TEST_P(PassThrough, Forced_IsNeverDecodedAlthoughADecoderExists) {
  test::LogLines log;
  // The inner decoder, whose error texts the plug-in's decoder does not pass on.
  auto const pipe = std::make_unique<MpegInDec>(test::module());
  ASSERT_EQ(pipe->init(), 0);
  pipe->setParam("filename", Any(file_.string()));
  pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", 1));
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_TRUE(
      log.hasAt(32, std::string("Begin audio pass through without ") + GetParam().name + " decoder."));
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["codec"].asString(), GetParam().name);
  EXPECT_EQ(pipe->readSamples(100, 0), -1);
  std::string const text = pipe->errorDesc();
  EXPECT_TRUE(text.ends_with("] Cannot read audio samples, for stream 0. Smart rendering only mode")) << text;
}

TEST_P(PassThrough, SeekingSucceedsWithoutTheLibrary) {
  PipePtr const pipe = forced();
  ASSERT_TRUE(pipe);
  for (int64_t sample : {20000, 0, 47000}) {
    EXPECT_EQ(pipe->seekToSample(sample, 0), 0) << pipe->errorDesc();
    EXPECT_EQ(pipe->audioPcm(0)->position, sample);
  }
  EXPECT_EQ(pipe->seekToSample(10 << 20, 0), -1);
}

TEST_P(PassThrough, UnforcedIsDecoded) {
  test::ScopedAttribute const tracker("dolbyMetadataTracker", Any(0));
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->readSamples(100, 0), 100) << pipe->errorDesc();
}

INSTANTIATE_TEST_SUITE_P(Codecs, PassThrough,
                         testing::Values(PassedThrough{"ac3", "Dolby", "-c:a ac3 "},
                                         PassedThrough{"dts", "DTS", "-c:a dca -strict -2 "}),
                         [](auto const& parameter) { return std::string(parameter.param.codec); });

class AacWords : public testing::Test {
 protected:
  fs::path file_ = test::made(
      "words.mp4", "-f lavfi -i \"aevalsrc=0.3*sin(440*t)|0.3*cos(440*t):s=48000:d=1\" -c:a aac -aac_pns 0 ");
};

TEST_F(AacWords, Code7GivesThreeBytes) {
  test::ScopedAttribute const preferred("preferredSampleFormat", Any(7));
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["bitsPerSample"].asInt32(), 24);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 3);
  EXPECT_TRUE(test::readAllSamples<uint8_t>(*pipe, 0, 1000) == test::samples(file_, 0, "s24le"));
}

TEST_F(AacWords, Code3KeepsTwo) {
  test::ScopedAttribute const preferred("preferredSampleFormat", Any(3));
  test::LogLines log;
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  EXPECT_FALSE(log.contains("Failed to set preferred sample format"));
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["bitsPerSample"].asInt32(), 16);
  EXPECT_TRUE(test::readAllSamples<uint8_t>(*pipe, 0, 1000) == test::samples(file_, 0, "s16le"));
}

TEST_F(AacWords, OtherCodesAreAnAssertionFailureAndKeepTwo) {
  test::ScopedAttribute const preferred("preferredSampleFormat", Any(5));
  test::LogLines log;
  test::Failures failures;
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  ASSERT_FALSE(failures.seen.empty());
  EXPECT_EQ(failures.seen[0].text, "mpegdec: unsupported sample format for AAC");
  EXPECT_TRUE(log.contains("[mpegdec] Failed to set preferred sample format"));
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["bitsPerSample"].asInt32(), 16);
}

}  // namespace
