// The decode pipe: states, small operations, failures; through the plug-in and on the inner decoder itself.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "mpegdecode/mpegindec.h"
#include "tests/plugin/layouts.h"
#include "tests/support/instances.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

// The inner decoder, which the plug-in keeps to itself.
std::unique_ptr<MpegInDec> innerOpened(fs::path const& file) {
  auto pipe = std::make_unique<MpegInDec>(test::module());
  EXPECT_EQ(pipe->init(), 0);
  EXPECT_EQ(pipe->setParam("filename", Any(file.string())), 0);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  return pipe;
}

TEST(States, FollowTheLifeOfADecoder) {
  PipePtr const pipe(test::module()->createInstance());
  EXPECT_EQ(pipe->state(), 1);
  EXPECT_EQ(pipe->init(), 0);
  EXPECT_EQ(pipe->state(), 2);
  pipe->setParam("filename", Any(test::stereoPair().string()));
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->state(), 3);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->state(), 2);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->state(), 3);
}

TEST(States, OpeningBeforeInitFails) {
  PipePtr const pipe(test::module()->createInstance());
  EXPECT_EQ(pipe->open(), -18);
  EXPECT_STREQ(pipe->errorDesc(), "Codec not initialized");
}

TEST(States, OpeningAnOpenPipeOpensItAnew) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->countStreams(kKindAudio), 2);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
}

TEST(States, InitialisingTwiceIsAnExceptionFailure) {
  PipePtr const pipe = test::makePipe();
  test::Failures failures;
  pipe->init();
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(266)", "mpegdec: Already initialized"));
  ASSERT_FALSE(failures.seen.empty());
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
  EXPECT_EQ(pipe->state(), 2);
}

TEST(States, InitialisingAnOpenDecoderIsAnExceptionFailure) {
  auto const pipe = innerOpened(test::stereoPair());
  test::Failures failures;
  EXPECT_NE(pipe->init(), 0);
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(266)", "mpegdec: Already initialized"));
  EXPECT_EQ(pipe->close(), 0);
}

TEST(States, TheInnerDecoderDoesNotOpenBeforeInitNorChangeByClose) {
  MpegInDec pipe(test::module());
  EXPECT_NE(pipe.open(), 0);
  EXPECT_STREQ(pipe.errorDesc(), "Codec not initialized");
  EXPECT_EQ(pipe.close(), 0);
  EXPECT_EQ(pipe.state(), 1);
  EXPECT_EQ(pipe.init(), 0);
  EXPECT_EQ(pipe.close(), 0);
  EXPECT_EQ(pipe.state(), 2);
}

TEST(Closed, ReadingAndSeekingFail) {
  PipePtr const pipe = test::makePipe();
  test::Failures failures;
  EXPECT_EQ(pipe->readSamples(10, 0), -18);
  EXPECT_STREQ(pipe->errorDesc(), "Stream not opened");
  EXPECT_TRUE(failures.has("./mpegdecode/mpegdecwrapper(308)", "readSamples: Stream not opened"));
  EXPECT_EQ(pipe->seekToSample(0, 0), -18);
  EXPECT_STREQ(pipe->errorDesc(), "Stream not opened");
  EXPECT_TRUE(failures.has("./mpegdecode/mpegdecwrapper(254)", "readSamples: Stream not opened"));
  EXPECT_EQ(pipe->audioPcm(0), nullptr);
  EXPECT_EQ(pipe->errorCode(), -18);
  EXPECT_STREQ(pipe->errorDesc(), "Stream not opened");
  EXPECT_TRUE(failures.has("./mpegdecode/mpegdecwrapper(379)", ""));
  EXPECT_EQ(failures.seen.size(), 3U);
  EXPECT_EQ(pipe->readFrame(0), -1);
  EXPECT_STREQ(pipe->errorDesc(), "stream not opened");
  EXPECT_LT(pipe->seekToFrame(0, 0), 0);
}

TEST(Closed, NothingIsListed) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  pipe->close();
  EXPECT_EQ(pipe->countStreams(7), 0);
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
  EXPECT_EQ(pipe->frameCount(0), -1);
  EXPECT_EQ(pipe->videoFrame(0), nullptr);
  EXPECT_EQ(pipe->frameTimestamps(0), nullptr);
}

TEST(Closed, ASecondCloseDoesNothing) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->state(), 2);
}

TEST(Counting, OfAllKindsIsTheSumOfEach) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(1), 1);
  EXPECT_EQ(pipe->countStreams(2), 2);
  EXPECT_EQ(pipe->countStreams(7), pipe->countStreams(1) + pipe->countStreams(2) + pipe->countStreams(4));
  EXPECT_EQ(pipe->countStreams(0), 0);
  EXPECT_EQ(pipe->countStreams(8), 0);
}

