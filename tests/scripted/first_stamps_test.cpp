// First time stamps measured at the opening, late sound delayed, tables of time stamps.
#include "host/mediatime.h"
#include "mpegdecode/firststamps.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

constexpr int64_t kMs = 27000;  // ticks of 27 MHz
constexpr int kVideoCode = 3;
constexpr int kAudioCode = 133;

Track track(int code, int identifier, int64_t pts, int64_t startOffset = 0) {
  Track made{};
  made.info.typeCode = code;
  made.info.identifier = identifier;
  made.info.frames = 1;
  made.units.push_back({pts, startOffset, 0, pts, 10});
  return made;
}

// One video stream of pid 0 and id 0xE0, one sound of pid 16 and id 0xC0.
class Measuring : public ScriptedTest {
 protected:
  Measuring() {
    library.containerType = kContainerTransport;
    module.setAttr("AVSyncFix", 0);
    library.addVideo().info.firstPts = 111;
    library.addAudio(kAudioLpcm).info.firstPts = 222;
    library.titles = {{track(kVideoCode, 0, 5000), track(kAudioCode, 16, 6000)}};
  }
  int64_t stamp(int kind, int index = 0) const {
    AnyDict const description = info(kind, index);
    return description.descendant("codecParams", kind == kKindVideo ? "firstVPTS" : "firstAPTS", nullptr)
        .asInt64();
  }
  void expectReported() const {
    EXPECT_EQ(stamp(kKindVideo), 111);
    EXPECT_EQ(stamp(kKindAudio), 222);
  }
};

TEST_F(Measuring, ReplacesWhatTheLibraryReported) {
  opened();
  EXPECT_EQ(stamp(kKindVideo), 5000);
  EXPECT_EQ(stamp(kKindAudio), 6000);
  EXPECT_TRUE(log.hasAt(kLogInfo, "stream 0, detected first PTS=5000, mfimport reported 111"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "stream 16, detected first PTS=6000, mfimport reported 222"));
  EXPECT_EQ(library.fileCloses, 1);
  EXPECT_EQ(library.calls(kMfStreamInfo), 2) << "each stream once, none behind them";
  EXPECT_TRUE(library.readers.empty());
}

TEST_F(Measuring, IsForSystemProgramAndTransportStreamsOnly) {
  for (int container : {1, 2, 3, 7, 0, 4, 5, 9, 18, 19, 20}) {
    library.containerType = container;
    int const before = library.calls(kMfNew);
    opened();
    bool const measured = container == 1 || container == 2 || container == 3 || container == 7;
    EXPECT_EQ(library.calls(kMfNew) - before, measured ? 1 : 0) << container;
  }
}

TEST_F(Measuring, SystemAndProgramStreamsMatchById) {
  for (int container : {1, 2}) {
    library.containerType = container;
    opened();
    expectReported();
    library.titles = {{track(kVideoCode, 0xE0, 7000), track(kAudioCode, 0xC0, 8000)}};
    opened();
    EXPECT_EQ(stamp(kKindVideo), 7000);
    EXPECT_EQ(stamp(kKindAudio), 8000);
    library.titles = {{track(kVideoCode, 0, 5000), track(kAudioCode, 16, 6000)}};
  }
}

TEST_F(Measuring, TypeCodesTellVideoFromSound) {
  struct Row {
    int code;
    bool video, audio;
  };
  for (Row const& row :
       {Row{1, false, false}, Row{2, true, false}, Row{127, true, false}, Row{128, false, false},
        Row{130, false, false}, Row{131, false, true}, Row{198, false, true}, Row{199, false, false},
        Row{200, false, false}, Row{0, false, false}}) {
    library.titles = {{track(row.code, 0, 5000), track(row.code, 16, 6000)}};
    opened();
    EXPECT_EQ(stamp(kKindVideo), row.video ? 5000 : 111) << row.code;
    EXPECT_EQ(stamp(kKindAudio), row.audio ? 6000 : 222) << row.code;
  }
}

TEST_F(Measuring, WalksEveryTitle) {
  library.titles = {{track(kVideoCode, 99, 1)}, {track(kVideoCode, 0, 5000)}, {track(kAudioCode, 16, 6000)}};
  opened();
  EXPECT_EQ(stamp(kKindVideo), 5000);
  EXPECT_EQ(stamp(kKindAudio), 6000);
}

TEST_F(Measuring, TheFirstOfTwoStreamsWithTheSameIdentifierIsMeant) {
  library.addVideo().id.pid = 0;
  library.video[1].info.firstPts = 333;
  opened();
  EXPECT_EQ(stamp(kKindVideo, 0), 5000);
  EXPECT_EQ(stamp(kKindVideo, 1), 333);
}

