// What the decoder asks of the import library, and what it makes of answers that no made file brings about.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"
#include "mpegdecode/mpegindec.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"

namespace {

// Answers in place of the library where they give a value.
struct Answers {
  std::function<std::optional<int>(MpegIn&)> open;
  std::function<std::optional<int>(int frame)> seekFrame;
  std::function<std::optional<int>(int64_t sample)> seekSample;
  std::function<std::optional<int>(int count)> nextSample;
};
Answers answers;

template <class Function>
Function library(char const* name, Function) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

int mpegInOpen(MpegIn* instance, char const* name) {
  if (answers.open)
    if (auto const answer = answers.open(*instance)) return *answer;
  return library("mpegInOpen", &mpegInOpen)(instance, name);
}

int mpegInSeekFrame(MpegIn* instance, int frame) {
  if (answers.seekFrame)
    if (auto const answer = answers.seekFrame(frame)) return *answer;
  return library("mpegInSeekFrame", &mpegInSeekFrame)(instance, frame);
}

int mpegInSeekSample64(MpegIn* instance, int reserved1, int64_t sample, int reserved2) {
  if (answers.seekSample)
    if (auto const answer = answers.seekSample(sample)) return *answer;
  return library("mpegInSeekSample64", &mpegInSeekSample64)(instance, reserved1, sample, reserved2);
}

int mpegInGetNextSample(MpegIn* instance, void* buffer, int count) {
  if (answers.nextSample)
    if (auto const answer = answers.nextSample(count)) return *answer;
  return library("mpegInGetNextSample", &mpegInGetNextSample)(instance, buffer, count);
}

namespace {

namespace fs = std::filesystem;

class LibraryAnswers : public testing::Test {
 protected:
  void SetUp() override { answers = {}; }
  void TearDown() override { answers = {}; }

  static std::unique_ptr<MpegInDec> pipeFor(fs::path const& file) {
    auto pipe = std::make_unique<MpegInDec>(test::module());
    EXPECT_EQ(pipe->init(), 0);
    EXPECT_EQ(pipe->setParam("filename", Any(file.string())), 0);
    return pipe;
  }
  static std::unique_ptr<MpegInDec> opened(fs::path const& file) {
    auto pipe = pipeFor(file);
    EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
    return pipe;
  }
};

fs::path twoPictures() {
  return test::made(
      "two.mov",
      "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i testsrc2=s=96x64:r=25:d=1 -map 0 -map 1 "
      "-c:v mpeg2video ");
}

TEST_F(LibraryAnswers, AFirstVideoStreamThatCannotBeOpened_IsLeftOut) {
  answers.open = [](MpegIn& instance) {
    return instance.set.videoStream == 1 ? std::optional(static_cast<int>(kMpegErrorNoDecoder))
                                         : std::nullopt;
  };
  auto const pipe = opened(twoPictures());
  ASSERT_EQ(pipe->countStreams(kKindVideo), 1);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["width"].asInt32(), 96);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->width(), 96);
}

TEST_F(LibraryAnswers, AFirstPictureThatCannotBeDecoded_FailsItsStream) {
  answers.seekFrame = [](int) { return static_cast<int>(kMpegError); };
  auto const pipe = pipeFor(twoPictures());
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_STREQ(pipe->errorDesc(), "No video/audio streams can be decoded.");
}

TEST_F(LibraryAnswers, TheEndInASeek_IsTheEndAndNoError) {
  auto const pipe = opened(twoPictures());
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(3, 0), 0);
  answers.seekFrame = [](int) { return static_cast<int>(kMpegEndOfStream); };
  EXPECT_EQ(pipe->seekToFrame(20, 0), -4);
  EXPECT_STREQ(pipe->errorDesc(), "EOF in SeekToFrame");
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 3);
  EXPECT_EQ(pipe->readFrame(0), 0);  // the frame of the seek before is still there
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 3);
}

// 500 samples of silence stand before the sound, so that the library counts from there.
TEST_F(LibraryAnswers, SeeksBehindLeadingSilence_CountFromTheSound) {
  fs::path const file =
      test::made("late500.ts",
                 "-f lavfi -i testsrc2=s=64x64:r=100:d=2 -f lavfi -i sine=r=48000:d=2 -c:v mpeg2video -bf 0 "
                 "-strict -2 -c:a mp2 -bsf:v setts=ts=N*900 -bsf:a setts=ts=N*2160+937.5 ");
  auto const pipe = opened(file);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  test::ScopedAttribute const plain("AVSyncFix", Any(0));
  auto const uncorrected = opened(file);
  int64_t const silence = test::info(*pipe, kKindAudio, 0)["samples"].asInt64() -
                          test::info(*uncorrected, kKindAudio, 0)["samples"].asInt64();
  ASSERT_GT(silence, 400);
  std::vector<int64_t> asked;
  answers.seekSample = [&](int64_t sample) {
    asked.push_back(sample);
    return std::optional<int>();
  };
  EXPECT_EQ(pipe->seekToSample(200, 0), 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 200);
  EXPECT_EQ(pipe->seekToSample(silence + 300, 0), 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, silence + 300);
  EXPECT_EQ(asked, (std::vector<int64_t>{0, 300}));
}

