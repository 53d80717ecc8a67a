// Bitmap subtitles over decoded pictures, through the plug-in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "host/log.h"
#include "mfimport/mfimport.h"
#include "tests/plugin/subtitle_reference.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"
#include "tests/support/subtitle_file.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

// 0 to 399 ms nothing, to 1399 a bitmap, to 1599 nothing, to 2799 another one; 25 frames per second.
constexpr int kBefore = 9, kFirst = 10, kFirstLast = 34, kGap = 37, kSecond = 40, kSecondLast = 69,
              kAfter = 70;
constexpr int kFrames = 100;

fs::path twoStreams() { return test::subtitledFile("two.mkv", {0, 1}, "copy"); }
fs::path dvd() { return test::subtitledFile("dvd.mkv", {0}, "dvdsub"); }
fs::path without() {
  return test::made("without.mkv", "-f lavfi -i testsrc2=s=160x120:r=25:d=1 -c:v mpeg2video ");
}
fs::path media(char const* name) { return fs::path(KY_MEDIA_DIR) / name; }

PipePtr selected(fs::path const& file, AnyDict const& parameters = {}) {
  PipePtr pipe = test::opened(file, parameters);
  if (pipe) {
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0) << pipe->errorDesc();
  }
  return pipe;
}

int overlay(KyDecodePipe& pipe, Any const& value) {
  return pipe.setStreamParam(kKindVideo, 0, "subpicOverlay", value);
}

int overlay(KyDecodePipe const& pipe) {
  Any value;
  pipe.getStreamParam(kKindVideo, 0, "subpicOverlay", value);
  return value.asInt32();
}

// The import library's instance behind the video stream.
MpegIn* instanceOf(KyDecodePipe const& pipe) {
  Any answer = 0;
  pipe.getParam("srParams", answer);
  return static_cast<MpegIn*>(const_cast<void*>(answer.asDict()["decoder_struct"].asGeneric()));
}

MpegDecodeStats stats(KyDecodePipe const& pipe) {
  MpegDecodeStats out{};
  EXPECT_EQ(mpegInVideoAuxinfo(instanceOf(pipe), 0, kAuxStats, &out, sizeof out), 0);
  return out;
}

std::string hashOf(KyDecodePipe& pipe) { return test::md5(*pipe.videoFrame(0)); }

std::string hashAt(KyDecodePipe& pipe, int frame) {
  EXPECT_EQ(pipe.seekToFrame(frame, 0), 0) << pipe.errorDesc();
  return hashOf(pipe);
}

std::vector<std::string> hashesWith(fs::path const& file, int overlayed) {
  PipePtr const pipe = selected(file);
  if (!pipe) return {};
  EXPECT_EQ(overlay(*pipe, overlayed), 0);
  return test::readAllFrames(*pipe, 0);
}

struct Material {
  char const* name;
  std::function<fs::path()> file;
  int stream = 0;
  int canvasWidth = 0, canvasHeight = 0;  // where libavcodec does not tell it
  bool publicMedia = false;
  bool fullRange = false;
};

void PrintTo(Material const& material, std::ostream* out) { *out << material.name; }

class Drawing : public testing::TestWithParam<Material> {};

