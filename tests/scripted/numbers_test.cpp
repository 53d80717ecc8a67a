// Numbers of pictures behind those that cannot be decoded, and sound that ends early.
#include <cstring>

#include "host/userdata.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Numbers : public BothHandlers {
 protected:
  Numbers() { library.addVideo(); }
  void openAt(int frame) {
    ready();
    pipe->setParam("openParameters", AnyDict("disableCC", 1));
    ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    ASSERT_EQ(pipe->seekToFrame(frame, 0), 0);
    ASSERT_EQ(pipe->readFrame(0), 0);
  }
  void failToRead(int pictures) {
    for (int i = 0; i < pictures; ++i) {
      library.give(kNextFrame, kMpegError);
      EXPECT_EQ(pipe->readFrame(0), -1);
    }
  }
  int shown() const {
    int number = -1;
    std::memcpy(&number, pipe->videoFrame(0)->pixelPtr(0, 0, 0), sizeof number);
    return number;
  }
  int64_t number() const { return pipe->videoFrame(0)->frameNumber(); }
  void expectReads(int frame) {
    EXPECT_EQ(pipe->readFrame(0), 0);
    EXPECT_EQ(shown(), frame);
    EXPECT_EQ(number(), frame);
  }
};

TEST_P(Numbers, BehindPicturesThatCannotBeDecoded_AreThoseOfThePictures) {
  openAt(7);
  failToRead(3);
  EXPECT_EQ(number(), 7) << "the frame holds what it held";
  expectReads(11);
  expectReads(12);
  failToRead(1);
  expectReads(14);
}

TEST_P(Numbers, BehindAPictureWhoseDecodingRaises_AreThoseOfThePicturesToo) {
  openAt(7);
  library.raise(kNextFrame);
  EXPECT_EQ(pipe->readFrame(0), -1);
  expectReads(9);
}

TEST_P(Numbers, SurviveAFailedSeek) {
  openAt(7);
  failToRead(2);
  library.give(kSeekFrame, kMpegError);
  EXPECT_EQ(pipe->seekToFrame(50, 0), -1);
  library.give(kSeekFrame, kMpegEndOfStream);
  EXPECT_EQ(pipe->seekToFrame(50, 0), -4);
  EXPECT_EQ(pipe->seekToFrame(1000, 0), -1);
  expectReads(10);
}

TEST_P(Numbers, StartAnewWithASeekAndASelection) {
  openAt(7);
  failToRead(2);
  ASSERT_EQ(pipe->seekToFrame(40, 0), 0);
  expectReads(40);
  expectReads(41);
  failToRead(2);
  pipe->deselectStream(kKindVideo, 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  expectReads(0);
  expectReads(1);
}

TEST_P(Numbers, AtTheEndDoNotMove) {
  openAt(99);
  EXPECT_EQ(pipe->readFrame(0), -4);
  EXPECT_EQ(pipe->readFrame(0), -4);
  EXPECT_EQ(number(), 99);
  openAt(98);
  library.give(kNextFrame, kMpegEndOfStream);
  EXPECT_EQ(pipe->readFrame(0), -4);
  expectReads(99);
}

TEST_P(Numbers, OfCaptionsFollow) {
  MpegVideoInfo& info = library.video[0].info;
  info.rate = info.secondRate = 30.0;
  library.video[0].userData[9] = {{{'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, 0x2C, 0xFF}, 4, false}};
  openAt(7);
  addCaptions(*pipe, 0);
  failToRead(1);
  ASSERT_EQ(pipe->readFrame(0), 0);
  AnyDict out;
  ASSERT_EQ(pipe->readCcData(0, 0, out), 0);
  EXPECT_NEAR(out["time"].asDouble(), 9 / 30.0, 1e-6);
}

TEST_P(Numbers, OfAnOverlaySwitchedOnFollow) {
  library.onOpen = [](MpegIn& opened) { opened.set.decodeSubpictures = 1; };
  openAt(7);
  addSubpicture(*pipe);
  failToRead(1);
  EXPECT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", 0), 0);
  EXPECT_EQ(instance(1).frames.back(), 9);
  EXPECT_EQ(shown(), 9);
}

TEST_P(Numbers, OfAnOverlaySwitchedBehindAFailure_AreThoseOfThePictureHeld) {
  library.onOpen = [](MpegIn& opened) { opened.set.decodeSubpictures = 1; };
  openAt(7);
  addSubpicture(*pipe);
  failToRead(1);
  EXPECT_EQ(pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", 0), 0);
  EXPECT_EQ(instance(1).frames.back(), 7);
  expectReads(7);
  expectReads(8);
}

UNDER_BOTH_HANDLERS(Numbers);

// The library delivers what is there, then it cannot read on.
class EarlyEnd : public BothHandlers {
 protected:
  EarlyEnd() {
    library.addAudio(kAudioAmr);
    opened();
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    library.give(kNextSample, 30);
    EXPECT_EQ(pipe->readSamples(100, 0), -4);
    EXPECT_EQ(pipe->audioPcm(0)->nSamples, 30);
  }
};

TEST_P(EarlyEnd, StaysTheEndWithAnEmptyBuffer) {
  for (int i = 0; i < 3; ++i) {
    library.give(kNextSample, kMpegError);
    EXPECT_EQ(pipe->readSamples(i == 0 ? 1 : 100, 0), -4);
    EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
    EXPECT_EQ(pipe->audioPcm(0)->position, 30);
  }
  library.raise(kNextSample);
  EXPECT_EQ(pipe->readSamples(100, 0), -4);
  expectError(0, "");
}

TEST_P(EarlyEnd, IsLeftByASeek) {
  ASSERT_EQ(pipe->seekToSample(10, 0), 0);
  library.give(kNextSample, kMpegError);
  EXPECT_EQ(pipe->readSamples(100, 0), -1);
  expectError(-1, "Read sample failed");
  EXPECT_EQ(pipe->readSamples(20, 0), 20);
}

TEST_P(EarlyEnd, DoesNotHideAnInvalidRequest) {
  auto const result = failing([&] { return pipe->readSamples(-5, 0); });
  EXPECT_EQ(result.value_or(-1), -1);
  expectException("./mpegdecode/mpegindec(1266)", "Invalid sample count requested");
}

UNDER_BOTH_HANDLERS(EarlyEnd);

}  // namespace