TEST(Selecting, MarksOneStreamUntilItIsDeselected) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int kind : {kKindVideo, kKindAudio}) {
    EXPECT_FALSE(pipe->isSelected(kind, 0));
    EXPECT_EQ(pipe->selectStream(kind, 0), 0);
    EXPECT_TRUE(pipe->isSelected(kind, 0));
    EXPECT_EQ(pipe->selectStream(kind, 0), 0) << "again";
    EXPECT_EQ(pipe->deselectStream(kind, 0), 0);
    EXPECT_FALSE(pipe->isSelected(kind, 0));
    EXPECT_EQ(pipe->deselectStream(kind, 0), 0) << "again";
    EXPECT_EQ(pipe->selectStream(kind, 0), 0);
    EXPECT_TRUE(pipe->isSelected(kind, 0));
  }
}

TEST(Selecting, OutsideTheListNamesTheNumber) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int kind : {kKindVideo, kKindAudio})
    for (int index : {-1, 2}) {
      EXPECT_EQ(pipe->selectStream(kind, index), -1);
      EXPECT_EQ(pipe->errorDesc(), "wrong stream number " + std::to_string(index));
    }
  EXPECT_EQ(pipe->selectStream(kKindSubpic, -1), -1);
  EXPECT_STREQ(pipe->errorDesc(), "wrong stream number -1");
}

TEST(Selecting, ASubpicturePastTheListIsAnExceptionFailure) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  pipe->selectStream(kKindSubpic, pipe->countStreams(kKindSubpic));
  ASSERT_EQ(failures.seen.size(), 1U);
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
  EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegindec(1548)");
}

TEST(Selecting, OtherKindsAreNeutral) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int kind : {0, 3, 5, 8}) {
    EXPECT_EQ(pipe->selectStream(kind, 0), 0) << kind;
    EXPECT_EQ(pipe->deselectStream(kind, 0), 0) << kind;
    EXPECT_FALSE(pipe->isSelected(kind, 0)) << kind;
  }
}

TEST(Selecting, OpeningSelectsNothing) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  AnyDict selected;
  EXPECT_EQ(pipe->selected(selected), 0);
  EXPECT_TRUE(selected["video"].asVector().empty());
  EXPECT_TRUE(selected["audio"].asVector().empty());
}

TEST(Selecting, TheSelectedStreamsAreListedByNumber) {
  auto const inner = innerOpened(test::stereoPair());
  ASSERT_EQ(inner->selectStream(kKindAudio, 1), 0);
  AnyDict selected;
  EXPECT_EQ(inner->selected(selected), 0);
  EXPECT_EQ(selected["audio"].asVector(), AnyVector{1});
  EXPECT_TRUE(selected["video"].asVector().empty());

  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 1), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->selected(selected), 0);
  EXPECT_EQ(selected["audio"].asVector(), AnyVector{1});
  EXPECT_EQ(selected["video"].asVector(), AnyVector{0});
}

TEST(Selecting, AVideoStreamAgainStartsAtItsFirstFrame) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  std::string const first = test::md5(*pipe->videoFrame(0));
  ASSERT_EQ(pipe->seekToFrame(10, 0), 0);
  ASSERT_NE(test::md5(*pipe->videoFrame(0)), first);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0), nullptr);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 0);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), first);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), first);
}

TEST(Counts, OfFramesNeedASelectedStream) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int index : {-1, 0, 1, 99}) EXPECT_EQ(pipe->frameCount(index), -1) << index;
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->frameCount(0), 25);
  EXPECT_EQ(pipe->frameCount(1), -1);
}

TEST(Counts, OfSamplesOfAnUnselectedStreamAreAnAssertionFailure) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(pipe->sampleCount(0), -1);
  ASSERT_EQ(failures.seen.size(), 1U);
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Assertion);
  EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegindec(1532)");
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->sampleCount(0), 48000);
}

TEST(Buffers, OfSamplesNeedASelectedStream) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  for (int index : {-1, 0, 2}) EXPECT_EQ(pipe->audioPcm(index), nullptr);
  ASSERT_EQ(failures.seen.size(), 3U);
  for (auto const& failure : failures.seen) EXPECT_EQ(failure.where, "./mpegdecode/mpegindec(1512)");
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_NE(pipe->audioPcm(0), nullptr);
  EXPECT_EQ(pipe->audioPcm(0)->channels(), 2);
}

