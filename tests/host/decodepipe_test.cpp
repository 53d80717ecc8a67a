#include <gtest/gtest.h>

#include <string>

#include "host/codec.h"
#include "host/frame.h"

namespace {

constexpr double kNtsc = 30000.0 / 1001.0;

// Two video and two audio streams; remembers where it was sent.
class Pipe : public KyDecodePipe {
 public:
  Pipe() : KyDecodePipe(nullptr) {}
  int countStreams(int mask) const override { return (mask & 1 ? 2 : 0) + (mask & 2 ? 2 : 0); }
  int streamInfo(int kind, int index, AnyDict& info) const override {
    info.clear();
    if (index < 0 || index > 1) return setError(kResultInvalidStream, "no such stream");
    if (kind == kKindVideo)
      info.set("framerate", index == 0 ? Any(KyFramerate(kNtsc, 1, true, 0)) : Any(rate));
    if (kind == kKindAudio) info.set("samplerate", index == 0 ? 48000 : 44100);
    info.set("duration", 12.5);
    return 0;
  }
  int seekToFrame(int64_t frame, int index) override {
    trace += "v" + std::to_string(index) + ":" + std::to_string(frame) + " ";
    return result;
  }
  int seekToSample(int64_t sample, int index) override {
    trace += "a" + std::to_string(index) + ":" + std::to_string(sample) + " ";
    return 0;
  }
  bool isSelected(int kind, int index) const override { return kind == kKindVideo ? index == 0 : index == 1; }

