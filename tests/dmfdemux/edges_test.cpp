// Scripts and texts at the ends of their ranges.
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

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

std::vector<uint16_t> utf16(std::string_view text) {
  std::array<uint16_t, 4> out{9, 9, 9, 9};
  toUtf16(text, out);
  return {out.begin(), out.end()};
}

struct Character {
  char const* bytes;
  std::vector<uint16_t> units;
};

class Utf16Edges : public testing::TestWithParam<Character> {};

TEST_P(Utf16Edges, GiveWhatTheyEncode) {
  std::vector<uint16_t> expected = GetParam().units;
  expected.resize(4);
  EXPECT_EQ(utf16(GetParam().bytes), expected);
}

// The Unicode Standard, table 3-7: the first and the last of each row, and what stands beside them.
INSTANTIATE_TEST_SUITE_P(WellFormed, Utf16Edges,
                         testing::Values(Character{"\x7F", {0x7F}}, Character{"\xC2\x80", {0x80}},
                                         Character{"\xDF\xBF", {0x7FF}}, Character{"\xE0\xA0\x80", {0x800}},
                                         Character{"\xED\x9F\xBF", {0xD7FF}},
                                         Character{"\xEE\x80\x80", {0xE000}},
                                         Character{"\xEF\xBF\xBF", {0xFFFF}},
                                         Character{"\xF0\x90\x80\x80", {0xD800, 0xDC00}},
                                         Character{"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}}));
INSTANTIATE_TEST_SUITE_P(
    IllFormed, Utf16Edges,
    testing::Values(Character{"\x80", {0xFFFD}}, Character{"\xBF", {0xFFFD}},
                    Character{"\xC1\xBF", {0xFFFD, 0xFFFD}}, Character{"\xE0\x9F\xBF", {0xFFFD}},
                    Character{"\xED\xA0\x80", {0xFFFD}}, Character{"\xED\xBF\xBF", {0xFFFD}},
                    Character{"\xF0\x8F\xBF\xBF", {0xFFFD}}, Character{"\xF4\x90\x80\x80", {0xFFFD}},
                    Character{"\xF5\x80\x80", {0xFFFD, 0xFFFD, 0xFFFD}},
                    Character{"\xE2\x82", {0xFFFD, 0xFFFD}}, Character{"\xE2\x82(", {0xFFFD, 0xFFFD, '('}}));

}  // namespace
