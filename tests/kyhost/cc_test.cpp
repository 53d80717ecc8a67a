// kyhost cc with the real plug-in, on captioned files whose text is known.
#include <gtest/gtest.h>

#include <string>

#include "tests/kyhost/program.h"
#include "tests/support/captions.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using test::captioned;
using test::quoted;

std::string expectedSrt() {
  std::string out;
  int number = 0;
  for (test::CaptionText const& cue : test::captionTexts())
    out += std::to_string(++number) + "\n" + cue.from + " --> " + cue.to + "\n" + cue.text + "\n\n";
  return out;
}

struct TextFile {
  char const *name, *codec, *options;
  int channel;
};

class CaptionsOf : public testing::TestWithParam<TextFile> {};

TEST_P(CaptionsOf, AFile_AreTheTextThatWasPutIn) {
  Folder const folder;
  auto const& [name, codec, options, channel] = GetParam();
  Outcome const run =
      kyhost("cc -q --channel " + std::to_string(channel) + " " +
             quoted(captioned(name, codec, 180, options)) + " -o " + quoted(folder / "out.srt"));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(fileText(folder / "out.srt"), expectedSrt());
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"out.srt"});
}

INSTANTIATE_TEST_SUITE_P(Made, CaptionsOf,
                         testing::Values(TextFile{"a53.ts", "mpeg2", "", 1},
                                         TextFile{"a53.mpg", "mpeg2", "", 1},
                                         TextFile{"scte20.mpg", "mpeg2", "--form scte20", 1},
                                         TextFile{"cc2.ts", "mpeg2", "--channel 2", 2},
                                         TextFile{"cc3.ts", "mpeg2", "--channel 3", 3},
                                         TextFile{"cc4.ts", "mpeg2", "--channel 4 --form scte20", 4},
                                         TextFile{"sei.ts", "h264", "", 1},
                                         TextFile{"sei.mp4", "h264", "", 1},
                                         TextFile{"sei.264", "h264", "", 1}),
                         [](auto const& parameter) {
                           std::string name = parameter.param.name;
                           for (char& c : name)
                             if (c == '.') c = '_';
                           return name;
                         });

// The groups of this stream are open: two B pictures are shown before the picture that brings their bytes.
TEST(CaptionsOfADvd, AreTheTextThatWasPutIn_UpToTwoPicturesLater) {
  Outcome const run = kyhost("cc -q " + quoted(captioned("dvd.mpg", "mpeg2", 180, "--form dvd")));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(run.output,
            "0:00:01.068 - 0:00:02.569  Hello, world!\n                           Second line here.\n"
            "0:00:02.970 - 0:00:04.037  \u266a Se\u00f1or, \u00bfqu\u00e9? \u266a\n"
            "0:00:04.872 - 0:00:05.539  It's 100% odd\n");
}

TEST(CaptionLines, AreTimesAndText_WithLinesBelowEachOther) {
  std::string const expected =
      "0:00:01.001 - 0:00:02.503  Hello, world!\n                           Second line here.\n"
      "0:00:02.903 - 0:00:04.004  \u266a Se\u00f1or, \u00bfqu\u00e9? \u266a\n"
      "0:00:04.805 - 0:00:05.506  It's 100% odd\n";
  std::string const file = quoted(captioned("a53.ts", "mpeg2"));
  EXPECT_EQ(kyhost("cc -q " + file).output, expected);
  EXPECT_EQ(kyhost("cc -q -o - " + file).output, expected);
}

TEST(CaptionScc, HoldsTheBytesOfTheField) {
  Folder const folder;
  std::string const file = quoted(captioned("a53.ts", "mpeg2"));
  ASSERT_EQ(kyhost("cc -q " + file + " -o " + quoted(folder / "out.SCC")).code, 0);
  EXPECT_EQ(
      fileText(folder / "out.SCC"),
      "Scenarist_SCC V1.0\n\n"
      "00:00:00;01\t9420 9420 94ae 94ae 9454 9454 97a1 97a1 c8e5 ecec ef2c 20f7 eff2 ec64 a180 94f2 94f2 "
      "9723 9723 "
      "d3e5 e3ef 6e64 20ec e96e e520 68e5 f2e5 ae80 942f 942f\n\n"
      "00:00:02;05\t9420 9420 94ae 94ae 94f4 94f4 9137 9137 20d3 942c 942c e5fe eff2 2c20 91b3 91b3 f175 "
      "dcbf 2080 "
      "9137 9137 942f 942f\n\n"
      "00:00:03;29\t942c 942c\n\n"
      "00:00:04;08\t9420 9420 94ae 94ae 94f4 94f4 97a1 97a1 49f4 a773 2031 b0b0 2520 ef64 6480 942f 942f\n\n"
      "00:00:05;14\t942c 942c\n\n");
}

