#include "parser_xdcam_ex/source/forgivingparser.h"

#include <gmock/gmock.h>

#include "tests/parser/cardfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct OpenForgiving : ForgivingCardParser {
  using XDCamExParser::clip_list;
  using XDCamExParser::root_dir;
};

std::string const kMark = "\xEF\xBB\xBF";

std::string entry(std::string const& name, std::string const& inner = "") {
  return "<Material uri=\"./CLPR/" + name + "/" + name + ".SMI\" umid=\"U" + name + "x\">\n" +
         (inner.empty() ? "<Component uri=\"./CLPR/" + name + "/" + name + ".MP4\" umid=\"U" + name + "x\"/>"
                        : inner) +
         "\n</Material>\n";
}

/// Clips 1 to 3, of which 1 and 2 are the take 0; texts are the tests' own.
class Forgiving : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    for (char const* name : {"1", "2", "3"})
      write(std::string("card/BPAV/CLPR/") + name + "/" + name + ".MP4", "12345");
    catalogue(entry("1") + entry("2") + entry("3") + take_);
  }
  void catalogue(std::string const& text) { write("card/BPAV/MEDIAPRO.XML", "<MediaProfile>" + text); }

  /// Clips that opening a description lists, read from the take list.
  std::vector<std::string> opened(std::string const& name, std::string const& text) {
    parser_ = {};
    std::string const description = write("card/BPAV/" + name, text);
    if (!parser_.ProcessForgiving(description, at("t.mzl"), 0)) return {"error: " + parser_.error_text};
    std::vector<std::string> clips;
    std::string const list = read(at("t.mzl"));
    EXPECT_TRUE(list.starts_with("XMP4\r\n"));
    for (std::size_t begin = 6, end; (end = list.find(";  5\r\n", begin)) != std::string::npos;
         begin = end + 6)
      clips.push_back(list.substr(begin + card().size(), end - begin - card().size()));
    return clips;
  }
  std::vector<std::string> clip(std::string const& umid) {
    return opened("CLPR/1/1M01.XML", "<a umidRef=\"" + umid + "\"/>");
  }

  std::string const first_ = "CLPR/1/1.MP4", second_ = "CLPR/2/2.MP4", third_ = "CLPR/3/3.MP4";
  std::string const take_ =
      "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\" umid=\"U1x\"/>\n"
      "<Component uri=\"./CLPR/2/2.SMI\" umid=\"U2x\"/>\n</Material>";
  OpenForgiving parser_;
};

TEST_F(Forgiving, ACardThatTheScanFollowsIsReadByIt) {
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), IsEmpty());
}

TEST_F(Forgiving, AnOwnEntryThatNamesItsClipFirst) {
  EXPECT_THAT(clip("U3x"), ElementsAre(third_));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("an entry that names \"./CLPR/\" before its first component"));
}

TEST_F(Forgiving, AnElementBeforeTheComponentsThatNamesTheClip) {
  catalogue(
      "<Material umid=\"U3x\"><RelevantInfo uri=\"./CLPR/3/3M01.XML\"/>"
      "<Component uri=\"./CLPR/3/3.MP4\" umid=\"U3x\"/></Material>");
  EXPECT_THAT(clip("U3x"), ElementsAre(third_));
}

TEST_F(Forgiving, ByteOrderMarks) {
  EXPECT_THAT(opened("CLPR/1/1.SMI", kMark + "<a umid=\"U0x\"/>"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("a byte-order mark before the description"));
  write("card/BPAV/MEDIAPRO.XML", kMark + "<x/>" + entry("1") + entry("2") + take_);
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("a byte-order mark before the catalogue"));
}

TEST_F(Forgiving, OtherTextBeforeADocumentIsNotPassedOver) {
  EXPECT_THAT(opened("CLPR/1/1.SMI", "\n<a umid=\"U0x\"/>"), ElementsAre("error: "));
  EXPECT_THAT(opened("CLPR/1/1.SMI", kMark + kMark + "<a umid=\"U0x\"/>"), ElementsAre("error: "));
  EXPECT_THAT(opened("CLPR/1/1.SMI", kMark), ElementsAre("error: "));
}

