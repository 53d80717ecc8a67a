#include <fmt/core.h>
#include <gtest/gtest.h>

#include <fstream>

#include "parser_xdcam_ex/source/xdcamexparser.h"
#include "tests/samples/programs.h"

namespace fs = std::filesystem;

namespace {

class MakeCard : public testing::Test {
 protected:
  fs::path at(char const* name) const { return scratch_.path() / name; }
  static Outcome make(fs::path const& folder, std::string const& arguments = "") {
    return run(fmt::format("{} --small {} {}", KY_MAKE_CARD, folder.string(), arguments));
  }
  bool opens(fs::path const& card, char const* clip) const {
    XDCamExParser parser;
    std::string const name = clip;
    return parser.ProcessData(card / "BPAV/CLPR" / name / (name + ".SMI"), at("take.mzl"), 0);
  }
  ScratchFolder scratch_;
};

TEST_F(MakeCard, TellsEveryClipItMade) {
  Outcome const made = make(at("card"));
  EXPECT_EQ(made.code, 0) << made.errors;
  EXPECT_NE(made.output.find("632_0001_03  352x288i 25 Hz, 41 frames, 4 mono tracks\n"), std::string::npos)
      << made.output;
  EXPECT_NE(made.output.find("632_0003_01  352x240i 29.97 Hz, 32 frames, 2 mono tracks\n"),
            std::string::npos);
}

TEST_F(MakeCard, EqualOptionsGiveEqualCards) {
  EXPECT_EQ(make(at("a")).code, 0);
  EXPECT_EQ(make(at("b")).code, 0);
  Outcome const compared = run(fmt::format("diff -r {} {}", at("a").string(), at("b").string()));
  EXPECT_EQ(compared.code, 0) << compared.output;
}

TEST_F(MakeCard, CardsAreOpenToOthersAsTheMaskSays) {
  EXPECT_EQ(run(fmt::format("umask 022; {} --small {}", KY_MAKE_CARD, at("card").string())).code, 0);
  EXPECT_EQ(fs::status(at("card/BPAV")).permissions(), static_cast<fs::perms>(0755));
}

TEST_F(MakeCard, SecondsLengthenTheTakes) {
  EXPECT_EQ(make(at("card"), "--seconds 5 -q").code, 0);
  Outcome const probed = run(fmt::format("ffprobe -v warning -show_entries format=duration -of csv=p=0 {}",
                                         at("card/BPAV/CLPR/632_0002_01/632_0002_01.MP4").string()));
  EXPECT_EQ(probed.output, "5.000000\n");
}

TEST_F(MakeCard, OneFormForAllSingleClips) {
  EXPECT_EQ(make(at("child"), "--form child").code, 0);
  EXPECT_EQ(make(at("attribute"), "--form attribute").code, 0);
  for (char const* clip : {"632_0002_01", "632_0003_01", "632_0004_01"}) {
    EXPECT_TRUE(opens(at("child"), clip)) << clip;
    EXPECT_FALSE(opens(at("attribute"), clip)) << clip;
  }
  EXPECT_TRUE(opens(at("attribute"), "632_0001_02"));
}

TEST_F(MakeCard, CarriageReturnsOpenJustAsWell) {
  EXPECT_EQ(make(at("card"), "--crlf").code, 0);
  std::string const catalogue = readFile(at("card/BPAV/MEDIAPRO.XML"));
  EXPECT_EQ(catalogue.find("?>\r\n"), catalogue.find("?>"));
  for (char const* clip : {"632_0001_01", "632_0001_03", "632_0002_01"})
    EXPECT_TRUE(opens(at("card"), clip)) << clip;
}

TEST_F(MakeCard, ByteOrderMarksStandBeforeEveryText) {
  EXPECT_EQ(make(at("card"), "--bom").code, 0);
  int texts = 0;
  for (auto const& entry : fs::recursive_directory_iterator(at("card"))) {
    std::string const extension = entry.path().extension().string();
    if (extension != ".SMI" && extension != ".XML") continue;
    EXPECT_EQ(readFile(entry.path()).substr(0, 5), "\xEF\xBB\xBF<?") << entry.path();
    ++texts;
  }
  EXPECT_EQ(texts, 15);
}

TEST_F(MakeCard, AttributesFollowTheUmid) {
  EXPECT_EQ(make(at("card"), "--followed-umid").code, 0);
  std::string const sidecar = readFile(at("card/BPAV/CLPR/632_0002_01/632_0002_01M01.XML"));
  EXPECT_NE(sidecar.find("\" status=\"OK\"/>"), std::string::npos) << sidecar;
  std::string const smi = readFile(at("card/BPAV/CLPR/632_0002_01/632_0002_01.SMI"));
  EXPECT_NE(smi.find("<smil umid="), std::string::npos) << smi;
}

TEST_F(MakeCard, TwinComponentsAndRelevantInfoNameClipsAgain) {
  auto const places = [this](char const* options) {
    EXPECT_EQ(make(at("card"), std::string("--form child ") + options).code, 0);
    std::string const catalogue = readFile(at("card/BPAV/MEDIAPRO.XML"));
    fs::remove_all(at("card"));
    std::string const take = catalogue.substr(catalogue.find("./TAKR/"));
    int count = 0;
    for (std::size_t hit = 0; (hit = take.find("\"./CLPR/632_0001_02/", hit)) != std::string::npos; ++hit)
      ++count;
    return count;
  };
  EXPECT_EQ(places("--crlf"), 1);
  EXPECT_EQ(places("--twin-components"), 2);
  EXPECT_EQ(places("--relevant-info"), 2);
  EXPECT_EQ(places("--twin-components --relevant-info"), 3);
}

TEST_F(MakeCard, BrokenTagsHaveNoBlankOutsideTheirValues) {
  EXPECT_EQ(make(at("card"), "--broken-tags").code, 0);
  std::string catalogue = readFile(at("card/BPAV/MEDIAPRO.XML"));
  catalogue.erase(0, catalogue.find("<MediaProfile"));
  bool inValue = false;
  for (char const c : catalogue) {
    if (c == '"') inValue = !inValue;
    ASSERT_FALSE(c == ' ' && !inValue);
  }
  EXPECT_NE(catalogue.find("<Material\n"), std::string::npos);
  EXPECT_NE(catalogue.find("\"\n\t/>"), std::string::npos);
}

TEST_F(MakeCard, WithoutTakr_NothingNamesIt) {
  EXPECT_EQ(make(at("card"), "--without-takr").code, 0);
  EXPECT_FALSE(fs::exists(at("card/BPAV/TAKR")));
  EXPECT_EQ(readFile(at("card/BPAV/MEDIAPRO.XML")).find("TAKR"), std::string::npos);
  EXPECT_TRUE(opens(at("card"), "632_0001_02"));
}

TEST_F(MakeCard, OneRateForAllTakes) {
  struct Row {
    char const *rate, *told, *probed;
  };
  for (Row const& row :
       {Row{"23.976", "352x288p 23.98 Hz", "24000/1001"}, Row{"50i", "352x288i 25 Hz", "25/1"},
        Row{"59.94i", "352x240i 29.97 Hz", "30000/1001"}, Row{"720p50", "320x192p 50 Hz", "50/1"}}) {
    Outcome const made = make(at(row.rate), fmt::format("--seconds 0.6 --rate {}", row.rate));
    EXPECT_EQ(made.code, 0) << made.errors;
    for (char const* clip : {"632_0001_01", "632_0001_03", "632_0004_01"}) {
      EXPECT_NE(made.output.find(fmt::format("{}  {}", clip, row.told)), std::string::npos) << made.output;
      Outcome const probed = run(fmt::format(
          "ffprobe -v error -select_streams v -show_entries stream=r_frame_rate -of default=nw=1:nk=1 "
          "{}/BPAV/CLPR/{}/{}.MP4",
          at(row.rate).string(), clip, clip));
      EXPECT_EQ(probed.output.substr(0, probed.output.find('\n')), row.probed);
    }
  }
  EXPECT_NE(make(at("none"), "--rate 25").code, 0);
}

TEST_F(MakeCard, AnExistingCardIsNotTouched) {
  fs::create_directories(at("card/BPAV"));
  std::ofstream(at("card/BPAV/mine")) << "mine";
  Outcome const made = make(at("card"));
  EXPECT_EQ(made.code, 1);
  EXPECT_EQ(made.output, "");
  EXPECT_NE(made.errors.find("make_card: cannot create " + at("card/BPAV").string()), std::string::npos)
      << made.errors;
  EXPECT_EQ(readFile(at("card/BPAV/mine")), "mine");
  EXPECT_EQ(std::distance(fs::directory_iterator(at("card")), {}), 1);
}

TEST_F(MakeCard, AnImpossiblePlaceIsNamed) {
  std::ofstream(at("file")) << "x";
  Outcome const made = make(at("file/card"));
  EXPECT_EQ(made.code, 1);
  EXPECT_NE(made.errors.find(at("file/card").string()), std::string::npos) << made.errors;
}

TEST_F(MakeCard, AFullDiskLeavesNothingBehind) {
  Outcome const made =
      run(fmt::format("trap '' XFSZ; ulimit -f 300; {} --small {}", KY_MAKE_CARD, at("deep/card").string()));
  EXPECT_EQ(made.code, 1);
  EXPECT_NE(made.errors.find("632_0001_01.MP4: File too large"), std::string::npos) << made.errors;
  EXPECT_FALSE(fs::exists(at("deep")));
}

TEST_F(MakeCard, ItsHelpNamesEveryOption) {
  Outcome const help = run(fmt::format("{} --help", KY_MAKE_CARD));
  EXPECT_EQ(help.code, 0);
  for (char const* option : {"OUTDIR", "--seconds", "--form", "--rate", "--small", "--bom", "--crlf",
                             "--followed-umid", "--twin-components", "--relevant-info", "--broken-tags",
                             "--without-takr", "--all-layouts", "--quiet"})
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
}

TEST_F(MakeCard, AnUnknownFormIsRefused) {
  Outcome const made = make(at("card"), "--form other");
  EXPECT_NE(made.code, 0);
  EXPECT_NE(made.errors.find("--form"), std::string::npos) << made.errors;
  EXPECT_FALSE(fs::exists(at("card")));
}

}  // namespace
