// Parameters of single streams: Dolby records, channel names, what cannot be set.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class StreamParams : public BothHandlers {
 protected:
  // A video stream, a Dolby sound and another one.
  void open() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
    library.addAudio(kAudioDolby);
    opened();
    addSubpicture(*pipe);
    log.lines.clear();
  }
  Any param(int kind, int index, char const* key) const {
    Any value = "before";
    EXPECT_EQ(pipe->getStreamParam(kind, index, key, value), 0);
    return value;
  }
};

TEST_P(StreamParams, OutsideTheListAreInvalidWithoutALine) {
  open();
  for (int kind : {kKindVideo, kKindAudio, kKindSubpic})
    for (int index : {-1, pipe->countStreams(kind)}) EXPECT_FALSE(param(kind, index, "codec").valid());
  EXPECT_FALSE(param(8, 0, "codec").valid());
  EXPECT_TRUE(log.lines.empty());
  expectNoFailure();
}

TEST_P(StreamParams, AreCopiesOfTheDescription) {
  open();
  EXPECT_EQ(param(kKindVideo, 0, "width"), Any(64));
  EXPECT_EQ(param(kKindAudio, 0, "codec"), Any("LPCM"));
  EXPECT_EQ(param(kKindAudio, 1, "codec"), Any("Dolby"));
  EXPECT_EQ(param(kKindSubpic, 0, "type"), Any(2));
  EXPECT_FALSE(param(kKindVideo, 0, "nothing").valid());
  EXPECT_FALSE(param(kKindSubpic, 0, "nothing").valid());
  EXPECT_TRUE(log.lines.empty());
}

TEST_P(StreamParams, OfSeveralKindsAtOnceAreAnExceptionFailure) {
  open();
  for (int kind : {3, 5, 6, 7}) {
    Any value = "before";
    auto const result = failing([&] { return pipe->getStreamParam(kind, 0, "codec", value); });
    EXPECT_EQ(result.value_or(0), 0);
    EXPECT_FALSE(value.valid());
    expectException("./mpegdecode/mpegindec(2611)");
  }
}

TEST_P(StreamParams, OfSoundThatAreMissingAreAWarning) {
  open();
  EXPECT_FALSE(param(kKindAudio, 0, "dd_prod_info_tt").valid());
  EXPECT_TRUE(log.hasAt(kLogWarning, "[scripted] Failed to get dd_prod_info_tt for stream #0"));
  EXPECT_FALSE(param(kKindAudio, 1, "nothing").valid());
  EXPECT_TRUE(log.hasAt(kLogWarning, "[scripted] Failed to get nothing for stream #1"));
  EXPECT_FALSE(param(kKindAudio, 0, "dd_parser_settings").valid());
  EXPECT_TRUE(log.hasAt(kLogWarning, "[scripted] Failed to get dd_parser_settings for stream #0"));
}

TEST_P(StreamParams, OfDolbyAreWholeRecordsOfTheLibrary) {
  open();
  struct Row {
    char const* key;
    int request, size;
  };
  for (Row const& row : {Row{"dd_gen_info_tt", 0x20002, 62}, Row{"dd_mix_info_tt", 0x20003, 86},
                         Row{"dd_audprod_info_tt", 0x20004, 40}, Row{"dd_prod_info_tt", 0x20004, 40},
                         Row{"dd_timecode_info_tt", 0x20005, 44}, Row{"dd_addbsi_info_tt", 0x20006, 66},
                         Row{"dd_auxdata_info_tt", 0x20007, 2050}, Row{"dd_config_info_tt", 0x20001, 16}}) {
    Any const value = param(kKindAudio, 1, row.key);
    ASSERT_EQ(value.genericSize(), row.size) << row.key;
    auto const* const bytes = static_cast<uint8_t const*>(value.asGeneric());
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + row.size),
              std::vector<uint8_t>(static_cast<size_t>(row.size), static_cast<uint8_t>(row.request)));
    EXPECT_EQ(lastInstance().audioAux.back().first, row.request);
    EXPECT_EQ(lastInstance().audioAux.back().second, std::vector<uint8_t>(static_cast<size_t>(row.size), 0));
  }
}