TEST(Buffers, OfPicturesCarryTheRateOfTheDescription) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->videoFrame(0), nullptr);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_NE(pipe->videoFrame(0), nullptr);
  EXPECT_EQ(pipe->videoFrame(0)->framerate(), test::info(*pipe, kKindVideo, 0)["framerate"].asFramerate());
  EXPECT_DOUBLE_EQ(pipe->videoFrame(0)->framerate().rate(), 25.0);
}

TEST(Reading, UnselectedStreamsIsAnAssertionFailure) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(pipe->readFrame(0), -1);
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(1146)",
                           "mpegdec.seekToFrame: invalid stream no or stream not selected"));
  EXPECT_EQ(pipe->readSamples(10, 0), -1);
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(1356)",
                           "mpegdec.readSamples: invalid stream no or stream not selected"));
}

TEST(Describing, OutsideTheListLeavesTheDictionary) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int index : {-1, 2}) {
    AnyDict info("kept", 1);
    EXPECT_EQ(pipe->streamInfo(kKindAudio, index, info), 0);
    EXPECT_EQ(info, AnyDict("kept", 1));
  }
}

TEST(Describing, AVideoStreamTellsItsOverlay) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["subpicOverlay"], Any(-1));
  EXPECT_EQ(info["width"], Any(64));
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 0).contains("subpicOverlay"));
}

TEST(Describing, AMaskIsAnExceptionFailure) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  AnyDict info("kept", 1);
  pipe->streamInfo(kKindVideo | kKindAudio, 0, info);
  ASSERT_EQ(failures.seen.size(), 1U);
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
  EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegindec(787)");
  EXPECT_EQ(info, AnyDict("kept", 1));
}

TEST(UserData, CanBeEnabledForListedVideoStreamsOnly) {
  auto const pipe = innerOpened(test::stereoPair());
  EXPECT_EQ(pipe->setUserDataEnabled(kKindAudio, 0, 1), -1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, -1, 1), -1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 1, 1), -1);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 1);
  EXPECT_EQ(pipe->userDataEnabled(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 1), 0);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 0), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 0);
}

TEST(Captions, WithoutAnEntryAreAnAssertionFailureAndAnEmptyDictionary) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  for (int index : {-1, 0}) {
    test::Failures failures;
    AnyDict out("old", 1);
    pipe->readCcData(index, 0, out);
    EXPECT_TRUE(out.empty());
    ASSERT_FALSE(failures.seen.empty());
    EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegindec(3042)");
  }
}

TEST(Overrides, ReachTheInnerDecoder) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->overrideKeys(kKindVideo),
            (AnyVector{"frameAspect", "framerate", "colorimetry", "inColorRange"}));
  EXPECT_TRUE(pipe->overrideKeys(kKindAudio).empty());
  EXPECT_EQ(pipe->setOverride(kKindVideo, 0, "frameAspect", 2.0), 0);
  EXPECT_EQ(pipe->override(kKindVideo, 0, "frameAspect"), Any(2.0));
  EXPECT_EQ(pipe->overrides(kKindVideo).size(), 1);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frameAspect"], Any(2.0));
}

TEST(Timestamps, AreOnePerFrameInOrder) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  std::unique_ptr<KyStreamTimestamps> const times(pipe->frameTimestamps(0));
  ASSERT_TRUE(times);
  ASSERT_EQ(times->size(), 25);
  for (int i = 1; i < 25; ++i) EXPECT_NEAR(times->at(i).seconds() - times->at(i - 1).seconds(), 0.04, 1e-6);
  EXPECT_EQ(pipe->frameTimestamps(-1), nullptr);
  EXPECT_EQ(pipe->frameTimestamps(1), nullptr);
}

TEST(Lifetime, NoLibraryInstanceOutlivesTheDecoder) {
  long const before = test::instances().alive;
  long const made = test::instances().made;
  for (fs::path const& file : {test::stereoPair(), test::mixedLayouts(), test::monoAndStereo()}) {
    PipePtr pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    pipe->selectStream(kKindVideo, 0);
    EXPECT_GT(test::instances().alive, before);
    pipe.reset();
    EXPECT_EQ(test::instances().alive, before) << file;
  }
  EXPECT_GT(test::instances().made, made);
  EXPECT_EQ(test::instances().wronglyFreed, 0);
}

TEST(Lifetime, CloseReleasesEveryInstanceOnce) {
  long const before = test::instances().alive;
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(test::instances().alive, before);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(test::instances().wronglyFreed, 0);
}

TEST(Lifetime, AFailedOpenReleasesEveryInstance) {
  long const before = test::instances().alive;
  PipePtr const pipe = test::pipeFor("/nowhere/at/all.mov");
  EXPECT_NE(pipe->open(), 0);
  EXPECT_EQ(test::instances().alive, before);
  EXPECT_EQ(test::instances().wronglyFreed, 0);
}

}  // namespace
