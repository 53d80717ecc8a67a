// Mono streams joined: what fails, and what the inner decoder's failures become.
#include <algorithm>
#include <cstring>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Joining : public BothHandlers {
 protected:
  ~Joining() override { wrapper.reset(); }

  void addMono(int64_t samples = 100000) {
    MpegAudioInfo& audio = library.addAudio(kAudioLpcm).info;
    audio.channels = 1;
    audio.samples = samples;
  }
  void addStereo() { library.addAudio(kAudioLpcm); }
  MpegDecWrapper& readyWrapper() {
    wrapper.reset();
    module.setAttr("joinMonoStreams", 1);
    wrapper = std::make_unique<MpegDecWrapper>(&module);
    EXPECT_EQ(wrapper->init(), 0);
    EXPECT_EQ(wrapper->setParam("filename", Any(clip().string())), 0);
    return *wrapper;
  }
  MpegDecWrapper& openedWrapper() {
    readyWrapper();
    EXPECT_EQ(wrapper->open(), 0) << wrapper->errorDesc();
    return *wrapper;
  }
  MpegInDec& inner() { return *((*wrapper).*memberOf(Inner{})); }
  void expectWrapperError(int code, std::string const& text) const {
    EXPECT_EQ(wrapper->errorCode(), code);
    EXPECT_EQ(wrapper->errorDesc(), text);
  }
  std::vector<std::vector<int16_t>> channels() {
    KyPcm const& pcm = *wrapper->audioPcm(0);
    auto const* const words = reinterpret_cast<int16_t const*>(pcm.ptr());
    std::vector<std::vector<int16_t>> all(static_cast<size_t>(pcm.channels()));
    for (int i = 0; i < pcm.nSamples; ++i)
      for (size_t c = 0; c < all.size(); ++c)
        all[c].push_back(words[static_cast<size_t>(i) * all.size() + c]);
    return all;
  }
  std::unique_ptr<MpegDecWrapper> wrapper;
};

TEST_P(Joining, OpeningBeforeInit_Fails) {
  wrapper = std::make_unique<MpegDecWrapper>(&module);
  EXPECT_EQ(wrapper->open(), -18);
  expectWrapperError(-18, "Codec not initialized");
  EXPECT_EQ(wrapper->state(), kStateCreated);
  expectNoFailure();
}

TEST_P(Joining, AFailedOpening_HasTheInnerCodeAndText) {
  addMono();
  readyWrapper();
  for (int code : {-102, 5}) {
    library.give(kGetInfo, code);
    EXPECT_EQ(wrapper->open(), code);
    expectWrapperError(code, "Failed to parse '" + clip().string() + "'");
    EXPECT_EQ(wrapper->state(), kStateInitialised);
  }
  EXPECT_EQ(library.alive(), 0);
  EXPECT_EQ(wrapper->open(), 0);
}

TEST_P(Joining, AFailedOpening_KeepsPercentSignsOfTheName) {
  readyWrapper();
  auto const odd = clip("%s%n.bin");
  wrapper->setParam("filename", Any(odd.string()));
  EXPECT_EQ(wrapper->open(), -1);
  expectWrapperError(-1, "No audio/video streams found in ''" + odd.string());
}

TEST_P(Joining, Closed_ReadingSeekingAndBuffersAreAssertionFailures) {
  readyWrapper();
  EXPECT_EQ(failing([&] { return wrapper->readSamples(10, 0); }).value_or(-18), -18);
  expectAssertion("./mpegdecode/mpegdecwrapper(308)", "readSamples: Stream not opened");
  if (!throwing()) expectWrapperError(-18, "Stream not opened");
  EXPECT_EQ(failing([&] { return wrapper->seekToSample(0, 0); }).value_or(-18), -18);
  expectAssertion("./mpegdecode/mpegdecwrapper(254)", "readSamples: Stream not opened");
  if (!throwing()) expectWrapperError(-18, "Stream not opened");
  EXPECT_EQ(failing([&] { return wrapper->audioPcm(0); }).value_or(nullptr), nullptr);
  expectAssertion("./mpegdecode/mpegdecwrapper(379)");
  expectWrapperError(-18, "Stream not opened");
}

