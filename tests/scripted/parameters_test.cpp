// Settings in and facts out, on streams that no sample file has.
#include <cstring>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Settings : public ScriptedTest {
 protected:
  Settings() {
    library.addVideo();
    ready();
  }
  // What a key holds after it was set.
  Any afterSetting(char const* key, Any const& value) {
    EXPECT_EQ(pipe->setParam(key, value), 0) << key;
    return get(key);
  }
};

TEST_F(Settings, StartWithTheirDefaults) {
  EXPECT_EQ(get("fastAccess"), Any(1));
  EXPECT_EQ(get("removeIMXTopBlanking"), Any(0));
  EXPECT_EQ(get("searchLimit"), Any(0));
  EXPECT_EQ(get("searchMode"), Any(8));
  EXPECT_EQ(get("smpMode"), Any(-1));
  EXPECT_EQ(get("numThreads"), Any(-1));
  EXPECT_EQ(get("estimateMemory"), Any(0));
  EXPECT_EQ(get("avDelayCorrection"), Any(1));
  EXPECT_EQ(get("probableError"), Any(0));
  EXPECT_EQ(get("instantSeek"), Any(0));
  EXPECT_EQ(get("displayName"), Any("MPEG decoder"));
  EXPECT_TRUE(get("filesize").isInt64());
  EXPECT_EQ(get("filesize"), Any(0L));
}

TEST_F(Settings, TakeTheModulesAttributesAtInit) {
  module.setAttr("avDelayCorrection", 7);
  module.setAttr("forceFramerate", 2);
  ready();
  EXPECT_EQ(get("avDelayCorrection"), Any(7));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[scripted] Force framerate set to 2"));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(instance(1).set.forceFrameRate, 2);
  module.setAttr("avDelayCorrection", "7");
  ready();
  EXPECT_EQ(get("avDelayCorrection"), Any(1));
}

TEST_F(Settings, FromBeforeInitAreForgotten) {
  pipe = std::make_unique<MpegInDec>(&module);
  ASSERT_EQ(pipe->setParam("searchMode", 3), 0);
  ASSERT_EQ(pipe->init(), 0);
  EXPECT_EQ(get("searchMode"), Any(8));
}

TEST_F(Settings, OfADecoderWithoutAModuleAreTheDefaults) {
  MpegInDec alone(nullptr);
  EXPECT_EQ(alone.init(), 0);
  Any value;
  EXPECT_EQ(alone.getParam("avDelayCorrection", value), 0);
  EXPECT_EQ(value, Any(1));
}

TEST_F(Settings, OfAnotherTypeAreReplacedOrIgnored) {
  EXPECT_EQ(afterSetting("searchMode", 3), Any(3));
  EXPECT_EQ(afterSetting("searchMode", "x"), Any(3));
  EXPECT_EQ(afterSetting("searchLimit", 4), Any(4));
  EXPECT_EQ(afterSetting("searchLimit", "x"), Any(0));
  EXPECT_EQ(afterSetting("smpMode", 2), Any(2));
  EXPECT_EQ(afterSetting("smpMode", 1.5), Any(-1));
  EXPECT_EQ(afterSetting("numThreads", 2), Any(2));
  EXPECT_EQ(afterSetting("numThreads", "2"), Any(-1));
  EXPECT_EQ(afterSetting("avDelayCorrection", 5), Any(5));
  EXPECT_EQ(afterSetting("avDelayCorrection", Any()), Any(0));
  EXPECT_EQ(afterSetting("fastAccess", 0), Any(0));
  EXPECT_EQ(afterSetting("fastAccess", "1"), Any(0));
  EXPECT_EQ(afterSetting("removeIMXTopBlanking", true), Any(1));
  EXPECT_EQ(afterSetting("estimateMemory", true), Any(1));
}

TEST_F(Settings, TheFileNameIsTakenWhileClosedAlone) {
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(pipe->setParam("filename", "other"), kResultInvalidParam);
  EXPECT_EQ(get("filename"), Any(clip().string()));
  pipe->close();
  EXPECT_EQ(afterSetting("filename", "other"), Any("other"));
}

