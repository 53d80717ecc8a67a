// Scripts and texts at the ends of their ranges.
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dmfdemux/packets.h"
#include "dmfdemux/script.h"
#include "dmfdemux/title.h"

namespace {

using namespace dmfdemux;

std::string event(std::string_view packet) {
  auto const writer = makeSubStationWriter("[V4+ Styles]\n[Events]\nFormat: Layer, Start, End, Text\n");
  std::deque<Piece> pieces;
  writer->add(packet, {}, pieces);
  return pieces.empty() ? "" : pieces.front().text;
}

TEST(ScriptEdges, APacketWithoutNumbersIsOnLayerZero) {
  EXPECT_EQ(event("words"), "Dialogue: 0,0:00:00.00,0:00:00.00,words\n");
}

TEST(ScriptEdges, CommasStayWhereNoNumberStandsBeforeThem) {
  EXPECT_EQ(event(",,words"), "Dialogue: 0,0:00:00.00,0:00:00.00,,,words\n");
}

TEST(ScriptEdges, ASectionMayBeginTheHeaderOrFollowAnyLineEnd) {
  for (char const* header : {"[V4 Styles]\n", "\n[V4 Styles]\n", "x\r[V4 Styles]\r", "a\n[V4 Styles]"})
    EXPECT_TRUE(isSsaHeader(header)) << header;
  for (char const* header : {"x[V4 Styles]\n", "\nx[V4 Styles]\n"})
    EXPECT_FALSE(isSsaHeader(header)) << header;
}

TEST(ScriptEdges, EventsMayBeginTheHeader) {
  auto const writer = makeSubStationWriter("[Events]\nFormat: Text\n");
  std::deque<Piece> pieces;
  writer->begin(pieces);
  EXPECT_EQ(pieces.front().text, "[Events]\nFormat: Text\n");
}

TEST(ScriptEdges, AHeaderWithBothStylesIsOneOfAss) {
  EXPECT_FALSE(isSsaHeader("[V4 Styles]\n[V4+ Styles]\n"));
}

TEST(ScriptEdges, EventsWithoutFormatGetOnlyThat) {
  auto const writer = makeSubStationWriter("[Script Info]\n[V4 Styles]\n[Events]\n");
  std::deque<Piece> pieces;
  writer->begin(pieces);
  EXPECT_EQ(
      pieces.front().text,
      "[Script Info]\n[V4 Styles]\n[Events]\nFormat: Marked, Start, End, Style, Name, MarginL, MarginR, "
      "MarginV, Effect, Text\n");
}

TEST(ScriptEdges, OnlyEventsAreEvents) {
  auto const writer = makeSubStationWriter("[V4+ Styles]\n[Events]\nFormat: Text\n[Fonts]\n");
  std::deque<Piece> pieces;
  writer->begin(pieces);
  writer->add("0,0,a", {1, 2}, pieces);
  writer->end(pieces);
  ASSERT_EQ(pieces.size(), 3U);
  EXPECT_FALSE(pieces[0].isEvent);
  EXPECT_TRUE(pieces[1].isEvent);
  EXPECT_EQ(pieces[1].times.begin, 1);
  EXPECT_EQ(pieces[1].times.end, 2);
  EXPECT_FALSE(pieces[2].isEvent);
  EXPECT_EQ(pieces[2].text, "[Fonts]\n");
}

TEST(ScriptEdges, AnEventWaitsForThoseBeforeItAndForNoOther) {
  auto const writer = makeSubStationWriter("[Events]\nFormat: Text\n");
  std::deque<Piece> pieces;
  auto const after = [&](char const* packet) {
    writer->add(packet, {}, pieces);
    return pieces.size();
  };
  EXPECT_EQ(after("1,0,b"), 0U);
  EXPECT_EQ(after("0,0,a"), 2U);
  EXPECT_EQ(after("0,0,once more"), 3U);
  EXPECT_EQ(after("3,0,d"), 3U);
  EXPECT_EQ(after("2,0,c"), 5U);
}

TEST(ScriptEdges, ANumberEndsWithItsPacket) {
  EXPECT_EQ(event(std::string_view("0,07").substr(0, 3)), "Dialogue: 0,0:00:00.00,0:00:00.00,\n");
}

TEST(ScriptEdges, FullHoursAndMinutes) {
  constexpr int64_t kHour = 3600000000;
  constexpr int64_t kMinute = 60000000;
  std::deque<Piece> pieces;
  makeSubRipWriter()->add("a~b", {2 * kHour, 2 * kHour + 2 * kMinute}, pieces);
  EXPECT_EQ(pieces.front().text, "1\n02:00:00,000 --> 02:02:00,000\na~b\n\n");
  pieces.clear();
  makeSubStationWriter("[Events]\nFormat: Text\n")
      ->add("0,0,a", {2 * kHour, 2 * kHour + 2 * kMinute}, pieces);
  EXPECT_EQ(pieces.front().text, "Dialogue: 0,2:00:00.00,2:02:00.00,a\n");
}

std::optional<Times> times(std::string_view text) {
  return xsubTimes({reinterpret_cast<uint8_t const*>(text.data()), text.size()});
}

TEST(XsubEdges, APacketMayEndBehindItsTimes) {
  auto const read = times("[00:00:00.001-09:09:09.999]");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->begin, 1000);
  EXPECT_EQ(read->end, 32949999000);
}