TEST_P(Joining, NumbersOutsideTheJoinedStreams_AreAssertionFailures) {
  addMono();
  addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->countStreams(kKindAudio), 1);
  Any value;
  AnyDict out;
  auto const refused = [&](auto call) {
    size_t const before = failures.seen.size();
    auto const result = failing(call);
    ASSERT_EQ(failures.seen.size(), before + 1);
    expectAssertion("./mpegdecode/mpegdecwrapper(571)", "Invalid stream number");
    if (!result) return;
    if constexpr (std::is_same_v<decltype(call()), KyPcm*>)
      EXPECT_EQ(*result, nullptr);
    else if constexpr (std::is_same_v<decltype(call()), bool>)
      EXPECT_TRUE(*result) << "an invalid number reads as selected";
    else
      EXPECT_EQ(*result, -13);
    expectWrapperError(-13, "Invalid stream number");
  };
  for (int index : {-1, 1}) {
    refused([&] { return wrapper->readSamples(10, index); });
    refused([&] { return wrapper->readSamples(0, index); });
    refused([&] { return wrapper->seekToSample(0, index); });
    refused([&] { return wrapper->sampleCount(index); });
    refused([&] { return wrapper->audioPcm(index); });
    refused([&] { return wrapper->selectStream(kKindAudio, index); });
    refused([&] { return wrapper->deselectStream(kKindAudio, index); });
    refused([&] { return wrapper->isSelected(kKindAudio, index); });
    refused([&] { return wrapper->getStreamParam(kKindAudio, index, "channels", value); });
    refused([&] { return wrapper->streamInfo(kKindAudio, index, out); });
  }
}

TEST_P(Joining, TheCountOfSamplesIsCheckedWithoutJoiningToo) {
  addStereo();
  openedWrapper();
  auto const result = failing([&] { return wrapper->sampleCount(1); });
  EXPECT_EQ(result.value_or(-13), -13);
  expectAssertion("./mpegdecode/mpegdecwrapper(571)", "Invalid stream number");
}

TEST_P(Joining, StreamsThatChangeWhileTheyAreJoined_AreExceptionFailures) {
  addMono();
  addMono();
  readyWrapper();
  // They are counted as mono and then, when each is selected, become stereo.
  library.onCall = [&](Function function) {
    if (function != kSeekSample || inner().state() != kStateOpened) return;
    for (int i = 0; i < 2; ++i) audioOf(inner(), i).info().set("channels", 2);
  };
  failing([&] { return wrapper->open(); });
  library.onCall = nullptr;
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
  EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegdecwrapper(193)");
  if (throwing()) {
    EXPECT_EQ(failures.seen.size(), 1U);
  } else {
    ASSERT_EQ(failures.seen.size(), 2U);
    EXPECT_EQ(failures.seen[1].kind, KyFailureKind::Exception);
    EXPECT_EQ(failures.seen[1].where, "./mpegdecode/mpegdecwrapper(194)");
  }
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 2);
  EXPECT_EQ(wrapper->close(), 0);
  EXPECT_EQ(wrapper->open(), 0);
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 1);
}

TEST_P(Joining, OfOneStreamThatStayedMono_HasOneChannel) {
  addMono();
  addMono();
  readyWrapper();
  library.onCall = [&](Function function) {
    if (function == kSeekSample && inner().state() == kStateOpened)
      audioOf(inner(), 1).info().set("channels", 2);
  };
  ASSERT_EQ(wrapper->open(), 0);
  library.onCall = nullptr;
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 2);
  Any value = 0;
  EXPECT_EQ(wrapper->getParam("channelName", value), 0);
  EXPECT_EQ(value, Any("mono"));
  value = 1;
  EXPECT_EQ(wrapper->getParam("channelName", value), 0);
  EXPECT_EQ(value, Any("mono"));
  expectNoFailure();
}

TEST_P(Joining, TheJoinedStreamStandsWhereTheFirstMonoStreamStood) {
  addStereo();
  addMono(100);
  addMono(300);
  library.addAudio(kAudioLpcm).info.channels = 6;
  library.addVideo();
  openedWrapper();
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 3);
  EXPECT_EQ(wrapper->countStreams(kKindAudio | kKindVideo), 4);
  AnyDict info;
  wrapper->streamInfo(kKindAudio, 1, info);
  EXPECT_EQ(info["_joined"].asVector(), (AnyVector{1, 2}));
  EXPECT_EQ(info["channels"], Any(2));
  EXPECT_EQ(info["samples"], Any(300L));
  wrapper->streamInfo(kKindAudio, 2, info);
  EXPECT_EQ(info["channels"], Any(6));
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 2), 0);
  EXPECT_EQ(wrapper->sampleCount(1), 300);
  EXPECT_EQ(wrapper->sampleCount(2), 100000);
  EXPECT_EQ(wrapper->audioPcm(2)->channels(), 6);
  EXPECT_EQ(wrapper->readSamples(10, 2), 10);
  EXPECT_EQ(wrapper->audioPcm(2)->nSamples, 10);
  wrapper->deselectStream(kKindAudio, 2);
  EXPECT_FALSE(wrapper->isSelected(kKindAudio, 0)) << "selected for a while only";
}

