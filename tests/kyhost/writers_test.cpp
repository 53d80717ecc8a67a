// The files that the program writes, byte by byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/kyhost/program.h"
#include "tests/kyhost/scripted_values.h"
#include "tests/support/media.h"

namespace {

using namespace program;
namespace fs = std::filesystem;

std::string headerOf(std::string const& script) {
  Folder const folder;
  Outcome const run = scripted("frames -q -o - " + folder.write("a.txt", script).string());
  EXPECT_EQ(run.code, 0) << run.errors;
  return run.output.substr(0, run.output.find('\n'));
}

// Row bytes of the scripted picture.
std::string rowOf(int frame, int plane, int row, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out += static_cast<char>(script_values::pictureByte(frame, plane, row, i));
  return out;
}

std::string i420(int frame, int width, int height) {
  std::string out;
  for (int plane = 0; plane < 3; ++plane) {
    for (int row = 0; row < (plane ? (height + 1) / 2 : height); ++row)
      out += rowOf(frame, plane, row, plane ? (width + 1) / 2 : width);
  }
  return out;
}

// Planes of a packed 4:2:2 picture whose components have `size` bytes.
std::string unpacked(int frame, int width, int height, int size) {
  int const pairs = (width + 1) / 2;
  std::string y, u, v;
  for (int row = 0; row < height; ++row) {
    std::string const packed = rowOf(frame, 0, row, pairs * 4 * size);
    auto const component = [&](int i) {
      return packed.substr(static_cast<size_t>(i * size), static_cast<size_t>(size));
    };
    for (int x = 0; x < width; ++x) y += component(2 * x);
    for (int x = 0; x < pairs; ++x) {
      u += component(4 * x + 1);
      v += component(4 * x + 3);
    }
  }
  return y + u + v;
}

std::string probe(fs::path const& file, std::string const& entries) {
  std::string text =
      test::run("ffprobe -v error -show_entries stream=" + entries + " -of csv=p=0 " + test::quoted(file));
  return text.substr(0, text.find('\n'));
}

TEST(Y4mHeader, HasExactRateFieldOrderAndAspect) {
  EXPECT_EQ(headerOf("layout=I420\nwidth=6\nheight=4\nframes=1\nrate=25\norder=1\n"),
            "YUV4MPEG2 W6 H4 F25:1 It A1:1 C420mpeg2");
  EXPECT_EQ(headerOf("layout=I420\nframes=1\nrate=29.970029970029973\norder=2\naspect=1.42222224\n"),
            "YUV4MPEG2 W6 H4 F30000:1001 Ib A64:45 C420mpeg2");
  EXPECT_EQ(headerOf("layout=I420\nframes=1\nrate=23.976023976023978\norder=0\naspect=1.0000000125\n"),
            "YUV4MPEG2 W6 H4 F24000:1001 Ip A1:1 C420mpeg2");
  EXPECT_EQ(headerOf("layout=I420\nframes=1\nrate=59.94005994005994\naspect=1.3333333333333333\n"),
            "YUV4MPEG2 W6 H4 F60000:1001 Ip A4:3 C420mpeg2");
  EXPECT_EQ(headerOf("layout=I420\nframes=1\nrate=12.5\n"), "YUV4MPEG2 W6 H4 F25:2 Ip A1:1 C420mpeg2");
}

TEST(Y4mHeader, NamesTheColourSpaceOfTheLayout) {
  EXPECT_NE(headerOf("layout=W016\nframes=1\n").find(" C420p16"), std::string::npos);
  EXPECT_NE(headerOf("layout=YUYV\nframes=1\n").find(" C422"), std::string::npos);
  EXPECT_NE(headerOf("layout=Y216\nframes=1\n").find(" C422p16"), std::string::npos);
}

TEST(Y4mPictures, PlanarLayouts_AreWrittenWithoutPadding) {
  Folder const folder;
  Outcome const run = scripted("frames -q -o - " +
                               folder.write("a.txt", "layout=I420\nwidth=5\nheight=3\nframes=2\n").string());
  std::string const header = run.output.substr(0, run.output.find('\n') + 1);
  EXPECT_EQ(run.output, header + "FRAME\n" + i420(0, 5, 3) + "FRAME\n" + i420(1, 5, 3));
}

TEST(Y4mPictures, PackedLayouts_AreTakenApart_AlsoOfOddWidth) {
  for (int const size : {1, 2}) {
    Folder const folder;
    std::string const layout = size == 1 ? "YUYV" : "Y216";
    Outcome const run =
        scripted("frames -q -o - " +
                 folder.write("a.txt", "layout=" + layout + "\nwidth=5\nheight=3\nframes=1\n").string());
    std::string const header = run.output.substr(0, run.output.find('\n') + 1);
    EXPECT_EQ(run.output, header + "FRAME\n" + unpacked(0, 5, 3, size)) << layout;
  }
}

TEST(Y4mPictures, RgbLayout_IsRefusedWithAWayOut_AndLeavesNoFile) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=BGR4\nframes=1\n");
  Outcome const run = scripted("frames " + file.string() + " -o " + (folder / "x.y4m").string());
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("--format raw or png"), std::string::npos) << run.errors;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