TEST_F(Forgiving, AUmidWithSomethingBehindIt) {
  for (char const* text :
       {"<a umidRef=\"U0x\" status=\"OK\"/>", "<a umidRef=\"U0x\"\r\n\t\tstatus=\"OK\"\r\n/>",
        "<a umidRef='U0x' status='OK'/>", "<a umidRef=\"U0x\" />", "<a umidRef = \"U0x\"/>"})
    EXPECT_THAT(opened("CLPR/1/1M01.XML", text), ElementsAre(first_, second_)) << text;
  EXPECT_THAT(opened("CLPR/1/1.SMI", "<smil umid=\"U0x\" xmlns=\"urn:x\">"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("attributes behind the UMID"));
}

TEST_F(Forgiving, DescriptionsOfTheTakeBelowTakr) {
  EXPECT_THAT(opened("TAKR/0/0.SMI", kMark + "<a umid=\"U0x\"/>"), ElementsAre(first_, second_));
  EXPECT_THAT(opened("TAKR/0/0M01.XML", "<a umidRef=\"U0x\" status=\"OK\"/>"), ElementsAre(first_, second_));
}

TEST_F(Forgiving, ASidecarBelowAFolderWhosePathSaysSmi) {
  parser_ = {};
  write("SMITH/BPAV/MEDIAPRO.XML", "<x/>" + entry("1") + entry("2") + take_);
  write("SMITH/BPAV/CLPR/1/1.MP4", "12345");
  std::string const sidecar = write("SMITH/BPAV/CLPR/1/1M01.XML", "<a umidRef=\"U0x\"/>");
  EXPECT_TRUE(parser_.ProcessForgiving(sidecar, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_THAT(parser_.clip_list, ElementsAre(first_, second_));
}

TEST_F(Forgiving, ClipsNamedTwiceAreListedOnce) {
  auto const twins = [](std::string const& name) {
    return "<Component uri=\"./CLPR/" + name + "/" + name + ".SMI\" umid=\"U" + name + "x\"/>" +
           "<Component uri=\"./CLPR/" + name + "/" + name + ".MP4\" umid=\"U" + name + "x\"/>" +
           "<RelevantInfo uri=\"./CLPR/" + name + "/" + name + "M01.XML\"/>";
  };
  catalogue(entry("1") + entry("2") + "<Material umid=\"U0x\">" + twins("1") + twins("2") + "</Material>");
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("a clip named more than once"));
}

TEST_F(Forgiving, AClipNamedTwiceWithAnotherBetween_IsPlayedTwice) {
  catalogue(entry("1") + entry("2") +
            "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\" umid=\"U1x\"/>"
            "<Component uri=\"./CLPR/1/1.MP4\" umid=\"U1x\"/><Component uri=\"./CLPR/2/2.SMI\" umid=\"U2x\"/>"
            "<Component uri=\"./CLPR/1/1.SMI\" umid=\"U1x\"/></Material>");
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_, first_));
}

TEST_F(Forgiving, AnEntryWhoseDescriptionStandsBeforeItsEssence) {
  auto const described = [](std::string const& name, std::string const& kind) {
    return "<Material umid=\"U" + name + "x\"><Component uri=\"./CLPR/" + name + "/" + name + kind +
           "\" umid=\"U" + name + "x\"/><Component uri=\"./CLPR/" + name + "/" + name + ".MP4\" umid=\"U" +
           name + "x\"/></Material>";
  };
  for (char const* name : {"1", "2"})
    write(std::string("card/BPAV/CLPR/") + name + "/" + name + ".SMI", "<a/>");
  catalogue(described("1", ".SMI") + described("2", ".SMI") + take_);
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
  catalogue(described("1", ".smi") + described("2", ".smi") + take_);
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
}

TEST_F(Forgiving, AttributesOnLinesOfTheirOwn) {
  for (char const* line : {"\n\t", "\r\n\t"}) {
    std::string text = entry("1") + entry("2") + take_;
    for (std::size_t at = text.find(" u"); at != std::string::npos; at = text.find(" u", at))
      text.replace(at, 1, line);
    catalogue(text);
    EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
    EXPECT_THAT(parser_.forgiven(), ElementsAre("the layout of its tags"));
  }
}

TEST_F(Forgiving, ATakeThatStandsBeforeTheEntriesOfItsParts) {
  catalogue(take_ + entry("1") + entry("2"));
  write("card/BPAV/CLPR/1/1.SMI", "<a/>");
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
}

TEST_F(Forgiving, APartThatNamesItself_OpensItsTake) {
  EXPECT_THAT(clip("U2x"), ElementsAre(first_, second_));
  EXPECT_THAT(parser_.forgiven(), testing::Contains("a description that names its part, not its take"));
}

TEST_F(Forgiving, EssenceWithAUmidOfItsOwn) {
  std::string const one =
      "<Material uri=\"./CLPR/1/1.SMI\" umid=\"M1x\"><Component uri=\"./CLPR/1/1.MP4\" "
      "umid=\"U1x\"/></Material>";
  catalogue(one);
  EXPECT_THAT(clip("M1x"), ElementsAre(first_));
  catalogue(
      "<Material umid=\"U0x\" a=\"./CLPR/\"><Component uri=\"./CLPR/1/1.SMI\" umid=\"M1x\"/></Material>" +
      one);
  EXPECT_THAT(clip("U0x"), ElementsAre(first_));
}

