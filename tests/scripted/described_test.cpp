// Descriptions and parameters of streams that are not what their place in the file suggests.
#include <algorithm>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Described : public BothHandlers {
 protected:
  // An instance that finds MPEG audio where the file announces Dolby.
  void openMpegAmongDolby() {
    library.addAudio(kAudioDolby).info.bits = 32;
    library.onOpen = [](MpegIn& opened) { opened.audio.mpegAudio = 2; };
    opened();
    ASSERT_EQ(info(kKindAudio, 0)["codec"], Any("MPEG"));
    log.lines.clear();
  }
};

TEST_P(Described, AnUnknownDepthIsLoggedOnce) {
  library.addAudio(kAudioLpcm).info.bits = 12;
  opened();
  EXPECT_EQ(info(kKindAudio, 0)["bytesPerSample"], Any(2));
  EXPECT_EQ(std::count_if(log.lines.begin(), log.lines.end(),
                          [](auto const& line) {
                            return line.text ==
                                   "mpegdec: Unsupported number of bits per audio sample (12), assuming 16";
                          }),
            1);
}

TEST_P(Described, AStreamIsDolbyByItsName) {
  openMpegAmongDolby();
  Any value;
  EXPECT_EQ(pipe->getStreamParam(kKindAudio, 0, "dd_prod_info_tt", value), 0);
  EXPECT_FALSE(value.valid());
  EXPECT_TRUE(log.hasAt(kLogWarning, "[scripted] Failed to get dd_prod_info_tt for stream #0"));
  EXPECT_TRUE(lastInstance().audioAux.empty());
  ky_log()->take();
  EXPECT_EQ(pipe->getStreamParam(kKindAudio, 0, "dd_parser_settings", value), 0);
  EXPECT_TRUE(ky_log()->take().empty());
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 0, "dd_drc_params", 1), -5);
  EXPECT_EQ(pipe->setStreamParam(kKindAudio, 0, "_use32BitSamples", 1), -5);
}

TEST_P(Described, WhatIsNotCalledDolbyHasNothingOfIt) {
  openMpegAmongDolby();
  EXPECT_FALSE(info(kKindAudio, 0).contains("actualBitsPerSample"));
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).tracker, nullptr);
  EXPECT_FALSE(get("dolby", 0).valid());
  EXPECT_FALSE(get("DecoderChannelsMappingKY", 0).valid());
}

TEST_P(Described, ChannelsOfWhatIsNotCalledDolbyAreNumbers) {
  library.addAudio(kAudioDolby).info.channels = 6;
  library.audio[0].info.acmod = 7;
  library.audio[0].info.speakers = 0x3F;
  opened();
  EXPECT_EQ(get("channelName", 2), Any("C"));
  library.onOpen = [](MpegIn& instance) { instance.audio.mpegAudio = 2; };
  opened();
  EXPECT_EQ(get("channelName", 2), Any("channel 2"));
}

TEST_P(Described, AnOverlayThatIsNoIntegerCountsAsNotSet) {
  library.addVideo();
  opened();
  AnyDict& description = videoOf(*pipe, 0).info();
  description.set("_displaySubpics", 1);
  for (Any const& odd : {Any("3"), Any(2.0), Any(), Any(4L)}) {
    description.set("_subpicOverlay", odd);
    Any value;
    EXPECT_EQ(pipe->getStreamParam(kKindVideo, 0, "subpicOverlay", value), 0);
    EXPECT_EQ(value.kind(), Any::kInt32);
    EXPECT_EQ(value, Any(-1)) << odd.toString().asString();
  }
  description.set("_subpicOverlay", 2);
  Any value;
  pipe->getStreamParam(kKindVideo, 0, "subpicOverlay", value);
  EXPECT_EQ(value, Any(2));
}

TEST_P(Described, CaptionsOfAStreamThatWasNeverSelectedAreMinus18) {
  library.addVideo().userData[0] = {{{'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, 0x2C, 0xFF}, 4, false}};
  opened();
  addCaptions(*pipe, 0);
  AnyDict out("old", 1);
  EXPECT_EQ(pipe->readCcData(0, 0, out), -18);
  EXPECT_TRUE(out.empty());
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->readCcData(0, 0, out), 0);
  pipe->deselectStream(kKindVideo, 0);
  EXPECT_EQ(pipe->readCcData(0, 0, out), 0) << "its picture is still there";
  expectNoFailure();
}

UNDER_BOTH_HANDLERS(Described);

}  // namespace
