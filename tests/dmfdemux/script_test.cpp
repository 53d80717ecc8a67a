// Scripts rebuilt from packets.
#include "dmfdemux/script.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace dmfdemux;

constexpr int64_t kSecond = 1000000;

struct Packet {
  std::string text;
  Times times;
};

std::string whole(ScriptWriter& writer, std::vector<Packet> const& packets) {
  std::deque<Piece> pieces;
  writer.begin(pieces);
  for (Packet const& packet : packets) writer.add(packet.text, packet.times, pieces);
  writer.end(pieces);
  std::string text;
  for (Piece const& piece : pieces) text += piece.text;
  return text;
}

std::string subRip(std::vector<Packet> const& packets) { return whole(*makeSubRipWriter(), packets); }

constexpr char kAssHeader[] =
    "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name\nStyle: Default\n\n"
    "[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

std::string events(std::vector<Packet> const& packets, std::string const& header = kAssHeader) {
  return whole(*makeSubStationWriter(header), packets).substr(header.size());
}

TEST(SubRipScript, BlocksAreNumberedFromOne) {
  EXPECT_EQ(
      subRip({{"one", {kSecond, 2 * kSecond}}, {"two\nlines\n", {3661 * kSecond + 234000, 3662 * kSecond}}}),
      "1\n00:00:01,000 --> 00:00:02,000\none\n\n"
      "2\n01:01:01,234 --> 01:01:02,000\ntwo\nlines\n\n");
}

TEST(SubRipScript, NoEvents_IsEmpty) { EXPECT_EQ(subRip({}), ""); }

TEST(SubRipScript, EmptyLinesWouldEndTheBlock_AndAreLeftOut) {
  EXPECT_EQ(subRip({{"\r\n\none\r\n\r\ntwo\r\r\n", {0, kSecond}}}),
            "1\n00:00:00,000 --> 00:00:01,000\none\ntwo\n\n");
  EXPECT_EQ(subRip({{"\n\r\n", {0, kSecond}}, {"x", {0, kSecond}}}),
            "1\n00:00:00,000 --> 00:00:01,000\nx\n\n");
}

TEST(SubRipScript, WrongTimes_AreBroughtIntoRange) {
  constexpr int64_t kMost = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(subRip({{"a", {-kSecond, -5}}}), "1\n00:00:00,000 --> 00:00:00,000\na\n\n");
  EXPECT_EQ(subRip({{"a", {5 * kSecond, kSecond}}}), "1\n00:00:05,000 --> 00:00:05,000\na\n\n");
  EXPECT_EQ(subRip({{"a", {0, kMost}}}), "1\n00:00:00,000 --> 99:59:59,999\na\n\n");
  EXPECT_EQ(subRip({{"a", {kMost, -kMost}}}), "1\n99:59:59,999 --> 99:59:59,999\na\n\n");
}

TEST(SubRipScript, NulBytesStay) {
  EXPECT_EQ(subRip({{std::string("a\0b", 3), {0, 0}}}),
            std::string("1\n00:00:00,000 --> 00:00:00,000\na\0b\n\n", 37));
}

TEST(AssScript, HeaderComesFirstAndEventsAreDialogueLines) {
  EXPECT_EQ(whole(*makeSubStationWriter(kAssHeader), {{"0,3,Default,Me,0,0,0,,Hi, you", {1230000, 4560000}}}),
            std::string(kAssHeader) + "Dialogue: 3,0:00:01.23,0:00:04.56,Default,Me,0,0,0,,Hi, you\n");
}

TEST(AssScript, EventsComeInTheOrderOfTheScript) {
  EXPECT_EQ(
      events({{"2,0,c", {0, 0}}, {"0,0,a", {0, 0}}, {"1,0,b", {0, 0}}, {"7,0,h", {0, 0}}, {"5,0,f", {0, 0}}}),
      "Dialogue: 0,0:00:00.00,0:00:00.00,a\nDialogue: 0,0:00:00.00,0:00:00.00,b\n"
      "Dialogue: 0,0:00:00.00,0:00:00.00,c\nDialogue: 0,0:00:00.00,0:00:00.00,f\n"
      "Dialogue: 0,0:00:00.00,0:00:00.00,h\n");
}

