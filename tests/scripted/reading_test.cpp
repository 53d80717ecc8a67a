// Reading pictures and samples: failures and what they leave.
#include <cstring>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

// The library carries numbers: of pictures in their first bytes, of samples in every word.
int shownPicture(KyDecodePipe& pipe) {
  int number = -1;
  std::memcpy(&number, pipe.videoFrame(0)->pixelPtr(0, 0, 0), sizeof number);
  return number;
}

std::vector<int16_t> held(KyDecodePipe& pipe) {
  KyPcm const& pcm = *pipe.audioPcm(0);
  auto const* const words = reinterpret_cast<int16_t const*>(pcm.ptr());
  std::vector<int16_t> first;
  for (int i = 0; i < pcm.nSamples; ++i) first.push_back(words[i * pcm.channels()]);
  return first;
}

std::vector<int16_t> numbers(int from, int count) {
  std::vector<int16_t> expected;
  for (int i = 0; i < count; ++i) expected.push_back(static_cast<int16_t>(from + i));
  return expected;
}

class Reading : public BothHandlers {
 protected:
  Reading() {
    library.addVideo();
    library.addAudio(kAudioAmr);
  }
  void openedAndSelected() {
    opened();
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  }
};

TEST_P(Reading, ClosedFails) {
  ready();
  EXPECT_EQ(pipe->readFrame(0), -1);
  expectError(-1, "stream not opened");
  pipe->setError(0, "%s", "");
  EXPECT_EQ(pipe->readSamples(10, 0), -1);
  expectError(-1, "stream not opened");
  EXPECT_EQ(pipe->readSamples(0, 0), 0);
  EXPECT_EQ(pipe->readSamples(0, 99), 0);
  expectNoFailure();
}

TEST_P(Reading, PicturesOfAStreamThatIsNotSelected_IsAnAssertionFailure) {
  opened();
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->readFrame(index); });
    EXPECT_EQ(result.value_or(-1), -1);
    expectAssertion("./mpegdecode/mpegindec(1146)",
                    "mpegdec.seekToFrame: invalid stream no or stream not selected");
  }
}

TEST_P(Reading, SamplesOfAStreamThatIsNotSelected_IsAnAssertionFailure) {
  opened();
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->readSamples(1, index); });
    EXPECT_EQ(result.value_or(-1), -1);
    expectAssertion("./mpegdecode/mpegindec(1356)",
                    "mpegdec.readSamples: invalid stream no or stream not selected");
  }
}

TEST_P(Reading, APictureThatTheLibraryRefuses_FailsAndKeepsItsNumber) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToFrame(7, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  for (int code : {-1, 1, -104}) {
    library.give(kNextFrame, code);
    EXPECT_EQ(pipe->readFrame(0), -1);
    expectError(-1, "Error in readFrame");
    EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 7);
    EXPECT_EQ(shownPicture(*pipe), 7);
  }
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 11) << "each of the three at its own place";
  expectNoFailure();
}

TEST_P(Reading, APictureWhoseDecodingRaises_FailsLikewise) {
  openedAndSelected();
  ASSERT_EQ(pipe->readFrame(0), 0);
  library.raise(kNextFrame);
  EXPECT_EQ(pipe->readFrame(0), -1);
  expectError(-1, "Error in readFrame");
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 2);
}

TEST_P(Reading, PastTheLastPicture_IsTheEndWithoutAnError) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToFrame(99, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->readFrame(0), -4);
  expectError(0, "");
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 99);
}

TEST_P(Reading, SamplesThatTheLibraryRefuses_FailsWithAnEmptyBuffer) {
  openedAndSelected();
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  for (bool raises : {false, true}) {
    if (raises)
      library.raise(kNextSample);
    else
      library.give(kNextSample, -1);
    EXPECT_EQ(pipe->readSamples(100, 0), -1);
    expectError(-1, "Read sample failed");
    EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
    EXPECT_EQ(pipe->audioPcm(0)->position, 100);
    EXPECT_FALSE(stateOf(audioOf(*pipe, 0)).endOfStream);
  }
  EXPECT_EQ(pipe->readSamples(100, 0), 100);
  EXPECT_EQ(held(*pipe), numbers(100, 100));
  expectNoFailure();
}

