// Times of XSUB packets and texts of the records.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "dmfdemux/packets.h"
#include "dmfdemux/title.h"

namespace {

using namespace dmfdemux;

std::optional<Times> times(std::string_view text) {
  return xsubTimes({reinterpret_cast<uint8_t const*>(text.data()), text.size()});
}

TEST(XsubTimes, AreReadFromThePacketsText) {
  auto const read = times("[01:02:03.004-99:59:59.999]picture");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->begin, 3723004000);
  EXPECT_EQ(read->end, 359999999000);
}

TEST(XsubTimes, OtherText_GivesNone) {
  for (char const* text :
       {"", "[00:00:00.000-00:00:00.00]", "(00:00:00.000-00:00:00.000]", "[00:00:00.000 00:00:00.000]",
        "[00:00:00.000-00:00:00.000)", "[0a:00:00.000-00:00:00.000]", "[00:00:00.000-00:00:00,000]",
        "[-1:00:00.000-00:00:00.000]"})
    EXPECT_FALSE(times(text)) << text;
}

std::vector<uint16_t> utf16(std::string_view text) {
  std::array<uint16_t, 4> out{9, 9, 9, 9};
  toUtf16(text, out);
  return {out.begin(), out.end()};
}

TEST(Utf16, FillsTheRestWithZeros) {
  EXPECT_EQ(utf16(""), (std::vector<uint16_t>{0, 0, 0, 0}));
  EXPECT_EQ(utf16("eng"), (std::vector<uint16_t>{'e', 'n', 'g', 0}));
}

TEST(Utf16, IsCutWhereTheRoomEndsAndNeverInsideACharacter) {
  EXPECT_EQ(utf16("german"), (std::vector<uint16_t>{'g', 'e', 'r', 'm'}));
  EXPECT_EQ(utf16("\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"),
            (std::vector<uint16_t>{0xFC, 0x20AC, 0xD83D, 0xDE00}));
  EXPECT_EQ(utf16("abc\xF0\x9F\x98\x80"), (std::vector<uint16_t>{'a', 'b', 'c', 0}));
}

TEST(Utf16, IllFormedBytes_GiveReplacements) {
  EXPECT_EQ(utf16("\xFF"
                  "a"),
            (std::vector<uint16_t>{0xFFFD, 'a', 0, 0}));
  EXPECT_EQ(utf16("\xC3"), (std::vector<uint16_t>{0xFFFD, 0, 0, 0}));
  EXPECT_EQ(utf16("\xC3(x"), (std::vector<uint16_t>{0xFFFD, '(', 'x', 0}));
  EXPECT_EQ(utf16("\xED\xA0\x80"), (std::vector<uint16_t>{0xFFFD, 0, 0, 0}));
  EXPECT_EQ(utf16("\xE0\x80\x80"), (std::vector<uint16_t>{0xFFFD, 0, 0, 0}));
}

}  // namespace
