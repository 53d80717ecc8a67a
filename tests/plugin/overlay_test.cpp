// What is drawn: bitmap subtitles over decoded pictures, against an independent decode.
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

#include "tests/plugin/overlay_pipe.h"
#include "tests/plugin/subtitle_reference.h"
#include "tests/support/recording.h"

namespace {

using namespace overlaying;

fs::path media(char const* name) { return fs::path(KY_MEDIA_DIR) / name; }

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