TEST_F(Measuring, SoundStartsBehindItsPriming) {
  library.audio[0].info.leadingSamples = 480;  // 10 ms
  library.titles = {{track(kAudioCode, 16, 1000000, 25 * kMs)}};
  opened();
  EXPECT_EQ(stamp(kKindAudio), 1000000 + 15 * kMs);
  library.titles = {{track(kAudioCode, 16, 1000000, 10 * kMs)}};
  opened();
  EXPECT_EQ(stamp(kKindAudio), 1000000) << "as much was led in as the unit is off";
  library.titles = {{track(kAudioCode, 16, 1000000, 10 * kMs + 1)}};
  opened();
  EXPECT_EQ(stamp(kKindAudio), 1000001);
}

TEST_F(Measuring, PrimingIsExactOverHoursAndOfAnyRate) {
  constexpr int64_t kSecond = 27000000;
  struct Row {
    int leading, rate;
    int64_t offset, lead;
  };
  for (Row const& row : {Row{480000000, 48000, 20000 * kSecond, 10000 * kSecond},
                         Row{1, 1, 3 * kSecond, kSecond}, Row{480, 0, 5, 5}}) {
    library.titles = {{track(kAudioCode, 16, 1000, row.offset)}};
    opened();
    MpegAudioInfo& audio = audioOf(*pipe, 0).decoder()->audio;
    audio.leadingSamples = row.leading;
    audio.rate = row.rate;
    EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), 0);
    EXPECT_EQ(stamp(kKindAudio), 1000 + row.offset - row.lead) << row.rate;
  }
}

TEST_F(Measuring, IsDoneOfAPipeThatIsOpen) {
  int asked = 0;
  library.onCall = [&](Function function) {
    if (function != kMfFileOpen) return;
    ++asked;
    EXPECT_EQ(pipe->state(), kStateOpened);
    EXPECT_GT(pipe->countStreams(3), 0);
  };
  opened();
  library.onCall = nullptr;
  EXPECT_EQ(asked, 1);
}

TEST_F(Measuring, WithoutAReader_OpensWithTheReportedStamps) {
  for (bool raises : {false, true}) {
    if (raises)
      library.raise(kMfNew);
    else
      library.give(kMfNew, 0);
    opened();
    expectReported();
  }
  library.give(kMfNew, 0);
  EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), 0);
}

TEST_F(Measuring, OfAFileThatDoesNotOpen_OpensWithTheReportedStamps) {
  library.giveAlways(kMfFileOpen, -101);
  opened();
  expectReported();
  EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), -1);
  EXPECT_EQ(library.fileCloses, 0);
  EXPECT_TRUE(library.readers.empty());
}

TEST_F(Measuring, WhenOpeningRaises_IsLogged) {
  library.raise(kMfFileOpen);
  opened();
  expectReported();
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInOpenW"));
  EXPECT_TRUE(library.readers.empty());
}

TEST_F(Measuring, OfAContainerWithoutInformation_Fails) {
  library.giveAlways(kMfContainerInfo, -1);
  opened();
  expectReported();
  EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), -1);
  library.behave(kMfContainerInfo);
  library.raise(kMfContainerInfo);
  EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), -1);
  EXPECT_EQ(library.fileCloses, 3);
  EXPECT_TRUE(library.readers.empty());
}

TEST_F(Measuring, AStepThatFails_LeavesOutItsStreamAlone) {
  for (Function step : {kMfStreamInfo, kMfStreamNew, kMfStreamSeek, kMfStreamNext}) {
    for (bool raises : {false, true}) {
      if (raises)
        library.raise(step);
      else
        library.give(step, -1);
      opened();
      EXPECT_EQ(stamp(kKindVideo), 111) << step;
      EXPECT_EQ(stamp(kKindAudio), 6000) << step;
      EXPECT_TRUE(library.readers.empty());
    }
  }
}

TEST_F(Measuring, ATitleThatCannotBeRead_LeavesOutItsStreamsAlone) {
  library.titles = {{track(kVideoCode, 0, 5000)}, {track(kAudioCode, 16, 6000)}};
  library.give(kMfTitleInfo, -1);
  opened();
  EXPECT_EQ(stamp(kKindVideo), 111);
  EXPECT_EQ(stamp(kKindAudio), 6000);
}

TEST_F(Measuring, AnEntryThatIsMissingOrOfAnotherKind_IsAnErrorForTheUserAndStays) {
  opened();
  ky_log()->take();
  AnyDict& codecParams = videoOf(*pipe, 0).info().child("codecParams");
  for (Any const& odd : {Any(7), Any("text"), Any()}) {
    codecParams.set("firstVPTS", odd);
    EXPECT_EQ(measureFirstStamps(fileOf(*pipe), get("filename")), 0);
    EXPECT_EQ(codecParams["firstVPTS"], odd);
    auto const messages = ky_log()->take();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].text, "Internal error in getFirstTimestampInfo");
  }
}

