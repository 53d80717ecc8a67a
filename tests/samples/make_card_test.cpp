#include <fmt/core.h>
#include <gtest/gtest.h>

#include <fstream>

#include "parser_xdcam_ex/source/xdcamexparser.h"
#include "tests/samples/programs.h"

namespace fs = std::filesystem;

namespace {

class MakeCard : public testing::Test {
 protected:
  fs::path at(const char* name) const { return scratch_.path() / name; }
  static Outcome make(const fs::path& folder, const std::string& arguments = "") {
    return run(fmt::format("{} --small {} {}", KY_MAKE_CARD, folder.string(), arguments));
  }
  bool opens(const fs::path& card, const char* clip) const {
    XDCamExParser parser;
    const std::string name = clip;
    return parser.ProcessData(card / "BPAV/CLPR" / name / (name + ".SMI"), at("take.mzl"), 0);
  }
  ScratchFolder scratch_;
};

TEST_F(MakeCard, TellsEveryClipItMade) {
  const Outcome made = make(at("card"));
  EXPECT_EQ(made.code, 0) << made.errors;
  EXPECT_NE(made.output.find("632_0001_03  352x288i 25 Hz, 41 frames, 4 mono tracks\n"), std::string::npos)
      << made.output;
  EXPECT_NE(made.output.find("632_0003_01  352x240i 29.97 Hz, 32 frames, 2 mono tracks\n"),
            std::string::npos);
}

TEST_F(MakeCard, EqualOptionsGiveEqualCards) {
  EXPECT_EQ(make(at("a")).code, 0);
  EXPECT_EQ(make(at("b")).code, 0);
  const Outcome compared = run(fmt::format("diff -r {} {}", at("a").string(), at("b").string()));
  EXPECT_EQ(compared.code, 0) << compared.output;
}

TEST_F(MakeCard, CardsAreOpenToOthersAsTheMaskSays) {
  EXPECT_EQ(run(fmt::format("umask 022; {} --small {}", KY_MAKE_CARD, at("card").string())).code, 0);
  EXPECT_EQ(fs::status(at("card/BPAV")).permissions(), static_cast<fs::perms>(0755));
}

TEST_F(MakeCard, SecondsLengthenTheTakes) {
  EXPECT_EQ(make(at("card"), "--seconds 5 -q").code, 0);
  const Outcome probed = run(fmt::format("ffprobe -v warning -show_entries format=duration -of csv=p=0 {}",
                                         at("card/BPAV/CLPR/632_0002_01/632_0002_01.MP4").string()));
  EXPECT_EQ(probed.output, "5.000000\n");
}

TEST_F(MakeCard, OneFormForAllSingleClips) {
  EXPECT_EQ(make(at("child"), "--form child").code, 0);
  EXPECT_EQ(make(at("attribute"), "--form attribute").code, 0);
  for (const char* clip : {"632_0002_01", "632_0003_01", "632_0004_01"}) {
    EXPECT_TRUE(opens(at("child"), clip)) << clip;
    EXPECT_FALSE(opens(at("attribute"), clip)) << clip;
  }
  EXPECT_TRUE(opens(at("attribute"), "632_0001_02"));
}

TEST_F(MakeCard, CarriageReturnsOpenJustAsWell) {
  EXPECT_EQ(make(at("card"), "--crlf").code, 0);
  const std::string catalogue = readFile(at("card/BPAV/MEDIAPRO.XML"));
  EXPECT_EQ(catalogue.find("?>\r\n"), catalogue.find("?>"));
  for (const char* clip : {"632_0001_01", "632_0001_03", "632_0002_01"})
    EXPECT_TRUE(opens(at("card"), clip)) << clip;
}

TEST_F(MakeCard, AnExistingCardIsNotTouched) {
  fs::create_directories(at("card/BPAV"));
  std::ofstream(at("card/BPAV/mine")) << "mine";
  const Outcome made = make(at("card"));
  EXPECT_EQ(made.code, 1);
  EXPECT_EQ(made.output, "");
  EXPECT_NE(made.errors.find("make_card: cannot create " + at("card/BPAV").string()), std::string::npos)
      << made.errors;
  EXPECT_EQ(readFile(at("card/BPAV/mine")), "mine");
  EXPECT_EQ(std::distance(fs::directory_iterator(at("card")), {}), 1);
}

TEST_F(MakeCard, AnImpossiblePlaceIsNamed) {
  std::ofstream(at("file")) << "x";
  const Outcome made = make(at("file/card"));
  EXPECT_EQ(made.code, 1);
  EXPECT_NE(made.errors.find(at("file/card").string()), std::string::npos) << made.errors;
}

TEST_F(MakeCard, AFullDiskLeavesNothingBehind) {
  const Outcome made =
      run(fmt::format("trap '' XFSZ; ulimit -f 300; {} --small {}", KY_MAKE_CARD, at("deep/card").string()));
  EXPECT_EQ(made.code, 1);
  EXPECT_NE(made.errors.find("632_0001_01.MP4: File too large"), std::string::npos) << made.errors;
  EXPECT_FALSE(fs::exists(at("deep")));
}

TEST_F(MakeCard, ItsHelpNamesEveryOption) {
  const Outcome help = run(fmt::format("{} --help", KY_MAKE_CARD));
  EXPECT_EQ(help.code, 0);
  for (const char* option : {"OUTDIR", "--seconds", "--form", "--small", "--crlf", "--quiet"})
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
}

TEST_F(MakeCard, AnUnknownFormIsRefused) {
  const Outcome made = make(at("card"), "--form other");
  EXPECT_NE(made.code, 0);
  EXPECT_NE(made.errors.find("--form"), std::string::npos) << made.errors;
  EXPECT_FALSE(fs::exists(at("card")));
}

}  // namespace
