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

TEST(DmfCollected, AFileThatIsGoneBeforeTheFirstPushFails) {
  fs::path const file = test::xsubAvi("gone.avi", 320, "--tag DXSB,DXSA");
  DemuxPtr const demux = opened(file);
  Recorder a;
  int const parser = parserFor(demux, 2, a, false);
  fs::remove(file);
  EXPECT_EQ(dmfDemuxPush(demux.get(), parser), -1);
  EXPECT_TRUE(a.events.empty());
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

TEST(DmfWarnings, AreNoneWhereNothingIsWrong) {
  DemuxPtr const demux = opened(threeLanguages());
  Recorder to;
  EXPECT_GT(pushAll(demux, parserFor(demux, 4, to, true)), 0);
  EXPECT_EQ(warnings, "");
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

fs::path assFile(std::string const& name, std::string const& options) {
  fs::path const script =
      test::scratchText(name + ".ass",
                        "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name, Fontname\nStyle: "
                        "Default,Arial\n\n[Events]\n"
                        "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
                        "Dialogue: 0,0:00:00.50,0:00:00.60,Default,,0,0,0,,first\n"
                        "Dialogue: 0,0:00:00.10,0:00:00.20,Default,,0,0,0,,second\n"
                        "Dialogue: 0,0:00:00.70,0:00:00.80,Default,,0,0,0,,third\n");
  return test::matroskaWith(name + ".mkv", script, options);
}

TEST(DmfScripts, AnAssScriptKeepsItsHeaderAndItsOrder) {
  DemuxPtr const demux = opened(assFile("ordered", ""));
  EXPECT_EQ(stream(demux, 2).codec, 284);
  Recorder to;
  pushAll(demux, parserFor(demux, 2, to, true));
  EXPECT_NE(to.all.find("Style: Default,Arial"), std::string::npos) << to.all;
  EXPECT_LT(to.all.find(",first\n"), to.all.find(",second\n"));
  EXPECT_LT(to.all.find(",second\n"), to.all.find(",third\n"));
  EXPECT_EQ(to.events.size(), 3U);
}

TEST(DmfScripts, WhatWaitedBeforeASeekIsForgotten) {
  DemuxPtr const demux = opened(assFile("waiting", ""));
  Recorder to;
  int const parser = parserFor(demux, 2, to, true);
  DmfSeekSettings const start{parser, 2, 0};
  pushAll(demux, parser);
  std::string const whole = std::exchange(to.all, {});
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  dmfDemuxPush(demux.get(), parser);
  dmfDemuxPush(demux.get(), parser);
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  to.all.clear();
  pushAll(demux, parser);
  EXPECT_EQ(to.all, whole);
}

TEST(DmfScripts, EventsWhosePredecessorsAreMissingComeAtTheEnd) {
  DemuxPtr const demux = opened(assFile("complete", ""));
  std::string bytes = test::readText(test::scratchDir() / "complete.mkv");
  size_t const at = bytes.find("0,0,Default,,0,0,0,,first");
  ASSERT_NE(at, std::string::npos);
  bytes[at] = '9';
  DemuxPtr const changed = opened(test::scratchText("gap.mkv", bytes));
  Recorder to;
  pushAll(changed, parserFor(changed, 2, to, true));
  EXPECT_LT(to.all.find(",third\n"), to.all.find(",first\n")) << to.all;
  EXPECT_EQ(to.events.size(), 3U);
}

TEST(DmfParsers, AreNumberedFromOneAndEndWithTheFile) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfParserSettings const settings{0};
  EXPECT_EQ(dmfDemuxNewParser(demux.get(), &settings), 1);
  EXPECT_EQ(dmfDemuxNewParser(demux.get(), &settings), 2);
  EXPECT_EQ(dmfDemuxNewParser(nullptr, &settings), 0);
  EXPECT_EQ(dmfDemuxPush(demux.get(), 1), 0) << "no stream";
  dmfDemuxClose(demux.get());
  EXPECT_EQ(dmfDemuxPush(demux.get(), 1), -1);
}

TEST(DmfParsers, TakeNoStreamOnceTheyBegan) {
  DemuxPtr const demux = opened(test::xsubAvi("began.avi", 320, "--tag DXSB,DXSA"));
  Recorder a, b;
  int const parser = parserFor(demux, 2, a, false);
  DmfStreamSettings const add{3, b.sink(), 0};
  EXPECT_GT(dmfDemuxPush(demux.get(), parser), 0);
  EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), -1) << "begun";
  pushAll(demux, parser);
  EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), -1) << "at the end";
}

TEST(DmfParsers, NeedBothFunctionsOfASink) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfParserSettings const settings{0};
  int const parser = dmfDemuxNewParser(demux.get(), &settings);
  Recorder to;
  DmfStreamSettings noWrite{4, to.sink(), 0}, noEvent{4, to.sink(), 0};
  noWrite.sink.write = nullptr;
  noEvent.sink.event = nullptr;
  EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &noWrite), -1);
  EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &noEvent), -1);
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
