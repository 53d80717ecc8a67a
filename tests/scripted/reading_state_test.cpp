// What reading and seeking do to the state of a stream beside the picture or the samples.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class PictureState : public ScriptedTest {
 protected:
  PictureState() {
    library.addVideo();
    opened();
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->readFrame(0), 0) << "the pending one";
  }
  MpegInVideoStream& stream() { return videoOf(*pipe, 0); }
  // As the stream holds it; asking the decoder for its frame would copy the rate.
  double heldRate() { return stateOf(stream()).frame->framerate().rate(); }
  void describeRate(double rate) { stream().info().set("framerate", KyFramerate(rate, 0, false, 0)); }
  // A pixel that the library leaves alone.
  unsigned char& pixel() { return *stateOf(stream()).frame->pixelPtr(0, 10, 10); }
};

TEST_F(PictureState, ReadingCopiesTheDescribedRateIntoTheFrame) {
  describeRate(50.0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(heldRate(), 50.0);
}

TEST_F(PictureState, SeekingCopiesTheDescribedRateIntoTheFrame) {
  describeRate(50.0);
  ASSERT_EQ(pipe->seekToFrame(3, 0), 0);
  EXPECT_EQ(heldRate(), 50.0);
}

TEST_F(PictureState, ReadingCorrectsTheSwingOfEveryDecodedPicture) {
  stream().info().set("_needSwing", 1);
  pixel() = 0;
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pixel(), 16);
  pixel() = 255;
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pixel(), 235);
}

TEST_F(PictureState, SeekingCorrectsTheSwing_AndReadingThatPictureDoesNotDoItAgain) {
  stream().info().set("_needSwing", 1);
  pixel() = 0;
  ASSERT_EQ(pipe->seekToFrame(5, 0), 0);
  EXPECT_EQ(pixel(), 16);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pixel(), 16);
}

TEST_F(PictureState, ADescribedOverlayIsSwitchedOnForReadingAndSeeking) {
  int& shown = stream().decoder()->set.displaySubpictures;
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->seekToFrame(3, 0), 0);
  EXPECT_EQ(shown, 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  stream().info().set("_displaySubpics", 1);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(shown, 1);
  shown = 0;
  ASSERT_EQ(pipe->seekToFrame(3, 0), 0);
  EXPECT_EQ(shown, 1);
}

TEST_F(PictureState, PicturesThatNeedNoSwingKeepTheirs) {
  pixel() = 0;
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->seekToFrame(5, 0), 0);
  EXPECT_EQ(pixel(), 0);
}

TEST_F(PictureState, AStreamThatIsOpenedAnewIsNotAtItsEnd) {
  pipe->deselectStream(kKindVideo, 0);
  stateOf(stream()).decoder.reset();
  stateOf(stream()).endOfStream = true;
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_FALSE(stateOf(stream()).endOfStream);
}

TEST_F(PictureState, AnOverlaySwitchedOffAndOnWhileNobodyWatches_IsNotDecodedAgain) {
  addSubpicture(*pipe);
  auto const show = [&](int overlay) {
    ASSERT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", overlay), 0);
  };
  show(0);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  show(-1);
  EXPECT_EQ(stream().decoder()->set.displaySubpictures, 1) << "the library still draws it";
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  size_t const sought = instance(1).frames.size();
  show(0);
  EXPECT_EQ(instance(1).frames.size(), sought) << "it is in the picture";
  EXPECT_EQ(stream().decoder()->set.displaySubpictures, 1);
}

TEST_F(PictureState, AnOverlayThatTheLibraryDoesNotDraw_IsSwitchedOffWithoutDecoding) {
  addSubpicture(*pipe);
  ASSERT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", 0), 0);
  stream().decoder()->set.displaySubpictures = 0;
  size_t const sought = instance(1).frames.size();
  ASSERT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", -1), 0);
  EXPECT_EQ(instance(1).frames.size(), sought);
}

