// Seeking: failures, and what they leave as it was.
#include "mpegdecode/dolbytracker.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Seeking : public BothHandlers {
 protected:
  Seeking() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
  }
  void openedAndSelected() {
    opened();
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  }
};

TEST_P(Seeking, ClosedFails) {
  ready();
  EXPECT_EQ(pipe->seekToFrame(0, 0), -1);
  expectError(-1, "stream not opened");
  pipe->setError(0, "%s", "");
  EXPECT_EQ(pipe->seekToSample(0, 0), -1);
  expectError(-1, "stream not opened");
  expectNoFailure();
}

TEST_P(Seeking, InAVideoStreamThatIsNotSelected_IsAnAssertionFailure) {
  opened();
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->seekToFrame(0, index); });
    EXPECT_EQ(result.value_or(-1), -1);
    expectAssertion("./mpegdecode/mpegindec(1196)",
                    "mpegdec.seekToFrame: invalid stream no or stream not selected");
  }
}

TEST_P(Seeking, InAnAudioStreamThatIsNotSelected_IsAnAssertionFailure) {
  opened();
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->seekToSample(0, index); });
    EXPECT_EQ(result.value_or(-1), -1);
    expectAssertion("./mpegdecode/mpegindec(1437)",
                    "mpegdec.seekToSample: invalid stream no or stream not selected");
  }
}

TEST_P(Seeking, PicturesOutOfRange_FailsWithoutTheLibrary) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToFrame(5, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  int const before = library.calls(kSeekFrame);
  for (int64_t frame : {int64_t{-1}, int64_t{100}, int64_t{1} << 32, (int64_t{1} << 32) + 3}) {
    EXPECT_EQ(pipe->seekToFrame(frame, 0), -1);
    expectError(-1, "Position out of range in seekToFrame");
  }
  EXPECT_EQ(library.calls(kSeekFrame), before);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 5);
  EXPECT_FALSE(stateOf(videoOf(*pipe, 0)).framePending);
  EXPECT_EQ(pipe->seekToFrame(99, 0), 0);
}

TEST_P(Seeking, PicturesThatEndEarly_IsMinus4) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToFrame(5, 0), 0);
  library.give(kSeekFrame, 2);
  EXPECT_EQ(pipe->seekToFrame(50, 0), -4);
  expectError(-4, "EOF in SeekToFrame");
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 5);
  EXPECT_TRUE(stateOf(videoOf(*pipe, 0)).framePending);
  expectNoFailure();
}

TEST_P(Seeking, PicturesThatTheLibraryRefuses_Fails) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToFrame(5, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  for (int code : {-1, 1, -107}) {
    library.give(kSeekFrame, code);
    EXPECT_EQ(pipe->seekToFrame(50, 0), -1);
    expectError(-1, "seekToFrame failed");
  }
  library.raise(kSeekFrame);
  EXPECT_EQ(pipe->seekToFrame(50, 0), -1);
  expectError(-1, "seekToFrame failed");
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 5);
  EXPECT_FALSE(stateOf(videoOf(*pipe, 0)).framePending);
  expectNoFailure();
}

TEST_P(Seeking, SamplesOutOfRange_FailsWithoutTheLibrary) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToSample(5, 0), 0);
  int const before = library.calls(kSeekSample);
  for (int64_t sample : {int64_t{-1}, int64_t{100000}, int64_t{1} << 33}) {
    EXPECT_EQ(pipe->seekToSample(sample, 0), -1);
    expectError(-1, "Position out of range in seekToSample");
  }
  EXPECT_EQ(library.calls(kSeekSample), before);
  EXPECT_EQ(pipe->audioPcm(0)->position, 5);
  EXPECT_EQ(pipe->seekToSample(99999, 0), 0);
  EXPECT_EQ(pipe->seekToSample(0, 0), 0);
}

TEST_P(Seeking, SamplesThatTheLibraryRefuses_FailsAndKeepsThePosition) {
  openedAndSelected();
  ASSERT_EQ(pipe->seekToSample(5, 0), 0);
  for (bool raises : {false, true}) {
    if (raises)
      library.raise(kSeekSample);
    else
      library.give(kSeekSample, 3);
    EXPECT_EQ(pipe->seekToSample(50, 0), -1);
    expectError(-1, "seekToSample failed");
    EXPECT_EQ(pipe->audioPcm(0)->position, 5);
  }
  expectNoFailure();
}