TEST(XsubEdges, WhatStandsBesideTheDigitsIsNone) {
  EXPECT_FALSE(times("[0::00:00.000-00:00:00.000]"));
  EXPECT_FALSE(times("[0/:00:00.000-00:00:00.000]"));
}

std::vector<uint16_t> utf16(std::string_view text) {
  std::array<uint16_t, 4> out{9, 9, 9, 9};
  toUtf16(text, out);
  return {out.begin(), out.end()};
}

TEST(Utf16Edges, NothingIsWrittenBehindTheRoom) {
  std::array<uint16_t, 5> out{9, 9, 9, 9, 9};
  toUtf16("german", std::span(out).first(4));
  EXPECT_EQ(out[4], 9);
}

TEST(Utf16Edges, CharactersFollowAPair) {
  EXPECT_EQ(utf16("\xF0\x9F\x98\x80zz"), (std::vector<uint16_t>{0xD83D, 0xDE00, 'z', 'z'}));
}

struct Character {
  char const* bytes;
  std::vector<uint16_t> units;
};

class Utf16Borders : public testing::TestWithParam<Character> {};

TEST_P(Utf16Borders, GiveWhatTheyEncode) {
  std::vector<uint16_t> expected = GetParam().units;
  expected.resize(4);
  EXPECT_EQ(utf16(GetParam().bytes), expected);
}

// The Unicode Standard, table 3-7: the first and the last of each row, and what stands beside them.
INSTANTIATE_TEST_SUITE_P(WellFormed, Utf16Borders,
                         testing::Values(Character{"\x7F", {0x7F}}, Character{"\xC2\x80", {0x80}},
                                         Character{"\xDF\xBF", {0x7FF}}, Character{"\xE0\xA0\x80", {0x800}},
                                         Character{"\xED\x9F\xBF", {0xD7FF}},
                                         Character{"\xEE\x80\x80", {0xE000}},
                                         Character{"\xEF\xBF\xBF", {0xFFFF}},
                                         Character{"\xF0\x90\x80\x80", {0xD800, 0xDC00}},
                                         Character{"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}}));
INSTANTIATE_TEST_SUITE_P(
    IllFormed, Utf16Borders,
    testing::Values(Character{"\x80", {0xFFFD}}, Character{"\xBF", {0xFFFD}},
                    Character{"\xC1\xBF", {0xFFFD, 0xFFFD}}, Character{"\xE0\x9F\xBF", {0xFFFD}},
                    Character{"\xED\xA0\x80", {0xFFFD}}, Character{"\xED\xBF\xBF", {0xFFFD}},
                    Character{"\xF0\x8F\xBF\xBF", {0xFFFD}}, Character{"\xF4\x90\x80\x80", {0xFFFD}},
                    Character{"\xF5\x80\x80\x80", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}},
                    Character{"\xE2\x82", {0xFFFD, 0xFFFD}}, Character{"\xE2\x82(", {0xFFFD, 0xFFFD, '('}}));

}  // namespace