TEST(RawPictures, AreTheRowsOfTheLayout_AndTheProgramTellsWhich) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=YUYV\nwidth=6\nheight=2\nframes=1\n");
  Outcome const run = scripted("frames " + file.string() + " -o " + (folder / "x.YUV").string());
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(fileText(folder / "x.YUV"), rowOf(0, 0, 0, 12) + rowOf(0, 0, 1, 12));
  EXPECT_NE(run.errors.find("raw pictures: YUYV 6x2"), std::string::npos) << run.errors;
}

TEST(FrameRange, ToIsExclusive_AndTimesAreUnderstood) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=I420\nframes=10\nrate=25\n");
  std::string const frames = i420(2, 6, 4) + i420(3, 6, 4);
  EXPECT_EQ(scripted("frames -q --format raw -o - --from 2 --to 4 " + file.string()).output, frames);
  EXPECT_EQ(scripted("frames -q --format raw -o - --from 0.08s --to 0:00.16 " + file.string()).output,
            frames);
}

TEST(PngPictures, KeepEveryBitOfRgb) {
  Folder const folder;
  auto const file =
      folder.write("a.txt", "layout=BGR4\nwidth=6\nheight=4\nframes=1\naspect=1.3333333333333333\n");
  Outcome const run = scripted("frames " + file.string() + " -o " + (folder / "x.PNG").string());
  ASSERT_EQ(run.code, 0) << run.errors;
  std::string expected;
  for (int row = 0; row < 4; ++row) {
    std::string const bytes = rowOf(0, 0, row, 24);
    for (size_t x = 0; x < 6; ++x) expected += {bytes[4 * x + 2], bytes[4 * x + 1], bytes[4 * x]};
  }
  auto const pixels = test::rawPictures(folder / "x.PNG", "rgb24");
  EXPECT_EQ(std::string(pixels.begin(), pixels.end()), expected);
  EXPECT_EQ(probe(folder / "x.PNG", "sample_aspect_ratio"), "4:3");
}

TEST(PngPictures, DeepLayouts_GetSixteenBits) {
  Folder const folder;
  for (char const* layout : {"W016", "Y216"}) {
    auto const file =
        folder.write("a.txt", std::string("layout=") + layout + "\nframes=1\nwidth=16\nheight=16\n");
    ASSERT_EQ(scripted("frames " + file.string() + " -o " + (folder / "x.png").string()).code, 0);
    EXPECT_EQ(probe(folder / "x.png", "pix_fmt"), "rgb48be") << layout;
  }
}

TEST(PngSequence, FilesCarryFrameNumbers) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=I420\nwidth=16\nheight=16\nframes=9\n");
  Outcome const run =
      scripted("frames --from 4 --to 6 " + file.string() + " -o " + (folder / "made/").string());
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_TRUE(fs::exists(folder / "made/frame_000004.png"));
  EXPECT_TRUE(fs::exists(folder / "made/frame_000005.png"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder / "made"), fs::directory_iterator()), 2);
  ASSERT_EQ(
      scripted("frames --from 4 --to 6 " + file.string() + " -o " + (folder / "p%03d_%%.png").string()).code,
      0);
  EXPECT_TRUE(fs::exists(folder / "p004_%.png"));
  EXPECT_TRUE(fs::exists(folder / "p005_%.png"));
}

