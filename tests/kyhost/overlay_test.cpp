// Subtitles drawn into the program's pictures, with the real plug-in.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/kyhost/program.h"
#include "tests/support/bitmap_subtitles.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using test::quoted;

// Two streams of bitmaps; what they show differs.
std::string twoStreams() { return quoted(test::subtitledFile("two.mkv", {0, 1}, "copy")); }

std::vector<uint8_t> picture(std::string const& file, std::string const& options) {
  Folder const folder;
  Outcome const run = kyhost("-q frames " + file + " " + options + " -o " + quoted(folder / "out.yuv"));
  EXPECT_EQ(run.code, 0) << run.errors;
  return fileBytes(folder / "out.yuv");
}

bool says(Outcome const& run, std::string const& text) { return run.errors.find(text) != std::string::npos; }

TEST(FramesOverlay, DrawsTheBitmapStreamOfThatNumber) {
  std::string const file = twoStreams();
  std::string const one = " --from 20 --to 21";
  auto const clean = picture(file, one), first = picture(file, one + " --overlay 0"),
             second = picture(file, one + " --overlay 1");
  EXPECT_EQ(clean.size(), 160U * 120 * 3 / 2);
  EXPECT_NE(first, clean);
  EXPECT_NE(second, clean);
  EXPECT_NE(first, second);
  // The streams of a file that has the second one alone.
  EXPECT_EQ(picture(quoted(test::subtitledFile("second.mkv", {1}, "copy")), one + " --overlay 0"), second);
}

TEST(FramesOverlay, LeavesFramesWithoutSubtitleAsTheyAre) {
  std::string const file = twoStreams();
  for (std::string const& range :
       {std::string(" --to 10"), std::string(" --from 35 --to 40"), std::string(" --from 70")})
    EXPECT_EQ(picture(file, range + " --overlay 0"), picture(file, range)) << range;
}

TEST(FramesOverlay, OfAStreamThatIsNotThere_IsOneAndNamesThoseThatAre) {
  Folder const folder;
  std::string const output = " -o " + quoted(folder / "out.yuv");
  Outcome run = kyhost("frames " + twoStreams() + " --overlay 2" + output);
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "no bitmap subtitle stream 2 to draw: the file has bitmap subtitle streams 0 to 1"))
      << run.errors;
  run = kyhost("frames " + quoted(test::subtitledFile("one.mkv", {0}, "dvdsub")) + " --overlay 1" + output);
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "the file has one bitmap subtitle stream, number 0")) << run.errors;
  std::string const none =
      quoted(test::made("none.mkv", "-f lavfi -i testsrc2=s=64x48:d=1 -c:v mpeg2video "));
  run = kyhost("frames " + none + " --overlay 0" + output);
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "the file has no bitmap subtitle streams")) << run.errors;
  EXPECT_EQ(kyhost("frames " + none + " --overlay -1" + output).code, 1);
  EXPECT_TRUE(folder.entries().empty());
}

TEST(FramesOverlay, OfATextStream_IsOne) {
  std::filesystem::path const text = test::scratchDir() / "text.srt";
  std::ofstream(text) << "1\n00:00:00,000 --> 00:00:01,000\nText\n";
  std::string const file = quoted(test::made(
      "text.mkv", "-f lavfi -i testsrc2=s=64x48:d=1 -i " + quoted(text) + " -c:v libx264 -c:s srt "));
  Folder const folder;
  Outcome const run = kyhost("frames " + file + " --overlay 0 -o " + quoted(folder / "out.yuv"));
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "no bitmap subtitle stream 0 to draw: the file has no bitmap subtitle streams"))
      << run.errors;
}

TEST(ContactOverlay, DrawsOnTheSheet) {
  Folder const folder;
  std::string const sheet = "-q contact " + twoStreams() + " --columns 2 --rows 2 ";
  ASSERT_EQ(kyhost(sheet + "-o " + quoted(folder / "clean.png")).code, 0);
  ASSERT_EQ(kyhost(sheet + "--overlay 1 -o " + quoted(folder / "drawn.png")).code, 0);
  EXPECT_NE(fileBytes(folder / "clean.png"), fileBytes(folder / "drawn.png"));
}

}  // namespace