TEST(AssScript, EventsThatAreNotAheadOfTheirNumber_AreDeliveredAtOnce) {
  auto const writer = makeSubStationWriter(kAssHeader);
  std::deque<Piece> pieces;
  for (char const* packet : {"0,0,a", "0,0,b", "0,0,c", "-4,0,d", "nonsense"})
    writer->add(packet, {}, pieces);
  EXPECT_EQ(pieces.size(), 5U);
  writer->add("99,0,later", {}, pieces);
  EXPECT_EQ(pieces.size(), 5U);
}

TEST(AssScript, LineEndsInsideAnEvent_BecomeTheScriptsOwn) {
  EXPECT_EQ(events({{"0,0,D,,a\r\nb\nDialogue: c\r\n", {0, 0}}}),
            "Dialogue: 0,0:00:00.00,0:00:00.00,D,,a\\Nb\\NDialogue: c\n");
}

TEST(AssScript, TimesRoundToHundredthsAndStayInRange) {
  EXPECT_EQ(events({{"0,0,a", {14999, 15000}},
                    {"1,0,b", {-9, 36000 * kSecond}},
                    {"2,0,c", {20 * kSecond, 10 * kSecond}}}),
            "Dialogue: 0,0:00:00.01,0:00:00.02,a\nDialogue: 0,0:00:00.00,9:59:59.99,b\n"
            "Dialogue: 0,0:00:20.00,0:00:20.00,c\n");
}

TEST(AssScript, WhatFollowsTheEventsInTheHeader_FollowsThemAgain) {
  std::string const header = std::string(kAssHeader) + "\n[Fonts]\nfontname: x\n";
  EXPECT_EQ(whole(*makeSubStationWriter(header), {{"0,0,a", {0, 0}}}),
            std::string(kAssHeader) + "Dialogue: 0,0:00:00.00,0:00:00.00,a\n\n[Fonts]\nfontname: x\n");
}

TEST(AssScript, LineEndsFollowTheHeader) {
  std::string const header = "[V4+ Styles]\r\n[Events]\r\nFormat: Layer, Start, End, Text\r\n";
  EXPECT_EQ(events({{"0,0,a", {0, 0}}}, header), "Dialogue: 0,0:00:00.00,0:00:00.00,a\r\n");
}

TEST(AssScript, HeaderWithoutEvents_GetsThem) {
  EXPECT_EQ(whole(*makeSubStationWriter("[Script Info]\n[V4+ Styles]\n"), {}),
            "[Script Info]\n[V4+ Styles]\n\n[Events]\n"
            "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n");
  std::string const none = whole(*makeSubStationWriter(""), {{"0,0,a", {0, 0}}});
  EXPECT_TRUE(none.starts_with("[Script Info]\n")) << none;
  EXPECT_TRUE(none.ends_with("Text\nDialogue: 0,0:00:00.00,0:00:00.00,a\n")) << none;
}

TEST(SsaScript, EventsAreMarked) {
  std::string const header = "[Script Info]\n\n[V4 Styles]\n\n[Events]\nFormat: Marked, Start, End, Text\n";
  EXPECT_EQ(events({{"0,Marked=1,D,a", {0, 0}}, {"1,0,D,b", {0, 0}}}, header),
            "Dialogue: Marked=1,0:00:00.00,0:00:00.00,D,a\nDialogue: Marked=0,0:00:00.00,0:00:00.00,D,b\n");
}

TEST(ScriptHeader, TellsSsaFromAss) {
  EXPECT_TRUE(isSsaHeader("[Script Info]\n[V4 Styles]\n"));
  EXPECT_FALSE(isSsaHeader("[Script Info]\n[V4+ Styles]\n"));
  EXPECT_FALSE(isSsaHeader("; like [V4 Styles]\n"));
  EXPECT_FALSE(isSsaHeader(""));
}

}  // namespace
