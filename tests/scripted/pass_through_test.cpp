// Dolby that passes through undecoded has no output channels, whatever its headers tell of speakers.
#include "tests/scripted/fixture.h"

namespace {

using namespace scripted;

class PassThrough : public ScriptedTest {
 protected:
  PassThrough() {
    MpegAudioInfo& audio = library.addAudio(kAudioDolby).info;
    audio.channels = 6;
    audio.acmod = 7;
    audio.lfeon = 1;
    audio.speakers = 0x60F;  // front left and right, centre, LFE, side left and right
  }
  void open(int smartRender) {
    ready();
    pipe->setParam("openParameters", AnyDict("forceAudioSmartRender", smartRender));
    ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  }
};

TEST_F(PassThrough, OfDolbyWithSpeakers_NamesNoChannels) {
  open(1);
  for (char const* key : {"dolby", "DecoderChannelsMappingKY"}) {
    EXPECT_FALSE(get(key, 0).valid()) << key;
    EXPECT_FALSE(get(key).valid()) << key;
  }
  EXPECT_EQ(get("channelName", 0), Any("channel 0"));
}

TEST_F(PassThrough, OfNoDolby_HasNoneToName) {
  library.audio[0].format = kAudioLpcm;
  open(0);
  EXPECT_FALSE(get("dolby", 0).valid());
  EXPECT_FALSE(get("DecoderChannelsMappingKY", 0).valid());
}

TEST_F(PassThrough, OfTheSameStreamDecoded_NamesThem) {
  open(0);
  EXPECT_EQ(get("dolby", 0).asDict().size(), 6);
  EXPECT_EQ(get("DecoderChannelsMappingKY", 0).asVector().size(), 6);
  EXPECT_EQ(get("channelName", 0), Any("L"));
}

}  // namespace