// Every frame of the stream against an independent decode of the subtitles, drawn on the clean frame.
TEST_P(Drawing, EveryFrameIsTheCleanOneWithTheBitmapOfItsTime) {
  Material const& material = GetParam();
  if (material.publicMedia && !fs::exists(KY_MEDIA_DIR)) GTEST_SKIP() << "no media files";
  fs::path const file = material.file();
  PipePtr const clean = selected(file), pipe = selected(file);
  ASSERT_TRUE(clean && pipe);
  ASSERT_EQ(overlay(*pipe, material.stream), 0);
  int const width = clean->videoFrame(0)->width(), height = clean->videoFrame(0)->height();
  auto const subtitles =
      test::referenceSubtitles(file, material.stream, material.canvasWidth > 0 ? material.canvasWidth : width,
                               material.canvasHeight > 0 ? material.canvasHeight : height);
  std::vector<double> const times = test::frameTimes(file);
  ASSERT_GE(static_cast<int>(times.size()), clean->frameCount(0));
  int withSubtitle = 0, without = 0;
  for (int n = 0; n < clean->frameCount(0); ++n) {
    ASSERT_EQ(clean->readFrame(0), 0);
    ASSERT_EQ(pipe->readFrame(0), 0);
    test::Picture const plain = test::pictureOf(*clean->videoFrame(0), material.fullRange),
                        got = test::pictureOf(*pipe->videoFrame(0), material.fullRange);
    auto const* const shown = test::referenceAt(subtitles, times[static_cast<size_t>(n)]);
    if (!shown) {
      ++without;
      ASSERT_EQ(test::difference(got, plain), 0) << "frame " << n;
      continue;
    }
    ++withSubtitle;
    ASSERT_LE(test::difference(got, test::drawn(plain, *shown)), 2) << "frame " << n;
    ASSERT_GT(test::difference(got, plain), 16) << "frame " << n;
  }
  EXPECT_GE(withSubtitle, 5);
  EXPECT_GE(without, material.publicMedia ? 0 : 5);
}

TEST_P(Drawing, SeeksGiveWhatReadingGives) {
  Material const& material = GetParam();
  if (material.publicMedia && !fs::exists(KY_MEDIA_DIR)) GTEST_SKIP() << "no media files";
  fs::path const file = material.file();
  auto const linear = hashesWith(file, material.stream);
  PipePtr const pipe = selected(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, material.stream), 0);
  std::mt19937 random(5);
  for (int i = 0; i < 30; ++i) {
    auto const frame = static_cast<int>(random() % linear.size());
    ASSERT_EQ(hashAt(*pipe, frame), linear[static_cast<size_t>(frame)]) << "frame " << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, Drawing,
    testing::Values(
        Material{"PresentationGraphicsInMatroska", twoStreams},
        Material{"TheSecondOfTwoStreams", twoStreams, 1},
        Material{
            "PresentationGraphicsOfADisc",
            [] { return test::subtitledFile("disc.m2ts", {0}, "copy", "-f mpegts -mpegts_m2ts_mode 1"); }},
        Material{"DvdInMatroska", dvd},
        Material{"DvdInAProgramStream",
                 [] { return test::subtitledFile("dvd.mpg", {0}, "dvdsub", "-f vob"); }},
        Material{"DvbInATransportStream", [] { return test::subtitledFile("dvb.ts", {0}, "dvbsub"); }},
        Material{"PublicDvdScaledDown", [] { return media("se_sample_MKV_VobSub_PGS.mkv"); }, 0, 0, 0, true,
                 true},
        Material{"PublicPresentationGraphicsScaledDown", [] { return media("se_sample_MKV_VobSub_PGS.mkv"); },
                 1, 0, 0, true, true},
        Material{"PublicDvdIn720Lines", [] { return media("amx_sample_with_vobsub.mkv"); }, 0, 0, 0, true},
        Material{"PublicDvb", [] { return media("se_sample_TS_dvbsub_rs204.ts"); }, 0, 720, 576, true}),
    [](auto const& material) { return std::string(material.param.name); });

class OutputFormats : public testing::TestWithParam<char const*> {};

