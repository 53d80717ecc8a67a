// The small operations on streams: selecting, looking up, describing, closing.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Selecting : public BothHandlers {
 protected:
  Selecting() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
    library.addAudio(kAudioLpcm);
    opened();
  }
};

TEST_P(Selecting, OutsideTheListFails) {
  for (int kind : {kKindVideo, kKindAudio})
    for (int index : {-1, 2}) {
      EXPECT_EQ(pipe->selectStream(kind, index), -1);
      expectError(-1, "wrong stream number " + std::to_string(index));
    }
  EXPECT_EQ(pipe->selectStream(kKindSubpic, -1), -1);
  expectError(-1, "wrong stream number -1");
  expectNoFailure();
}

TEST_P(Selecting, ASubpicturePastTheListIsAnExceptionFailure) {
  auto const result = failing([&] { return pipe->selectStream(kKindSubpic, 0); });
  expectException("./mpegdecode/mpegindec(1548)");
  EXPECT_EQ(result.value_or(-1), -1);
}

TEST_P(Selecting, APictureThatCannotBeShownIsNotSelected) {
  for (int code : {2, -1, 7}) {
    library.give(kSeekFrame, code);
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), code);
    EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
  }
  library.raise(kSeekFrame);
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), -1);
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
}

TEST_P(Selecting, ASoundThatCannotBeSoughtIsNotSelected) {
  library.give(kSeekSample, 5);
  EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 5);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
  library.raise(kSeekSample);
  EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 1);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
  EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
}

TEST_P(Selecting, AgainAsksTheLibraryNothing) {
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  int const frames = library.calls(kSeekFrame);
  int const samples = library.calls(kSeekSample);
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(library.calls(kSeekFrame), frames);
  EXPECT_EQ(library.calls(kSeekSample), samples);
}

TEST_P(Selecting, OfAnotherKindDoesNothing) {
  for (int kind : {0, 3, 8}) EXPECT_EQ(pipe->selectStream(kind, 0), 0);
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
}

TEST_P(Selecting, AgainBehindTheCheckIsAnError) {
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ((pipe.get()->*memberOf(SelectVideo{}))(0), -1);
  expectError(-1, "Already selected");
}

TEST_P(Selecting, AStreamWhoseFirstPictureFailsHasNonePending) {
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  stateOf(stream).decoder.reset();
  library.give(kSeekFrame, -1);
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), -1);
  EXPECT_FALSE(stateOf(stream).framePending);
  EXPECT_FALSE(stream.selected());
  EXPECT_EQ(stateOf(stream).frame, nullptr);
}

TEST_P(Selecting, ADeselectedStreamKeepsItsDecoderAndStartsAnew) {
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(9, 0), 0);
  size_t const made = library.instances.size();
  EXPECT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(library.instances.size(), made);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 0);
  EXPECT_TRUE(stateOf(videoOf(*pipe, 0)).framePending);
}

TEST_P(Selecting, ASubpictureMarksNothing) {
  addSubpicture(*pipe);
  EXPECT_EQ(pipe->selectStream(kKindSubpic, 0), 0);
  EXPECT_FALSE(pipe->isSelected(kKindSubpic, 0));
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
}

TEST_P(Selecting, CaptionsSelectTheVideoOfTheSameNumber) {
  addCaptions(*pipe, 0);
  EXPECT_EQ(pipe->selectStream(kKindSubpic, 0), 0);
  EXPECT_TRUE(pipe->isSelected(kKindVideo, 0));
  EXPECT_FALSE(pipe->isSelected(kKindSubpic, 0));
  addCaptions(*pipe, 0);
  EXPECT_EQ(pipe->selectStream(kKindSubpic, 1), -1) << "there is no such video";
  expectError(-1, "wrong stream number 1");
}

TEST_P(Selecting, DeselectingASubpictureClearsItsFlag) {
  MpegInSubpicStream& entry = addSubpicture(*pipe);
  stateOf(entry).selected = true;
  EXPECT_TRUE(pipe->isSelected(kKindSubpic, 0));
  EXPECT_EQ(pipe->deselectStream(kKindSubpic, 0), 0);
  EXPECT_FALSE(entry.selected());
}

TEST_P(Selecting, OfTheSecondSoundIsListedAsOne) {
  stateOf(addSubpicture(*pipe)).selected = true;
  ASSERT_EQ(pipe->selectStream(kKindAudio, 1), 0);
  AnyDict selected;
  EXPECT_EQ(pipe->selected(selected), 0);
  EXPECT_EQ(selected, AnyDict("video", AnyVector(), "audio", AnyVector{1}));
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->selected(selected), 0);
  EXPECT_EQ(selected, AnyDict("video", AnyVector{0}, "audio", AnyVector{Any(0), Any(1)}));
}