TEST_P(Joining, NumbersOfPicturesAreThoseOfTheFile) {
  for (int width : {64, 128, 192}) library.addVideo().info.width = width;
  addMono();
  addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->countStreams(kKindAudio), 1);
  for (int i = 0; i < 3; ++i) {
    AnyDict description;
    EXPECT_EQ(wrapper->streamInfo(kKindVideo, i, description), 0);
    EXPECT_EQ(description["width"], Any(64 * (i + 1)));
    Any value;
    EXPECT_EQ(wrapper->getStreamParam(kKindVideo, i, "width", value), 0);
    EXPECT_EQ(value, Any(64 * (i + 1)));
    EXPECT_EQ(wrapper->setStreamParam(kKindVideo, i, "nothing", 1), -5);
    EXPECT_FALSE(wrapper->isSelected(kKindVideo, i));
    EXPECT_EQ(wrapper->selectStream(kKindVideo, i), 0);
    EXPECT_TRUE(wrapper->isSelected(kKindVideo, i));
    EXPECT_TRUE(inner().isSelected(kKindVideo, i));
    EXPECT_EQ(wrapper->deselectStream(kKindVideo, i), 0);
    EXPECT_FALSE(inner().isSelected(kKindVideo, i));
  }
  EXPECT_FALSE(wrapper->isSelected(kKindAudio, 0));
  EXPECT_EQ(wrapper->selectStream(kKindVideo, 3), -1);
  expectWrapperError(-1, "wrong stream number 3");
  expectNoFailure();
}

TEST_P(Joining, WithoutJoining_NumbersAreCheckedInside) {
  addStereo();
  openedWrapper();
  Any value;
  EXPECT_EQ(wrapper->getStreamParam(kKindAudio, 0, "channels", value), 0);
  EXPECT_EQ(value, Any(2));
  EXPECT_FALSE(wrapper->isSelected(kKindAudio, 0));
  EXPECT_EQ(wrapper->selectStream(kKindAudio, 1), -1);
  expectWrapperError(-1, "wrong stream number 1");
  expectNoFailure();
  EXPECT_EQ(failing([&] { return wrapper->readSamples(10, 1); }).value_or(-1), -1);
  expectAssertion("./mpegdecode/mpegindec(1356)",
                  "mpegdec.readSamples: invalid stream no or stream not selected");
  EXPECT_EQ(failing([&] { return wrapper->seekToSample(10, 1); }).value_or(-1), -1);
  expectAssertion("./mpegdecode/mpegindec(1437)",
                  "mpegdec.seekToSample: invalid stream no or stream not selected");
}

TEST_P(Joining, OfStreamsWithoutSamples_HasNone) {
  addMono(0);
  addMono(0);
  openedWrapper();
  AnyDict info;
  wrapper->streamInfo(kKindAudio, 0, info);
  EXPECT_EQ(info["samples"], Any(0L));
  EXPECT_EQ(wrapper->sampleCount(0), 0);
}

TEST_P(Joining, IsLeftWithOneMonoStreamWithDolbyAndOnRequest) {
  addMono();
  addStereo();
  openedWrapper();
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 2);
  library.audio.clear();
  addMono();
  addMono();
  library.addAudio(kAudioDolby);
  openedWrapper();
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 3);
  library.audio.clear();
  addMono();
  addMono();
  readyWrapper();
  wrapper->setParam("joinMonoStreams", false);
  ASSERT_EQ(wrapper->open(), 0);
  EXPECT_EQ(wrapper->countStreams(kKindAudio), 2);
}

TEST_P(Joining, AStreamThatCannotBeSelected_LeavesNoneSelected) {
  addMono();
  addMono();
  openedWrapper();
  library.give(kSeekSample, 4, 2);
  EXPECT_EQ(wrapper->selectStream(kKindAudio, 0), 4);
  EXPECT_FALSE(wrapper->isSelected(kKindAudio, 0));
  EXPECT_FALSE(inner().isSelected(kKindAudio, 0));
  EXPECT_FALSE(inner().isSelected(kKindAudio, 1));
  EXPECT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  EXPECT_TRUE(inner().isSelected(kKindAudio, 1));
  EXPECT_EQ(wrapper->deselectStream(kKindAudio, 0), 0);
  EXPECT_FALSE(inner().isSelected(kKindAudio, 1));
  expectNoFailure();
}