TEST_F(Forgiving, EntriesInAComment_AreNone) {
  catalogue("<!-- " + entry("3") + "-->" +
            "<Material umid=\"U3x\"><Component uri=\"./CLPR/2/2.MP4\" umid=\"U3x\"/></Material>");
  EXPECT_THAT(clip("U3x"), ElementsAre(second_));
}

TEST_F(Forgiving, AUmidInLettersOfTheOtherCase) { EXPECT_THAT(clip("u0X"), ElementsAre(first_, second_)); }

TEST_F(Forgiving, ADescriptionWithoutAUmidOfTheCatalogue_OpensTheEntryThatNamesIt) {
  auto const named = [](std::string const& name) {
    return entry(name, "<Component uri=\"./CLPR/" + name + "/" + name + ".MP4\" umid=\"U" + name +
                           "x\"/><RelevantInfo uri=\"./CLPR/" + name + "/" + name + "M01.XML\"/>");
  };
  catalogue(take_ + named("1") + named("2") + named("3"));
  for (char const* text : {"<a/>", "<a umidRef=\"U9x\"/>"}) {
    EXPECT_THAT(opened("CLPR/3/3M01.XML", text), ElementsAre(third_)) << text;
    EXPECT_THAT(opened("CLPR/2/2M01.XML", text), ElementsAre(first_, second_)) << text;
    EXPECT_THAT(parser_.forgiven(), testing::Contains("a description without the UMID of its entry"));
    EXPECT_THAT(opened("CLPR/1/1.SMI", text), ElementsAre(first_, second_)) << text;
  }
}

TEST_F(Forgiving, ComponentsWithoutUmids) {
  auto const bare = [](std::string const& name) {
    return entry(name, "<Component uri=\"./CLPR/" + name + "/" + name + ".MP4\"/>");
  };
  catalogue(bare("1") + bare("2") +
            "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\"/><Component "
            "uri=\"./CLPR/2/2.MP4\"/></Material>");
  EXPECT_THAT(clip("U0x"), ElementsAre(first_, second_));
  EXPECT_THAT(clip("U2x"), ElementsAre(second_));
}