TEST(CaptionStreams, AreListedByInfo) {
  Outcome const run = kyhost("info " + quoted(captioned("a53.ts", "mpeg2")));
  EXPECT_NE(run.output.find("subtitle 0: closed captions"), std::string::npos) << run.output;
}

TEST(CaptionStreams, OfASecondVideoStream_AreReadFromIt) {
  auto const plain = captioned("none.ts", "mpeg2", 30, "--pictures 0:0", test::CaptionKind::Silent);
  auto const file =
      test::made("second.ts", "-i " + quoted(plain) + " -i " + quoted(captioned("a53.ts", "mpeg2")) +
                                  " -map 0 -map 1 -c copy");
  Outcome const run = kyhost("cc -q " + quoted(file));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(run.output, kyhost("cc -q " + quoted(captioned("a53.ts", "mpeg2"))).output);
}

TEST(CaptionErrors, WithoutCaptions_SayWhereTheyAreLookedFor) {
  Folder const folder;
  Outcome const run =
      kyhost("cc " + quoted(test::plainStream("mpeg2", 30)) + " -o " + quoted(folder / "out.srt"));
  EXPECT_EQ(run.code, 1);
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors.find("mpeg2-30.m2v: has no closed captions\n"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("first 10 pictures"), std::string::npos) << run.errors;
  EXPECT_TRUE(folder.entries().empty());
}

TEST(CaptionErrors, UnknownEnding_NamesTheKnownOnes) {
  Outcome const run = kyhost("cc " + quoted(captioned("a53.ts", "mpeg2")) + " -o out.txt");
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("-o out.txt: the name does not say the format"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find(".srt"), std::string::npos);
  EXPECT_NE(run.errors.find(".scc"), std::string::npos);
}

TEST(CaptionErrors, AnEmptyChannel_NamesTheOnesWithText) {
  Outcome run = kyhost("cc --channel 2 " + quoted(captioned("cc3.ts", "mpeg2", 180, "--channel 3")));
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("the captions have no text in CC2\n  there is text in CC3"), std::string::npos)
      << run.errors;
  run = kyhost("cc " + quoted(captioned("silent.ts", "mpeg2", 30, "", test::CaptionKind::Silent)));
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("no channel has any"), std::string::npos) << run.errors;
}

TEST(CaptionErrors, AStreamThatIsNotThere_IsNamed) {
  for (std::string const stream : {"1", "-1"}) {
    Outcome const run = kyhost("cc --stream " + stream + " " + quoted(captioned("a53.ts", "mpeg2")));
    EXPECT_EQ(run.code, 1);
    EXPECT_NE(run.errors.find("no closed captions " + stream + ": the file has 1 such stream\n"),
              std::string::npos)
        << run.errors;
  }
}

TEST(CaptionErrors, ChannelsAreOneToFour) {
  for (std::string const channel : {"0", "5"})
    EXPECT_EQ(kyhost("cc --channel " + channel + " " + quoted(captioned("a53.ts", "mpeg2"))).code, 1)
        << channel;
}

TEST(CaptionErrors, TheInput_IsNotOverwritten) {
  auto const copy = test::scratchDir() / "copy.srt";
  std::filesystem::copy_file(captioned("a53.ts", "mpeg2"), copy);
  EXPECT_EQ(kyhost("cc " + quoted(copy) + " -o " + quoted(copy)).code, 1);
  EXPECT_EQ(std::filesystem::file_size(copy), std::filesystem::file_size(captioned("a53.ts", "mpeg2")));
}

}  // namespace