TEST_P(Joining, AStreamThatDeliversLess_IsSilentForTheWholeBlock) {
  addMono(1000);
  addMono(150);
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readSamples(100, 0), 100);
  EXPECT_EQ(channels()[1][99], 99);
  ASSERT_EQ(wrapper->readSamples(100, 0), 100);
  EXPECT_EQ(channels()[0][0], 100);
  EXPECT_EQ(channels()[1], std::vector<int16_t>(100, 0));
  EXPECT_EQ(wrapper->audioPcm(0)->position, 150) << "the last stream's";
  ASSERT_EQ(wrapper->readSamples(100, 0), 100) << "one of them has ended";
  EXPECT_EQ(channels()[0][0], 200);
}

TEST_P(Joining, AStreamThatFails_IsSilentForTheBlock) {
  addMono();
  addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  for (bool raises : {false, true}) {
    if (raises)
      library.raise(kNextSample);
    else
      library.give(kNextSample, -1);
    ASSERT_EQ(wrapper->readSamples(50, 0), 50);
    EXPECT_EQ(channels()[0], std::vector<int16_t>(50, 0));
    EXPECT_NE(channels()[1], std::vector<int16_t>(50, 0));
  }
  expectNoFailure();
}

TEST_P(Joining, WithoutAnyDelivery_IsMinus1) {
  addMono();
  addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readSamples(50, 0), 50);
  library.giveAlways(kNextSample, -1);
  EXPECT_EQ(wrapper->readSamples(50, 0), -1);
  EXPECT_EQ(wrapper->errorCode(), 0) << "no error of this decoder";
  EXPECT_EQ(wrapper->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(wrapper->audioPcm(0)->position, 0);
}

TEST_P(Joining, WithAllAtTheEnd_IsMinus4) {
  addMono(50);
  addMono(50);
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readSamples(50, 0), 50);
  EXPECT_EQ(wrapper->readSamples(50, 0), -4);
  EXPECT_EQ(wrapper->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(wrapper->audioPcm(0)->position, 0);
}

TEST_P(Joining, ReadingNone_AsksNothing) {
  addMono();
  addMono();
  openedWrapper();
  EXPECT_EQ(wrapper->readSamples(0, 0), 0);
  EXPECT_EQ(library.calls(kNextSample), 0);
}

TEST_P(Joining, ASeekThatFailsInOneStream_IsTheResult) {
  addMono();
  addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readSamples(50, 0), 50);
  library.give(kSeekSample, 1, 2);
  EXPECT_EQ(wrapper->seekToSample(10, 0), -1);
  EXPECT_EQ(wrapper->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(wrapper->audioPcm(0)->position, 0);
  EXPECT_EQ(wrapper->seekToSample(10, 0), 0);
}

TEST_P(Joining, SettingAParameterOfSound_ChangesNothing) {
  addMono();
  addMono();
  openedWrapper();
  EXPECT_EQ(wrapper->setStreamParam(kKindAudio, 0, "nothing", 1), 0);
  EXPECT_EQ(wrapper->setStreamParam(kKindAudio, 99, "nothing", 1), 0);
  expectNoFailure();
}

TEST_P(Joining, MoreThan32Streams_AreJoinedToo) {
  for (int i = 0; i < 40; ++i) addMono();
  openedWrapper();
  ASSERT_EQ(wrapper->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper->readSamples(20, 0), 20);
  ASSERT_EQ(channels().size(), 40U);
  EXPECT_EQ(channels()[39][19], 19);
}

TEST_P(Joining, NamesOfChannelsAreThoseOfTheJoinedStream) {
  addMono();
  addMono();
  openedWrapper();
  for (auto [channel, name] : {std::pair{0, "left"}, std::pair{1, "right"}, std::pair{0x0100, "right"}}) {
    Any value = channel;
    EXPECT_EQ(wrapper->getParam("channelName", value), 0);
    EXPECT_EQ(value, Any(name));
  }
  addMono();
  openedWrapper();
  Any value = 7;
  wrapper->getParam("channelName", value);
  EXPECT_EQ(value, Any("channel 7"));
  value = 1;
  wrapper->getParam("tsStructure", value);
  EXPECT_FALSE(value.valid());
}

UNDER_BOTH_HANDLERS(Joining);

}  // namespace
