// The error that a host reads after a call that failed: that of the call, and of no other.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Errors : public BothHandlers {
 protected:
  ~Errors() override { wrapper.reset(); }

  void addMono() {
    MpegAudioInfo& audio = library.addAudio(kAudioLpcm).info;
    audio.channels = 1;
  }
  void open() {
    wrapper.reset();
    module.setAttr("joinMonoStreams", 1);
    wrapper = std::make_unique<MpegDecWrapper>(&module);
    ASSERT_EQ(wrapper->init(), 0);
    ASSERT_EQ(wrapper->setParam("filename", Any(clip().string())), 0);
    ASSERT_EQ(wrapper->open(), 0) << wrapper->errorDesc();
  }
  // An error of an earlier call, which no later one may pass for its own.
  void leaveAnError() {
    ASSERT_EQ(wrapper->setParam("earlier", 1), -5);
    inner().setError(77, "older");
    wrapper->setError(78, "earlier");
  }
  MpegInDec& inner() { return *((*wrapper).*memberOf(Inner{})); }
  void expectError(int code, std::string const& text) const {
    EXPECT_EQ(wrapper->errorCode(), code);
    EXPECT_EQ(wrapper->errorDesc(), text);
  }
  // The call gives this, and its error is this one.
  template <class Call>
  void expectFails(Call call, int64_t result, int code, std::string const& text) {
    leaveAnError();
    EXPECT_EQ(call(), result);
    expectError(code, text);
  }
  // The call fails a check and has no text.
  template <class Call>
  void expectFailsCheck(Call call, int64_t result) {
    leaveAnError();
    EXPECT_EQ(failing(call).value_or(static_cast<int>(result)), result);
    expectError(0, "");
  }
  std::unique_ptr<MpegDecWrapper> wrapper;
};

TEST_P(Errors, OfCallsOnStreamsThatAreNotSelected_AreNone) {
  library.addVideo();
  library.addAudio(kAudioAmr);
  open();
  expectFailsCheck([&] { return wrapper->readFrame(0); }, -1);
  expectFailsCheck([&] { return wrapper->seekToFrame(0, 0); }, -1);
  expectFailsCheck([&] { return wrapper->readSamples(10, 0); }, -1);
  expectFailsCheck([&] { return wrapper->seekToSample(0, 0); }, -1);
  expectFailsCheck([&] { return static_cast<int>(wrapper->sampleCount(0)); }, -1);
}

TEST_P(Errors, OfAnOpeningThatLeftAStreamOut_AreNotThoseOfTheNextCall) {
  library.addVideo();
  library.addVideo();
  library.give(kOpen, -1, 2);
  open();
  auto const result = failing([&] { return wrapper->readFrame(0); });
  EXPECT_EQ(result.value_or(-1), -1);
  expectError(0, "");
}

