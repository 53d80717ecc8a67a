// Caption bytes to slots, text and files, without a program or a file.
#include "kyhost/text/captions.h"

#include <gtest/gtest.h>

namespace {

using kyhost::CaptionBytes;
using kyhost::Cue;

constexpr double kNtsc = 30000.0 / 1001.0;

uint8_t odd(unsigned byte) { return static_cast<uint8_t>(__builtin_parity(byte) ? byte : byte | 0x80); }

std::vector<uint8_t> triplet(unsigned first, unsigned second, int field = 1) {
  return {static_cast<uint8_t>(field == 1 ? 0xFC : 0xFD), odd(first), odd(second)};
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, std::vector<uint8_t> const& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Sends one pair with each picture from `picture` on.
class Sender {
 public:
  explicit Sender(double rate = kNtsc, int field = 1) : rate_(rate), field_(field), bytes(rate) {}
  Sender& at(int picture) {
    picture_ = picture;
    return *this;
  }
  Sender& code(unsigned first, unsigned second) {
    bytes.add(picture_++ / rate_, triplet(first, second, field_));
    return *this;
  }
  Sender& twice(unsigned first, unsigned second) { return code(first, second).code(first, second); }
  // Loads a word of two letters into the memory that is not shown.
  Sender& load(char const (&word)[3]) {
    return twice(0x14, 0x20)
        .twice(0x14, 0x2E)
        .twice(0x14, 0x70)
        .code(static_cast<unsigned char>(word[0]), static_cast<unsigned char>(word[1]));
  }
  Sender& show() { return twice(0x14, 0x2F); }
  Sender& erase() { return twice(0x14, 0x2C); }

 private:
  double rate_;
  int field_;
  int picture_ = 0;

 public:
  CaptionBytes bytes;
};

TEST(CaptionSlots, APairFillsTheSlotOfItsPicture) {
  CaptionBytes bytes(kNtsc);
  bytes.add(5 / kNtsc, triplet('a', 'b'));
  ASSERT_EQ(bytes.field(1).size(), 6U);
  EXPECT_FALSE(bytes.field(1)[4]);
  EXPECT_EQ(*bytes.field(1)[5], (CaptionBytes::Pair{odd('a'), odd('b')}));
  EXPECT_TRUE(bytes.field(2).empty());
}

TEST(CaptionSlots, SeveralPairsOfAPicture_TakeTheSlotsThatFollow) {
  CaptionBytes bytes(kNtsc);
  bytes.add(0.0, triplet('a', 'b') + triplet('x', 'y', 2) + triplet('c', 'd') + triplet('e', 'f'));
  EXPECT_EQ(bytes.field(1).size(), 3U);
  EXPECT_EQ(bytes.field(2).size(), 1U);
  bytes.add(1 / kNtsc, triplet('g', 'h'));
  ASSERT_EQ(bytes.field(1).size(), 4U);
  EXPECT_EQ((*bytes.field(1)[3])[0], odd('g'));
}

TEST(CaptionSlots, NothingIsTakenFromPaddingAnd708AndInvalidPairs) {
  CaptionBytes bytes(kNtsc);
  bytes.add(0.0, std::vector<uint8_t>{0xFC, 0x80, 0x80, 0xFC, 0x00, 0x00, 0xF8, 0x61, 0x62, 0xFE, 0x61, 0x62,
                                      0xFF, 0x61, 0x62, 0xFC, 0x61});
  EXPECT_EQ(bytes.slots(), 0);
}

TEST(CaptionSlots, PicturesOfTwiceTheRate_ShareSlots) {
  CaptionBytes bytes(2 * kNtsc);
  for (int picture = 1; picture < 20; picture += 2) bytes.add(picture / (2 * kNtsc), triplet('a', 'b'));
  EXPECT_EQ(bytes.slots(), 10);
}

TEST(CaptionTimecode, LeavesOutTwoNumbersAMinute_ButNotEveryTenth) {
  CaptionBytes const bytes(kNtsc);
  EXPECT_EQ(bytes.timecode(0), "00:00:00;00");
  EXPECT_EQ(bytes.timecode(1799), "00:00:59;29");
  EXPECT_EQ(bytes.timecode(1800), "00:01:00;02");
  EXPECT_EQ(bytes.timecode(3597), "00:01:59;29");
  EXPECT_EQ(bytes.timecode(3598), "00:02:00;02");
  EXPECT_EQ(bytes.timecode(17981), "00:09:59;29");
  EXPECT_EQ(bytes.timecode(17982), "00:10:00;00");
  EXPECT_EQ(bytes.timecode(107892), "01:00:00;00");
}

TEST(CaptionTimecode, AtWhole30_CountsEveryPicture) {
  CaptionBytes const bytes(60.0);
  EXPECT_EQ(bytes.timecode(1800), "00:01:00:00");
  EXPECT_DOUBLE_EQ(bytes.seconds(30), 1.0);
}

TEST(CaptionText, ShowsFromThePictureBehindTheCodeThatShowsIt) {
  Sender sender;
  sender.at(10).load("Hi").at(30).show().at(60).erase();
  auto const all = kyhost::decodeCaptions(sender.bytes, 4.0);
  ASSERT_EQ(all[0].size(), 1U);
  EXPECT_EQ(all[0][0].text, "Hi");
  EXPECT_NEAR(all[0][0].from, 31 / kNtsc, 1e-9);
  EXPECT_NEAR(all[0][0].to, 61 / kNtsc, 1e-9);
  EXPECT_TRUE(all[1].empty());
}

TEST(CaptionText, StillShownAtTheEnd_EndsThere) {
  Sender sender;
  sender.load("Hi").show();
  auto const all = kyhost::decodeCaptions(sender.bytes, 2.5);
  ASSERT_EQ(all[0].size(), 1U);
  EXPECT_EQ(all[0][0].to, 2.5);
}

TEST(CaptionText, CodesSentTwice_CountOnce_InBothFieldsAndAcrossAnEmptySlot) {
  for (double rate : {kNtsc, 24.0}) {
    for (int field : {1, 2}) {
      Sender sender(rate, field);
      sender.at(10).load("Hi").show().at(60).erase();
      auto const all = kyhost::decodeCaptions(sender.bytes, 4.0);
      auto const& cues = all[field == 1 ? 0 : 2];
      ASSERT_EQ(cues.size(), 1U) << rate << " field " << field;
      EXPECT_NEAR(cues[0].to, 61 / rate, 0.05);
    }
  }
}

TEST(CaptionText, SentWhileItIsShown_IsOneCueForEachScreen) {
  Sender sender;
  auto const line = [&](int picture, std::string const& text) {
    sender.at(picture).twice(0x14, 0x25).twice(0x14, 0x2D).twice(0x14, 0x70);  // two rows, roll, row 15
    for (size_t i = 0; i + 1 < text.size(); i += 2)
      sender.code(static_cast<unsigned char>(text[i]), static_cast<unsigned char>(text[i + 1]));
  };
  line(0, "one two ");
  line(60, "three ");
  line(120, "four");
  auto const all = kyhost::decodeCaptions(sender.bytes, 6.0);
  ASSERT_EQ(all[0].size(), 3U);
  EXPECT_EQ(all[0][0].text, "one two");
  EXPECT_EQ(all[0][1].text, "one two\nthree");
  EXPECT_EQ(all[0][2].text, "three\nfour");
}

TEST(CaptionText, NoBytes_IsNoText) {
  for (auto const& cues : kyhost::decodeCaptions(CaptionBytes(kNtsc), 1.0)) EXPECT_TRUE(cues.empty());
}

TEST(CaptionFiles, Srt_NumbersItsCues) {
  EXPECT_EQ(kyhost::srtText({{1.0, 2.5, "one\ntwo"}, {3661.0007, 3662.0, "three"}}),
            "1\n00:00:01,000 --> 00:00:02,500\none\ntwo\n\n2\n01:01:01,001 --> 01:01:02,000\nthree\n\n");
  EXPECT_EQ(kyhost::srtText({}), "");
}

TEST(CaptionFiles, Scc_HasALineForEachRun_AndBridgesSingleEmptySlots) {
  Sender sender;
  sender.at(3).code('a', 'b').code('c', 'd').at(6).code('e', 'f').at(1800).code('g', 'h');
  EXPECT_EQ(kyhost::sccText(sender.bytes, 1),
            "Scenarist_SCC V1.0\n\n00:00:00;03\t6162 e364 8080 e5e6\n\n00:01:00;02\t6768\n\n");
  EXPECT_EQ(kyhost::sccText(sender.bytes, 2), "Scenarist_SCC V1.0\n\n");
}

}  // namespace
