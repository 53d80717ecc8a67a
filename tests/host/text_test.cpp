#include "host/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(Text, WritesUtf8WithATerminator) {
  char out[32];
  EXPECT_EQ(KyText::utf32ToUtf8(L"a\u00E9\u20AC\U0001F600", out, sizeof out), 10);
  EXPECT_STREQ(out, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(KyText::utf32ToUtf8(L"", out, sizeof out), 0);
  EXPECT_STREQ(out, "");
}

TEST(Text, CutsBeforeACharacterThatDoesNotFit) {
  for (int size = 1; size <= 8; ++size) {
    char out[9];
    std::memset(out, 'x', sizeof out);
    int const written = KyText::utf32ToUtf8(L"a\u20AC\u20AC", out, size);
    EXPECT_EQ(written, size >= 8 ? 7 : size >= 5 ? 4 : size >= 2 ? 1 : 0) << size;
    EXPECT_EQ(out[written], '\0');
    EXPECT_EQ(out[size], 'x');
  }
}

TEST(Text, WithoutRoomOrTextWritesNothing) {
  char out[4] = "old";
  EXPECT_EQ(KyText::utf32ToUtf8(L"a", out, 0), 0);
  EXPECT_EQ(KyText::utf32ToUtf8(L"a", out, -1), 0);
  EXPECT_STREQ(out, "old");
  EXPECT_EQ(KyText::utf32ToUtf8(L"a", nullptr, 10), 0);
  EXPECT_EQ(KyText::utf32ToUtf8(nullptr, out, 4), 0);
  EXPECT_STREQ(out, "");
}

TEST(Text, CodePointsThatAreNoCharactersAreReplaced) {
  std::wstring const bad = {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000),
                            static_cast<wchar_t>(-1), L'a'};
  EXPECT_EQ(KyText::toUtf8(bad),
            "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
            "a");
}

TEST(Text, EveryCharacterSurvivesTheRoundTrip) {
  std::wstring all;
  for (int c = 0; c <= 0x10FFFF; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all.push_back(static_cast<wchar_t>(c));
  }
  EXPECT_TRUE(KyText::toWide(KyText::toUtf8(all)) == all);
}

TEST(Text, IllFormedBytesAreReplaced) {
  struct {
    char const* bytes;
    wchar_t const* text;
  } const cases[] = {
      {"a\x80z", L"a\uFFFDz"},                            // continuation alone
      {"a\xC3", L"a\uFFFD"},                              // cut at the end
      {"a\xC3z", L"a\uFFFDz"},                            // cut inside
      {"\xC0\xAF", L"\uFFFD\uFFFD"},                      // overlong
      {"\xE0\x80\xAF", L"\uFFFD\uFFFD\uFFFD"},            // overlong, three bytes
      {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},            // surrogate
      {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond Unicode
      {"\xF5", L"\uFFFD"},                                // no lead byte
      {"\xF0\x9F\x98z", L"\uFFFDz"},                      // one replacement for a cut sequence
      {"\xE2\x82\xE2\x82\xAC", L"\uFFFD\u20AC"},
      {"\xFF\xFE", L"\uFFFD\uFFFD"},
  };
  for (auto const& c : cases) EXPECT_EQ(KyText::toWide(c.bytes), c.text);
}

TEST(Text, ZerosInsideAreKept) {
  EXPECT_EQ(KyText::toWide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(KyText::toUtf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

}  // namespace
