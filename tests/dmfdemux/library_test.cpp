// The library through its functions, on made files.
#include "tests/dmfdemux/demux.h"

namespace {

using namespace dmftest;

TEST(DmfLibrary, StreamsAreNumberedAcrossKindsInFileOrder) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfFileInfo file{};
  ASSERT_EQ(dmfDemuxGetFileInfo(demux.get(), &file), 0);
  EXPECT_EQ(file.titles, 1);
  DmfTitleInfo title{};
  ASSERT_EQ(dmfDemuxGetTitleInfo(demux.get(), 0, &title), 0);
  EXPECT_EQ(title.videoStreams, 1);
  EXPECT_EQ(title.audioStreams, 3);
  EXPECT_EQ(title.subtitleStreams, 1);
  std::vector<int> kinds;
  for (int i = 0; i < 5; ++i) {
    kinds.push_back(stream(demux, i).kind);
    EXPECT_EQ(stream(demux, i).id, i);
  }
  EXPECT_EQ(kinds, (std::vector<int>{2, 1, 1, 1, 3}));
  EXPECT_EQ(static_cast<DmfVideoFormat const*>(stream(demux, 0).format)->width, 320U);
  auto const* const audio = static_cast<DmfAudioFormat const*>(stream(demux, 1).format);
  EXPECT_EQ(audio->channels, 2);
  EXPECT_EQ(text(audio->language), "eng");
  EXPECT_EQ(text(static_cast<DmfAudioFormat const*>(stream(demux, 2).format)->language), "fre");
  EXPECT_EQ(text(static_cast<DmfAudioFormat const*>(stream(demux, 3).format)->language), "");
}

TEST(DmfLibrary, SubtitleStream_HasItsCodecLanguageAndTitle) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfStreamInfo const info = stream(demux, 4);
  EXPECT_EQ(info.codec, 282);
  auto const& format = *static_cast<DmfSubtitleFormat const*>(info.format);
  EXPECT_EQ(text(format.language), "pt");
  EXPECT_EQ(text(format.countryCode), "");
  EXPECT_EQ(std::u16string(std::begin(format.mediaDesc), std::end(format.mediaDesc)), u"Descript");
}

TEST(DmfLibrary, TextStream_ArrivesAsAScriptWithEvents) {
  DemuxPtr const demux = opened(threeLanguages());
  Recorder to;
  int const parser = parserFor(demux, 4, to, true);
  long const bytes = pushAll(demux, parser);
  EXPECT_EQ(to.all, "1\n00:00:00,100 --> 00:00:00,400\none\n\n2\n00:00:00,500 --> 00:00:00,900\ntwo\n\n");
  EXPECT_EQ(bytes, static_cast<long>(to.all.size()));
  ASSERT_EQ(to.events.size(), 2U);
  EXPECT_EQ(to.events[1].begin, 500000);
  EXPECT_EQ(to.events[1].end, 900000);
  EXPECT_EQ(dmfDemuxPush(demux.get(), parser), 0);
}

TEST(DmfLibrary, TextStreamUnchanged_ArrivesPacketByPacket) {
  DemuxPtr const demux = opened(threeLanguages());
  Recorder to;
  EXPECT_EQ(dmfDemuxPush(demux.get(), parserFor(demux, 4, to, false)), 3);
  EXPECT_EQ(to.events, (std::vector<Recorder::Event>{{100000, 400000, "one"}}));
}

TEST(DmfLibrary, SeekingToTheStart_DeliversEverythingOnceMore) {
  DemuxPtr const demux = opened(threeLanguages());
  Recorder to;
  int const parser = parserFor(demux, 4, to, true);
  DmfSeekSettings const start{parser, 4, 0};
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  EXPECT_GT(dmfDemuxPush(demux.get(), parser), 0);
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  std::string const first = std::exchange(to.all, {});
  pushAll(demux, parser);
  EXPECT_TRUE(to.all.starts_with(first));
  std::string const whole = std::exchange(to.all, {});
  ASSERT_EQ(dmfDemuxSeek(demux.get(), &start), 0);
  pushAll(demux, parser);
  EXPECT_EQ(to.all, whole);
}

TEST(DmfLibrary, FileWhoseStampsBeginLater_CountsTimesFromItsBeginning) {
  fs::path const script = test::scratchText("later.srt", "1\n00:00:00,500 --> 00:00:00,900\nlater\n\n");
  DemuxPtr const demux = opened(test::matroskaWith("later.mkv", script, "-output_ts_offset 10"));
  Recorder to;
  pushAll(demux, parserFor(demux, 2, to, true));
  EXPECT_EQ(to.all, "1\n00:00:00,500 --> 00:00:00,900\nlater\n\n");
}