TEST_P(Selecting, CorrectsTheSwingOfThePicturesThatNeedIt) {
  videoOf(*pipe, 0).info().set("_needSwing", 1);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->pixelPtr(0, 10, 10)[0], 16) << "black of the full range";
}

UNDER_BOTH_HANDLERS(Selecting);

class Looking : public BothHandlers {
 protected:
  Looking() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
    opened();
  }
};

TEST_P(Looking, AtTheCountOfSamplesOfAnUnselectedStreamIsAnAssertionFailure) {
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->sampleCount(index); });
    expectAssertion("./mpegdecode/mpegindec(1532)");
    EXPECT_EQ(result.value_or(-1), -1);
  }
}

TEST_P(Looking, AtTheBufferOfAnUnselectedStreamIsAnAssertionFailure) {
  for (int index : {-1, 0, 1}) {
    auto const result = failing([&] { return pipe->audioPcm(index); });
    expectAssertion("./mpegdecode/mpegindec(1512)");
    EXPECT_EQ(result.value_or(nullptr), nullptr);
  }
}

TEST_P(Looking, AtFramesOfAnUnselectedStreamIsNeutral) {
  for (int index : {-1, 0, 1}) {
    EXPECT_EQ(pipe->frameCount(index), -1);
    EXPECT_EQ(pipe->videoFrame(index), nullptr);
  }
  expectNoFailure();
}

TEST_P(Looking, AtTheDescriptionOfAMaskIsAnExceptionFailure) {
  AnyDict out("kept", 1);
  auto const result = failing([&] { return pipe->streamInfo(kKindVideo | kKindAudio, 0, out); });
  expectException("./mpegdecode/mpegindec(787)");
  EXPECT_EQ(result.value_or(0), 0);
  EXPECT_EQ(out, AnyDict("kept", 1));
  size_t const before = failures.seen.size();
  EXPECT_EQ(pipe->streamInfo(kKindVideo | kKindAudio, 2, out), 0);
  EXPECT_EQ(pipe->streamInfo(8, 0, out), 0);
  EXPECT_EQ(failures.seen.size(), before) << "outside the count nothing is looked at";
}

TEST_P(Looking, AtTheParameterOfAMaskIsAnExceptionFailure) {
  Any value = 1;
  failing([&] { return pipe->getStreamParam(kKindVideo | kKindAudio, 0, "codec", value); });
  expectFailure(KyFailureKind::Exception, failures.seen.back().where, "");
  EXPECT_FALSE(value.valid());
}

TEST_P(Looking, CountsAddUpByKind) {
  addSubpicture(*pipe);
  EXPECT_EQ(pipe->countStreams(7), 3);
  for (int mask = 0; mask < 8; ++mask)
    EXPECT_EQ(pipe->countStreams(mask), (mask & 1) + (mask >> 1 & 1) + (mask >> 2 & 1));
  EXPECT_EQ(pipe->countStreams(8), 0);
}

TEST_P(Looking, AtASelectedStreamTellsItsLengthAndGivesItsFrameTheDescribedRate) {
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_EQ(pipe->frameCount(0), 100);
  EXPECT_EQ(pipe->sampleCount(0), 100000);
  videoOf(*pipe, 0).info().set("framerate", KyFramerate(50.0, 0, false, 0));
  EXPECT_EQ(pipe->videoFrame(0)->framerate().rate(), 50.0);
  AnyDict out;
  EXPECT_EQ(pipe->streamInfo(kKindVideo, 0, out), 0);
}

TEST_P(Looking, ADescriptionTellsTheSubpictureShown) {
  addSubpicture(*pipe);
  EXPECT_EQ(info(kKindVideo, 0)["subpicOverlay"], Any(-1));
  ASSERT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", 0), 0);
  EXPECT_EQ(info(kKindVideo, 0)["subpicOverlay"], Any(0));
  EXPECT_EQ(info(kKindSubpic, 0)["type"], Any(2));
  EXPECT_FALSE(info(kKindAudio, 0).contains("subpicOverlay"));
}

UNDER_BOTH_HANDLERS(Looking);

class Closing : public ScriptedTest {};