TEST_F(LibraryAnswers, FewerSamplesThanAskedFor_AreTheEndWithTheSamplesInTheBuffer) {
  fs::path const file = test::made("short.wav", "-f lavfi -i sine=r=48000:d=0.5 -c:a pcm_s16le ");
  auto const pipe = opened(file);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  std::vector<int> given = {700, 0};
  answers.nextSample = [&](int) {
    int const answer = given.front();
    given.erase(given.begin());
    return std::optional(answer);
  };
  EXPECT_EQ(pipe->readSamples(1000, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 700);
  EXPECT_EQ(pipe->readSamples(1000, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST_F(LibraryAnswers, AFailedReadOfSamples_IsAnError) {
  auto const pipe = opened(test::made("fail.wav", "-f lavfi -i sine=r=48000:d=0.5 -c:a pcm_s16le "));
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  answers.nextSample = [](int) { return static_cast<int>(kMpegError); };
  EXPECT_EQ(pipe->readSamples(100, 0), -1);
  EXPECT_STREQ(pipe->errorDesc(), "Read sample failed");
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST_F(LibraryAnswers, DtsWithoutADecoder_IsPassedThroughAndSeeksWithoutTheLibrary) {
  fs::path const file = test::made("plain.dts.ts", "-f lavfi -i sine=r=48000:d=1 -ac 2 -c:a dca -strict -2 ");
  answers.open = [](MpegIn& instance) {
    return instance.smartRenderOnly ? std::nullopt : std::optional(static_cast<int>(kMpegErrorNoDecoder));
  };
  test::LogLines log;
  auto const pipe = opened(file);
  EXPECT_TRUE(log.hasAt(32, "Begin audio pass through without DTS decoder."));
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->readSamples(100, 0), -1);
  EXPECT_TRUE(std::string(pipe->errorDesc())
                  .ends_with("] Cannot read audio samples, for stream 0. Smart rendering only mode"));
  int seeks = 0;
  answers.seekSample = [&](int64_t) {
    ++seeks;
    return std::optional<int>();
  };
  EXPECT_EQ(pipe->seekToSample(20000, 0), 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 20000);
  EXPECT_EQ(seeks, 0);
}

TEST_F(LibraryAnswers, SoundWithoutADecoderThatIsNeitherDolbyNorDts_IsLeftOut) {
  fs::path const file = test::made(
      "beside.mov", "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i sine=d=1 -c:v mpeg2video -c:a aac ");
  answers.open = [](MpegIn& instance) {
    return instance.set.videoStream ? std::nullopt : std::optional(static_cast<int>(kMpegErrorNoDecoder));
  };
  auto const pipe = opened(file);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 0);
}

TEST(QuickTime, WithSoundAlone_IsRefusedAndOpensInAnotherContainer) {
  std::string const sound = "-f lavfi -i sine=r=48000:d=0.5 -c:a pcm_s16be ";
  auto const refused = std::make_unique<MpegInDec>(test::module());
  ASSERT_EQ(refused->init(), 0);
  refused->setParam("filename", Any(test::made("sound.mov", sound).string()));
  EXPECT_EQ(refused->open(), -1);
  EXPECT_STREQ(refused->errorDesc(), "No video streams found in '.mov' file, giving up.");
  EXPECT_EQ(refused->countStreams(kKindAudio), 0);
  auto const pipe = test::opened(test::made("sound.aiff", sound));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

TEST(UnknownStreams, AreRefusedUnlessTheyAreToBeIgnored) {
  fs::path const file =
      test::made("unknown.mkv",
                 "-f lavfi -i testsrc2=s=64x64:r=25:d=0.4 -f lavfi -i "
                 "testsrc2=s=64x64:r=25:d=0.4 -map 0 -map 1 -c:v:0 mpeg2video -c:v:1 ffv1 ");
  auto const refused = std::make_unique<MpegInDec>(test::module());
  ASSERT_EQ(refused->init(), 0);
  refused->setParam("filename", Any(file.string()));
  EXPECT_EQ(refused->open(), -1);
  EXPECT_STREQ(refused->errorDesc(), "Found 1 unknown video streams, giving up.");
  auto const pipe = test::opened(file, AnyDict("openParameters", AnyDict("ignoreUnknownStreams", 1)));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
}

}  // namespace