TEST(DmfLibrary, TwoStreamsOfOneParser_GoToTheirOwnSinks) {
  DemuxPtr const demux = opened(test::xsubAvi("two.avi", 320, "--tag DXSB,DXSA"));
  Recorder b, a;
  int const parser = parserFor(demux, 2, b, false);
  DmfStreamSettings const add{3, a.sink(), 0};
  ASSERT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), 0);
  EXPECT_NE(dmfDemuxAddStream(demux.get(), parser, &add), 0) << "it is there already";
  pushAll(demux, parser);
  EXPECT_EQ(stream(demux, 2).codec, 281);
  EXPECT_EQ(stream(demux, 3).codec, 291);
  ASSERT_EQ(b.events.size(), 3U);
  ASSERT_EQ(a.events.size(), 3U);
  EXPECT_EQ(b.events[0].begin, 40000);
  EXPECT_EQ(b.events[0].end, 80000);
  EXPECT_EQ(a.events[0].bytes.size(), b.events[0].bytes.size() + 4) << "four alpha values";
}

// More than the library keeps in memory for other parsers.
TEST(DmfLibrary, SeveralStreamsOfManyMegabytes_ArriveLikeSmallOnes) {
  DemuxPtr const demux = opened(test::xsubAvi("many.avi", 320, "--tag DXSB,DXSA --pad 16000000"));
  for (int const number : {2, 3}) {
    Recorder to;
    int const parser = parserFor(demux, number, to, false);
    EXPECT_GT(pushAll(demux, parser), 48000000);
    ASSERT_EQ(to.events.size(), 3U);
    EXPECT_EQ(to.events[2].begin, 600000);
    EXPECT_TRUE(to.events[2].bytes.starts_with("[00:00:00.600-"));
  }
}

TEST(DmfLibrary, StreamsOfSeveralParsers_ArriveWhole) {
  fs::path const first = test::scratchText("first.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n");
  fs::path const second = test::scratchText("second.srt", "1\n00:00:00,200 --> 00:00:00,500\ntwo\n\n");
  DemuxPtr const demux = opened(test::made("parsers.mkv", test::pictureInput + "-i " + test::quoted(first) +
                                                              " -i " + test::quoted(second) +
                                                              " -map 0 -map 1 -map 2 -c:v mpeg4 -c:s copy"));
  Recorder a, b;
  int const parserA = parserFor(demux, 1, a, true), parserB = parserFor(demux, 2, b, true);
  EXPECT_GT(dmfDemuxPush(demux.get(), parserB), 0);
  EXPECT_GT(dmfDemuxPush(demux.get(), parserA), 0);
  EXPECT_EQ(dmfDemuxPush(demux.get(), parserB), 0);
  EXPECT_EQ(a.all, test::readText(first));
  EXPECT_EQ(b.all, test::readText(second));
}

TEST(DmfLibrary, EmptyPackets_ArePassedOver) {
  DemuxPtr const with = opened(test::xsubAvi("empty.avi", 320, "--empty"));
  DemuxPtr const without = opened(test::xsubAvi("full.avi", 320, ""));
  Recorder a, b;
  pushAll(with, parserFor(with, 2, a, false));
  pushAll(without, parserFor(without, 2, b, false));
  EXPECT_EQ(a.events.size(), 3U);
  EXPECT_EQ(a.events, b.events);
}

TEST(DmfLibrary, SsaHeader_IsToldFromAss) {
  char const* const body =
      "\n[Events]\nFormat: Marked, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
      "Dialogue: Marked=0,0:00:00.10,0:00:00.50,Default,,0000,0000,0000,,hello\n";
  fs::path const ssa = test::scratchText(
      "a.ssa",
      std::string(
          "[Script Info]\nScriptType: v4.00\n\n[V4 Styles]\nFormat: Name, Fontname\nStyle: Default,Arial\n") +
          body);
  DemuxPtr const demux = opened(test::matroskaWith("ssa.mkv", ssa));
  EXPECT_EQ(stream(demux, 2).codec, 283);
  Recorder to;
  pushAll(demux, parserFor(demux, 2, to, true));
  EXPECT_NE(to.all.find("\nDialogue: Marked=0,0:00:00.10,0:00:00.50,Default,,0000,0000,0000,,hello"),
            std::string::npos)
      << to.all;
}

TEST(DmfLibrary, WhatIsNoAviOrMatroska_IsRefusedWithAReason) {
  warnings.clear();
  DemuxPtr const demux(dmfDemuxNew(&resource, &warnings));
  EXPECT_NE(dmfDemuxOpen(demux.get(), test::made("a.mp4", test::pictureInput + "-c:v mpeg4").c_str()), 0);
  EXPECT_NE(warnings.find("no AVI or Matroska file"), std::string::npos) << warnings;
  EXPECT_NE(dmfDemuxOpen(demux.get(), (test::scratchDir() / "absent.mkv").c_str()), 0);
  EXPECT_NE(dmfDemuxOpen(demux.get(), test::scratchText("text.mkv", "no media").c_str()), 0);
  EXPECT_NE(dmfDemuxOpen(demux.get(), nullptr), 0);
  EXPECT_EQ(dmfDemuxOpen(demux.get(), threeLanguages().c_str()), 0);
  EXPECT_NE(dmfDemuxOpen(demux.get(), threeLanguages().c_str()), 0) << "one is open";
  dmfDemuxClose(demux.get());
  EXPECT_EQ(dmfDemuxOpen(demux.get(), threeLanguages().c_str()), 0);
}

