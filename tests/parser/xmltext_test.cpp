#include "parser_xdcam_ex/source/xmltext.h"

#include <gtest/gtest.h>

#include "tests/parser/cardfixture.h"

namespace {

constexpr auto npos = std::string::npos;

std::string replaced(std::string text, std::string const& from, std::string const& to) {
  replaceAll(text, from, to);
  return text;
}

TEST(ReplaceAll, ReplacesEveryOccurrence) { EXPECT_EQ(replaced("a-b-c-", "-", "+"), "a+b+c+"); }

TEST(ReplaceAll, DoesNotSearchWhatItProduced) { EXPECT_EQ(replaced("&amp;amp;", "&amp;", "&"), "&amp;"); }

TEST(ReplaceAll, TerminatesWhenBothTextsAreEqual) { EXPECT_EQ(replaced("xyxy", "xy", "xy"), "xyxy"); }

TEST(ReplaceAll, MayGrowAndMayEmptyTheText) {
  EXPECT_EQ(replaced("aa", "a", "aba"), "abaaba");
  EXPECT_EQ(replaced("aaa", "a", ""), "");
}

TEST(ReplaceAll, LeavesATextWithoutTheMarkerAlone) { EXPECT_EQ(replaced("abc", "z", "y"), "abc"); }

TEST(ReplaceAll, TakesOverlappingMarkersFromTheLeft) { EXPECT_EQ(replaced("aaa", "aa", "b"), "ba"); }

TEST(GetTextBetween, KeepsTheOpeningMarkerAndLeavesTheClosingOneOut) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.getTextBetween("a<x>b</x>", "<x>", "</x>", out), 1u);
  EXPECT_EQ(out, "<x>b");
  EXPECT_EQ(parser.error_text, "");
}

TEST(GetTextBetween, FindsAClosingMarkerThatOverlapsTheOpeningOne) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.getTextBetween("xabab", "aba", "ba", out), 1u);
  EXPECT_EQ(out, "a");
}

TEST(GetTextBetween, NeverTakesTheOpeningMarkerItselfForTheEnd) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.getTextBetween("|a|b", "|", "|", out), 0u);
  EXPECT_EQ(out, "|a");
}

TEST(GetTextBetween, WithoutOpeningMarkerFailsAndKeepsOut) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.getTextBetween("abc", "<x>", "c", out), npos);
  EXPECT_EQ(out, "kept");
  EXPECT_EQ(parser.error_text, "getTextBetween() fromText not found!");
}

TEST(GetTextBetween, WithoutClosingMarkerFailsAndKeepsOut) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.getTextBetween("</x><x>b", "<x>", "</x>", out), npos);
  EXPECT_EQ(out, "kept");
  EXPECT_EQ(parser.error_text, "getTextBetween() toText not found!");
}

TEST(FindTextPartBetween, WalksOverElementsFromTheReturnedPositionPlusOne) {
  std::string const text = "<e k1></e><e k2></e>";
  OpenParser parser;
  std::string out;
  std::size_t const first = parser.FindTextPartBetween(text, "k", 0, "<e", "</e>", out);
  EXPECT_EQ(first, 3u);
  EXPECT_EQ(out, "<e k1>");
  EXPECT_EQ(parser.FindTextPartBetween(text, "k", first + 1, "<e", "</e>", out), 13u);
  EXPECT_EQ(out, "<e k2>");
}

TEST(FindTextPartBetween, TakesTheLastOpeningMarkerBeforeTheKey) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.FindTextPartBetween("<e><e>key</e>", "key", 0, "<e>", "</e>", out), 6u);
  EXPECT_EQ(out, "<e>key");
}

TEST(FindTextPartBetween, MayBeginAtTheKeyItself) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.FindTextPartBetween("  <e></e>", "<e>", 0, "<e>", "</e>", out), 2u);
  EXPECT_EQ(out, "<e>");
}

TEST(FindTextPartBetween, AnAbsentKeySetsNoErrorText) {
  OpenParser parser;
  parser.error_text = "earlier";
  std::string out = "kept";
  EXPECT_EQ(parser.FindTextPartBetween("<e>k</e>", "z", 0, "<e>", "</e>", out), npos);
  EXPECT_EQ(parser.FindTextPartBetween("<e>k</e>", "k", 99, "<e>", "</e>", out), npos);
  EXPECT_EQ(parser.error_text, "earlier");
  EXPECT_EQ(out, "kept");
}

TEST(FindTextPartBetween, WithoutOpeningMarkerBeforeTheKeyFails) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.FindTextPartBetween("k<e>k</e>", "k", 0, "<e>", "</e>", out), npos);
  EXPECT_EQ(parser.error_text, "FindTextPartBetween() fromText not found!");
  EXPECT_EQ(out, "kept");
}

TEST(FindTextPartBetween, WithoutClosingMarkerAfterTheKeyFails) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.FindTextPartBetween("<e></e>k", "k", 0, "<e>", "</e>", out), npos);
  EXPECT_EQ(parser.error_text, "FindTextPartBetween() toText not found!");
  EXPECT_EQ(out, "kept");
}

TEST(FindTextPartBetween, AnEmptyKeyStandsAtTheBeginningWhateverTheStart) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.FindTextPartBetween("<e>a</e>", "", 5, "<e>", "</e>", out), 0u);
  EXPECT_EQ(out, "<e>a");
  EXPECT_EQ(parser.FindTextPartBetween(" <e>a</e>", "", 0, "<e>", "</e>", out), npos);
  EXPECT_EQ(parser.error_text, "FindTextPartBetween() fromText not found!");
}

TEST(GetAttributeValue, GivesTheTextBetweenTheQuotes) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.getAttributeValue("<a uri=\"./x\" b=\"2\"", "uri", out), 3u);
  EXPECT_EQ(out, "./x");
}

TEST(GetAttributeValue, AnEmptyValueIsAValue) {
  OpenParser parser;
  std::string out = "old";
  EXPECT_EQ(parser.getAttributeValue("uri=\"\"", "uri", out), 0u);
  EXPECT_EQ(out, "");
}

TEST(GetAttributeValue, ALongerNameWithTheSameEndMatchesToo) {
  OpenParser parser;
  std::string out;
  EXPECT_EQ(parser.getAttributeValue("clipumid=\"1\" umid=\"2\"", "umid", out), 4u);
  EXPECT_EQ(out, "1");
}

TEST(GetAttributeValue, ABlankBeforeTheSignHidesTheAttribute) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.getAttributeValue("umid =\"2\"", "umid", out), npos);
  EXPECT_EQ(parser.error_text, "getAttributeValue() attributeName not found!");
  EXPECT_EQ(out, "kept");
}

TEST(GetAttributeValue, SingleQuotesAreNotRecognised) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.getAttributeValue("umid='2'", "umid", out), npos);
  EXPECT_EQ(parser.error_text, "getAttributeValue() fromText not found!");
  EXPECT_EQ(out, "kept");
}

TEST(GetAttributeValue, AnUnclosedValueFails) {
  OpenParser parser;
  std::string out = "kept";
  EXPECT_EQ(parser.getAttributeValue("umid=\"2", "umid", out), npos);
  EXPECT_EQ(parser.error_text, "getAttributeValue() toText not found!");
  EXPECT_EQ(out, "kept");
}

TEST(GetAttributeValue, ASuccessKeepsAnEarlierErrorText) {
  OpenParser parser;
  parser.error_text = "earlier";
  std::string out;
  EXPECT_NE(parser.getAttributeValue("a=\"1\"", "a", out), npos);
  EXPECT_EQ(parser.error_text, "earlier");
}

}  // namespace