TEST_P(Errors, OfCallsThatFailWithoutAText_AreNone) {
  library.addVideo();
  library.addAudio(kAudioAmr);
  open();
  expectFails([&] { return wrapper->setUserDataEnabled(kKindVideo, 9, 1); }, -1, 0, "");
  expectFails([&] { return wrapper->setParam("decoderParameters", 1); }, -1, 0, "");
  expectFails([&] { return wrapper->setOverride(kKindVideo, 0, "frameAspect", Any()); }, -1, 0, "");
  expectFails([&] { return wrapper->setStreamParam(kKindAudio, 9, "nothing", 1); }, -1, 0, "");
  expectFails([&] { return wrapper->frameCount(9); }, -1, 0, "");
  ASSERT_EQ(wrapper->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(wrapper->seekToFrame(99, 0), 0);
  ASSERT_EQ(wrapper->readFrame(0), 0);
  expectFails([&] { return wrapper->readFrame(0); }, -4, 0, "");
  library.give(kSeekSample, 4);
  expectFails([&] { return wrapper->selectStream(kKindAudio, 0); }, 4, 0, "");
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  library.give(kNextSample, 0);
  expectFails([&] { return wrapper->readSamples(10, 0); }, -4, 0, "");
  addCaptions(inner(), 0);
  AnyDict out;
  expectFails([&] { return wrapper->readCcData(0, 0, out); }, -1, 0, "");
}

TEST_P(Errors, OfCallsThatFailWithAText_AreTheirs) {
  library.addVideo();
  library.addAudio(kAudioAmr);
  open();
  ASSERT_EQ(wrapper->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readFrame(0), 0);
  Any value;
  expectFails([&] { return wrapper->setParam("nonsense", 1); }, -5, -5, "Invalid parameter 'nonsense'");
  expectFails([&] { return wrapper->getParam("nonsense", value); }, -5, -5, "Invalid parameter 'nonsense'");
  expectFails([&] { return wrapper->setOverride(kKindAudio, 0, "x", 1); }, -1, -1,
              "Can not set override for non video streams");
  expectFails([&] { return wrapper->setOverride(kKindVideo, 0, "x", 1); }, -1, -1,
              "Unknown override parameter x");
  expectFails([&] { return wrapper->setStreamParam(kKindVideo, 0, "x", 1); }, -5, -5,
              "Invalid parameter 'x'");
  expectFails([&] { return wrapper->selectStream(kKindVideo, 9); }, -1, -1, "wrong stream number 9");
  expectFails([&] { return wrapper->seekToFrame(1000, 0); }, -1, -1, "Position out of range in seekToFrame");
  library.give(kSeekFrame, kMpegEndOfStream);
  expectFails([&] { return wrapper->seekToFrame(50, 0); }, -4, -4, "EOF in SeekToFrame");
  library.give(kNextFrame, kMpegError);
  expectFails([&] { return wrapper->readFrame(0); }, -1, -1, "Error in readFrame");
  expectFails([&] { return wrapper->seekToSample(-1, 0); }, -1, -1, "Position out of range in seekToSample");
  library.give(kNextSample, kMpegError);
  expectFails([&] { return wrapper->readSamples(10, 0); }, -1, -1, "Read sample failed");
}

TEST_P(Errors, KeepPercentSigns) {
  library.addVideo();
  open();
  expectFails([&] { return wrapper->setParam("%s%n", 1); }, -5, -5, "Invalid parameter '%s%n'");
}

TEST_P(Errors, OfJoinedStreams_AreThoseOfTheStreamThatFailed) {
  addMono();
  addMono();
  open();
  library.give(kSeekSample, 4, 2);
  expectFails([&] { return wrapper->selectStream(kKindAudio, 0); }, 4, 0, "");
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  Any value;
  expectFails([&] { return wrapper->setParam("nonsense", 1); }, -5, -5, "Invalid parameter 'nonsense'");
  expectFails([&] { return wrapper->getParam("nonsense", value); }, -5, -5, "Invalid parameter 'nonsense'");
  expectFails([&] { return wrapper->setOverride(kKindAudio, 0, "x", 1); }, -1, -1,
              "Can not set override for non video streams");
  expectFails([&] { return wrapper->seekToSample(100000, 0); }, -1, -1,
              "Position out of range in seekToSample");
  for (int stream : {1, 2}) {
    library.give(kSeekSample, 1, stream);
    expectFails([&] { return wrapper->seekToSample(10, 0); }, -1, -1, "seekToSample failed");
  }
}

TEST_P(Errors, OfAJoinedReadWithoutAnyDelivery_AreNone) {
  addMono();
  addMono();
  open();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  library.giveAlways(kNextSample, kMpegError);
  expectFails([&] { return wrapper->readSamples(10, 0); }, -1, 0, "");
  library.giveAlways(kNextSample, 0);
  expectFails([&] { return wrapper->readSamples(10, 0); }, -4, 0, "");
}

TEST_P(Errors, ThatWereRecordedBeforeACheckFailed_AreHandedOver) {
  library.addVideo();
  open();
  leaveAnError();
  auto const result = failing([&] { return wrapper->setStreamParam(kKindVideo, 0, "subpicOverlay", 5); });
  EXPECT_EQ(result.value_or(-12), -12);
  expectError(-12, "Invalid value for 5 'subpicOverlay'");
}

TEST_P(Errors, OfAFailedOpening_AreItsOwn) {
  library.addVideo();
  open();
  wrapper->close();
  wrapper->setParam("filename", "/nowhere/at/all.mxf");
  leaveAnError();
  EXPECT_EQ(wrapper->open(), -9);
  expectError(-9, "");
}

TEST_P(Errors, StayWhenACallSucceeds) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  open();
  leaveAnError();
  EXPECT_EQ(wrapper->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(wrapper->readFrame(0), 0);
  EXPECT_EQ(wrapper->readSamples(0, 0), 0);
  expectError(78, "earlier");
}

TEST_P(Errors, OfTableOfTimeStamps_AreThoseOfTheTable) {
  library.addVideo();
  open();
  leaveAnError();
  EXPECT_EQ(wrapper->frameTimestamps(0), nullptr);
  expectError(0, "");
}

UNDER_BOTH_HANDLERS(Errors);

}  // namespace
