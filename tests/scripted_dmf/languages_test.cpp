// How a language finds its stream.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "mpegdecode/dmflanguages.h"
#include "mpegdecode/dmftext.h"
#include "mpegdecode/subpicstream.h"

namespace {

constexpr int kStream = 3, kTitle = 0;

class AudioLanguages : public testing::Test {
 protected:
  void add(Any const& pid, Any const& program) {
    auto& stream =
        *streams_.emplace_back(std::make_unique<MpegInSubpicStream>(static_cast<int>(streams_.size())));
    AnyDict params;
    if (pid.valid()) params.set("pid", pid);
    if (program.valid()) params.set("program_number", program);
    stream.info().set("codecParams", params);
    list_.append(&stream);
  }
  std::string attach(std::u16string const& language = u"eng") {
    DmfAudioFormat format{};
    std::copy(language.begin(), language.end(), format.language);
    DmfStreamInfo info{};
    info.kind = kDmfAudio;
    info.format = &format;
    attachLanguage(info, kTitle, kStream, list_);
    std::string found;
    for (auto const& stream : streams_) found += stream->info().contains("languageDescriptor") ? '1' : '0';
    return found;
  }

 private:
  std::vector<std::unique_ptr<MpegInSubpicStream>> streams_;
  MpegInStreamList list_;
};

TEST_F(AudioLanguages, StreamWithoutPid_IsNeverMatched) {
  add(Any(), 0);
  add(3, 0);
  EXPECT_EQ(attach(), "01");
}

TEST_F(AudioLanguages, BothValuesMustBe32BitIntegers) {
  add(Any(3L), 0);
  add(3, Any(0L));
  add("3", 0);
  add(3.0, 0);
  add(3, Any());
  EXPECT_EQ(attach(), "00000");
}

TEST_F(AudioLanguages, BothValuesMustBeEqual) {
  add(2, 0);
  add(3, 1);
  EXPECT_EQ(attach(), "00");
}

TEST(LanguageCode, EndsAtTheFirstCharacterWithoutALowByte) {
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 'n', 'g', 0}), "eng");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 0x0100, 'g', 0}), "e");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 'n', 'g', 0x4100}), "eng");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{0x0165, 0x016E, 'g', 'x'}), "engx");
}

// UTF-16 as UTF-8: The Unicode Standard, 3.9, tables 3-5 and 3-6.
TEST(MediaDescription, PairsOfSurrogatesAreOneCharacter) {
  struct {
    std::u16string utf16;
    char const* utf8;
  } const rows[] = {
      {u"plain", "plain"},
      {u"\u07FF\u0800\uD7FF\uE000\uFFFD", "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"},
      {u"a\U00010000b",
       "a\xF0\x90\x80\x80"
       "b"},
      {u"\U000103FF", "\xF0\x90\x8F\xBF"},
      {u"\U00010400", "\xF0\x90\x90\x80"},
      {u"\U0001F600\U0001F601", "\xF0\x9F\x98\x80\xF0\x9F\x98\x81"},
      {u"\U0010FC00", "\xF4\x8F\xB0\x80"},
      {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
  };
  for (auto const& row : rows) {
    std::vector<uint16_t> const characters(row.utf16.begin(), row.utf16.end());
    EXPECT_EQ(dmfText(characters), row.utf8);
  }
}

TEST(MediaDescription, SurrogatesWithoutTheirOtherHalf_AreReplaced) {
  std::string const replaced = "\xEF\xBF\xBD";
  using Three = std::array<uint16_t, 3>;
  EXPECT_EQ(dmfText(Three{0xD800, 'a', 'b'}), replaced + "ab");
  EXPECT_EQ(dmfText(Three{0xDC00, 'a', 'b'}), replaced + "ab");
  EXPECT_EQ(dmfText(Three{0xDC00, 0xDC00, 'b'}), replaced + replaced + "b");
  EXPECT_EQ(dmfText(Three{0xD7FF, 0xDC00, 'b'}), "\xED\x9F\xBF" + replaced + "b");
  EXPECT_EQ(dmfText(Three{0xDBFF, 0xDBFF, 'b'}), replaced + replaced + "b");
  EXPECT_EQ(dmfText(Three{0xD83D, 0xE000, 'b'}), replaced + "\xEE\x80\x80" + "b");
  EXPECT_EQ(dmfText(Three{0xD83D, 'a', 0xDE00}), replaced + "a" + replaced);
  EXPECT_EQ(dmfText(Three{'a', 'b', 0xD83D}), "ab" + replaced);
}

TEST(MediaDescription, WhatStandsBehindTheArray_IsNotOfIt) {
  std::array<uint16_t, 3> const pair{'a', 0xD83D, 0xDE00};
  EXPECT_EQ(dmfText(std::span(pair).first(2)), "a\xEF\xBF\xBD");
  EXPECT_EQ(dmfText(std::span(pair).first(1)), "a");
}

TEST(MediaDescription, EndsAtItsZeroOrWithItsArray) {
  EXPECT_EQ(dmfText(std::array<uint16_t, 4>{'a', 1, 0, 'x'}), "a\x01");
  EXPECT_EQ(dmfText(std::array<uint16_t, 2>{'a', 'b'}), "ab");
  EXPECT_EQ(dmfText(std::array<uint16_t, 1>{0}), "");
}

TEST_F(AudioLanguages, FirstCharacterDecidesWhetherThereIsOne) {
  add(3, 0);
  EXPECT_EQ(attach(u""), "0");
  EXPECT_EQ(attach(std::u16string(u"\0ng", 3)), "0");
  EXPECT_EQ(attach(u"e"), "1");
}

TEST_F(AudioLanguages, FirstMatchAloneIsDescribed) {
  add(1, 0);
  add(3, 0);
  add(3, 0);
  EXPECT_EQ(attach(), "010");
  EXPECT_EQ(attach(), "010") << "and described anew";
}

}  // namespace