// The formats' own arithmetic is tested elsewhere: here, that each is drawn at its times and nowhere else.
TEST_P(OutputFormats, AreDrawnFromTheFirstFrameOfABitmapToTheLast) {
  std::string const name = GetParam();
  auto const fourcc = kyFourcc({name[0], name[1], name[2], name[3], 0});
  PipePtr const clean = selected(twoStreams(), AnyDict("FOURCC", static_cast<int>(fourcc)));
  PipePtr const pipe = selected(twoStreams(), AnyDict("FOURCC", static_cast<int>(fourcc)));
  ASSERT_TRUE(clean && pipe);
  ASSERT_EQ(pipe->videoFrame(0)->fourcc(), fourcc);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  for (int frame : {kBefore, kFirst, kFirstLast, kGap, kSecond, kSecondLast, kAfter}) {
    bool const shown = (frame >= kFirst && frame <= kFirstLast) || (frame >= kSecond && frame <= kSecondLast);
    EXPECT_EQ(hashAt(*pipe, frame) != hashAt(*clean, frame), shown) << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(All, OutputFormats, testing::Values("I420", "YUYV", "BGR4", "Y216", "W016"));

TEST(OverlayList, HoldsEveryBitmapSubtitleStreamWithItsIdentity) {
  PipePtr const pipe = test::opened(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 2);
  for (int i = 0; i < 2; ++i) {
    AnyDict const info = test::info(*pipe, kKindSubpic, i);
    EXPECT_EQ(info["type"], Any(2));
    EXPECT_EQ(info.get("codecParams").asDict()["pid"], Any(1 + i));
  }
  PipePtr const ps = test::opened(test::subtitledFile("dvd.mpg", {0}, "dvdsub", "-f vob"));
  ASSERT_TRUE(ps);
  ASSERT_EQ(ps->countStreams(kKindSubpic), 1);
  EXPECT_EQ(test::info(*ps, kKindSubpic, 0).get("codecParams").asDict()["sub_id"], Any(0x20));
}

TEST(OverlayList, OfAFileWithoutSubtitlesIsEmptyAndOnlyOffIsAccepted) {
  PipePtr const pipe = selected(without());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  test::Failures failures;
  EXPECT_EQ(overlay(*pipe, 0), -12);
  EXPECT_EQ(failures.seen.size(), 1U);
}

TEST(OverlayValue, TheNumberOfEntries_IsRefusedWithItsText) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  for (int value : {2, -2, INT32_MAX, INT32_MIN}) {
    test::Failures failures;
    EXPECT_EQ(overlay(*pipe, value), -12) << value;
    EXPECT_EQ(pipe->errorCode(), -12);
    EXPECT_EQ(pipe->errorDesc(), "Invalid value for " + std::to_string(value) + " 'subpicOverlay'");
    ASSERT_EQ(failures.seen.size(), 1U);
    EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
    EXPECT_EQ(overlay(*pipe), -1);
  }
  EXPECT_EQ(overlay(*pipe, 1), 0);
}

TEST(OverlayValue, MinusOneIsAlwaysAccepted) {
  PipePtr const pipe = test::opened(twoStreams());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_TRUE(failures.seen.empty());
}

TEST(OverlayValue, WhatIsNoInteger_SwitchesOff) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(overlay(*pipe, Any("1")), 0);
  EXPECT_EQ(overlay(*pipe), -1);
}

TEST(OverlayValue, TheCurrentOne_DoesNothing) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readFrame(0), 0);
  for (int value : {-1, 1}) {
    ASSERT_EQ(overlay(*pipe, value), 0);
    MpegDecodeStats const before = stats(*pipe);
    test::LogLines lines;
    EXPECT_EQ(overlay(*pipe, value), 0);
    MpegDecodeStats const after = stats(*pipe);
    EXPECT_EQ(after.conversions, before.conversions) << value;
    EXPECT_EQ(after.cacheHits, before.cacheHits);
    EXPECT_EQ(after.subpictures, before.subpictures);
    EXPECT_TRUE(lines.lines.empty());
  }
}

TEST(OverlaySwitch, IsLoggedWithStreamAndTime) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  test::LogLines lines;
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_TRUE(lines.contains("Switched video #0 to subpic #1 in "));
}

TEST(OverlaySwitch, IsReportedByTheDescription) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  auto const description = [&](char const* key) { return test::info(*pipe, kKindVideo, 0)[key]; };
  EXPECT_EQ(description("subpicOverlay"), Any(-1));
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_EQ(description("subpicOverlay"), Any(1));
  EXPECT_EQ(description("_displaySubpics"), Any(1));
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(description("subpicOverlay"), Any(-1));
  EXPECT_EQ(description("_subpicOverlay"), Any(1));
  EXPECT_EQ(description("_displaySubpics"), Any(0));
}

