// Frame rates of streams whose stamps are few, missing or made up, against their coded headers and ffprobe.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "host/colour.h"
#include "host/framerate.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

AnyDict videoOf(fs::path const& file, AnyDict const& parameters = AnyDict()) {
  PipePtr const pipe = test::opened(file, parameters);
  return pipe ? test::info(*pipe, kKindVideo, 0) : AnyDict();
}

int framesByFfprobe(fs::path const& file) {
  return std::stoi(
      test::run("ffprobe -v quiet -select_streams v:0 -count_frames -show_entries "
                "stream=nb_read_frames -of csv=p=0 " +
                test::quoted(file)));
}

struct Rate {
  char const* text;
  double value;
};

constexpr Rate kRates[] = {{"24000/1001", 24000.0 / 1001}, {"24", 24}, {"25", 25},
                           {"30000/1001", 30000.0 / 1001}, {"30", 30}, {"50", 50},
                           {"60000/1001", 60000.0 / 1001}, {"60", 60}};

struct Coding {
  char const *extension, *options;
};

constexpr Coding kCodings[] = {
    {"m2v", "-c:v mpeg2video -g 6 -bf 2 -b:v 600k "},
    {"h264", "-c:v libx264 -preset ultrafast -x264-params bframes=2:keyint=6:open-gop=1 "},
    {"hevc", "-c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=6:bframes=2 "},
    {"m4v", "-c:v mpeg4 -g 6 -bf 2 "}};

std::string source(Rate const& rate, char const* seconds = "0.7") {
  return std::string("-f lavfi -i testsrc2=s=128x96:r=") + rate.text + ":d=" + seconds + " -pix_fmt yuv420p ";
}

std::string nameOf(Rate const& rate) {
  std::string name = rate.text;
  for (char& c : name)
    if (!std::isdigit(static_cast<unsigned char>(c))) c = '_';
  return name;
}

using Made = std::tuple<Rate, Coding>;

std::string madeName(testing::TestParamInfo<Made> const& info) {
  return std::get<1>(info.param).extension + ("_" + nameOf(std::get<0>(info.param)));
}

class BareStream : public testing::TestWithParam<Made> {};

TEST_P(BareStream, HasItsCodedRate) {
  auto const& [rate, coding] = GetParam();
  fs::path const file =
      test::made("bare_" + nameOf(rate) + "." + coding.extension, source(rate) + coding.options);
  AnyDict const info = videoOf(file);
  EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), rate.value);
  EXPECT_EQ(info["framerate"].asFramerate().pulldown(), 0);
  EXPECT_DOUBLE_EQ(info["streamFPS"].asDouble(), rate.value);
  EXPECT_DOUBLE_EQ(info["containerFPS"].asDouble(), rate.value);
  EXPECT_EQ(info["frames"].asInt32(), framesByFfprobe(file));
  EXPECT_DOUBLE_EQ(info["vDuration"].asDouble(), info["frames"].asInt32() / rate.value);
}

INSTANTIATE_TEST_SUITE_P(Rates, BareStream,
                         testing::Combine(testing::ValuesIn(kRates), testing::ValuesIn(kCodings)), madeName);

std::vector<char> bytesOf(fs::path const& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Packets `from` to `to` of a transport stream.
fs::path cutOf(fs::path const& whole, size_t from, size_t to) {
  constexpr size_t kPacket = 188;
  std::vector<char> const bytes = bytesOf(whole);
  fs::path const part = test::scratchDir() / ("cut_" + whole.filename().string());
  std::ofstream(part, std::ios::binary | std::ios::trunc)
      .write(bytes.data() + from * kPacket, static_cast<std::streamsize>((to - from) * kPacket));
  return part;
}

// Cuts at packets that a generator picks, beginning in the first half and about a third long.
void expectCutsToKeep(double rate, fs::path const& whole, unsigned seed) {
  size_t const packets = fs::file_size(whole) / 188;
  std::mt19937 random(seed);
  for (int i = 0; i < 4; ++i) {
    size_t const from = random() % (packets / 2), to = from + packets / 3 + random() % (packets / 6);
    SCOPED_TRACE(whole.filename().string() + ", packets " + std::to_string(from) + " to " +
                 std::to_string(to));
    AnyDict const info = videoOf(cutOf(whole, from, to), AnyDict("ignoreUnknownStreams", 1));
    EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), rate);
    EXPECT_DOUBLE_EQ(info["vDuration"].asDouble(), info["frames"].asInt32() / rate);
  }
}

class CutTransportStream : public testing::TestWithParam<Made> {};

TEST_P(CutTransportStream, HasItsCodedRate) {
  auto const& [rate, coding] = GetParam();
  expectCutsToKeep(rate.value,
                   test::made("whole_" + nameOf(rate) + "." + coding.extension + ".ts",
                              source(rate, "1.2") + coding.options),
                   11);
}

INSTANTIATE_TEST_SUITE_P(Rates, CutTransportStream,
                         testing::Combine(testing::ValuesIn(kRates),
                                          testing::Values(kCodings[0], kCodings[1], kCodings[2])),
                         madeName);

TEST(CutTransportStream, OfFieldPairs_HasTheRateOfFrames) {
  for (char const* packing : {"pair", "field", "first"}) {
    fs::path const file = test::scratchDir() / (std::string("rate_") + packing + ".ts");
    test::run("python3 -B " KY_SAMPLES_DIR "/h264_fields.py " + test::quoted(file) + " 60 " + packing);
    expectCutsToKeep(25, file, 12);
  }
  fs::path const file = test::scratchDir() / "rate_mpeg2.ts";
  test::run("python3 -B " KY_SAMPLES_DIR "/mpeg2_fields.py " + test::quoted(file) + " 60");
  expectCutsToKeep(25, file, 13);
}

