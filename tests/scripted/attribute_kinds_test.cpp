// Attributes of the module that are no 32-bit integers count as not set, whatever their value.
#include "mpegdecode/dolbytracker.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class AttributeKinds : public ScriptedTest {
 protected:
  // A value as every other kind that could be read as a number.
  static std::vector<Any> others(int value) {
    return {Any(static_cast<long>(value)), Any(static_cast<double>(value)), Any(static_cast<float>(value)),
            Any(std::to_string(value)), Any(std::to_wstring(value))};
  }
};

TEST_F(AttributeKinds, OfTheForcedRate) {
  library.addVideo();
  for (Any const& other : others(2)) {
    module.setAttr("forceFramerate", other);
    opened();
    EXPECT_EQ(lastInstance().set.forceFrameRate, 0) << other.kind();
    EXPECT_FALSE(log.contains("Force framerate set")) << other.kind();
  }
  module.setAttr("forceFramerate", 2);
  opened();
  EXPECT_EQ(lastInstance().set.forceFrameRate, 2);
}

TEST_F(AttributeKinds, OfThePreferredSampleFormat) {
  library.addAudio(kAudioMpegAac);
  for (Any const& other : others(7)) {
    module.setAttr("preferredSampleFormat", other);
    opened();
    EXPECT_TRUE(lastInstance().audioAux.empty()) << other.kind();
  }
  module.setAttr("preferredSampleFormat", 7);
  opened();
  EXPECT_EQ(lastInstance().audioAux.size(), 1U);
}

TEST_F(AttributeKinds, OfThePreferredBitDepth) {
  library.addVideo().info.sourceDepth = 10;
  auto const format = [&] { return static_cast<uint32_t>(info(kKindVideo, 0)["FOURCC"].asInt32()); };
  for (Any const& other : others(2)) {
    module.setAttr("preferredVideoBitDepth", other);
    opened();
    EXPECT_EQ(format(), kyFourcc("I420")) << other.kind();
  }
  module.setAttr("preferredVideoBitDepth", 2);
  opened();
  EXPECT_EQ(format(), kyFourcc("W016"));
}

TEST_F(AttributeKinds, OfTheDelayCorrection) {
  for (Any const& other : others(7)) {
    module.setAttr("avDelayCorrection", other);
    ready();
    EXPECT_EQ(get("avDelayCorrection"), Any(1)) << other.kind();
  }
}

TEST_F(AttributeKinds, OfTheSyncFix) {
  library.addVideo();
  library.addAudio(kAudioLpcm).info.firstPts = 2700000;
  library.containerType = kContainerTransport;
  for (Any const& other : others(0)) {
    module.setAttr("AVSyncFix", other);
    opened();
    EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 4800) << other.kind();
  }
  module.setAttr("AVSyncFix", 0);
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 0);
}

TEST_F(AttributeKinds, OfTheDolbyTracker) {
  library.addAudio(kAudioDolby);
  for (Any const& other : others(0)) {
    module.setAttr("dolbyMetadataTracker", other);
    opened();
    EXPECT_NE(stateOf(audioOf(*pipe, 0)).tracker, nullptr) << other.kind();
  }
}

}  // namespace
