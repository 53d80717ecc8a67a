// A decoder of its own for each audio stream: failures, pass-through, settings.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

// One sound beside a video stream. The video's instance is the second one made, the sound's the third.
class AudioOpening : public BothHandlers {
 protected:
  AudioOpening() { library.addVideo(); }
  void expectLeftOut(std::string const& text) {
    opened();
    expectError(-1, text);
    EXPECT_EQ(pipe->countStreams(kKindAudio), 0);
    EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
    EXPECT_EQ(library.alive(), 2) << "the shared instance and that of the video";
    expectNoFailure();
  }
};

TEST_P(AudioOpening, WithoutADecoder_Fails) {
  library.addAudio(kAudioLpcm);
  library.hasAudioDecoder = 0;
  expectLeftOut("Audio is not available. Decoder is missing.");
}

TEST_P(AudioOpening, WithoutAnInstance_IsOutOfMemory) {
  library.addAudio(kAudioLpcm);
  library.give(kNew, 0, 3);
  expectLeftOut("Out of memory");
}

TEST_P(AudioOpening, WithoutARoomForSamples_IsOutOfMemory) {
  library.addAudio(kAudioLpcm).info.rate = 0;
  expectLeftOut("Out of memory");
}

TEST_P(AudioOpening, ThatTheLibraryRefuses_Fails) {
  library.addAudio(kAudioLpcm);
  library.give(kOpen, -104, 2);
  expectLeftOut("Failed to decode audio stream #0.");
}

TEST_P(AudioOpening, WhenTheLibraryRaises_IsLoggedAndFails) {
  library.addAudio(kAudioMpegAac);
  library.raise(kOpen, 2);
  expectLeftOut("Failed to decode audio stream #0.");
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInOpen"));
}

TEST_P(AudioOpening, WithoutADecoderOfItsOwn_ClosesAndFails) {
  library.addAudio(kAudioWma).info.decoderReady = 0;
  expectLeftOut("Failed to decode audio stream #0.");
  EXPECT_EQ(instance(2).closed, 1);
}

TEST_P(AudioOpening, WithoutAFirstSample_ClosesAndFails) {
  library.addAudio(kAudioLpcm);
  library.give(kSeekSample, -1);
  expectLeftOut("Failed to decode audio stream 0 - mpeginSeekSample64 failed");
  EXPECT_EQ(instance(2).closed, 1);
}

TEST_P(AudioOpening, WhenTheFirstSeekRaises_ClosesAndFails) {
  library.addAudio(kAudioLpcm);
  library.raise(kSeekSample);
  expectLeftOut("Failed to decode audio stream 0 - mpeginSeekSample64 failed");
  EXPECT_EQ(instance(2).closed, 1);
}

TEST_P(AudioOpening, OfDolbyThatIsRejected_Fails) {
  library.addAudio(kAudioDolby).info.acmod = 8;
  expectLeftOut("Failed to open audio stream #0: unsupported Dolby stream");
  EXPECT_TRUE(
      log.hasAt(kLogError,
                "[mpegdec] unsupported DD coding mode/channel configuration: channels=2, ac3_acmod=8, "
                "ac3_lfeon=0"));
  EXPECT_EQ(instance(2).closed, 1);
}