TEST_F(Settings, UnknownKeysAreTheBases) {
  EXPECT_EQ(pipe->setParam("nothing", 1), kResultInvalidParam);
  EXPECT_STREQ(pipe->errorDesc(), "Invalid parameter 'nothing'");
  Any value = 5;
  EXPECT_EQ(pipe->getParam("Filename", value), kResultInvalidParam);
  EXPECT_FALSE(value.valid());
}

TEST_F(Settings, OfDecoderParametersNeedADictionary) {
  EXPECT_EQ(pipe->setParam("decoderParameters", 5), -1);
  expectError(0, "");
  EXPECT_EQ(pipe->setParam("decoderParameters", AnyDict("useExternalIO", 0)), 0);
}

TEST_F(Settings, OfOpenParametersAreSaid) {
  EXPECT_EQ(pipe->setParam("openParameters", 5), 0);
  AnyDict values("disableCC", 1, "transcodeAudioOnly", 1, "forceAudioSmartRender", 2, "forceFramerate", 257);
  values.set("ignoreUnknownStreams", 258);
  EXPECT_EQ(pipe->setParam("openParameters", values), 0);
  for (char const* line :
       {"[mpegindec]Disable CC parse set to 1", "[mpegindec]Force audio smart render set to 2",
        "[mpegindec]Force video frame rate set to 1", "[mpegindec]Ignore unknown streams set to 2"})
    EXPECT_TRUE(log.hasAt(kLogInfo, line)) << line;
  log.lines.clear();
  pipe->setParam("openParameters", AnyDict("disableCC", "1", "forceFramerate", 1.0));
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(Settings, AFourccIsFourBytesOfTextOrANumber) {
  auto const outcome = [&](Any const& value) {
    ready();
    pipe->setParam("FOURCC", value);
    EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
    return static_cast<uint32_t>(info(kKindVideo, 0)["FOURCC"].asInt32());
  };
  EXPECT_EQ(outcome("BGR4"), kyFourcc("BGR4"));
  EXPECT_EQ(outcome("BGR4 and more"), kyFourcc("BGR4"));
  EXPECT_EQ(outcome(static_cast<int>(kyFourcc("YUYV"))), kyFourcc("YUYV"));
  EXPECT_EQ(outcome(1.5), kyFourcc("I420"));
  EXPECT_EQ(outcome(""), kyFourcc("I420"));
  EXPECT_EQ(outcome(L"BGR4"), kyFourcc("I420"));
}

TEST_F(Settings, AreEchoedWhenAskedForExceptTheFileName) {
  ky_registry()->setDbgOption("log_setparam", 1);
  log.lines.clear();
  pipe->setParam("filename", "quiet");
  EXPECT_TRUE(log.lines.empty());
  pipe->setParam("searchMode", 3);
  ASSERT_FALSE(log.lines.empty());
  EXPECT_TRUE(log.contains("searchMode"));
  ky_registry()->setDbgOption("log_setparam", Any());
}

TEST_F(Settings, InitOfAnyStateBut1IsAnExceptionFailure) {
  test::Failures const failures;
  EXPECT_EQ(pipe->init(), -1);
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(pipe->init(), -1);
  ASSERT_EQ(failures.seen.size(), 2U);
  EXPECT_EQ(failures.seen[1],
            (test::Failures::Failure{KyFailureKind::Exception, "./mpegdecode/mpegindec(266)",
                                     "mpegdec: Already initialized"}));
  EXPECT_EQ(pipe->state(), kStateOpened);
}

class Facts : public ScriptedTest {};

TEST_F(Facts, WithoutStreamsAreNothing) {
  ready();
  for (char const* key : {"program_stream_flag", "guessProfile", "dolby", "DecoderChannelsMappingKY"}) {
    Any value = 0;
    EXPECT_EQ(pipe->getParam(key, value), 0) << key;
    EXPECT_FALSE(value.valid()) << key;
  }
  EXPECT_EQ(get("tsStructure").kind(), Any::kVector);
  EXPECT_TRUE(get("tsStructure").asVector().empty());
  EXPECT_EQ(get("typeName"), Any(""));
}

TEST_F(Facts, TheProgramStreamFlagIsTheContainerOfTheFirstStream) {
  library.containerType = kContainerMpeg2Program;
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_EQ(get("program_stream_flag"), Any(2));
  library.addVideo();
  library.onOpen = [](MpegIn& instance) { instance.containerType = instance.set.videoStream ? 5 : 9; };
  opened();
  EXPECT_EQ(get("program_stream_flag"), Any(5));
}

TEST_F(Facts, TheTransportStructureListsProgramsAscending) {
  library.addVideo().id.program = 7;
  library.addVideo().id.program = 3;
  library.addAudio(kAudioMpegAac).id.program = 3;
  library.addAudio(kAudioMpegAac).id.program = 7;
  library.addAudio(kAudioLpcm).id.program = 0;
  opened();
  addSubpicture(*pipe).info().child("codecParams").set("program_number", 7);
  auto const streams = [](int pid, int number) { return AnyVector{Any(AnyDict("pid", pid, "nr", number))}; };
  AnyVector expected;
  expected.append(
      AnyDict("program_number", 0, "vids", AnyVector(), "auds", streams(18, 2), "subs", AnyVector()));
  expected.append(
      AnyDict("program_number", 3, "vids", streams(1, 1), "auds", streams(16, 0), "subs", AnyVector()));
  expected.append(
      AnyDict("program_number", 7, "vids", streams(0, 0), "auds", streams(17, 1), "subs", streams(0, 0)));
  EXPECT_EQ(get("tsStructure").asVector(), expected);
}

TEST_F(Facts, TheTransportStructureOfOneProgramWithoutANumberIsEmpty) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_TRUE(get("tsStructure").asVector().empty());
  library.video[0].id.program = library.audio[0].id.program = 5;
  opened();
  EXPECT_EQ(get("tsStructure").asVector().size(), 1);
}