TEST(PngSequence, OneNameForSeveralPictures_AndOddPatterns_AreUsageErrors) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=I420\nframes=9\n");
  for (char const* name : {"x.png", "x%s.png", "x%d%d.png", "x%.png", "x%999d.png", "x%"})
    EXPECT_EQ(
        scripted("frames --format png " + file.string() + " -o '" + (folder / name).string() + "'").code, 1)
        << name;
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"a.txt"});
}

// Values as ffmpeg reads them from the written file.
std::vector<uint8_t> soundOf(fs::path const& file, std::string const& format) {
  return test::samples(file, 0, format);
}

std::vector<uint8_t> expectedSound(int64_t from, int64_t to, int bytes, bool clip) {
  std::vector<uint8_t> out;
  for (int64_t i = from; i < to; ++i) {
    int value = script_values::sample(i);
    if (clip) value = std::min(value, 8388607);
    for (int byte = 0; byte < bytes; ++byte) out.push_back(static_cast<uint8_t>(value >> (8 * byte)));
  }
  return out;
}

TEST(WavSamples, SixteenAndTwentyFourBits_AreWrittenAsTheyAre) {
  Folder const folder;
  for (int const bytes : {2, 3}) {
    auto const file =
        folder.write("a.txt", "bytes=" + std::to_string(bytes) + "\nchannels=2\nsamples=2500\n");
    ASSERT_EQ(scripted("audio " + file.string() + " -o " + (folder / "x.wav").string()).code, 0);
    EXPECT_EQ(probe(folder / "x.wav", "codec_name,sample_rate,channels"),
              std::string(bytes == 2 ? "pcm_s16le" : "pcm_s24le") + ",1000,2");
    EXPECT_EQ(soundOf(folder / "x.wav", bytes == 2 ? "s16le" : "s24le"),
              expectedSound(0, 5000, bytes, false));
  }
}

TEST(WavSamples, WordsOf32Bits_BecomeTwentyFour_AndFullScaleIsClipped) {
  Folder const folder;
  auto const file = folder.write("a.txt", "bytes=4\nchannels=1\nsamples=2500\n");
  ASSERT_EQ(scripted("audio " + file.string() + " -o " + (folder / "x.wav").string()).code, 0);
  ASSERT_EQ(script_values::sample(3), 8388608);
  EXPECT_EQ(soundOf(folder / "x.wav", "s24le"), expectedSound(0, 2500, 3, true));
}

TEST(WavSamples, RangeOfSamples_ToIsExclusive) {
  Folder const folder;
  auto const file = folder.write("a.txt", "bytes=2\nchannels=2\nsamples=2500\n");
  ASSERT_EQ(
      scripted("audio --from 100 --to 1.5s " + file.string() + " -o " + (folder / "x.wav").string()).code, 0);
  EXPECT_EQ(soundOf(folder / "x.wav", "s16le"), expectedSound(200, 3000, 2, false));
}

TEST(WavSamples, OtherForms_HoldTheSameSamples) {
  Folder const folder;
  auto const file = folder.write("a.txt", "bytes=2\nchannels=2\nsamples=2500\n");
  ASSERT_EQ(scripted("audio " + file.string() + " -o " + (folder / "x.W64").string()).code, 0);
  EXPECT_EQ(probe(folder / "x.W64", "codec_name"), "pcm_s16le");
  EXPECT_EQ(soundOf(folder / "x.W64", "s16le"), expectedSound(0, 5000, 2, false));
  ASSERT_EQ(
      shell(scriptedCommand("audio " + file.string() + " -o -") + " >" + (folder / "pipe.wav").string()).code,
      0);
  EXPECT_EQ(soundOf(folder / "pipe.wav", "s16le"), expectedSound(0, 5000, 2, false));
}

TEST(WavSamples, SoundThatEndsEarly_IsWrittenAsFarAsItGoes) {
  Folder const folder;
  auto const file = folder.write("a.txt", "bytes=2\nchannels=2\nsamples=2500\nlasts=1711\n");
  Outcome const run = scripted("audio " + file.string() + " -o " + (folder / "x.wav").string());
  EXPECT_EQ(run.code, 4);
  EXPECT_NE(run.errors.find("audio stream 0: ends 789 samples early"), std::string::npos) << run.errors;
  EXPECT_EQ(soundOf(folder / "x.wav", "s16le"), expectedSound(0, 3422, 2, false));
}

}  // namespace