TEST_P(AudioOpening, OfTheSecondStream_NamesItsNumber) {
  library.addAudio(kAudioLpcm);
  library.addAudio(kAudioLpcm);
  library.give(kOpen, -1, 3);
  opened();
  expectError(-1, "Failed to decode audio stream #1.");
  library.give(kSeekSample, -1, 2);
  opened();
  expectError(-1, "Failed to decode audio stream 1 - mpeginSeekSample64 failed");
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

TEST_P(AudioOpening, OfPassThroughThatFails_NamesTheMissingDecoder) {
  for (auto [format, text] : {std::pair{kAudioDolby, "Dolby"}, std::pair{kAudioDts, "DTS"}}) {
    library.audio.clear();
    library.addAudio(format);
    library.give(kOpen, -104, 2);
    library.give(kOpen, -104, 3);
    expectLeftOut(std::string("Failed to pass audio stream #0 through without ") + text + " decoder.");
    pipe.reset();
    library.give(kOpen, -104, 2);
    library.raise(kOpen, 3);
    expectLeftOut(std::string("Failed to pass audio stream #0 through without ") + text + " decoder.");
    pipe.reset();
    library.audio[0].info.decoderReady = 0;
    expectLeftOut(std::string("Failed to pass audio stream #0 through without ") + text + " decoder.");
  }
}

TEST_P(AudioOpening, OfDolbyAndDtsWithoutADecoder_PassesThroughAndSaysSo) {
  for (auto [format, text] : {std::pair{kAudioDolby, "Dolby"}, std::pair{kAudioDts, "DTS"}}) {
    for (bool missing : {false, true}) {
      pipe.reset();
      library.instances.clear();
      library.audio.clear();
      library.addAudio(format);
      library.hasAudioDecoder = missing ? 0 : 1;
      library.give(kOpen, -104, 2);
      opened();
      ASSERT_EQ(pipe->countStreams(kKindAudio), 1);
      EXPECT_TRUE(
          log.hasAt(kLogTrace, std::string("Begin audio pass through without ") + text + " decoder."));
      MpegSettings const& set = instance(2).set;
      EXPECT_EQ(set.decodingMode, 7);
      EXPECT_EQ(set.searchMode, 0);
      for (int decode : set.decode) EXPECT_EQ(decode, 0);
      EXPECT_TRUE(audioOf(*pipe, 0).decoder()->smartRenderOnly);
      EXPECT_EQ(stateOf(audioOf(*pipe, 0)).tracker, nullptr);

      ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
      EXPECT_EQ(pipe->readSamples(10, 0), -1);
      expectError(-1, "[scripted] Cannot read audio samples, for stream 0. Smart rendering only mode");
      EXPECT_EQ(pipe->seekToSample(500, 0), 0);
      EXPECT_EQ(pipe->audioPcm(0)->position, 500);
      EXPECT_TRUE(instance(2).samples.empty()) << "the library is not asked";
    }
  }
  expectNoFailure();
}

TEST_P(AudioOpening, OfAnInstanceThatIsNotReady_PassesThrough) {
  library.addAudio(kAudioDts);
  library.onOpen = [](MpegIn& opened) {
    if (opened.set.audioStream[kAudioDts]) opened.audio.decoderReady = opened.smartRenderOnly;
  };
  opened();
  EXPECT_TRUE(log.has("Begin audio pass through without DTS decoder."));
  EXPECT_EQ(instance(2).closed, 1) << "between the openings";
  EXPECT_EQ(instance(2).opened, 2);
}

TEST_P(AudioOpening, ForcedToPassThrough_IsNeverDecoded) {
  library.addAudio(kAudioDolby);
  ready();
  pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", 1, "transcodeAudioOnly", 1));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(instance(2).opened, 1);
  EXPECT_EQ(instance(2).set.decodingMode, 4) << "stays with transcoding";
  EXPECT_TRUE(log.has("Begin audio pass through without Dolby decoder."));
}

TEST_P(AudioOpening, ForcedToPassThrough_DecodesOtherFormats) {
  library.addAudio(kAudioLpcm);
  ready();
  pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", 1));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_FALSE(audioOf(*pipe, 0).decoder()->smartRenderOnly);
}

UNDER_BOTH_HANDLERS(AudioOpening);

class AudioSettings : public ScriptedTest {
 protected:
  AudioSettings() { library.addVideo(); }
};

TEST_F(AudioSettings, TheFirstStreamIsSearchedInMode2OtherwiseAsConfigured) {
  library.addAudio(kAudioLpcm);
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_EQ(instance(2).set.searchMode, 2);
  EXPECT_EQ(instance(3).set.searchMode, 8);
  EXPECT_EQ(instance(2).set.decodingMode, 4);
  EXPECT_EQ(instance(3).set.audioStream[kAudioLpcm], 2);
  pipe.reset();
  library.instances.clear();
  library.titleIsDvd = 1;
  opened();
  EXPECT_EQ(instance(2).set.searchMode, 8);
}

TEST_F(AudioSettings, InStepWithVideo_DecodesItInOneThreadAndSaysSo) {
  library.addAudio(kAudioLpcm);
  library.containerType = kContainerTransport;
  opened();
  EXPECT_TRUE(log.hasAt(kLogInfo, "[scripted] Opening video in audio decoder instance to maintain AV Sync"));
  EXPECT_EQ(instance(2).set.decodeVideo[0], 1);
  EXPECT_EQ(instance(2).set.decodeVideo[1], 1);
  EXPECT_EQ(instance(2).videoAux, (std::vector<std::pair<int, int>>{{kAuxSmpMode, 0}, {kAuxThreads, 1}}));
  pipe.reset();
  library.instances.clear();
  module.setAttr("AVSyncFix", 0);
  opened();
  EXPECT_EQ(instance(2).set.decodeVideo[0], 0);
  EXPECT_TRUE(instance(2).videoAux.empty());
}

TEST_F(AudioSettings, InStepWithVideo_SurvivesAnExceptionOfTheThreadSettings) {
  library.addAudio(kAudioLpcm);
  module.setAttr("AVSyncFix", 1);
  library.raise(kVideoAux, 3);
  library.raise(kVideoAux, 4);
  opened();
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

TEST_F(AudioSettings, OnlyDolbyIsParsedFirst) {
  library.addAudio(kAudioLpcm);
  library.addAudio(kAudioDolby);
  library.give(kGetInfo, -1, 2);
  opened();
  EXPECT_EQ(instance(2).parsed, 0);
  EXPECT_EQ(instance(3).parsed, 1);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 2) << "whatever that gives";
}

TEST_F(AudioSettings, TheIndicatorOfTheOpenedInstanceNamesMpeg) {
  library.addAudio(kAudioMpegAac);
  library.onOpen = [](MpegIn& opened) { opened.audio.mpegAudio = opened.set.audioStream[kAudioMpegAac]; };
  opened();
  EXPECT_EQ(info(kKindAudio, 0)["codec"], Any("MPEG"));
}

TEST_F(AudioSettings, DolbyHasATrackerUnlessTheModuleLeavesItOut) {
  library.addAudio(kAudioDolby).info.bits = 32;
  opened();
  ASSERT_NE(stateOf(audioOf(*pipe, 0)).tracker, nullptr);
  module.setAttr("dolbyMetadataTracker", 0);
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).tracker, nullptr);
}