TEST(DmfLibrary, PlaylistUnderAMediaName_OpensNothingElse) {
  fs::path const list =
      test::scratchText("list.mkv", "ffconcat version 1.0\nfile '" + threeLanguages().string() + "'\n");
  DemuxPtr const demux(dmfDemuxNew(nullptr, nullptr));
  EXPECT_NE(dmfDemuxOpen(demux.get(), list.c_str()), 0);
}

TEST(DmfLibrary, ArgumentsOutOfRange_FailAndChangeNothing) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfTitleInfo title{7, 7, 7};
  EXPECT_NE(dmfDemuxGetTitleInfo(demux.get(), 1, &title), 0);
  EXPECT_EQ(title.videoStreams, 7);
  DmfStreamInfo info{};
  for (int const number : {-1, 5, 1000000})
    EXPECT_NE(dmfDemuxGetStreamInfo(demux.get(), 0, number, &info), 0);
  EXPECT_NE(dmfDemuxGetStreamInfo(demux.get(), 1, 0, &info), 0);
  DmfParserSettings const wrong{1};
  EXPECT_EQ(dmfDemuxNewParser(demux.get(), &wrong), 0);
  EXPECT_EQ(dmfDemuxNewParser(demux.get(), nullptr), 0);
  Recorder to;
  int const parser = parserFor(demux, 4, to, true);
  for (uint16_t const number : {uint16_t{0}, uint16_t{1}, uint16_t{5}, uint16_t{65535}}) {
    DmfStreamSettings const add{number, to.sink(), 0};
    EXPECT_NE(dmfDemuxAddStream(demux.get(), parser, &add), 0) << number;
    DmfSeekSettings const seek{parser, number, 0};
    EXPECT_NE(dmfDemuxSeek(demux.get(), &seek), 0) << number;
  }
  DmfStreamSettings const noSink{4, {nullptr, nullptr, nullptr}, 0};
  EXPECT_NE(dmfDemuxAddStream(demux.get(), parser, &noSink), 0);
  DmfSeekSettings const middle{parser, 4, 5};
  EXPECT_NE(dmfDemuxSeek(demux.get(), &middle), 0);
  EXPECT_LT(dmfDemuxPush(demux.get(), 0), 0);
  EXPECT_LT(dmfDemuxPush(demux.get(), parser + 1), 0);
  EXPECT_EQ(to.all, "");
}

TEST(DmfLibrary, WithoutAnOpenFile_EverythingFails) {
  DemuxPtr const demux(dmfDemuxNew(nullptr, nullptr));
  DmfFileInfo file{};
  EXPECT_NE(dmfDemuxGetFileInfo(demux.get(), &file), 0);
  DmfTitleInfo title{};
  EXPECT_NE(dmfDemuxGetTitleInfo(demux.get(), 0, &title), 0);
  DmfStreamInfo info{};
  EXPECT_NE(dmfDemuxGetStreamInfo(demux.get(), 0, 0, &info), 0);
  DmfParserSettings const settings{0};
  EXPECT_EQ(dmfDemuxNewParser(demux.get(), &settings), 0);
  dmfDemuxClose(demux.get());
  dmfDemuxClose(nullptr);
  dmfDemuxFree(nullptr);
  EXPECT_NE(dmfDemuxOpen(nullptr, "x"), 0);
  EXPECT_LT(dmfDemuxPush(nullptr, 1), 0);
}

TEST(DmfLibrary, ASinkThatThrows_MakesThePushFail) {
  DemuxPtr const demux = opened(threeLanguages());
  DmfParserSettings const settings{0};
  int const parser = dmfDemuxNewParser(demux.get(), &settings);
  DmfSink const sink{[](void*, void const*, int) -> int { throw 5; }, [](void*, int, void*) { return 0; },
                     nullptr};
  DmfStreamSettings const add{4, sink, 1};
  ASSERT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), 0);
  EXPECT_LT(dmfDemuxPush(demux.get(), parser), 0);
}

TEST(DmfLibrary, TruncatedFile_DeliversWhatIsThere) {
  std::string bytes = test::readText(threeLanguages());
  for (size_t const size : {bytes.size() * 9 / 10, bytes.size() / 2, bytes.size() / 4}) {
    fs::path const cut = test::scratchText("cut.mkv", bytes.substr(0, size));
    DemuxPtr const demux(dmfDemuxNew(nullptr, nullptr));
    if (dmfDemuxOpen(demux.get(), cut.c_str()) != 0) continue;
    Recorder to;
    pushAll(demux, parserFor(demux, 4, to, true));
    EXPECT_TRUE(
        std::string("1\n00:00:00,100 --> 00:00:00,400\none\n\n2\n00:00:00,500 --> 00:00:00,900\ntwo\n\n")
            .starts_with(to.all));
  }
}

}  // namespace
