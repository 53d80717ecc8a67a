#include "mfimport/takelist/takelist.h"

#include <gtest/gtest.h>

using namespace mfimport;

namespace {

TEST(TakeListText, LinesWithCrLf_GiveClipsInOrder) {
  auto const read = parseTakeList("XMP4\r\n/card/BPAV/CLPR/a/a.MP4;  123\r\n/card/BPAV/CLPR/b/b.MP4;  0\r\n");
  ASSERT_TRUE(read);
  TakeList const& list = *read;
  ASSERT_EQ(list.clips.size(), 2U);
  EXPECT_EQ(list.clips[0].path, "/card/BPAV/CLPR/a/a.MP4");
  EXPECT_EQ(list.clips[0].sizeHint, 123U);
  EXPECT_EQ(list.clips[1].path, "/card/BPAV/CLPR/b/b.MP4");
}

TEST(TakeListText, PathWithSemicolons_IsSplitAtTheLastOne) {
  auto const read = parseTakeList("XMP4\r\n/card;1/a; b.MP4;  77\r\n");
  ASSERT_TRUE(read);
  TakeList const& list = *read;
  EXPECT_EQ(list.clips[0].path, "/card;1/a; b.MP4");
  EXPECT_EQ(list.clips[0].sizeHint, 77U);
}

TEST(TakeListText, SizeBeyond32Bit_IsTakenModulo) {
  auto const read = parseTakeList("XMP4\n/a.MP4;  5368709120\n");
  ASSERT_TRUE(read);
  TakeList const& list = *read;
  EXPECT_EQ(list.clips[0].sizeHint, 1073741824U);
}

TEST(TakeListText, LastLineWithoutLineEnd_AndEmptyLines_AreAccepted) {
  auto const read = parseTakeList("XMP4\r\n\r\n/a.MP4;  1\r\n\r\n/b.MP4;  2");
  ASSERT_TRUE(read);
  TakeList const& list = *read;
  EXPECT_EQ(list.clips.size(), 2U);
}

TEST(TakeListText, MalformedLists_AreRefusedWithTheLine) {
  std::string_view const zero("XMP4\r\n/a\0b;  1\r\n", 17);
  for (std::string_view const text :
       {std::string_view("XMP4\r\n/a.MP4\r\n"), std::string_view("XMP4\r\n;  1\r\n"),
        std::string_view("XMP4\r\n/a.MP4;  many\r\n"), std::string_view("XMP4\r\n/a.MP4;  \r\n"), zero}) {
    auto const read = parseTakeList(text);
    ASSERT_FALSE(read) << text;
    EXPECT_EQ(read.error().fault, Fault::takeList);
    EXPECT_NE(read.error().text.find("line 2"), std::string::npos) << read.error().text;
  }
}

TEST(TakeListText, OtherTexts_AreNoTakeLists) {
  EXPECT_FALSE(parseTakeList(""));
  EXPECT_FALSE(parseTakeList("XMP45\r\n/a;  1\r\n"));
  EXPECT_FALSE(parseTakeList("XMP4\r\n"));
  EXPECT_TRUE(isTakeList("XMP4\r"));
  EXPECT_TRUE(isTakeList("XMP4"));
  EXPECT_FALSE(isTakeList("XMP"));
  EXPECT_FALSE(isTakeList("xmp4\r"));
}

}  // namespace