TEST_F(AudioSettings, WordsOf32BitsHaveAScratchBuffer) {
  library.addAudio(kAudioLpcm).info.bits = 32;
  library.addAudio(kAudioLpcm);
  opened();
  ASSERT_NE(stateOf(audioOf(*pipe, 0)).scratch, nullptr);
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).scratch->bytesPerSample(), 4);
  EXPECT_EQ(stateOf(audioOf(*pipe, 1)).scratch, nullptr);
}

// The format of samples that the module asks for.
class SampleFormat : public BothHandlers {
 protected:
  void open(MpegAudioFormat format, int code) {
    library.audio.clear();
    library.addAudio(format);
    module.setAttr("preferredSampleFormat", code);
    opened();
  }
  auto const& requests() { return lastInstance().audioAux; }
};

TEST_P(SampleFormat, Code7_AsksAacForWordsOf3Bytes) {
  open(kAudioMpegAac, 7);
  ASSERT_EQ(requests().size(), 1U);
  EXPECT_EQ(requests()[0].first, 0x10202);
  std::vector<uint8_t> expected(128, 0);
  std::fill_n(expected.begin(), 16, uint8_t{0xFF});
  std::fill_n(expected.begin() + 64, 4, uint8_t{0xFF});
  expected[68] = 4;
  std::fill_n(expected.begin() + 72, 4, uint8_t{0xFF});
  expected[76] = 1;
  EXPECT_EQ(requests()[0].second, expected);
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(24));
  EXPECT_EQ(info(kKindAudio, 0)["bytesPerSample"], Any(3));
  EXPECT_EQ(audioOf(*pipe, 0).decoder()->audio.blockAlign, 6);
  EXPECT_FALSE(log.contains("Failed to set"));
}

TEST_P(SampleFormat, Code3_OfWordsOf2Bytes_AsksNothing) {
  open(kAudioMpegAac, 3);
  EXPECT_TRUE(requests().empty());
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(16));
}

TEST_P(SampleFormat, Code3_OfLongerWords_AsksForWordsOf2Bytes) {
  library.onOpen = [](MpegIn& opened) { opened.audio.bits = 24; };
  open(kAudioMpegAac, 3);
  ASSERT_EQ(requests().size(), 1U);
  EXPECT_EQ(requests()[0].second[68], 2);
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(16));
  EXPECT_EQ(audioOf(*pipe, 0).decoder()->audio.blockAlign, 4);
}

TEST_P(SampleFormat, ThatTheLibraryRefuses_IsLoggedAndKeepsTheFormat) {
  library.give(kAudioAux, -106);
  open(kAudioMpegAac, 7);
  EXPECT_TRUE(log.hasAt(kLogError, "mpegdec: failed to set AAC output sample format"));
  EXPECT_TRUE(log.has("[mpegdec] Failed to set preferred sample format"));
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(16));
  library.raise(kAudioAux);
  open(kAudioMpegAac, 7);
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(16));
}