TEST_P(Reading, SamplesOfAFileThatEndsEarly_IsTheEndWithWhatWasRead) {
  openedAndSelected();
  library.give(kNextSample, 30);
  EXPECT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_EQ(held(*pipe), numbers(0, 30));
  EXPECT_EQ(pipe->audioPcm(0)->position, 30);
  EXPECT_TRUE(stateOf(audioOf(*pipe, 0)).endOfStream);
  library.give(kNextSample, 0);
  EXPECT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
  expectError(0, "");
}

TEST_P(Reading, MoreSamplesThanAreLeft_IsClippedThenTheEnd) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToSample(99950, 0), 0);
  EXPECT_EQ(pipe->readSamples(100, 0), 50);
  EXPECT_EQ(lastInstance().reads.back(), 50);
  size_t const asked = lastInstance().reads.size();
  EXPECT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(lastInstance().reads.size(), asked);
  EXPECT_TRUE(stateOf(audioOf(*pipe, 0)).endOfStream);
}

TEST_P(Reading, MoreSamplesThanFit_GivesTheCapacity) {
  openedAndSelected();
  EXPECT_EQ(pipe->readSamples(90000, 0), 48000);
}

TEST_P(Reading, SamplesIntoABufferWithoutRoom_IsTheEnd) {
  openedAndSelected();
  pipe->audioPcm(0)->capacity = 0;
  EXPECT_EQ(pipe->readSamples(10, 0), -4);
  EXPECT_TRUE(lastInstance().reads.empty());
  expectNoFailure();
}

TEST_P(Reading, ANegativeNumberOfSamples_IsAnExceptionFailureAndMovesNothing) {
  openedAndSelected();
  for (int silence : {0, 500}) {
    stateOf(audioOf(*pipe, 0)).syncDelaySamples = silence;
    auto const result = failing([&] { return pipe->readSamples(-5, 0); });
    expectException("./mpegdecode/mpegindec(1266)", "Invalid sample count requested");
    EXPECT_EQ(pipe->audioPcm(0)->position, 0);
    EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
    if (!result) continue;
    EXPECT_EQ(*result, -1);
    expectError(-1, "Read sample failed");
  }
}

TEST_P(Reading, ThroughADolbyTracker_IsAnAssertionFailure) {
  library.audio.clear();
  library.addAudio(kAudioDolby);
  openedAndSelected();
  auto const result = failing([&] { return pipe->readSamples(100, 0); });
  expectAssertion("./mpegdecode/mpeginutil(1932)");
  EXPECT_TRUE(lastInstance().reads.empty());
  EXPECT_TRUE(pipe->audioPcm(0)->metadata().empty()) << "no silence leads it in";
  if (!result) return;
  EXPECT_EQ(*result, -1);
  expectError(-1, "Read sample failed");
}

UNDER_BOTH_HANDLERS(Reading);

// Sound that begins late: silence, then samples.
class LeadingSilence : public ScriptedTest {
 protected:
  void open(MpegAudioFormat format, int silence) {
    library.addAudio(format);
    opened();
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    MpegInAudioStream& stream = audioOf(*pipe, 0);
    stateOf(stream).syncDelaySamples = silence;
    stateOf(stream).sampleCount += silence;
  }
};

TEST_F(LeadingSilence, Of1000InBlocksOf600_IsSilentThenMixedThenDecoded) {
  open(kAudioAmr, 1000);
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  EXPECT_EQ(held(*pipe), std::vector<int16_t>(600, 0));
  EXPECT_TRUE(lastInstance().reads.empty());
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  std::vector<int16_t> expected(400, 0);
  for (int16_t word : numbers(0, 200)) expected.push_back(word);
  EXPECT_EQ(held(*pipe), expected);
  EXPECT_EQ(lastInstance().reads, std::vector<int>{200});
  EXPECT_EQ(pipe->readSamples(600, 0), 600);
  EXPECT_EQ(held(*pipe), numbers(200, 600));
}

TEST_F(LeadingSilence, ThenAShortRead_IsTheEndPlusTheSilence) {
  open(kAudioAmr, 100);
  library.give(kNextSample, 30);
  EXPECT_EQ(pipe->readSamples(300, 0), 96);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 130);
  EXPECT_EQ(pipe->audioPcm(0)->position, 130);
}