TEST(OverlaySwitch, Off_GivesTheCleanFramesBitForBit) {
  auto const clean = test::frameHashes(twoStreams());
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_NE(hashAt(*pipe, 20), clean[20]);
  EXPECT_NE(hashAt(*pipe, 19), clean[19]);
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(hashOf(*pipe), clean[19]);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), clean);
}

// Pictures that refer to drawn ones are decoded from the clean ones, and so are those kept for backward
// steps.
TEST(OverlaySwitch, DrawnFrames_LeaveNoTraceInThoseDecodedFromThem) {
  auto const clean = test::frameHashes(twoStreams());
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  for (int frame = 38; frame >= 28; --frame) {
    bool const shown = frame <= kFirstLast;
    ASSERT_EQ(hashAt(*pipe, frame) == clean[static_cast<size_t>(frame)], !shown) << frame;
  }
  ASSERT_NE(hashAt(*pipe, kFirstLast), clean[kFirstLast]);
  ASSERT_EQ(pipe->readFrame(0), 0);  // the frame of the seek
  for (size_t frame = kFirstLast + 1; frame < kSecond; ++frame) {
    ASSERT_EQ(pipe->readFrame(0), 0);
    ASSERT_EQ(hashOf(*pipe), clean[frame]) << frame;
  }
}

TEST(OverlaySwitch, WhileReading_DecodesTheCurrentFrameAgainAndLeavesItPending) {
  auto const clean = test::frameHashes(twoStreams());
  auto const drawn = hashesWith(twoStreams(), 0);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToFrame(20, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(hashOf(*pipe), clean[21]);
  MpegDecodeStats const before = stats(*pipe);

  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 21);
  EXPECT_EQ(hashOf(*pipe), drawn[21]);
  EXPECT_EQ(stats(*pipe).packets, before.packets) << "the decoded picture is still there";
  EXPECT_EQ(stats(*pipe).conversions, before.conversions + 1);

  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 21);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 22);
  EXPECT_EQ(hashOf(*pipe), drawn[22]);

  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 22);
  EXPECT_EQ(hashOf(*pipe), clean[22]);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(hashOf(*pipe), drawn[22]) << "shown before, then off";
}

TEST(OverlaySwitch, FromOneStreamToTheOther_DrawsTheOther) {
  auto const first = hashesWith(twoStreams(), 0), second = hashesWith(twoStreams(), 1);
  ASSERT_NE(first[20], second[20]);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToFrame(20, 0), 0);
  for (int value : {0, 1, 0, 1}) {
    ASSERT_EQ(overlay(*pipe, value), 0);
    EXPECT_EQ(overlay(*pipe), value);
    EXPECT_EQ(hashOf(*pipe), (value == 0 ? first : second)[20]) << value;
  }
}

TEST(OverlaySwitch, WhileTheStreamIsNotSelected_HoldsFromItsSelection) {
  auto const clean = test::frameHashes(dvd());
  auto const drawn = hashesWith(dvd(), 0);
  PipePtr const pipe = test::opened(dvd());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), drawn[20]);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  ASSERT_EQ(overlay(*pipe, -1), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
}

TEST(OverlayCost, IsNothingWhileOffAndOnePacketForEachSubtitle) {
  PipePtr const pipe = selected(dvd());
  ASSERT_TRUE(pipe);
  for (int frame = 0; frame < kFrames; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, 0);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(kFirst, 0), 0);
  int64_t const begun = stats(*pipe).subpictures;
  for (int frame = kFirst; frame < kSecond; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, begun) << "while the first one stands and behind it";
  for (int frame = kSecond; frame < kAfter; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, begun + 1);
}