TEST_P(SampleFormat, OtherCodes_AreAnAssertionFailure) {
  library.addAudio(kAudioMpegAac);
  module.setAttr("preferredSampleFormat", 5);
  ready();
  auto const result = failing([&] { return pipe->open(); });
  expectAssertion("./mpegdecode/mpeginutil(1507)", "mpegdec: unsupported sample format for AAC");
  if (throwing()) {
    expectClosed();
  } else {
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(log.has("[mpegdec] Failed to set preferred sample format"));
    EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(16));
  }
}

TEST_P(SampleFormat, OfOtherStreams_CannotBeSet) {
  open(kAudioLpcm, 7);
  EXPECT_TRUE(log.has("[mpegdec] Failed to set preferred sample format"));
  EXPECT_TRUE(requests().empty());
}

TEST_P(SampleFormat, OfDolbyByDefault_AlwaysFails) {
  open(kAudioDolby, 0);
  EXPECT_TRUE(log.has("[mpegdec] Failed to set default sample format for Dolby"));
  EXPECT_TRUE(requests().empty());
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

UNDER_BOTH_HANDLERS(SampleFormat);

// AC-3 audio coding modes, and those of the 7.1 forms of E-AC-3.
class DolbyModes : public ScriptedTest {};

TEST_F(DolbyModes, UpTo7And21And24WithUpTo8Channels_Open) {
  struct Row {
    int acmod, channels;
    bool opens;
  };
  for (Row const& row :
       {Row{0, 2, true}, Row{7, 6, true}, Row{8, 6, false}, Row{20, 8, false}, Row{21, 8, true},
        Row{22, 8, false}, Row{23, 8, false}, Row{24, 8, true}, Row{25, 8, false}, Row{7, 8, true},
        Row{7, 9, false}, Row{21, 9, false}, Row{24, 9, false}}) {
    library.video.clear();
    library.addVideo();
    library.audio.clear();
    MpegAudioInfo& audio = library.addAudio(kAudioDolby).info;
    audio.acmod = row.acmod;
    audio.channels = row.channels;
    audio.lfeon = 1;
    opened();
    EXPECT_EQ(pipe->countStreams(kKindAudio), row.opens ? 1 : 0) << row.acmod << " " << row.channels;
    std::string const line = "[mpegdec] unsupported DD coding mode/channel configuration: channels=" +
                             std::to_string(row.channels) + ", ac3_acmod=" + std::to_string(row.acmod) +
                             ", ac3_lfeon=1";
    EXPECT_EQ(log.hasAt(kLogError, line), !row.opens);
    log.lines.clear();
  }
}

class Depths : public ScriptedTest {};

TEST_F(Depths, GiveTheBytesOfASample_OthersCountAs16WithAWarning) {
  for (auto [bits, bytes] : {std::pair{8, 1}, std::pair{16, 2}, std::pair{20, 3}, std::pair{24, 3},
                             std::pair{32, 4}, std::pair{12, 2}}) {
    library.audio.clear();
    library.addAudio(kAudioLpcm).info.bits = bits;
    log.lines.clear();
    opened();
    EXPECT_EQ(info(kKindAudio, 0)["bytesPerSample"], Any(bytes));
    EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(bits));
    EXPECT_EQ(
        log.hasAt(kLogWarning, "mpegdec: Unsupported number of bits per audio sample (12), assuming 16"),
        bits == 12);
  }
}

TEST_F(Depths, DolbyOf32BitsHasAnActualDepthOf24) {
  library.addAudio(kAudioDolby).info.bits = 32;
  library.addAudio(kAudioDts).info.bits = 32;
  opened();
  EXPECT_EQ(info(kKindAudio, 0)["bitsPerSample"], Any(32));
  EXPECT_EQ(info(kKindAudio, 0)["actualBitsPerSample"], Any(24));
  EXPECT_FALSE(info(kKindAudio, 1).contains("actualBitsPerSample"));
}

TEST_F(Depths, DurationIsSamplesByRate) {
  library.addAudio(kAudioLpcm).info.samples = 48000;
  opened();
  EXPECT_DOUBLE_EQ(info(kKindAudio, 0)["aDuration"].asDouble(), 1.0);
  EXPECT_DOUBLE_EQ(info(kKindAudio, 0)["duration"].asDouble(), 1.0);
}

}  // namespace