TEST_F(Facts, TheTransportStructureLeavesOutStreamsWithoutIdentity) {
  for (int i = 0; i < 3; ++i) library.addVideo().id.program = 4;
  opened();
  videoOf(*pipe, 0).info().remove("codecParams");
  videoOf(*pipe, 1).info().child("codecParams").set("program_number", "4");
  AnyVector expected;
  expected.append(AnyDict("program_number", 0, "vids", AnyVector{Any(AnyDict("pid", 1, "nr", 1))}, "auds",
                          AnyVector(), "subs", AnyVector()));
  expected.append(AnyDict("program_number", 4, "vids", AnyVector{Any(AnyDict("pid", 2, "nr", 2))}, "auds",
                          AnyVector(), "subs", AnyVector()));
  EXPECT_EQ(get("tsStructure").asVector(), expected) << "a number that is none counts as 0";
}

TEST_F(Facts, TheTypeNameIsTheCodecOrItsProfile) {
  struct Row {
    int MpegVideoInfo::* flag;
    int container;
    char const* name;
  };
  for (Row const& row :
       {Row{&MpegVideoInfo::h264, 4, "H.264/AVC"}, Row{&MpegVideoInfo::mpeg2, 8, "DivX"},
        Row{&MpegVideoInfo::mpeg4, 4, "MPEG-4"}, Row{&MpegVideoInfo::vc1, 4, "VC-1"},
        Row{&MpegVideoInfo::jpeg2000, 4, "JPEG2000"}, Row{&MpegVideoInfo::hevc, 4, "HEVC"}}) {
    library.video.clear();
    MpegVideoInfo& video = library.addVideo().info;
    video.mpeg2 = 0;
    video.*row.flag = 1;
    library.containerType = row.container;
    opened();
    EXPECT_EQ(get("typeName"), Any(row.name));
  }
}

TEST_F(Facts, AFileOfMpegVideoIsNamedByItsProfile) {
  MpegVideoInfo& video = library.addVideo().info;
  video.profileType = 19;
  opened();
  EXPECT_EQ(get("typeName"), Any("HDV Hd2"));
  EXPECT_EQ(get("guessProfile"), Any(0x2150002));
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  stateOf(stream).decoder.reset();
  EXPECT_EQ(get("typeName"), Any("")) << "without a decoder";
  EXPECT_FALSE(get("guessProfile").valid());
}