// Streams that lack a palette of their own take the one of the title.
TEST(OverlayPalette, OfTheTitle_ColoursSubpicturesWithoutOne) {
  constexpr uint8_t kTeal[] = {0, 120, 80, 100};  // 0, Y, Cr, Cb of ITU-R BT.601
  auto const tealSamples = [&](fs::path const& file, bool withPalette) {
    PipePtr const pipe = selected(file);
    if (!pipe) return 0;
    MpegSettings& set = instanceOf(*pipe)->set;
    set.dvdPalette = withPalette ? 1 : 0;
    for (size_t i = 0; i < sizeof set.palette; ++i) set.palette[i] = kTeal[i % 4];
    EXPECT_EQ(overlay(*pipe, 0), 0);
    EXPECT_EQ(pipe->seekToFrame(20, 0), 0);
    test::Picture const picture = test::pictureOf(*pipe->videoFrame(0), false);
    int count = 0;
    for (size_t i = 0; i < picture.planes[1].size(); ++i)
      if (std::abs(picture.planes[1][i] - 100) <= 2 && std::abs(picture.planes[2][i] - 80) <= 2) ++count;
    return count;
  };
  fs::path const bare = test::subtitledFile("dvd.mpg", {0}, "dvdsub", "-f vob");
  EXPECT_LT(tealSamples(bare, false), 20);
  EXPECT_GT(tealSamples(bare, true), 60);
  EXPECT_LT(tealSamples(dvd(), true), 20) << "the stream's own palette comes first";
}

TEST(OverlayList, EntriesInFrontOfTheFilesOwn_AreNeverDrawn) {
  auto const clean = test::frameHashes(twoStreams());
  auto const first = hashesWith(twoStreams(), 0);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  instanceOf(*pipe)->set.captionEntries = 1;
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_EQ(hashAt(*pipe, 20), first[20]);
}

