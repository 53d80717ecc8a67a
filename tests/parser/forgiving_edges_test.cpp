// The rules of the forgiving reading one by one: what counts as a file about a clip, where entries end, which
// entry is the take of another.
#include <gmock/gmock.h>

#include "parser_xdcam_ex/source/cardcatalogue.h"
#include "parser_xdcam_ex/source/forgivingparser.h"
#include "tests/parser/cardfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Clips = std::vector<std::string>;

TEST(FilesAboutAClip, AreKnownByTheirExtension) {
  for (char const* name :
       {"1.SMI", "1.smi", "1M01.XML", "1M01.xml", "1R01.BIM", "1R01.bim", "1.PPN", "1.ppn", "a.b.Smi"})
    EXPECT_TRUE(isAboutAClip(name)) << name;
  for (char const* name : {"1.MP4", "1.MXF", "SMI", "1.SMIL", "1.XSMI", "XML.1", "1.", ""})
    EXPECT_FALSE(isAboutAClip(name)) << name;
}

TEST(DescribedUmids, AreFollowedByWhatCanBeSeen) {
  for (char const* text :
       {"<a umidRef=\"U\"/>", "<a umidRef=\"U\" />", "<a umidRef=\"U\"\t>", "<a umidRef=\"U\"\r\n/>"}) {
    auto const umid = findDescribedUmid(text, false);
    ASSERT_TRUE(umid) << text;
    EXPECT_EQ(umid->value, "u");
    EXPECT_FALSE(umid->followed) << text;
  }
  EXPECT_TRUE(findDescribedUmid("<a umidRef=\"U\" b=\"1\"/>", false)->followed);
  EXPECT_FALSE(findDescribedUmid("<a umid=\"U\"/>", false));
  EXPECT_FALSE(findDescribedUmid("<a umidRef=\"U\"/>", true));
}

std::string component(std::string const& file, std::string const& umid) {
  return "<Component uri=\"./CLPR/" + file + "\" umid=\"" + umid + "\"/>";
}
std::string material(std::string const& umid, std::string const& inner) {
  return "<Material umid=\"" + umid + "\">" + inner + "</Material>";
}

TEST(CatalogueEntries, EndWithTheirTag) {
  CardCatalogue const catalogue(material("A", component("1.MP4", "A")) + component("2.MP4", "B") +
                                material("C", component("3.MP4", "C")));
  ASSERT_TRUE(catalogue.entryOf("a"));
  EXPECT_EQ(catalogue.clipsOf(*catalogue.entryOf("a")), Clips{"CLPR/1.MP4"});
  EXPECT_EQ(catalogue.entryOf("b"), nullptr);
  EXPECT_EQ(catalogue.entryNaming("CLPR/2.MP4"), nullptr);
  EXPECT_EQ(catalogue.clipsOf(*catalogue.entryOf("c")), Clips{"CLPR/3.MP4"});
}

TEST(CatalogueEntries, NameTheirClipFirst_InTheirTagOrBeforeTheirComponents) {
  std::string const info = "<RelevantInfo uri=\"./CLPR/1M01.XML\"/>",
                    elsewhere = "<RelevantInfo uri=\"./GNRL/1.XML\"/>";
  auto const first = [](std::string const& text) { return CardCatalogue(text).entryOf("a")->namesClipFirst; };
  EXPECT_TRUE(first("<Material uri=\"./CLPR/1.SMI\" umid=\"A\">" + component("1.MP4", "A") + "</Material>"));
  EXPECT_TRUE(first(material("A", info + component("1.MP4", "A"))));
  EXPECT_FALSE(first(material("A", component("1.MP4", "A") + info)));
  EXPECT_FALSE(first(material("A", elsewhere + component("1.MP4", "A"))));
}

TEST(CatalogueEntries, AreFoundByTheEssenceThatAnotherNamesByItsUmid) {
  CardCatalogue const catalogue(material("M1", component("1.MP4", "U1")) +
                                material("TAKE", component("1.SMI", "U1")));
  EXPECT_EQ(catalogue.clipsOf(*catalogue.entryOf("take")), Clips{"CLPR/1.MP4"});
}

TEST(CatalogueEntries, HaveATakeThatHoldsThemOrTheirParts) {
  CardCatalogue const catalogue(material("M1", component("1.MP4", "U1")) +
                                material("M2", component("2.MP4", "U2")) +
                                material("M3", component("3.MP4", "U3")) +
                                material("TAKE", component("1.SMI", "M1") + component("2.SMI", "U2")));
  CardCatalogue::Entry const* const take = catalogue.entryOf("take");
  ASSERT_TRUE(take);
  EXPECT_EQ(catalogue.takeWith(*catalogue.entryOf("m1")), take);
  EXPECT_EQ(catalogue.takeWith(*catalogue.entryOf("m2")), take) << "by its essence";
  EXPECT_EQ(catalogue.takeWith(*catalogue.entryOf("m3")), nullptr);
}

