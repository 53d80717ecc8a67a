#include "tests/parser/cardfixture.h"

namespace {

using Strings = std::vector<std::string>;

/// A part's own element, which the take's components refer to by UMID.
std::string part(std::string const& umid, std::string const& file) {
  return "<Material uri=\"./CLPR/" + file + ".SMI\" umid=\"" + umid + "\">\n\t<Component uri=\"./CLPR/" +
         file + ".MP4\" type=\"MP4\"/>\n</Material>\n";
}

std::string take(std::string const& components) {
  return "<Material uri=\"./TAKR/1/1.SMI\" umid=\"TAKE\">\n" + components + "</Material>\n";
}

std::string component(std::string const& umid) {
  return "\t<Component uri=\"./CLPR/" + umid + ".SMI\" umid=\"" + umid + "\"/>\n";
}

class Catalogue : public testing::Test {
 protected:
  Catalogue() { parser_.take_umid = "TAKE"; }
  bool parse(std::string const& contents) {
    return parser_.ParseXml("<MediaProfile>\n" + contents + "</MediaProfile>\n");
  }
  OpenParser parser_;
};

TEST_F(Catalogue, GivesTheClipsOfATakeInDocumentOrder) {
  EXPECT_TRUE(parse(part("P1", "1") + part("P2", "2") + part("P3", "3") +
                    take(component("P2") + component("P1") + component("P3"))));
  EXPECT_EQ(parser_.clip_list, (Strings{"CLPR/2.MP4", "CLPR/1.MP4", "CLPR/3.MP4"}));
}

TEST_F(Catalogue, ATruncatedUmidStillFindsItsTake) {
  parser_.take_umid = "TAK";
  EXPECT_TRUE(parse(part("P1", "1") + take(component("P1"))));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Catalogue, AComponentThatNamesTheFolderTwiceYieldsItsClipTwice) {
  EXPECT_TRUE(
      parse(part("P1", "1") + take("<Component uri=\"./CLPR/1.SMI\" alt=\"./CLPR/1.MP4\" umid=\"P1\"/>")));
  EXPECT_EQ(parser_.clip_list, (Strings{"CLPR/1.MP4", "CLPR/1.MP4"}));
}

TEST_F(Catalogue, AnEntryBehindAComponentThatNamesTheFolderYieldsTheClipAgain) {
  EXPECT_TRUE(parse(part("P1", "1") + take(component("P1") + "<RelevantInfo uri=\"./CLPR/1M01.XML\"/>")));
  EXPECT_EQ(parser_.clip_list, (Strings{"CLPR/1.MP4", "CLPR/1.MP4"}));
}

TEST_F(Catalogue, AComponentMayNameItsOwnEssence) {
  EXPECT_TRUE(parse("<Material umid=\"TAKE\"><Component uri=\"./CLPR/1.MP4\" umid=\"TAKE\"/></Material>"));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Catalogue, ATakeElementThatNamesTheFolderItselfListsNothing) {
  EXPECT_TRUE(
      parse("<Material uri=\"./CLPR/1.SMI\" umid=\"TAKE\"><Component uri=\"./CLPR/1.MP4\" "
            "umid=\"C\"/></Material>"));
  EXPECT_TRUE(parser_.clip_list.empty());
  EXPECT_EQ(parser_.error_text, "FindTextPartBetween() fromText not found!");
}

TEST_F(Catalogue, ATakeElementWithoutTheFolderListsNothing) {
  EXPECT_TRUE(parse(take("<Component uri=\"./TAKR/1.MP4\" umid=\"P1\"/>")));
  EXPECT_TRUE(parser_.clip_list.empty());
  EXPECT_EQ(parser_.error_text, "");
}

TEST_F(Catalogue, AnUnclosedComponentEndsTheListWithoutFailing) {
  EXPECT_TRUE(
      parse(part("P1", "1") + take(component("P1") + "<Component uri=\"./CLPR/1.SMI\" umid=\"P1\">")));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
  EXPECT_EQ(parser_.error_text, "FindTextPartBetween() toText not found!");
}

TEST_F(Catalogue, WithoutTheTakeFails) {
  EXPECT_FALSE(parse(part("P1", "1")));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
}

TEST_F(Catalogue, ATakeOutsideAnyMaterialElementFails) {
  EXPECT_FALSE(parse("<Info umid=\"TAKE\"/>" + part("P1", "1")));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
  EXPECT_FALSE(parse("<Material umid=\"TAKE\">"));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
}

TEST_F(Catalogue, MarkersAreCaseSensitive) {
  EXPECT_FALSE(parse("<material umid=\"TAKE\"></material>"));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
  EXPECT_TRUE(parse(take("<component uri=\"./CLPR/1.SMI\" umid=\"P1\"/>")));
  EXPECT_TRUE(parse(take("<Component uri=\"./clpr/1.SMI\" umid=\"P1\"/>")));
  EXPECT_TRUE(parser_.clip_list.empty());
}

TEST_F(Catalogue, AComponentWithoutUmidStopsWithTheClipsBeforeItListed) {
  EXPECT_FALSE(parse(part("P1", "1") + take(component("P1") + "<Component uri=\"./CLPR/2.SMI\"/>")));
  EXPECT_EQ(parser_.error_text, "clip umid not found!");
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Catalogue, AClipUmidWithoutOwnElementIsFoundInTheTakeItself) {
  EXPECT_TRUE(parse(take(component("P1"))));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/P1.SMI"});
}

TEST_F(Catalogue, AClipUmidThatFirstStandsOutsideAnyMaterialElementFails) {
  EXPECT_FALSE(parse("<Info umid=\"P1\"/>" + part("P1", "1") + take(component("P1"))));
  EXPECT_EQ(parser_.error_text, "clip Material tag not found!");
}

TEST_F(Catalogue, AClipElementWithoutComponentFails) {
  EXPECT_FALSE(parse("<Material umid=\"P1\"></Material>" + take(component("P1"))));
  EXPECT_EQ(parser_.error_text, "clip component in clip Material tag not found!");
}

TEST_F(Catalogue, AClipComponentBrokenRightBehindItsNameIsNotFound) {
  EXPECT_FALSE(
      parse("<Material umid=\"P1\"><Component\nuri=\"./CLPR/1.MP4\"/></Material>" + take(component("P1"))));
  EXPECT_EQ(parser_.error_text, "clip component in clip Material tag not found!");
}

TEST_F(Catalogue, AClipComponentWithoutUriFails) {
  EXPECT_FALSE(parse("<Material umid=\"P1\"><Component type=\"MP4\"/></Material>" + take(component("P1"))));
  EXPECT_EQ(parser_.error_text, "clip uri attribute value not found!");
}

TEST_F(Catalogue, AUriTooShortForItsPrefixFails) {
  for (char const* uri : {"", "."}) {
    EXPECT_FALSE(parse("<Material umid=\"P1\"><Component uri=\"" + std::string(uri) + "\"/></Material>" +
                       take(component("P1"))));
    EXPECT_EQ(parser_.error_text, "clip uri attribute value not found!");
    EXPECT_TRUE(parser_.clip_list.empty());
  }
}

TEST_F(Catalogue, DropsTwoCharactersOfTheUriWhateverTheyAre) {
  EXPECT_TRUE(
      parse("<Material umid=\"P1\"><Component uri=\"xyCLPR/1.MP4\"/></Material><Material "
            "umid=\"P2\"><Component uri=\"./\"/></Material>" +
            take(component("P1") + component("P2"))));
  EXPECT_EQ(parser_.clip_list, (Strings{"CLPR/1.MP4", ""}));
}

TEST_F(Catalogue, ReadsAttributesInAnyOrderOverSeveralLines) {
  EXPECT_TRUE(
      parse("<Material\r\n umid=\"x\"></Material>\r\n"
            "<Material dur=\"5\"\r\n\tumid=\"P1\"\r\n\turi=\"./CLPR/1.SMI\">\r\n"
            "\t<Component type=\"MP4\"\r\n\t\turi=\"./CLPR/1.MP4\"/>\r\n</Material>\r\n"
            "<Material type=\"PD-EDL\"\r\n\tumid=\"TAKE\">\r\n"
            "\t<Component\r\n\t\tumid=\"P1\"\r\n\t\turi=\"./CLPR/1.SMI\"\r\n\t/>\r\n</Material>\r\n"));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Catalogue, UnescapesNames) {
  EXPECT_TRUE(parse(part("P1", "a &amp; b &lt;1&gt;") + take(component("P1"))));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/a & b <1>.MP4"});
}

TEST_F(Catalogue, PrintsALineWhenVerbose) {
  for (int const verbose : {0, 1, 2}) {
    parser_.verbose = verbose;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(parse(""));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), verbose > 0 ? std::string(73, '-') + "\n" : "");
  }
}

TEST_F(Catalogue, ItsFailureTextReplacesThatOfTheSearch) {
  EXPECT_FALSE(parse("<Material umid=\"TAKE\"><Component uri=\"./CLPR/1.SMI\" umid='P1'/></Material>"));
  EXPECT_EQ(parser_.error_text, "clip umid not found!");
}

}  // namespace
