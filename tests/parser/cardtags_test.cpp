#include "parser_xdcam_ex/source/cardtags.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string valueOf(std::string_view tag, std::string_view name) {
  CardTags tags(tag);
  auto const first = tags.next();
  if (!first) return "no tag";
  auto const attribute = findAttribute(*first, name);
  return attribute ? attribute->value : "none";
}

std::vector<std::string> names(std::string_view text) {
  std::vector<std::string> found;
  CardTags tags(text);
  while (auto const tag = tags.next())
    found.push_back((tag->closing ? "end of " : "") + std::string(tag->name) + (tag->empty ? "/" : ""));
  return found;
}

TEST(CardTags, AreOpeningClosingAndEmpty) {
  EXPECT_EQ(names("<a x=\"1\"><b/>text<c y='2' /></a>"),
            (std::vector<std::string>{"a", "b/", "c/", "end of a"}));
}

TEST(CardTags, CommentsAndDeclarationsAreNone) {
  EXPECT_EQ(names("<?xml version=\"1.0\"?><!DOCTYPE x><!-- <a>\"'> --><b>"), std::vector<std::string>{"b"});
}

TEST(CardTags, AnAngleWithinQuotesEndsNoTag) {
  EXPECT_EQ(names("<a x=\"1>2\" y='>\"'><b/>"), (std::vector<std::string>{"a", "b/"}));
  EXPECT_EQ(names("<a x=\"\" y='>' z=\">\"><b/>"), (std::vector<std::string>{"a", "b/"}));
  EXPECT_EQ(valueOf("<a x=\"\" y='>' z=\">\">", "z"), ">");
}

TEST(CardTags, ACommentEndsAtItsEndAndNoSooner) {
  EXPECT_EQ(names("<!----><a><!-- > <b> --><c>"), (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(names("<!-- <b--><c>"), std::vector<std::string>{"c"});
  EXPECT_EQ(names("<!-- --><a>--><b>"), (std::vector<std::string>{"a", "b"}));
}

TEST(CardTags, EndWhereATagOrACommentNeverEnds) {
  for (char const* text : {"<a x=\"1", "<a x='1>", "<a", "<", "<!-- x", "", "no tag"})
    EXPECT_TRUE(names(text).empty()) << text;
}

TEST(CardTags, NameEndsAtALineBreak) {
  EXPECT_EQ(names("<Material\n\tumid=\"1\"\r\n/>"), std::vector<std::string>{"Material/"});
}

TEST(CardAttribute, IsTheOneOfExactlyThatName) {
  EXPECT_EQ(valueOf("<a clipumid=\"1\" umidRef=\"2\" umid=\"3\"/>", "umid"), "3");
  EXPECT_EQ(valueOf("<a clipumid=\"1\" umidRef=\"2\"/>", "umid"), "none");
}

TEST(CardAttribute, MayHaveSingleQuotesAndBlanksAroundItsSign) {
  EXPECT_EQ(valueOf("<a b = 'x \"y\"' >", "b"), "x \"y\"");
  EXPECT_EQ(valueOf("<a\n\tb\n=\n\"x\">", "b"), "x");
}

TEST(CardAttribute, HasItsEntitiesResolvedOnce) {
  EXPECT_EQ(valueOf("<a b=\"&lt;&gt;&quot;&apos;&amp;amp;lt;\">", "b"), "<>\"'&amp;lt;");
  EXPECT_EQ(valueOf("<a b=\"&amp;gt;&amp;quot;\">", "b"), "&gt;&quot;");
}

TEST(CardAttribute, WithoutAValue_EndsTheSearch) {
  for (char const* tag :
       {"<a b c=\"1\">", "<a b= c=\"1\">", "<a b=>", "<a b=xyx c=\"1\">", "<a =\"1\" c=\"1\">"})
    EXPECT_EQ(valueOf(tag, "c"), "none") << tag;
}

TEST(CardAttribute, MayBeEmpty) { EXPECT_EQ(valueOf("<a b=\"\" c=\"1\">", "b"), ""); }

TEST(CardAttribute, TellsWhatFollowsIt) {
  CardTags tags("<a b=\"1\" c=\"2\"/>");
  auto const tag = tags.next();
  ASSERT_TRUE(tag);
  EXPECT_EQ(findAttribute(*tag, "b")->rest, " c=\"2\"");
  EXPECT_EQ(findAttribute(*tag, "c")->rest, "");
}

}  // namespace