TEST_F(Closing, AVideoStreamTakesEverythingOfIt) {
  MpegVideoInfo& info = library.addVideo().info;
  info.profileType = 21;
  info.height = 608;
  info.chromaFormat = 2;
  ready();
  pipe->setParam("removeIMXTopBlanking", true);
  ASSERT_EQ(pipe->open(), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  ASSERT_TRUE(stateOf(stream).scratch && stateOf(stream).framePending);
  stream.close();
  EXPECT_EQ(stream.decoder(), nullptr);
  EXPECT_EQ(stateOf(stream).frame, nullptr);
  EXPECT_EQ(stateOf(stream).scratch, nullptr);
  EXPECT_FALSE(stream.selected());
  EXPECT_FALSE(stateOf(stream).framePending);
  EXPECT_EQ(instance(1).closed, 1);
}

TEST_F(Closing, AnAudioStreamTakesEverythingOfIt) {
  library.addAudio(kAudioDolby).info.bits = 32;
  opened();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  MpegInAudioStream& stream = audioOf(*pipe, 0);
  ASSERT_TRUE(stateOf(stream).pcm && stateOf(stream).scratch && stateOf(stream).tracker);
  stateOf(stream).blocks = std::make_unique<AudioBlockBuffer>(stream.decoder(), 4, 1);
  stateOf(stream).carry = {1, 2, 3};
  stateOf(stream).carrySamples = 1;
  stateOf(stream).syncDelaySamples = 7;
  stream.close();
  EXPECT_EQ(stream.decoder(), nullptr);
  EXPECT_EQ(stateOf(stream).pcm, nullptr);
  EXPECT_EQ(stateOf(stream).scratch, nullptr);
  EXPECT_EQ(stateOf(stream).blocks, nullptr);
  EXPECT_EQ(stateOf(stream).tracker, nullptr);
  EXPECT_TRUE(stateOf(stream).carry.empty());
  EXPECT_EQ(stateOf(stream).carrySamples, 0);
  EXPECT_EQ(stateOf(stream).syncDelaySamples, 0);
  EXPECT_FALSE(stream.selected());
  EXPECT_EQ(instance(1).closed, 1);
}

TEST_F(Closing, ADecoderGoesBeforeTheMemoryThatItWritesTo) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  std::vector<bool> held;
  library.onFree = [&](size_t number) {
    if (number == 1) held.push_back(stateOf(videoOf(*pipe, 0)).frame != nullptr);
    if (number == 2) held.push_back(stateOf(audioOf(*pipe, 0)).pcm != nullptr);
  };
  EXPECT_EQ(pipe->close(), 0);
  library.onFree = nullptr;
  EXPECT_EQ(held, (std::vector<bool>{true, true}));
}

TEST_F(Closing, AStreamThatGoesTakesItsDecoderWithIt) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  int const alive = library.alive();
  {
    MpegInVideoStream picture(*fileOf(*pipe).shared, 0);
    ASSERT_EQ(picture.open((pipe.get()->*memberOf(Source{}))()), 0);
    MpegInAudioStream sound(*fileOf(*pipe).shared, 0);
    ASSERT_EQ(sound.open((pipe.get()->*memberOf(Source{}))()), 0);
    EXPECT_EQ(library.alive(), alive + 2);
  }
  EXPECT_EQ(library.alive(), alive);
}

TEST_F(Closing, ASubpictureReleasesADecoderOfItsOwn) {
  library.addVideo();
  opened();
  stateOf(addSubpicture(*pipe)).decoder.own(MpegInPtr(mpegInNew(nullptr, 0)));
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(instance(2).closed, 1);
  EXPECT_EQ(library.alive(), 0);
}

TEST_F(Closing, AStreamThatSharesTheDecodersInstanceLeavesItToTheDecoder) {
  library.addVideo();
  opened();
  // The stream's own instance goes, the first one made, which parsed the file, is taken in its place.
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  stream.share(*(fileOf(*pipe).shared));
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(instance(0).closed, 0) << "by the stream";
  EXPECT_EQ(library.alive(), 0);
  EXPECT_EQ(library.misused, 0);
}

TEST_F(Closing, ASecondTimeDoesNothing) {
  library.addVideo();
  opened();
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->state(), kStateInitialised);
  MpegInDec untouched(&module);
  EXPECT_EQ(untouched.close(), 0);
  EXPECT_EQ(untouched.state(), kStateCreated);
}

TEST_F(Closing, ListsNothingAnyMore) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  pipe->selectStream(kKindVideo, 0);
  addCaptions(*pipe, 0);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->countStreams(7), 0);
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
}

TEST_F(Closing, MayBeFollowedByOpeningAnotherFile) {
  library.addVideo();
  opened();
  pipe->close();
  library.video.clear();
  library.addAudio(kAudioLpcm);
  EXPECT_EQ(pipe->open(), 0);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

}  // namespace