// Sound against pictures of 25 per second.
class Delay : public ScriptedTest {
 protected:
  Delay() {
    library.containerType = kContainerM2ts;
    module.setAttr("AVSyncFix", 1);
    library.addVideo();
    library.addAudio(kAudioLpcm);
  }
  // Samples of silence for sound that begins so much behind the pictures.
  int delayed(int64_t ticks) {
    library.video[0].info.firstPts = 1000000;
    library.audio[0].info.firstPts = 1000000 + ticks;
    opened();
    return stateOf(audioOf(*pipe, 0)).syncDelaySamples;
  }
};

TEST_F(Delay, ByAtMostOnePicture_IsLeft) {
  EXPECT_EQ(delayed(40 * kMs), 0);
  EXPECT_EQ(delayed(0), 0);
  EXPECT_EQ(info(kKindAudio, 0)["samples"], Any(100000L));
}

TEST_F(Delay, By41Milliseconds_Is1968Samples) {
  EXPECT_EQ(delayed(41 * kMs), 1968);
  EXPECT_TRUE(
      log.hasAt(kLogInfo, "[scripted]Audio stream 0 delayed 41ms, applying correction (1968 samples)"));
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).sampleCount, 101968);
  EXPECT_EQ(info(kKindAudio, 0)["samples"], Any(101968L));
  EXPECT_DOUBLE_EQ(info(kKindAudio, 0)["aDuration"].asDouble(), 101968 / 48000.0);
  EXPECT_DOUBLE_EQ(info(kKindAudio, 0)["duration"].asDouble(), 101968 / 48000.0);
}

TEST_F(Delay, OfSoundThatIsEarly_IsLeft) {
  EXPECT_EQ(delayed(-1), 0);
  EXPECT_EQ(delayed(-1000 * kMs), 0);
}

TEST_F(Delay, ByMoreThanOnePictureOf50PerSecond_IsCorrected) {
  library.video[0].info.rate = library.video[0].info.secondRate = 50.0;
  EXPECT_EQ(delayed(20 * kMs), 0);
  EXPECT_EQ(delayed(30 * kMs), 1440);
}

TEST_F(Delay, WithAnUnknownPictureRate_Tolerates40Milliseconds) {
  library.video[0].info.rate = library.video[0].info.secondRate = 0;
  EXPECT_EQ(delayed(1080000), 0);
  EXPECT_EQ(delayed(1080001), 1920);
}

TEST_F(Delay, IsForTransportStreamsUnlessTheAttributeSaysSo) {
  module.setAttr("AVSyncFix", 0);
  library.containerType = kContainerTransport;
  EXPECT_EQ(delayed(100 * kMs), 0);
  module.setAttr("AVSyncFix", Any());
  EXPECT_EQ(delayed(100 * kMs), 4800);
  library.containerType = kContainerM2ts;
  EXPECT_EQ(delayed(100 * kMs), 0);
  module.setAttr("AVSyncFix", "1");
  EXPECT_EQ(delayed(100 * kMs), 0) << "text is no setting";
  module.setAttr("AVSyncFix", 1);
  EXPECT_EQ(delayed(100 * kMs), 4800);
}

TEST_F(Delay, ComparesWithTheVideoOfTheSameProgram) {
  library.video[0].id.program = 1;
  library.addVideo().id.program = 2;
  library.video[1].info.firstPts = 1000000 + 100 * kMs;
  library.audio[0].id.program = 2;
  EXPECT_EQ(delayed(150 * kMs), 2400);
  library.audio[0].id.program = 1;
  EXPECT_EQ(delayed(150 * kMs), 7200);
}

TEST_F(Delay, OfAProgramWithoutVideo_ComparesWithTheFirst) {
  library.video[0].id.program = 1;
  library.audio[0].id.program = 9;
  EXPECT_EQ(delayed(100 * kMs), 4800);
}

TEST_F(Delay, UsesTheMeasuredStamps) {
  module.setAttr("AVSyncFix", Any());
  library.containerType = kContainerTransport;
  library.titles = {{track(kVideoCode, 0, 0), track(kAudioCode, 16, 50 * kMs)}};
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 2400);
}

TEST_F(Delay, NeedsVideo) {
  library.video.clear();
  library.audio[0].info.firstPts = 100 * kMs;
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 0);
}