class ForgivingEdges : public CardTest {
 protected:
  struct Reading : ForgivingCardParser {
    using XDCamExParser::clip_list;
  };
  void SetUp() override {
    CardTest::SetUp();
    for (char const* name : {"1", "2"}) write(std::string("card/BPAV/CLPR/") + name + ".MP4", "12345");
  }
  // By its own entry, a text of which nothing is left out.
  Clips read(std::string const& catalogue, std::string const& umid, std::string const& name = "CLPR/1M01.XML",
             std::string const& attribute = "umidRef") {
    write("card/BPAV/MEDIAPRO.XML", "<x>" + catalogue + "</x>");
    std::string const description =
        write("card/BPAV/" + name, "<a " + attribute + "=\"" + umid + "\" b=\"1\"/>");
    parser_ = Reading{};
    EXPECT_TRUE(parser_.ProcessForgiving(description, at("t.mzl"), 0)) << parser_.error_text;
    return parser_.clip_list;
  }
  Reading parser_;
};

TEST_F(ForgivingEdges, AnSmiIsOneInEitherCaseOfItsExtension) {
  std::string const catalogue = material("U1", component("1.MP4", "U1"));
  for (char const* name : {"1.SMI", "1.smi", "1.Smi", "1.sMI"})
    EXPECT_THAT(read(catalogue, "U1", std::string("CLPR/") + name, "umid"), ElementsAre("CLPR/1.MP4"))
        << name;
}

TEST_F(ForgivingEdges, ATakeOfOneClipIsNoReasonToLeaveAnEntry) {
  std::string const one = material("U1", component("1.MP4", "U1"));
  EXPECT_THAT(read(one + material("TAKE", component("1.SMI", "U1")), "U1"), ElementsAre("CLPR/1.MP4"));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("attributes behind the UMID"));
}

TEST_F(ForgivingEdges, AnEntryThatCannotBeResolvedIsReadByItsTake) {
  std::string const clips =
      material("U1", component("1.MP4", "U1")) + material("U2", component("2.MP4", "U2"));
  EXPECT_THAT(read(clips + material("ODD", component("9.SMI", "U9")) +
                       material("TAKE", component("1.SMI", "U1") + component("2.SMI", "U2") +
                                            "<Component uri=\"./GNRL/x\" umid=\"ODD\"/>"),
                   "ODD"),
              ElementsAre("CLPR/1.MP4", "CLPR/2.MP4"));
}

TEST_F(ForgivingEdges, WhatTheScanHadListedBeforeItFailedIsNoTakeList) {
  write("card/BPAV/MEDIAPRO.XML",
        "<x>" + material("U1", component("1.MP4", "U1")) +
            material("TAKE", component("1.SMI", "U1") + "<Component uri=\"./CLPR/9.SMI\"/>"));
  std::string const description = write("card/BPAV/CLPR/1M01.XML", "<a umidRef=\"TAKE\"/>");
  EXPECT_FALSE(parser_.ProcessForgiving(description, at("t.mzl"), 0));
  EXPECT_EQ(parser_.error_text, "clip umid not found!");
  EXPECT_FALSE(std::filesystem::exists(at("t.mzl")));
}

TEST_F(ForgivingEdges, WhetherClipsAreNamedFirstIsSaidOfTheTakeThatIsPlayed) {
  std::string const clips = "<Material uri=\"./CLPR/1.SMI\" umid=\"U1\">" + component("1.MP4", "U1") +
                            "</Material>" + material("U2", component("2.MP4", "U2"));
  EXPECT_THAT(read(clips + material("TAKE", component("1.SMI", "U1") + component("2.SMI", "U2")), "U1"),
              ElementsAre("CLPR/1.MP4", "CLPR/2.MP4"));
  EXPECT_THAT(parser_.forgiven(),
              ElementsAre("attributes behind the UMID", "a description that names its part, not its take"));
}

TEST_F(ForgivingEdges, TheCaseOfAClipAloneIsSaid) {
  std::filesystem::rename(at("card/BPAV/CLPR/1.MP4"), at("card/BPAV/CLPR/1.mp4"));
  EXPECT_THAT(read(material("U1", component("1.MP4", "U1")), "U1"), ElementsAre("CLPR/1.mp4"));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("attributes behind the UMID", "the case of file names"));
  EXPECT_THAT(read(material("U2", component("2.MP4", "U2")), "U2"), ElementsAre("CLPR/2.MP4"));
  EXPECT_THAT(parser_.forgiven(), ElementsAre("attributes behind the UMID"));
}

TEST_F(ForgivingEdges, TheCaseOfTheCatalogueAloneIsSaid) {
  std::string const text = "<x>" + material("U1", component("1.MP4", "U1")) + "</x>";
  write("card/BPAV/mediapro.xml", text);
  std::string const description = write("card/BPAV/CLPR/1M01.XML", "<a umidRef=\"U1\"/>");
  EXPECT_TRUE(parser_.ProcessForgiving(description, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_THAT(parser_.forgiven(), ElementsAre("the case of file names"));
}

}  // namespace
