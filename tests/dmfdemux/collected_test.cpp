// What is kept of a file, what is told of failures, and facts of streams.
#include <stdexcept>

#include "tests/dmfdemux/demux.h"

namespace {

using namespace dmftest;

TEST(DmfCollected, TheFirstReaderKeepsThePacketsForTheOthers) {
  fs::path const file = test::xsubAvi("kept.avi", 320, "--tag DXSB,DXSA");
  DemuxPtr const demux = opened(file);
  Recorder a, b;
  int const parserA = parserFor(demux, 2, a, false), parserB = parserFor(demux, 3, b, false);
  pushAll(demux, parserA);
  fs::remove(file);
  pushAll(demux, parserB);
  EXPECT_EQ(b.events.size(), 3U);
  DmfSeekSettings const start{parserA, 2, 0};
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  pushAll(demux, parserA);
  EXPECT_EQ(a.events.size(), 6U);
}

TEST(DmfCollected, TooMuchIsNotKept) {
  fs::path const file = test::xsubAvi("too-much.avi", 320, "--tag DXSB,DXSA --pad 16000000");
  DemuxPtr const demux = opened(file);
  Recorder a, b;
  int const parserA = parserFor(demux, 2, a, false), parserB = parserFor(demux, 3, b, false);
  pushAll(demux, parserA);
  EXPECT_EQ(a.events.size(), 3U);
  fs::remove(file);
  EXPECT_EQ(dmfDemuxPush(demux.get(), parserB), -1);
  EXPECT_TRUE(warnings.starts_with("dmfdemux: push: ")) << warnings;
}

TEST(DmfCollected, OneStreamAloneIsNotKept) {
  fs::path const file = test::xsubAvi("alone.avi", 320, "--tag DXSB");
  DemuxPtr const demux = opened(file);
  Recorder a;
  int const parser = parserFor(demux, 2, a, false);
  pushAll(demux, parser);
  fs::remove(file);
  DmfSeekSettings const start{parser, 2, 0};
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  EXPECT_EQ(dmfDemuxPush(demux.get(), parser), -1);
}

TEST(DmfWarnings, NameTheFileAndTheReason) {
  warnings.clear();
  DemuxPtr const demux(dmfDemuxNew(&resource, &warnings));
  fs::path const other = test::made("b.mp4", test::pictureInput + "-c:v mpeg4");
  EXPECT_EQ(dmfDemuxOpen(demux.get(), other.c_str()), -1);
  EXPECT_EQ(warnings,
            "dmfdemux: " + other.string() + ": no AVI or Matroska file but mov,mp4,m4a,3gp,3g2,mj2");
}

TEST(DmfWarnings, NameTheCallAndWhatWasThrown) {
  DemuxPtr const demux = opened(threeLanguages());
  auto const pushInto = [&](int (*write)(void*, void const*, int)) {
    warnings.clear();
    DmfParserSettings const settings{0};
    int const parser = dmfDemuxNewParser(demux.get(), &settings);
    DmfStreamSettings const add{4, {write, [](void*, int, void*) { return 0; }, nullptr}, 1};
    EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), 0);
    EXPECT_EQ(dmfDemuxPush(demux.get(), parser), -1);
  };
  pushInto([](void*, void const*, int) -> int { throw std::runtime_error("full"); });
  EXPECT_EQ(warnings, "dmfdemux: push: full");
  pushInto([](void*, void const*, int) -> int { throw 5; });
  EXPECT_EQ(warnings, "dmfdemux: push: unknown failure");
}

TEST(DmfFacts, SizesRatesAndWhatIsForced) {
  fs::path const script = test::scratchText("forced.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n");
  DemuxPtr const demux = opened(test::made(
      "forced.mkv",
      test::pictureInput + test::soundInput + "-i " + test::quoted(script) +
          " -map 0 -map 1 -map 2 -map 2 -c:v mpeg4 -c:a pcm_s16le -c:s copy -disposition:s:0 forced"
          " -disposition:s:1 0 -ar 32000"));
  auto const& video = *static_cast<DmfVideoFormat const*>(stream(demux, 0).format);
  EXPECT_EQ(video.width, 320U);
  EXPECT_EQ(video.height, 240U);
  EXPECT_EQ(static_cast<DmfAudioFormat const*>(stream(demux, 1).format)->sampleRate, 32000U);
  EXPECT_EQ(static_cast<DmfSubtitleFormat const*>(stream(demux, 2).format)->forced, 1U);
  EXPECT_EQ(static_cast<DmfSubtitleFormat const*>(stream(demux, 3).format)->forced, 0U);
}

}  // namespace