TEST_F(Facts, AnAudioOnlyFileThatIsCalledH264HasItsOwnProfile) {
  library.addAudio(kAudioLpcm);
  opened();
  Any const usual = get("guessProfile");
  EXPECT_TRUE(usual.isInt32());
  EXPECT_NE(usual, Any(10240));
  audioOf(*pipe, 0).info().set("codec", "H.264");
  EXPECT_EQ(get("guessProfile"), Any(10240));
}

class Indices : public BothHandlers {
 protected:
  Indices() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
  }
  // Asks for a key with an argument that fails a check; the value is empty then.
  void expectRefused(char const* key, Any const& argument, std::string const& where,
                     std::string const& text) {
    Any value = argument;
    failing([&] { return pipe->getParam(key, value); });
    expectException(where, text);
    EXPECT_FALSE(value.valid());
  }
  void expectStream(Any const& value, MpegInStream const& stream, bool withCodec) const {
    AnyDict const& answer = value.asDict();
    EXPECT_EQ(answer["decoder_struct"].asGeneric(), stream.decoder());
    EXPECT_EQ(answer["decoder_name"], Any("scripted"));
    EXPECT_EQ(answer.contains("codec_name"), withCodec);
  }
};

TEST_P(Indices, OfSmartRenderingParameters) {
  opened();
  constexpr char kText[] = "mpegdec: invalid stream no. for 'srParams'";
  expectStream(get("srParams"), videoOf(*pipe, 0), true);
  expectStream(get("srParams", 0), videoOf(*pipe, 0), true);
  expectStream(get("srParams", Any(Pair{kKindVideo, 0})), videoOf(*pipe, 0), true);
  expectStream(get("srParams", Any(Pair{kKindAudio, 0})), audioOf(*pipe, 0), true);
  expectNoFailure();
  EXPECT_EQ(get("srParams").asDict()["codec_name"], Any("MPEG-2"));
  expectRefused("srParams", 1, "./mpegdecode/mpegindec(576)", kText);
  expectRefused("srParams", -1, "./mpegdecode/mpegindec(576)", kText);
  expectRefused("srParams", Any(Pair{kKindVideo, 1}), "./mpegdecode/mpegindec(561)", kText);
  expectRefused("srParams", Any(Pair{kKindAudio, -1}), "./mpegdecode/mpegindec(561)", kText);
  expectRefused("srParams", Any(Pair{kKindSubpic, 0}), "./mpegdecode/mpegindec(561)", kText);
  expectRefused("srParams", Any(Pair{3, 0}), "./mpegdecode/mpegindec(558)", "");
}

TEST_P(Indices, OfSmartRenderingOfSound_AreCheckedAgainstItAndTakenFromTheVideo) {
  opened();
  expectStream(get("srAudioParams"), videoOf(*pipe, 0), false);
  expectNoFailure();
  library.addVideo();
  opened();
  for (int index : {-1, 1})
    expectRefused("srAudioParams", index, "./mpegdecode/mpegindec(590)",
                  "mpegdec: invalid stream no. for 'srParams'");
  library.video.clear();
  size_t const before = failures.seen.size();
  opened();
  EXPECT_FALSE(get("srAudioParams", 0).valid()) << "no video stream to take";
  EXPECT_EQ(failures.seen.size(), before);
}

TEST_P(Indices, OfDolbyQueries) {
  MpegAudioInfo& dolby = library.addAudio(kAudioDolby).info;
  dolby.acmod = 2;
  dolby.speakers = 0x3;  // front left and right
  opened();
  for (char const* key : {"dolby", "DecoderChannelsMappingKY"}) {
    log.lines.clear();
    EXPECT_FALSE(get(key, -1).valid());
    EXPECT_TRUE(log.hasAt(kLogError, "[mpegdec] get 'dolby' - invalid stream number -1"));
    log.lines.clear();
    EXPECT_FALSE(get(key, 2).valid());
    EXPECT_FALSE(get(key, 0).valid()) << "no Dolby";
    EXPECT_FALSE(get(key).valid()) << "stream 0";
    EXPECT_TRUE(get(key, 1).valid());
    EXPECT_TRUE(log.lines.empty());
  }
  expectNoFailure();
}

