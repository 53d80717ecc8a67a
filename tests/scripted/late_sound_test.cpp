// Sound that begins late: when its delay applies, and that it outlives a reopening of its stream.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

constexpr int64_t kMs = 27000;  // ticks of 27 MHz

class LateSound : public ScriptedTest {
 protected:
  // Pictures at once, sound `ms` behind them.
  void add(MpegAudioFormat format, int64_t ms) {
    library.containerType = kContainerTransport;
    library.addVideo();
    library.addAudio(format).info.firstPts = ms * kMs;
  }
  int delay() { return stateOf(audioOf(*pipe, 0)).syncDelaySamples; }
};

TEST_F(LateSound, IsCorrectedInSystemProgramAndTransportStreamsAlone) {
  add(kAudioLpcm, 100);
  module.setAttr("AVSyncFix", 1);
  for (int container : {0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 18, 19, 20}) {
    if (container == kContainerDmf) continue;  // its extraction wants a file
    library.containerType = container;
    library.instances.clear();
    opened();
    bool const corrected = container == 1 || container == 2 || container == 3 || container == 7;
    EXPECT_EQ(delay(), corrected ? 4800 : 0) << container;
    EXPECT_EQ(instance(2).set.decodeVideo[0], corrected ? 1 : 0) << container;
    EXPECT_EQ(log.contains("Opening video in audio decoder instance"), corrected) << container;
    log.lines.clear();
    pipe.reset();
  }
}

TEST_F(LateSound, AmongThoseTheAttributeDecides) {
  add(kAudioLpcm, 100);
  for (int container : {1, 2, 3, 7}) {
    library.containerType = container;
    module.setAttr("AVSyncFix", 0);
    opened();
    EXPECT_EQ(delay(), 0) << container;
    module.setAttr("AVSyncFix", Any());
    opened();
    EXPECT_EQ(delay(), container == kContainerTransport ? 4800 : 0) << container;
  }
}

TEST_F(LateSound, IsDecidedOnceForAnOpening) {
  add(kAudioLpcm, 100);
  library.addAudio(kAudioLpcm);
  module.setAttr("AVSyncFix", 1);
  int made = 0;
  library.onCall = [&](Function function) {
    // Behind the shared instance and that of the video.
    if (function == kNew && ++made == 3) module.setAttr("AVSyncFix", 0);
  };
  opened();
  EXPECT_EQ(instance(2).set.decodeVideo[0], 1);
  EXPECT_EQ(instance(3).set.decodeVideo[0], 1);
  EXPECT_EQ(delay(), 4800);
}

// Everything that a host sees of the stream.
class ReopenedSound : public LateSound {
 protected:
  struct Seen {
    int delay;
    Any samples, duration, audioDuration, firstStamp;
    int64_t count;
    bool operator==(Seen const&) const = default;
  };
  Seen seen() {
    AnyDict const description = info(kKindAudio, 0);
    return {delay(),
            description["samples"],
            description["duration"],
            description["aDuration"],
            description.descendant("codecParams", "firstAPTS", nullptr),
            pipe->sampleCount(0)};
  }
};

TEST_F(ReopenedSound, IsTheSameBeforeAndAfter) {
  add(kAudioWma, 100);
  // Measured, so that the reported stamp is not the one that counts.
  Track measured{};
  measured.info.typeCode = 133;
  measured.info.identifier = 16;
  measured.units.push_back({200 * kMs, 0, 0, 200 * kMs, 10});
  library.titles = {{measured}};
  opened();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  Seen const before = seen();
  EXPECT_EQ(before.delay, 9600);
  EXPECT_EQ(before.samples, Any(109600L));
  EXPECT_EQ(before.firstStamp, Any(static_cast<long>(200 * kMs)));
  size_t const instances = library.instances.size();
  ASSERT_EQ(pipe->seekToSample(50000, 0), 0);
  ASSERT_EQ(pipe->seekToSample(10000, 0), 0);
  ASSERT_EQ(library.instances.size(), instances + 1) << "opened anew";
  EXPECT_EQ(seen(), before);
  EXPECT_EQ(lastInstance().samples.back(), 400);
}

TEST_F(ReopenedSound, HasItsSilenceAndItsLastSamples) {
  add(kAudioWma, 100);
  opened();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(50000, 0), 0);
  ASSERT_EQ(pipe->seekToSample(4790, 0), 0);
  ASSERT_EQ(pipe->readSamples(20, 0), 20);
  auto const* const words = reinterpret_cast<int16_t const*>(pipe->audioPcm(0)->ptr());
  for (int i = 0; i < 20; ++i) EXPECT_EQ(words[2 * i], i < 10 ? 0 : i - 10);
  ASSERT_EQ(pipe->seekToSample(104799, 0), 0);
  EXPECT_EQ(pipe->readSamples(10, 0), 1);
  EXPECT_EQ(lastInstance().samples.back(), 99999);
}

TEST_F(ReopenedSound, KeepsItsDelayWhenTheHostReplacesThePictureRate) {
  add(kAudioWma, 100);
  opened();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  // One picture a second would tolerate the delay.
  ASSERT_EQ(pipe->setOverride(kKindVideo, 0, "framerate", KyFramerate(1.0, 0, false, 0)), 0);
  module.setAttr("AVSyncFix", 0);
  Seen const before = seen();
  ASSERT_EQ(pipe->seekToSample(50000, 0), 0);
  ASSERT_EQ(pipe->seekToSample(10000, 0), 0);
  EXPECT_EQ(seen(), before);
}

TEST_F(ReopenedSound, ThatDoesNotOpenHasNoDelayAnyMore) {
  add(kAudioWma, 100);
  opened();
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(50000, 0), 0);
  test::Failures failures;
  library.give(kOpen, -1);
  EXPECT_EQ(pipe->seekToSample(10000, 0), -1);
  EXPECT_EQ(delay(), 0);
}

}  // namespace