// Every time stamp of a video stream.
class Timestamps : public ScriptedTest {
 protected:
  Timestamps() {
    library.addVideo();
    Track frames{};
    frames.info.typeCode = kVideoCode;
    frames.info.frames = 4;
    for (int64_t key : {0, 3, 1, 2}) frames.units.push_back({0, 0, key, key * 40 * kMs, 10});
    library.titles = {{track(kVideoCode, 99, 0), frames}};
    opened();
  }
  std::unique_ptr<KyStreamTimestamps> table(int index = 0) {
    return std::unique_ptr<KyStreamTimestamps>(pipe->frameTimestamps(index));
  }
  Track& frames() { return library.titles[0][1]; }
};

TEST_F(Timestamps, AreInTheOrderOfTheSortKeys) {
  auto const times = table();
  ASSERT_TRUE(times);
  ASSERT_EQ(times->size(), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(times->at(i).units(), i * 40 * 35280);
  EXPECT_EQ(library.fileCloses, 1);
  EXPECT_TRUE(library.readers.empty());
}

TEST_F(Timestamps, OfEqualKeysKeepTheirOrder) {
  frames().units = {{0, 0, 1, 40 * kMs, 1}, {0, 0, 0, 0, 1}, {0, 0, 1, 20 * kMs, 1}, {0, 0, 1, 60 * kMs, 1}};
  auto const times = table();
  ASSERT_TRUE(times);
  EXPECT_DOUBLE_EQ(times->at(1).seconds(), 0.04);
  EXPECT_DOUBLE_EQ(times->at(2).seconds(), 0.02);
  EXPECT_DOUBLE_EQ(times->at(3).seconds(), 0.06);
}

TEST_F(Timestamps, OfASingleFrameAreOne) {
  frames().info.frames = 1;
  auto const times = table();
  ASSERT_TRUE(times);
  EXPECT_EQ(times->size(), 1);
}

TEST_F(Timestamps, OutsideTheListAreNull) {
  EXPECT_EQ(table(-1), nullptr);
  EXPECT_EQ(table(1), nullptr);
  EXPECT_EQ(library.calls(kMfNew), 0);
}

TEST_F(Timestamps, OfTypeCodes1To128AreFound) {
  for (auto [code, found] : {std::pair{0, false}, std::pair{1, true}, std::pair{128, true},
                             std::pair{129, false}, std::pair{133, false}}) {
    frames().info.typeCode = code;
    EXPECT_EQ(table() != nullptr, found) << code;
  }
}

TEST_F(Timestamps, OfProgramStreamsAreFoundById) {
  library.containerType = kContainerMpeg2Program;
  frames().info.identifier = 0xE0;
  opened();
  EXPECT_TRUE(table());
  frames().info.identifier = 0;
  EXPECT_FALSE(table());
}

TEST_F(Timestamps, OfOtherContainersAreFoundByPacketIdentifier) {
  library.video[0].id.pid = 33;
  opened();
  frames().info.identifier = 33;
  EXPECT_TRUE(table());
  frames().info.identifier = 0xE0;
  EXPECT_FALSE(table());
}

TEST_F(Timestamps, AreSoughtInEveryStreamThatCanBeDescribed) {
  library.give(kMfStreamInfo, -1);
  EXPECT_TRUE(table()) << "the other one";
  library.give(kMfStreamInfo, -1, 2);
  EXPECT_FALSE(table()) << "that one";
  frames().info.identifier = 98;
  int const before = library.calls(kMfStreamInfo);
  EXPECT_FALSE(table());
  EXPECT_EQ(library.calls(kMfStreamInfo) - before, 2) << "each once, none behind them";
}

TEST_F(Timestamps, OfALaterTitleAreFound) {
  library.titles.insert(library.titles.begin(), std::vector<Track>{});
  EXPECT_TRUE(table());
  library.give(kMfTitleInfo, -1);
  EXPECT_TRUE(table());
}

TEST_F(Timestamps, OfNothingAreNull) {
  library.titles.clear();
  EXPECT_FALSE(table());
}

TEST_F(Timestamps, WhenAnyStepFailsAreNull) {
  for (Function step :
       {kMfNew, kMfFileOpen, kMfContainerInfo, kMfTitleInfo, kMfStreamNew, kMfStreamSeek, kMfStreamNext}) {
    for (bool raises : {false, true}) {
      if (raises)
        library.raise(step);
      else
        library.give(step, -1);
      EXPECT_FALSE(table()) << step;
      EXPECT_TRUE(library.readers.empty()) << step;
    }
  }
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInOpenW"));
  EXPECT_TRUE(table());
}

TEST_F(Timestamps, OfFewerUnitsThanPromisedAreNull) {
  frames().info.frames = 5;
  EXPECT_FALSE(table());
  frames().info.frames = 0;
  EXPECT_FALSE(table());
}

}  // namespace