TEST_F(Forgiving, NamesInAnotherCaseThanTheCatalogueSpells) {
  std::filesystem::rename(at("card/BPAV"), at("card/bpav"));
  std::filesystem::rename(at("card/bpav/CLPR"), at("card/bpav/clpr"));
  std::filesystem::rename(at("card/bpav/MEDIAPRO.XML"), at("card/bpav/mediapro.xml"));
  for (char const* name : {"1", "2"})
    std::filesystem::rename(at(std::string("card/bpav/clpr/") + name + "/" + name + ".MP4"),
                            at(std::string("card/bpav/clpr/") + name + "/" + name + ".mp4"));
  parser_ = {};
  std::string const sidecar = write("card/bpav/clpr/1/1m01.xml", "<a umidRef=\"U0x\"/>");
  EXPECT_TRUE(parser_.ProcessForgiving(sidecar, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_EQ(parser_.root_dir, at("card/bpav/"));
  EXPECT_THAT(parser_.clip_list, ElementsAre("clpr/1/1.mp4", "clpr/2/2.mp4"));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("the case of file names"));
}

TEST_F(Forgiving, OfNamesThatDifferInCaseAlone_TheSpelledOneCounts) {
  write("card/BPAV/CLPR/3/3.mp4", "123");
  EXPECT_THAT(clip("U3x"), ElementsAre(third_));
  std::filesystem::remove(at("card/BPAV/CLPR/3/3.MP4"));
  write("card/BPAV/CLPR/3/3.Mp4", "12345");
  EXPECT_THAT(clip("U3x"), ElementsAre("CLPR/3/3.Mp4"));
}

TEST_F(Forgiving, WhatCannotBeForgiven_HasTheTextOfTheScan) {
  EXPECT_THAT(clip("U9x"), ElementsAre("error: take umid not found!"));
  EXPECT_THAT(opened("CLPR/9/9.SMI", "<a/>"), ElementsAre("error: No UMID available !"));
  EXPECT_THAT(opened("CLPR/1/1.txt", "<a/>"), ElementsAre("error: Invalid input file !! Must be SMI or XML"));
  catalogue("<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\"/></Material>");
  EXPECT_THAT(clip("U0x"), ElementsAre("error: clip umid not found!"));
  catalogue("<Material umid=\"U0x\"><Component uri=\"./CLPR/8/8.SMI\" umid=\"U1x\"/></Material>");
  EXPECT_THAT(clip("U0x"), ElementsAre("error: No mp4 file found"));
  catalogue(entry("4"));
  EXPECT_THAT(clip("U4x"), ElementsAre("error: No mp4 file found"));
  std::filesystem::remove(at("card/BPAV/MEDIAPRO.XML"));
  EXPECT_THAT(clip("U0x"), ElementsAre("error: Unable to open " + card() + "MEDIAPRO.XML"));
  EXPECT_THAT(parser_.forgiven(), IsEmpty());
}

TEST_F(Forgiving, AReadingThatNamesNoFile_LeavesTheScansText) {
  catalogue(entry("4"));
  EXPECT_THAT(opened("CLPR/1/1M01.XML", "<a umidRef=\"U4x\" status=\"OK\"/>"),
              ElementsAre("error: take umid not found!"));
  EXPECT_THAT(parser_.forgiven(), IsEmpty());
}

TEST_F(Forgiving, AComponentElsewhereThanAmongTheClips_IsNone) {
  write("card/BPAV/GNRL/1.MP4", "12345");
  catalogue(entry(
      "3", "<Component uri=\"./GNRL/1.MP4\" umid=\"U1x\"/><Component uri=\"./CLPR/3/3.MP4\" umid=\"U3x\"/>"));
  EXPECT_THAT(clip("U3x"), ElementsAre(third_));
}

TEST_F(Forgiving, AnEmptyUmid_IsThatOfNoEntry) {
  catalogue("<Material><Component uri=\"./CLPR/3/3.MP4\" umid=\"U3x\"/></Material>");
  EXPECT_THAT(clip(""), ElementsAre("error: No UMID available !"));
}

TEST_F(Forgiving, AnEmptyEntry_HasNoneOfTheComponentsBehindIt) {
  catalogue(
      "<Material umid=\"U3x\" uri=\"./CLPR/3/3.SMI\"/><Component uri=\"./CLPR/2/2.MP4\" umid=\"U2x\"/>" +
      entry("1"));
  EXPECT_THAT(clip("U3x"), ElementsAre("error: No mp4 file found"));
}

TEST_F(Forgiving, ATakeMayNameItsPartsByTheirEntriesUmids) {
  auto const part = [](std::string const& name) {
    return "<Material uri=\"./CLPR/\" umid=\"M" + name + "x\"><Component uri=\"./CLPR/" + name + "/" + name +
           ".MP4\" umid=\"U" + name + "x\"/></Material>";
  };
  catalogue(part("1") + part("2") +
            "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\" umid=\"M1x\"/>"
            "<Component uri=\"./CLPR/2/2.SMI\" umid=\"M2x\"/></Material>");
  EXPECT_THAT(clip("M2x"), ElementsAre(first_, second_));
}

TEST_F(Forgiving, AListThatCannotBeBettered_StaysAsItWas) {
  // The component names its clip twice, and there is no such file for the second reading.
  write("card/BPAV/CLPR/1/1.SMI", "<a/>");
  catalogue(
      "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\" a=\"./CLPR/\" umid=\"U0x\"/></Material>");
  parser_ = {};
  std::string const sidecar = write("card/BPAV/CLPR/1/1M01.XML", "<a umidRef=\"U0x\"/>");
  EXPECT_TRUE(parser_.ProcessForgiving(sidecar, at("t.mzl"), 0));
  EXPECT_EQ(read(at("t.mzl")),
            "XMP4\r\n" + card() + "CLPR/1/1.SMI;  4\r\n" + card() + "CLPR/1/1.SMI;  4\r\n");
  EXPECT_THAT(parser_.forgiven(), IsEmpty());
}

TEST_F(Forgiving, ARewrittenListThatNamesNoFile_GivesWayToTheScansOwn) {
  write("card/BPAV/CLPR/1/1.SMI", "<a/>");
  catalogue(
      "<Material umid=\"U0x\"><Component uri=\"./CLPR/1/1.SMI\" umid=\"U0x\"/>"
      "<Component uri=\"./CLPR/1/gone.MP4\" umid=\"U0x\"/></Material>");
  EXPECT_THAT(clip("U0x"), IsEmpty());
  EXPECT_EQ(read(at("t.mzl")),
            "XMP4\r\n" + card() + "CLPR/1/1.SMI;  4\r\n" + card() + "CLPR/1/1.SMI;  4\r\n");
}

TEST_F(Forgiving, OnlyTheScanPrintsItsProgress) {
  std::string const plain = write("card/BPAV/CLPR/3/3M01.XML", "<a umidRef=\"U3x\"/>");
  auto const printed = [&](bool forgiving) {
    parser_ = {};
    testing::internal::CaptureStdout();
    if (forgiving)
      parser_.ProcessForgiving(plain, at("t.mzl"), 2);
    else
      parser_.ProcessData(plain, at("t.mzl"), 2);
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  };
  std::string const once = printed(false);
  EXPECT_FALSE(once.empty());
  EXPECT_EQ(printed(true), once);
}

}  // namespace