class SampleState : public ScriptedTest {
 protected:
  void open(int bits = 16) {
    library.audio.clear();
    library.addAudio(kAudioLpcm).info.bits = bits;
    opened();
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  }
  MpegInAudioStream& stream() { return audioOf(*pipe, 0); }
  KyPcm& pcm() { return *pipe->audioPcm(0); }
};

TEST_F(SampleState, TheEndIsMarkedByAShortReadByNoneAndByTheTotal) {
  open();
  EXPECT_FALSE(stateOf(stream()).endOfStream);
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  EXPECT_FALSE(stateOf(stream()).endOfStream);
  library.give(kNextSample, 30);
  ASSERT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_TRUE(stateOf(stream()).endOfStream) << "short";
  stateOf(stream()).endOfStream = false;
  library.give(kNextSample, 0);
  ASSERT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_TRUE(stateOf(stream()).endOfStream) << "none";
  stateOf(stream()).endOfStream = false;
  stateOf(stream()).sampleCount = pcm().position;
  ASSERT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_TRUE(stateOf(stream()).endOfStream) << "total";
}

TEST_F(SampleState, ASeekTakesTheEndMarkAndTheSamplesAway) {
  open();
  stateOf(stream()).syncDelaySamples = 40;
  for (int64_t target : {700, 7}) {
    ASSERT_EQ(pipe->readSamples(100, 0), 100);
    ASSERT_EQ(pcm().nSamples, 100);
    stateOf(stream()).endOfStream = true;
    ASSERT_EQ(pipe->seekToSample(target, 0), 0);
    EXPECT_FALSE(stateOf(stream()).endOfStream) << target;
    EXPECT_EQ(pcm().nSamples, 0) << target;
    EXPECT_EQ(pcm().position, target);
    EXPECT_EQ(lastInstance().samples.back(), std::max<int64_t>(target - 40, 0));
  }
}

TEST_F(SampleState, ASelectionTakesTheEndMarkAndTheSamplesAway) {
  open();
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  stateOf(stream()).endOfStream = true;
  ASSERT_EQ(pipe->deselectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  EXPECT_FALSE(stateOf(stream()).endOfStream);
  EXPECT_EQ(pcm().nSamples, 0);
  EXPECT_EQ(pcm().position, 0);
}

TEST_F(SampleState, ASeekForgetsTheSampleThatWasKept) {
  open(24);
  ASSERT_EQ(pipe->readSamples(3, 0), 3);
  ASSERT_EQ(stateOf(stream()).carrySamples, 1);
  ASSERT_EQ(pipe->seekToSample(700, 0), 0);
  ASSERT_EQ(pipe->readSamples(2, 0), 2);
  EXPECT_EQ(pcm().ptr(0)[0] | pcm().ptr(0)[1] << 8, 700);
}

TEST_F(SampleState, SamplesOf17BitsAndMoreAreReadInPairs) {
  for (auto [bits, asked] : {std::pair{16, 3}, std::pair{17, 4}, std::pair{20, 4}, std::pair{24, 4}}) {
    open(bits);
    ASSERT_EQ(pipe->readSamples(3, 0), 3);
    EXPECT_EQ(lastInstance().reads, std::vector<int>{asked}) << bits;
  }
}

TEST_F(SampleState, TheTargetOfASeekHas32Bits) {
  open();
  stateOf(stream()).sampleCount = int64_t{1} << 40;
  ASSERT_EQ(pipe->seekToSample((int64_t{1} << 32) + 5000, 0), 0);
  EXPECT_EQ(lastInstance().samples.back(), 5000) << "it wraps";
  EXPECT_EQ(pcm().position, (int64_t{1} << 32) + 5000) << "the position does not";
  ASSERT_EQ(pipe->seekToSample((int64_t{1} << 31) + 5, 0), 0);
  EXPECT_EQ(lastInstance().samples.back(), 0) << "negative in 32 bits";
  ASSERT_EQ(pipe->seekToSample((int64_t{1} << 31) - 1, 0), 0);
  EXPECT_EQ(lastInstance().samples.back(), 0x7FFFFFFF);
}

}  // namespace