TEST(OverlayList, OfAFileWhoseSubtitlesAreExtracted_HasNothingToDraw) {
  fs::path const text = test::scratchDir() / "text.srt";
  std::ofstream(text) << "1\n00:00:00,000 --> 00:00:03,000\nText\n";
  fs::path const file =
      test::made("mixed.mkv", "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -itsoffset 0.4 -fix_sub_duration -i " +
                                  test::quoted(test::subtitleFile(0)) + " -i " + test::quoted(text) +
                                  " -map 0 -map 1 -map 2 -c:v mpeg4 -c:s:0 copy -c:s:1 srt ");
  auto const clean = test::frameHashes(file);
  PipePtr const pipe = selected(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(instanceOf(*pipe)->containerType, kContainerDmf);
  ASSERT_EQ(instanceOf(*pipe)->nSubpictures, 1);
  for (int i = 0; i < pipe->countStreams(kKindSubpic); ++i) {
    EXPECT_NE(test::info(*pipe, kKindSubpic, i)["type"], Any(2)) << i;
    ASSERT_EQ(overlay(*pipe, i), 0);
    EXPECT_EQ(hashAt(*pipe, 20), clean[20]) << i;
  }
  // Not even when the list says otherwise.
  MpegSettings& set = instanceOf(*pipe)->set;
  set.displaySubpictures = set.overlay = 1;
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
}

// A copy of a Matroska file with `damage` done to the payload of each subtitle packet.
fs::path damaged(fs::path const& whole, std::function<void(std::span<uint8_t> payload)> const& damage) {
  constexpr size_t kBlockHead =
      4;  // track, time, flags: in front of the payload, where ffprobe's position points
  std::ifstream in(whole, std::ios::binary);
  std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
  std::istringstream lines(
      test::run("ffprobe -v error -select_streams s:0 -show_entries packet=pos,size -of csv=p=0 " +
                test::quoted(whole)));
  int packets = 0;
  for (std::string line; std::getline(lines, line); ++packets) {
    size_t comma = 0;
    size_t const size = std::stoul(line, &comma), begin = std::stoul(line.substr(comma + 1)) + kBlockHead;
    if (begin + size <= bytes.size()) damage(std::span(bytes).subspan(begin, size));
  }
  EXPECT_GE(packets, 2);
  static int count = 0;
  fs::path const file = test::scratchDir() / ("damaged" + std::to_string(count++) + ".mkv");
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file;
}

// A DVD subpicture may begin long after its packet is due; the one before stays for so long if it does not
// end.
TEST(DelayedSubtitles, LeaveTheOneBeforeUntilTheyBegin) {
  constexpr uint8_t kTick = 88;  // 1024 / 90000 s each: one second
  int packet = 0;
  fs::path const file = damaged(dvd(), [&](std::span<uint8_t> payload) {
    auto const word = [&](size_t at) { return static_cast<size_t>(payload[at]) << 8 | payload[at + 1]; };
    size_t const show = word(2), hide = word(show + 2);  // control sequences: date, place of the next one
    if (packet++ == 0)
      payload[hide + 1] = 2 * kTick;
    else
      payload[show + 1] = kTick / 2;
  });
  auto const subtitles = test::referenceSubtitles(file, 0, 160, 120);
  std::vector<double> const times = test::frameTimes(file);
  PipePtr const clean = selected(file), pipe = selected(file);
  ASSERT_TRUE(clean && pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  std::vector<std::string> hashes;
  for (size_t n = 0; n < kFrames; ++n) {
    ASSERT_EQ(clean->readFrame(0), 0);
    ASSERT_EQ(pipe->readFrame(0), 0);
    hashes.push_back(hashOf(*pipe));
    auto const* const shown = test::referenceAt(subtitles, times[n]);
    ASSERT_EQ(shown != nullptr, n >= kFirst && n <= kSecondLast) << n;
    test::Picture expected = test::pictureOf(*clean->videoFrame(0), false);
    if (shown) expected = test::drawn(expected, *shown);
    ASSERT_LE(test::difference(test::pictureOf(*pipe->videoFrame(0), false), expected), 2) << "frame " << n;
  }
  for (int frame : {45, 55, 41, 20, 51, 52, 44})
    ASSERT_EQ(hashAt(*pipe, frame), hashes[static_cast<size_t>(frame)]) << frame;
}

TEST(DamagedSubtitles, AreNotDrawnAndWarnOnce) {
  struct Case {
    fs::path whole;
    size_t from;  // where damage begins
    uint8_t byte;
  };
  // The offset of the control sequence of DVD; everything behind the composition of presentation graphics.
  for (Case const& change : {Case{dvd(), 2, 0xFF}, Case{twoStreams(), 22, 0x15}}) {
    fs::path const file = damaged(change.whole, [&](std::span<uint8_t> payload) {
      std::fill(payload.begin() + static_cast<std::ptrdiff_t>(std::min(payload.size(), change.from)),
                payload.end(), change.byte);
    });
    auto const clean = test::frameHashes(file);
    PipePtr const pipe = selected(file);
    ASSERT_TRUE(pipe);
    test::LogLines log;
    ASSERT_EQ(overlay(*pipe, 0), 0);
    EXPECT_EQ(test::readAllFrames(*pipe, 0), clean);
    EXPECT_EQ(std::count_if(log.lines.begin(), log.lines.end(),
                            [](auto const& line) {
                              return line.text.find("what is damaged is not drawn") != std::string::npos;
                            }),
              1)
        << change.whole;
  }
}

TEST(DamagedSubtitles, AnyBytes_LeaveEveryFrameReadable) {
  for (unsigned seed = 0; seed < 8; ++seed) {
    std::mt19937 random(seed);
    size_t const gap = seed < 4 ? 4 : 64;
    fs::path const file = damaged(seed % 2 == 0 ? dvd() : twoStreams(), [&](std::span<uint8_t> payload) {
      for (size_t i = random() % 32; i < payload.size(); i += 1 + random() % gap)
        payload[i] = static_cast<uint8_t>(random());
    });
    PipePtr const pipe = selected(file);
    ASSERT_TRUE(pipe);
    if (pipe->countStreams(kKindSubpic) == 0) continue;
    ASSERT_EQ(overlay(*pipe, 0), 0);
    EXPECT_EQ(test::readAllFrames(*pipe, 0).size(), static_cast<size_t>(kFrames)) << seed;
  }
}

}  // namespace