TEST_P(Seeking, SamplesWithSilenceBefore_SeeksTheLibraryThatMuchEarlier) {
  openedAndSelected();
  MpegInAudioStream& stream = audioOf(*pipe, 0);
  stateOf(stream).syncDelaySamples = 500;
  stateOf(stream).endOfStream = true;
  ASSERT_EQ(pipe->seekToSample(200, 0), 0);
  EXPECT_EQ(lastInstance().samples.back(), 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 200);
  EXPECT_FALSE(stateOf(stream).endOfStream);
  ASSERT_EQ(pipe->seekToSample(800, 0), 0);
  EXPECT_EQ(lastInstance().samples.back(), 300);
  EXPECT_EQ(pipe->audioPcm(0)->position, 800);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
}

TEST_P(Seeking, ResetsTheDolbyTracker) {
  library.audio.clear();
  library.addAudio(kAudioDolby);
  openedAndSelected();
  MpegInAudioStream& stream = audioOf(*pipe, 0);
  stream.info().child("codecParams").set("dolbyMeta0", 42);
  stateOf(stream).syncDelaySamples = 10;
  ASSERT_EQ(pipe->readSamples(5, 0), 5);
  EXPECT_EQ(stateOf(stream).tracker->last(), Any(42));
  EXPECT_EQ(pipe->seekToSample(3, 0), 0);
  EXPECT_FALSE(stateOf(stream).tracker->last().valid());
}

UNDER_BOTH_HANDLERS(Seeking);

// WMA is opened anew for a seek back.
class WmaSeeking : public BothHandlers {
 protected:
  WmaSeeking() {
    library.addAudio(kAudioWma);
    opened();
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  }
  bool reopened() {
    bool const yes = log.hasAt(kLogTrace, "mpegdec: WMA audio seek workaround activated");
    log.lines.clear();
    return yes;
  }
};

TEST_P(WmaSeeking, BackFromBehindTheStart_OpensTheStreamAnew) {
  ASSERT_EQ(pipe->seekToSample(700, 0), 0);
  EXPECT_FALSE(reopened()) << "from position 0";
  ASSERT_EQ(pipe->seekToSample(900, 0), 0);
  EXPECT_FALSE(reopened()) << "forward";
  ASSERT_EQ(pipe->seekToSample(900, 0), 0);
  EXPECT_FALSE(reopened()) << "to where it is";
  ASSERT_EQ(library.instances.size(), 2U);
  ASSERT_EQ(pipe->seekToSample(899, 0), 0);
  EXPECT_TRUE(reopened());
  ASSERT_EQ(library.instances.size(), 3U);
  EXPECT_EQ(instance(1).closed, 1);
  EXPECT_FALSE(instance(1).alive);
  EXPECT_EQ(lastInstance().samples.back(), 899);
  EXPECT_TRUE(pipe->isSelected(kKindAudio, 0));
  EXPECT_EQ(pipe->audioPcm(0)->position, 899);
  EXPECT_EQ(pipe->readSamples(10, 0), 10);
  expectNoFailure();
}

TEST_P(WmaSeeking, BackByOneSample_OpensTheStreamAnew) {
  ASSERT_EQ(pipe->seekToSample(1, 0), 0);
  ASSERT_EQ(pipe->seekToSample(0, 0), 0);
  EXPECT_TRUE(reopened());
}

TEST_P(WmaSeeking, ThatCannotOpenAnew_IsAnAssertionFailureWithTheErrorOfTheOpening) {
  for (Function function : {kNew, kOpen, kSeekSample}) {
    opened();
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    ASSERT_EQ(pipe->seekToSample(900, 0), 0);
    library.give(function, function == kNew ? 0 : -1);
    auto const result = failing([&] { return pipe->seekToSample(100, 0); });
    expectAssertion("./mpegdecode/mpegindec(1469)",
                    "mpegdec: failed to reopen previously opened stream -> can't recover.");
    EXPECT_EQ(result.value_or(-1), pipe->errorCode());
    EXPECT_EQ(pipe->errorCode(), -1);
    EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
    EXPECT_EQ(library.alive(), 1) << "the shared instance";
    EXPECT_EQ(pipe->countStreams(kKindAudio), 1) << "stays in its list";
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), -1);
    expectError(-1, "stream 0 was closed");
  }
}

TEST_P(WmaSeeking, ThatRaisesWhileOpeningAnew_IsTheSame) {
  ASSERT_EQ(pipe->seekToSample(900, 0), 0);
  library.raise(kOpen);
  failing([&] { return pipe->seekToSample(100, 0); });
  expectAssertion("./mpegdecode/mpegindec(1469)",
                  "mpegdec: failed to reopen previously opened stream -> can't recover.");
  expectError(-1, "Failed to decode audio stream #0.");
  EXPECT_EQ(library.alive(), 1);
}

UNDER_BOTH_HANDLERS(WmaSeeking);

}  // namespace