  double rate = 25.0;
  int result = 0;
  std::string trace;
};

TEST(DecodePipe, BaseHasNoStreams) {
  KyDecodePipe pipe(nullptr);
  AnyDict dict("old", 1);
  Any value(1);
  EXPECT_EQ(pipe.countStreams(7), 0);
  EXPECT_EQ(pipe.streamInfo(1, 0, dict), kResultInvalidStream);
  EXPECT_TRUE(dict.empty());
  EXPECT_EQ(pipe.getStreamParam(1, 0, "x", value), kResultInvalidParam);
  EXPECT_FALSE(value.valid());
  EXPECT_EQ(pipe.setStreamParam(1, 0, "x", 1), kResultInvalidParam);
  EXPECT_LT(pipe.seekToFrame(0, 0), 0);
  EXPECT_LT(pipe.seekToSample(0, 0), 0);
  EXPECT_LT(pipe.readFrame(0), 0);
  EXPECT_LT(pipe.readSamples(1, 0), 0);
  EXPECT_EQ(pipe.frameCount(0), -1);
  EXPECT_EQ(pipe.sampleCount(0), -1);
  EXPECT_EQ(pipe.videoFrame(0), nullptr);
  EXPECT_EQ(pipe.audioPcm(0), nullptr);
  EXPECT_LT(pipe.selectStream(1, 0), 0);
  EXPECT_LT(pipe.deselectStream(1, 0), 0);
  EXPECT_FALSE(pipe.isSelected(1, 0));
  EXPECT_TRUE(pipe.overrideKeys(1).empty());
  EXPECT_LT(pipe.elementaryStream(1, 0, nullptr), 0);
  EXPECT_LT(pipe.encodedFrameSize(0), 0);
  EXPECT_LT(pipe.readEncodedFrame(0, nullptr), 0);
  EXPECT_LT(pipe.setUserDataEnabled(1, 0, 1), 0);
  EXPECT_LT(pipe.readUserData(1, 0), 0);
  EXPECT_EQ(pipe.frameTimestamps(0), nullptr);
  EXPECT_LT(pipe.readCcData(0, 0, dict), 0);
  EXPECT_STRNE(pipe.errorDesc(), "");
}

TEST(DecodePipe, SeekTurnsTimeIntoFramesAndSamples) {
  Pipe pipe;
  EXPECT_EQ(pipe.seek(MediaTime(2.0), kKindVideo, 1), 0);
  EXPECT_EQ(pipe.seek(MediaTime(2.039), kKindVideo, 1), 0);
  EXPECT_EQ(pipe.seek(MediaTime(0.5), kKindAudio, 0), 0);
  EXPECT_EQ(pipe.trace, "v1:50 v1:50 a0:24000 ");
}

TEST(DecodePipe, SeekReturnsToEveryFrameItsTimeStandsFor) {
  Pipe pipe;
  KyFramerate const rate(kNtsc, 1, true, 0);
  for (long const frame : {0L, 1L, 2L, 29L, 899L, 107891L, 2589407L}) {
    for (long const scale : {MediaTime::kScale, 27000000L, 90000L}) {
      pipe.trace.clear();
      pipe.seek(MediaTime(frame, rate, scale), kKindVideo, 0);
      EXPECT_EQ(pipe.trace, "v0:" + std::to_string(frame) + " ") << scale;
    }
  }
}

TEST(DecodePipe, SeekReturnsToEverySample) {
  Pipe pipe;
  for (long const sample : {0L, 1L, 44099L, 123456789L}) {
    pipe.trace.clear();
    pipe.seek(MediaTime(sample, KyFramerate(44100, 0, false, 0)), kKindAudio, 1);
    EXPECT_EQ(pipe.trace, "a1:" + std::to_string(sample) + " ");
  }
}

TEST(DecodePipe, SeekFailsWithoutStreamOrRate) {
  Pipe pipe;
  EXPECT_EQ(pipe.seek(MediaTime(1.0), kKindVideo, 2), kResultInvalidStream);
  EXPECT_STREQ(pipe.errorDesc(), "no such stream");
  EXPECT_EQ(pipe.seek(MediaTime(1.0), kKindSubpic, 0), kResultInvalidStream);
  EXPECT_EQ(pipe.seek(MediaTime(1.0), 3, 0), kResultInvalidStream);
  pipe.rate = 0.0;
  EXPECT_LT(pipe.seek(MediaTime(1.0), kKindVideo, 1), 0);
  EXPECT_EQ(pipe.trace, "");
}

TEST(DecodePipe, SeekAllMovesTheSelectedStreamsAndReportsTheFirstFailure) {
  Pipe pipe;
  EXPECT_EQ(pipe.seekAll(MediaTime(1.0)), 0);
  EXPECT_EQ(pipe.trace, "v0:29 a1:44100 ");
  pipe.result = -4;
  pipe.trace.clear();
  EXPECT_EQ(pipe.seekAll(MediaTime(1.0)), -4);
  EXPECT_EQ(pipe.trace, "v0:29 a1:44100 ");
}

TEST(DecodePipe, DurationIsThatOfTheDescription) {
  Pipe const pipe;
  EXPECT_EQ(pipe.duration(kKindVideo, 0), MediaTime(12.5));
  EXPECT_EQ(pipe.duration(kKindVideo, 5), MediaTime());
}

TEST(DecodePipe, SelectedListsIndicesAscending) {
  Pipe const pipe;
  AnyDict out;
  EXPECT_EQ(pipe.selected(out), 0);
  EXPECT_EQ(out["video"].asVector(), AnyVector({0}));
  EXPECT_EQ(out["audio"].asVector(), AnyVector({1}));
}

TEST(DecodePipe, OverridesAreKeptPerStreamAndKey) {
  KyDecodePipe pipe(nullptr);
  EXPECT_EQ(pipe.setOverride(1, 0, "framerate", KyFramerate(25, 0, false, 0)), 0);
  EXPECT_EQ(pipe.setOverride(1, 1, "frameAspect", 1.5), 0);
  EXPECT_EQ(pipe.setOverride(2, 0, "x", 1), 0);
  EXPECT_EQ(pipe.setOverride(1, 1, "frameAspect", 1.25), 0);
  EXPECT_EQ(pipe.override(1, 1, "frameAspect"), Any(1.25));
  EXPECT_FALSE(pipe.override(1, 0, "frameAspect").valid());
  EXPECT_FALSE(pipe.override(1, 0, nullptr).valid());
  AnyVector const all = pipe.overrides(1);
  ASSERT_EQ(all.size(), 2);
  EXPECT_EQ(all[1].asDict(), AnyDict("index", 1, "key", "frameAspect", "value", 1.25));
  EXPECT_EQ(pipe.overrides(2).size(), 1);
  EXPECT_EQ(pipe.overrides(4).size(), 0);
}

TEST(DecodePipe, AnInvalidValueRemovesAnOverride) {
  KyDecodePipe pipe(nullptr);
  pipe.setOverride(1, 0, "inColorRange", 1);
  pipe.setOverride(1, 0, "inColorRange", Any());
  EXPECT_FALSE(pipe.override(1, 0, "inColorRange").valid());
  EXPECT_TRUE(pipe.overrides(1).empty());
}

TEST(DecodePipe, AnOverrideMayBeSetFromItself) {
  KyDecodePipe pipe(nullptr);
  pipe.setOverride(1, 0, "x", AnyVector{Any(AnyVector{1})});
  pipe.setOverride(1, 0, "x", pipe.override(1, 0, "x").asVector()[0]);
  EXPECT_EQ(pipe.override(1, 0, "x").asVector(), AnyVector({1}));
}

}  // namespace