TEST_P(StreamParams, OfDolbyThatTheLibraryRefusesAreZeros) {
  open();
  for (bool raises : {false, true}) {
    if (raises)
      library.raise(kAudioAux);
    else
      library.give(kAudioAux, -106);
    Any const value = param(kKindAudio, 1, "dd_config_info_tt");
    ASSERT_EQ(value.genericSize(), 16);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(static_cast<uint8_t const*>(value.asGeneric())[i], 0);
  }
}

TEST_P(StreamParams, OfTheDolbyParserAreAnErrorForTheUser) {
  open();
  ky_log()->take();
  EXPECT_FALSE(param(kKindAudio, 1, "dd_parser_settings").valid());
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 1, "dd_parser_settings", 1), 0);
  auto const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[0].text, "Cannot get dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
  EXPECT_EQ(messages[1].text, "Cannot set dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
}

TEST_P(StreamParams, OfDolbyCanBeSet) {
  open();
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 1, "dd_drc_params", "whatever"), 0);
  EXPECT_EQ(stateOf(audioOf(*pipe, 1)).use32BitSamples, 0U);
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 1, "_use32BitSamples", 3), 0);
  EXPECT_EQ(stateOf(audioOf(*pipe, 1)).use32BitSamples, 3U);
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 1, "_use32BitSamples", "3"), 0);
  EXPECT_EQ(stateOf(audioOf(*pipe, 1)).use32BitSamples, 0U);
  expectNoFailure();
}

TEST_P(StreamParams, ThatDoNotExistAreInvalidParameters) {
  open();
  struct Row {
    int kind, index;
    char const* key;
  };
  for (Row const& row : {Row{kKindAudio, 0, "dd_drc_params"}, Row{kKindAudio, 0, "_use32BitSamples"},
                         Row{kKindAudio, 0, "dd_parser_settings"}, Row{kKindAudio, 1, "nothing"},
                         Row{kKindVideo, 0, "palette"}, Row{kKindSubpic, 0, "subpicOverlay"},
                         Row{3, 0, "palette"}, Row{0, 0, "palette"}}) {
    EXPECT_EQ(pipe->setStreamParam(row.kind, row.index, row.key, 1), kResultInvalidParam) << row.key;
    expectError(kResultInvalidParam, std::string("Invalid parameter '") + row.key + "'");
  }
  expectNoFailure();
}

TEST_P(StreamParams, OutsideTheListCannotBeSet) {
  open();
  for (int index : {-1, 2}) EXPECT_EQ(pipe->setStreamParam(kKindAudio, index, "dd_drc_params", 1), -1);
  expectNoFailure();
  for (int kind : {kKindVideo, kKindSubpic})
    for (int index : {-1, 1}) {
      size_t const before = failures.seen.size();
      auto const result = failing([&] { return pipe->setStreamParam(kind, index, "palette", 1); });
      EXPECT_EQ(result.value_or(-1), -1);
      ASSERT_EQ(failures.seen.size(), before + 1);
      expectException(kind == kKindVideo ? "./mpegdecode/mpegindec(2662)" : "./mpegdecode/mpegindec(2705)");
    }
}

TEST_P(StreamParams, APaletteIsAcceptedAndIgnored) {
  open();
  EXPECT_EQ(pipe->setStreamParam(kKindSubpic, 0, "palette", "anything"), 0);
}

UNDER_BOTH_HANDLERS(StreamParams);