TEST_F(LeadingSilence, OfOneSampleIsSilentWhateverTheBufferHeld) {
  open(kAudioAmr, 2);
  ASSERT_EQ(pipe->seekToSample(50, 0), 0);
  ASSERT_EQ(pipe->readSamples(20, 0), 20);
  ASSERT_EQ(pipe->seekToSample(0, 0), 0);
  EXPECT_EQ(pipe->readSamples(1, 0), 1);
  EXPECT_EQ(held(*pipe), std::vector<int16_t>(1, 0));
  EXPECT_EQ(pipe->readSamples(2, 0), 2);
  EXPECT_EQ(held(*pipe), (std::vector<int16_t>{0, 0})) << "the second of silence, the first of sound";
  EXPECT_EQ(pipe->audioPcm(0)->position, 3);
}

TEST_F(LeadingSilence, ThenNothing_IsTheEndAndHoldsNothing) {
  open(kAudioAmr, 100);
  library.give(kNextSample, 0);
  EXPECT_EQ(pipe->readSamples(300, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST_F(LeadingSilence, ThenAFailure_HoldsNothing) {
  open(kAudioAmr, 100);
  library.give(kNextSample, -1);
  EXPECT_EQ(pipe->readSamples(300, 0), -1);
  expectError(-1, "Read sample failed");
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST_F(LeadingSilence, OfDolbyCarriesItsFirstMetadata) {
  open(kAudioDolby, 100);
  MpegInAudioStream& stream = audioOf(*pipe, 0);
  stream.info().child("codecParams").set("dolbyMeta0", 42);
  EXPECT_EQ(pipe->readSamples(60, 0), 60);
  EXPECT_EQ(pipe->audioPcm(0)->metadata(), AnyVector{Any(AnyDict("offset", 0, "meta", 42))});
  EXPECT_EQ(pipe->readSamples(40, 0), 40);
  EXPECT_TRUE(pipe->audioPcm(0)->metadata().empty()) << "at the start only";
}

// What becomes of the words that the library delivers.
class Words : public ScriptedTest {
 protected:
  std::vector<int32_t> read(MpegAudioFormat format, int isFloat, int container = kContainerMp4,
                            int channels = 1, int samples = 4) {
    library.containerType = container;
    library.audio.clear();
    MpegAudioInfo& audio = library.addAudio(format).info;
    audio.bits = 32;
    audio.isFloat = isFloat;
    audio.channels = channels;
    module.setAttr("dolbyMetadataTracker", 0);
    opened();
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    EXPECT_EQ(pipe->seekToSample(1000, 0), 0);
    EXPECT_EQ(pipe->readSamples(samples, 0), samples);
    auto const* const words = reinterpret_cast<int32_t const*>(pipe->audioPcm(0)->ptr());
    return {words, words + samples * channels};
  }
};

TEST_F(Words, OfFloatsAreScaledTo24Bits) {
  EXPECT_EQ(read(kAudioDts, 1), (std::vector<int32_t>{1000, 1001, 1002, 1003}));
  EXPECT_EQ(read(kAudioDolby, 1), (std::vector<int32_t>{1000, 1001, 1002, 1003}));
}

TEST_F(Words, OfEveryChannelAndOfASingleSampleAreConverted) {
  EXPECT_EQ(read(kAudioLpcm, 0, kContainerMp4, 2, 2), (std::vector<int32_t>{1000, 1000, 1001, 1001}));
  EXPECT_EQ(read(kAudioDts, 1, kContainerMp4, 2, 1), (std::vector<int32_t>{1000, 1000}));
}

TEST_F(Words, OfIntegersAreRoundedTo24Bits) {
  EXPECT_EQ(read(kAudioLpcm, 0), (std::vector<int32_t>{1000, 1001, 1002, 1003}));
  EXPECT_EQ(read(kAudioAes3, 0, kContainerQuickTime), (std::vector<int32_t>{1000, 1001, 1002, 1003}));
}

TEST_F(Words, OfQuickTimeAreFloatsWhenTheLibrarySaysSo) {
  EXPECT_EQ(read(kAudioAes3, 1, kContainerQuickTime), (std::vector<int32_t>{1000, 1001, 1002, 1003}));
}

class PairedReads : public ScriptedTest {
 protected:
  PairedReads() {
    MpegAudioInfo& audio = library.addAudio(kAudioLpcm).info;
    audio.bits = 24;
    audio.channels = 1;
    opened();
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  }
  std::vector<int> words() const {
    KyPcm const& pcm = *pipe->audioPcm(0);
    std::vector<int> values;
    for (int i = 0; i < pcm.nSamples; ++i) {
      unsigned char const* const at = pcm.ptr(i);
      values.push_back(at[0] | at[1] << 8 | at[2] << 16);
    }
    return values;
  }
};

TEST_F(PairedReads, OfThree_AskForFourAndKeepOne) {
  EXPECT_EQ(pipe->readSamples(3, 0), 3);
  EXPECT_EQ(words(), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(pipe->readSamples(3, 0), 3);
  EXPECT_EQ(words(), (std::vector<int>{3, 4, 5}));
  EXPECT_EQ(lastInstance().reads, (std::vector<int>{4, 2}));
}

TEST_F(PairedReads, ThatFailAfterOneWasKept_LoseIt) {
  EXPECT_EQ(pipe->readSamples(3, 0), 3);
  library.give(kNextSample, -1);
  EXPECT_EQ(pipe->readSamples(3, 0), -1);
  expectError(-1, "Read sample failed");
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).carrySamples, 0);
}

TEST_F(PairedReads, AtTheEndGiveTheOneThatWasKept) {
  EXPECT_EQ(pipe->readSamples(3, 0), 3);
  library.give(kNextSample, 0);
  EXPECT_EQ(pipe->readSamples(3, 0), -4);
  EXPECT_EQ(words(), std::vector<int>{3});
}

// Lines that "log_progress" asks for.
class Trace : public ScriptedTest {
 protected:
  Trace() {
    library.addVideo();
    library.addAudio(kAudioAmr);
    ky_registry()->setDbgOption("log_progress", 1);
    opened();
    pipe->selectStream(kKindVideo, 0);
    pipe->selectStream(kKindAudio, 0);
  }
  ~Trace() override { ky_registry()->setDbgOption("log_progress", Any()); }
  bool said(char const* line) const { return log.hasAt(kLogProgress, line); }
};

TEST_F(Trace, TellsEveryReadOfAPicture) {
  pipe->readFrame(0);
  EXPECT_TRUE(said("mpegdec.readFrame: read not needed frame_nr=0"));
  pipe->readFrame(0);
  EXPECT_TRUE(said("mpegdec.readFrame: result=0, frame_nr=1"));
  library.give(kNextFrame, 2);
  pipe->readFrame(0);
  EXPECT_TRUE(said("mpegdec.readFrame: result=-4, frame_nr=1"));
  library.give(kNextFrame, -1);
  pipe->readFrame(0);
  EXPECT_TRUE(said("mpegdec.readFrame: result=-1, frame_nr=1"));
}

TEST_F(Trace, TellsEveryReadOfSamples) {
  pipe->readSamples(100, 0);
  EXPECT_TRUE(said("mpegdec.readSamples: result=100, pos=100"));
  library.give(kNextSample, -1);
  pipe->readSamples(100, 0);
  EXPECT_TRUE(said("mpegdec.readSamples: result=-1, pos=100"));
  library.give(kNextSample, 50);
  pipe->readSamples(100, 0);
  EXPECT_TRUE(said("mpegdec.readSamples: result=-4, pos=150"));
  library.give(kNextSample, 0);
  pipe->readSamples(100, 0);
  EXPECT_TRUE(said("mpegdec.readSamples: result=-4, pos=150"));
  stateOf(audioOf(*pipe, 0)).sampleCount = 150;
  pipe->readSamples(100, 0);
  EXPECT_TRUE(said("mpegdec.readSamples: no more samples pos=150, nsamples=150"));
}

TEST_F(Trace, IsSilentWithoutTheOption) {
  ky_registry()->setDbgOption("log_progress", Any());
  opened();
  pipe->selectStream(kKindVideo, 0);
  log.lines.clear();
  pipe->readFrame(0);
  pipe->readFrame(0);
  EXPECT_FALSE(log.contains("mpegdec.readFrame"));
}

}  // namespace