TEST_P(Indices, OfDolbyThatPassesThrough_GiveNothing) {
  library.audio.clear();
  library.addAudio(kAudioDolby);
  ready();
  pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", 1));
  ASSERT_EQ(pipe->open(), 0);
  for (char const* key : {"dolby", "DecoderChannelsMappingKY"}) EXPECT_FALSE(get(key, 0).valid());
}

UNDER_BOTH_HANDLERS(Indices);

class Overrides : public BothHandlers {
 protected:
  Overrides() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
    opened();
  }
  int set(char const* key, Any const& value) { return pipe->setOverride(kKindVideo, 0, key, value); }
};

TEST_P(Overrides, OfSoundFailAfterTheBaseStoredThem) {
  EXPECT_EQ(pipe->setOverride(kKindAudio, 0, "framerate", 1), -1);
  expectError(-1, "Can not set override for non video streams");
  EXPECT_EQ(pipe->override(kKindAudio, 0, "framerate"), Any(1));
  EXPECT_TRUE(pipe->overrideKeys(kKindAudio).empty());
  EXPECT_EQ(pipe->overrideKeys(kKindVideo),
            (AnyVector{"frameAspect", "framerate", "colorimetry", "inColorRange"}));
  expectNoFailure();
}

TEST_P(Overrides, OutsideTheListIsAnAssertionFailure) {
  auto const result = failing([&] { return pipe->setOverride(kKindVideo, 1, "frameAspect", 1.0); });
  EXPECT_EQ(result.value_or(-1), -1);
  expectAssertion("./mpegdecode/mpegindec(2940)");
}

TEST_P(Overrides, WithoutAValueFailQuietly) {
  EXPECT_EQ(set("frameAspect", Any()), -1);
  expectError(0, "");
}

TEST_P(Overrides, OfAnUnknownKeyAreNamed) {
  EXPECT_EQ(set("colour", 1), -1);
  expectError(-1, "Unknown override parameter colour");
}

TEST_P(Overrides, OfAnIncompatibleFormatAreRefused) {
  EXPECT_EQ(set("FOURCC", static_cast<int>(kyFourcc("BGR4"))), -1);
  EXPECT_TRUE(log.hasAt(kLogError, "[mpegdec] FOURCC codes not compatble."));
  EXPECT_EQ(info(kKindVideo, 0)["FOURCC"].asInt32(), static_cast<int>(kyFourcc("I420")));
}

TEST_P(Overrides, OfTheAspectRoundToSquarePixels) {
  // 64 by 48: a frame aspect of 4/3 has square pixels.
  struct Row {
    double pixel, stored;
  };
  for (Row const& row :
       {Row{1.004, 1.0}, Row{0.996, 1.0}, Row{1.006, 1.006}, Row{0.994, 0.994}, Row{2.0, 2.0}}) {
    EXPECT_EQ(set("frameAspect", row.pixel * 64 / 48), 0);
    EXPECT_NEAR(info(kKindVideo, 0)["pixelAspect"].asDouble(), row.stored, 1e-12);
    EXPECT_DOUBLE_EQ(info(kKindVideo, 0)["frameAspect"].asDouble(), row.pixel * 64 / 48);
  }
}

TEST_P(Overrides, OfTheRateChangeDurationAndFrame) {
  EXPECT_EQ(set("framerate", Any(50.0).asFramerate()), 0);
  EXPECT_DOUBLE_EQ(info(kKindVideo, 0)["framerate"].asFramerate().rate(), 50.0);
  EXPECT_DOUBLE_EQ(info(kKindVideo, 0)["duration"].asDouble(), 2.0);
  EXPECT_DOUBLE_EQ(info(kKindVideo, 0)["vDuration"].asDouble(), 2.0);
  EXPECT_DOUBLE_EQ(stateOf(videoOf(*pipe, 0)).frame->framerate().rate(), 50.0);
}

TEST_P(Overrides, OfTheColourRangeAreStoredAsTheyAre) {
  EXPECT_EQ(set("inColorRange", "wide"), 0);
  EXPECT_EQ(info(kKindVideo, 0)["inColorRange"], Any("wide"));
}

UNDER_BOTH_HANDLERS(Overrides);

}  // namespace