// Fields of HEVC are pictures of their own, in libavcodec and so in the ffmpeg program too.
TEST(FieldCodedHevc, HasTheRateOfItsPictures) {
  for (char const* extension : {"hevc", "ts"})
    for (Rate const& rate : {kRates[2], kRates[3]}) {
      fs::path const file = test::made("fields_" + nameOf(rate) + "." + extension,
                                       source(rate) +
                                           "-vf setfield=tff -c:v libx265 -preset ultrafast "
                                           "-x265-params log-level=error:keyint=15:bframes=2:interlace=tff ");
      AnyDict const info = videoOf(file);
      EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), rate.value) << file;
      EXPECT_EQ(info["frames"].asInt32(), framesByFfprobe(file)) << file;
    }
}

// A bare stream of field pairs begins between two key pictures: its reader's stamps have no meaning.
TEST(BareFieldPairs, CutBetweenKeyPictures_HaveTheCodedRateOrderAndAspect) {
  fs::path const whole = test::scratchDir() / "fields_whole.m2v";
  test::run("python3 -B " KY_SAMPLES_DIR "/mpeg2_fields.py " + test::quoted(whole) + " 60");
  std::vector<char> const bytes = bytesOf(whole);
  std::string const text(bytes.begin(), bytes.end()), start("\0\0\1\0", 4);
  size_t at = 0;
  for (int field = 1; field <= 20; ++field) {
    at = text.find(start, at + 1);
    ASSERT_NE(at, std::string::npos);
    fs::path const part = test::scratchDir() / "fields_part.m2v";
    std::ofstream(part, std::ios::binary | std::ios::trunc) << text.substr(at);
    AnyDict const info = videoOf(part);
    EXPECT_EQ(info["framerate"].asFramerate(), KyFramerate(25, 1, false, 0)) << field;
    EXPECT_DOUBLE_EQ(info["frameAspect"].asDouble(), 1.3333333) << field;
  }
}

TEST(BareFieldPairs, OfEitherOrder_TellIt) {
  for (bool bottomFirst : {false, true}) {
    fs::path const file = test::scratchDir() / (bottomFirst ? "bottom.m2v" : "top.m2v");
    test::run("python3 -B " KY_SAMPLES_DIR "/mpeg2_fields.py " + test::quoted(file) + " 30" +
              (bottomFirst ? " bottom" : ""));
    EXPECT_EQ(videoOf(file)["framerate"].asFramerate().order(), bottomFirst ? 2 : 1);
  }
}

TEST(VariableRate, InATransportStream_StaysTheAverage) {
  AnyDict const info = videoOf(
      test::made("variable.ts",
                 "-f lavfi -i testsrc2=s=128x96:r=30:d=4 -vf \"select='not(eq(mod(n,3),1))'\" "
                 "-fps_mode passthrough -pix_fmt yuv420p -c:v libx264 -preset ultrafast -bf 0 -g 10 "));
  EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), 79 * 30 / 119.0);
}

TEST(DroppedPictures, OfALongTransportStream_LeaveTheRateOfTheOthers) {
  AnyDict const info = videoOf(test::made(
      "dropped.ts",
      "-f lavfi -i testsrc2=s=128x96:r=30000/1001:d=4 -vf \"select='not(eq(n,40)+eq(n,41)+eq(n,80))'\" "
      "-fps_mode passthrough -pix_fmt yuv420p -c:v mpeg2video -b:v 600k -bf 0 -g 10 "));
  EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), 30000.0 / 1001);
}

struct Colour {
  char const *name, *arguments;
  int primaries, transfer, matrix;
};

class CodedColour : public testing::TestWithParam<Colour> {};

// Written into the coded headers behind the muxer's back, so that the container says nothing.
TEST_P(CodedColour, IsToldWhereTheContainerSaysNothing) {
  auto const& [name, arguments, primaries, transfer, matrix] = GetParam();
  KyColourDesc const colour(videoOf(test::made(name, source(kRates[2]) + arguments))["colorimetry"]);
  EXPECT_EQ(colour, KyColourDesc(primaries, transfer, matrix));
}

#define KY_COLOUR(filter, p, t, m)                                                  \
  "-bsf:v " filter "_metadata=colour_primaries=" #p ":transfer_characteristics=" #t \
  ":matrix_coefficients=" #m " "

INSTANTIATE_TEST_SUITE_P(
    Codecs, CodedColour,
    testing::Values(Colour{"intra.mxf", "-c:v libx264 -g 1 " KY_COLOUR("h264", 1, 1, 1), 1, 1, 1},
                    Colour{"long.mxf", "-c:v libx264 " KY_COLOUR("h264", 1, 1, 1), 1, 1, 1},
                    Colour{"h264.avi", "-c:v libx264 " KY_COLOUR("h264", 5, 6, 5), 5, 6, 5},
                    Colour{"mpeg2.mxf", "-c:v mpeg2video " KY_COLOUR("mpeg2", 5, 6, 5), 5, 6, 5},
                    Colour{"mpeg2.m2v", "-c:v mpeg2video " KY_COLOUR("mpeg2", 6, 6, 6), 6, 6, 6},
                    Colour{"hevc.ts",
                           "-c:v libx265 -x265-params log-level=error " KY_COLOUR("hevc", 9, 16, 9), 9, 16,
                           9}),
    [](auto const& test) {
      std::string name = test.param.name;
      for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      return name;
    });

}  // namespace