class ChannelNames : public ScriptedTest {
 protected:
  void open(MpegAudioFormat format, int channels, int acmod = 0, int lfe = 0) {
    library.audio.clear();
    MpegAudioInfo& audio = library.addAudio(format).info;
    audio.channels = channels;
    audio.acmod = acmod;
    audio.speakers = 0x60F;  // front left and right, centre, LFE, side left and right
    audio.lfeon = lfe;
    opened();
  }
  std::string name(int stream, int channel) const {
    return get("channelName", stream * 256 + channel).asString();
  }
  std::vector<std::string> names(int count) const {
    std::vector<std::string> all;
    for (int channel = 0; channel < count; ++channel) all.push_back(name(0, channel));
    return all;
  }
};

TEST_F(ChannelNames, OfOneAndTwoChannels) {
  for (MpegAudioFormat format : {kAudioLpcm, kAudioMpegAac, kAudioDolby}) {
    open(format, 1);
    EXPECT_EQ(name(0, 0), "mono");
    EXPECT_EQ(name(0, 9), "mono");
    open(format, 2);
    EXPECT_EQ(name(0, 0), "left");
    EXPECT_EQ(name(0, 1), "right");
    EXPECT_EQ(name(0, 5), "right");
  }
}

TEST_F(ChannelNames, OfAac) {
  open(kAudioMpegAac, 3);
  EXPECT_EQ(names(3), (std::vector<std::string>{"front left", "front right", "front center"}));
  open(kAudioMpegAac, 4);
  EXPECT_EQ(name(0, 3), "back center");
  open(kAudioMpegAac, 5);
  EXPECT_EQ(name(0, 3), "back left");
  EXPECT_EQ(name(0, 4), "back right");
  open(kAudioMpegAac, 6);
  EXPECT_EQ(name(0, 3), "subwoofer");
  EXPECT_EQ(name(0, 4), "back left");
  EXPECT_EQ(name(0, 5), "back right");
  open(kAudioMpegAac, 8);
  EXPECT_EQ(name(0, 6), "side left");
  EXPECT_EQ(name(0, 7), "side right");
  EXPECT_EQ(name(0, 8), "channel 8");
  EXPECT_EQ(name(0, 63), "channel 63");
}

TEST_F(ChannelNames, OfDolbyComeFromItsChannelDictionary) {
  open(kAudioDolby, 6, 7, 1);
  AnyDict const names = get("dolby", 0).asDict();
  ASSERT_EQ(names.size(), 6);
  for (int i = 0; i < names.size(); ++i)
    EXPECT_EQ(name(0, names.getEntry(i).value.asInt32()), names.getEntry(i).key);
  EXPECT_EQ(name(0, 6), "channel 6");
}

TEST_F(ChannelNames, OfDolbyThatPassesThroughAreNumbers) {
  library.giveAlways(kOpen, 0);
  library.behave(kOpen);
  library.addAudio(kAudioDolby).info.channels = 6;
  ready();
  pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", 1));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(name(0, 1), "channel 1");
}

TEST_F(ChannelNames, OfOtherStreamsAreNumbers) {
  open(kAudioLpcm, 6);
  EXPECT_EQ(names(3), (std::vector<std::string>{"channel 0", "channel 1", "channel 2"}));
}

TEST_F(ChannelNames, OfAStreamOutsideTheListNameIt) {
  open(kAudioLpcm, 6);
  EXPECT_EQ(name(1, 0), "Error: invalid stream 1");
  EXPECT_EQ(name(-1, 0), "Error: invalid stream -1");
}

TEST_F(ChannelNames, PackTheStreamAboveTheChannel) {
  open(kAudioLpcm, 6);
  library.addAudio(kAudioLpcm).info.channels = 6;
  opened();
  EXPECT_EQ(get("channelName", 0x0103), Any("channel 3"));
  EXPECT_EQ(get("channelName", 64 + 3), Any("channel 3")) << "a channel above 63 wraps";
  EXPECT_EQ(get("channelName", "0"), Any("which stream/channel?"));
  EXPECT_EQ(get("channelName"), Any("which stream/channel?"));
}

}  // namespace
