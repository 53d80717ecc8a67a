#include "tests/parser/cardfixture.h"

namespace {

struct Case {
  char const* name;
  bool smi;
  char const* text;
  char const* umid;
};

class TakeUmid : public testing::TestWithParam<Case> {};

TEST_P(TakeUmid, IsCutOutByPosition) {
  OpenParser parser;
  parser.is_smi = GetParam().smi ? 1 : 0;
  EXPECT_TRUE(parser.ParseXml(GetParam().text));
  EXPECT_EQ(parser.take_umid, GetParam().umid);
  EXPECT_EQ(parser.error_text, "");
}

INSTANTIATE_TEST_SUITE_P(
    Forms, TakeUmid,
    testing::Values(Case{"XmlSelfClosed", false, "<a umidRef=\"ABC\"/>", "ABC"},
                    Case{"XmlOpenTagLosesTheLastCharacter", false, "<a umidRef=\"ABC\">", "AB"},
                    Case{"SmiSelfClosed", true, "<smil umid=\"ABC\"/>", "ABC"},
                    Case{"SmiOpenTagLosesTheLastCharacter", true, "<smil umid=\"ABC\">", "AB"},
                    Case{"FirstOccurrenceWins", true, "<smil umid=\"A1\"/><x umid=\"B2\"/>", "A1"},
                    Case{"SmiKeyMatchesALongerWordByPosition", true, "<a umidRef=\"ABC\"/>", "f=\"ABC"},
                    Case{"XmlKeyDoesNotMatchPlainUmid", false, "<a umid=\"NO\"/><b umidRef=\"YES\"/>", "YES"},
                    Case{"FollowingAttributesStay", false, "<a umidRef=\"ABC\" status=\"OK\"/>",
                         "ABC\" status=\"OK"},
                    Case{"SkippedCharactersAreNotChecked", true, "<a umid::ABC\"/>", "ABC"},
                    Case{"EscapedQuotesAndBrackets", true, "<a umid=&quot;ABC&quot;/&gt;", "ABC"},
                    Case{"AmpersandIsUnescapedFirst", true, "<a umid=\"A&amp;lt;C\"/>", "A<C"},
                    Case{"EscapedQuoteNeverBecomesABackslash", true, "<a umid=\"A&amp;quot;C\"/>", "A\"C"},
                    Case{"OverSeveralLines", true, "<smil xmlns=\"x\"\r\n\tumid=\"ABC\"/>\r\n", "ABC"}),
    [](auto const& form) { return std::string(form.param.name); });

class NoTakeUmid : public testing::TestWithParam<Case> {};

TEST_P(NoTakeUmid, FailsWithItsText) {
  OpenParser parser;
  parser.is_smi = GetParam().smi ? 1 : 0;
  EXPECT_FALSE(parser.ParseXml(GetParam().text));
  EXPECT_EQ(parser.take_umid, "");
  EXPECT_EQ(parser.error_text, "No UMID available !");
}

INSTANTIATE_TEST_SUITE_P(Forms, NoTakeUmid,
                         testing::Values(Case{"SmiWithoutKey", true, "<smil/>", ""},
                                         Case{"XmlWithPlainUmidOnly", false, "<a umid=\"ABC\"/>", ""},
                                         Case{"KeyIsCaseSensitive", true, "<a UMID=\"ABC\"/>", ""},
                                         Case{"NoTagEnd", true, "<a umid=\"ABC\"", ""},
                                         Case{"TagEndTooNear", true, "<a umid=\"A>", ""},
                                         Case{"EmptyValueInAnOpenTag", true, "<a umid=\"\">", ""},
                                         Case{"TextEndsWithTheKey", true, "<a umid", ""},
                                         Case{"TextEndsOneBehindTheKey", true, "<a umid=", ""},
                                         Case{"TextEndsTwoBehindTheKey", true, "<a umid=\"", ""}),
                         [](auto const& form) { return std::string(form.param.name); });

TEST(ParseXml, OfATextThatDoesNotBeginWithATagFailsSilently) {
  for (char const* text :
       {"", " <a umid=\"ABC\"/>", "\xef\xbb\xbf<a umid=\"ABC\"/>", "\n<a umid=\"ABC\"/>"}) {
    OpenParser parser;
    EXPECT_FALSE(parser.ParseXml(text)) << '"' << text << '"';
    EXPECT_EQ(parser.error_text, "") << '"' << text << '"';
    EXPECT_EQ(parser.take_umid, "") << '"' << text << '"';
  }
}

TEST(ParseXml, KeepsAStaleErrorTextOnASilentRefusal) {
  OpenParser parser;
  parser.error_text = "stale";
  EXPECT_FALSE(parser.ParseXml("no tag"));
  EXPECT_EQ(parser.error_text, "stale");
}

TEST(ParseXml, PrintsTheUmidAtVerbosityTwoOnly) {
  for (int const verbose : {0, 1, 2, 3}) {
    OpenParser parser;
    parser.verbose = verbose;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parser.ParseXml("<a umid=\"ABC\"/>"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), verbose == 2 ? "\nFound UMID ABC\n\n" : "") << verbose;
  }
}

TEST(ParseXml, AnEmptyUmidLeavesTheNextTextToTheUmidSearch) {
  OpenParser parser;
  EXPECT_TRUE(parser.ParseXml("<a umid=\"\"/>"));
  EXPECT_EQ(parser.take_umid, "");
  EXPECT_TRUE(parser.ParseXml("<Material umid=\"XYZ\"/>"));
  EXPECT_EQ(parser.take_umid, "XYZ");
  EXPECT_TRUE(parser.clip_list.empty());
}

}  // namespace
