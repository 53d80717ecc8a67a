#include "host/util.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <limits>
#include <string>

#include "host/codec.h"
#include "host/colour.h"
#include "host/frame.h"
#include "host/ptrlist.h"
#include "tests/host/logcapture.h"
#include "tests/host/tempfolder.h"

namespace {

namespace fs = std::filesystem;

TEST(Util, Pts2FrameNrFollowsItsTable) {
  constexpr double kNtsc = 30000.0 / 1001.0;
  struct {
    long pts;
    double rate;
    bool nearest;
    int frame;
  } const cases[] = {
      {0, 25, false, 0},
      {1080000, 25, false, 1},
      {1079999, 25, false, 1},  // within a thousandth
      {1078000, 25, false, 0},
      {1620000, 25, false, 1},
      {1620000, 25, true, 2},
      {1619999, 25, true, 1},
      {900900, kNtsc, false, 1},
      {901 * 900900L, kNtsc, false, 901},
      {-1, 25, false, 0},
      {-1080000, 25, false, -1},
      {-1620000, 25, false, -2},
      {-500000, 25, true, 0},
      {27000000L * 3600 * 24, 60, false, 5184000},
      {LONG_MAX, 60, false, INT_MAX},
      {LONG_MIN, 60, true, INT_MIN},
      {1080000, 0, false, 0},
      {1080000, -25, false, 0},
      {1080000, std::nan(""), false, 0},
      {1080000, std::numeric_limits<double>::infinity(), false, INT_MAX},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(KyUtil::pts2FrameNr(c.pts, c.rate, c.nearest), c.frame)
        << c.pts << " at " << c.rate << ' ' << c.nearest;
  }
}

TEST(Util, EquIncludesTheTolerance) {
  EXPECT_TRUE(KyUtil::equ(1.0, 1.5, 0.5));
  EXPECT_FALSE(KyUtil::equ(1.0, 1.51, 0.5));
  EXPECT_TRUE(KyNum::equ(2.0, 2.0, 0.0));
  EXPECT_FALSE(KyNum::equ(std::nan(""), std::nan(""), 1.0));
}

TEST(Util, ExchangeableFourccsNameTheSameLayout) {
  auto const same = [](uint32_t a, uint32_t b) {
    return KyUtil::exchengeableFOURCC(static_cast<int>(a), static_cast<int>(b));
  };
  EXPECT_TRUE(same(kyFourcc("YUYV"), kyFourcc("YUY2")));
  EXPECT_TRUE(same(kyFourcc("YUY2"), kyFourcc("YUYV")));
  EXPECT_TRUE(same(kyFourcc("I420"), kyFourcc("IYUV")));
  EXPECT_TRUE(same(kyFourcc("BGRA"), kyFourcc("BGR4")));
  EXPECT_TRUE(same(kyFourcc("W016"), kyFourcc("W016")));
  EXPECT_FALSE(same(kyFourcc("W016"), kyFourcc("I420")));
  EXPECT_FALSE(same(kyFourcc("YUYV"), kyFourcc("Y216")));
}

TEST(Util, IsProfile2CoversItsRange) {
  EXPECT_FALSE(KyUtil::isProfile2(0x202ffff));
  EXPECT_TRUE(KyUtil::isProfile2(0x2030000));
  EXPECT_TRUE(KyUtil::isProfile2(0x216ffff));
  EXPECT_FALSE(KyUtil::isProfile2(0x2170000));
  EXPECT_FALSE(KyUtil::isProfile2(-1));
}

TEST(Util, ExtensionIsThatOfTheFileName) { EXPECT_EQ(KyUtil::getExt("/card/CLPR/a.SMI", true), Any("smi")); }

TEST(Util, DebugOutSetParamIsInformation) {
  LogCapture log(kLogInfo);
  KyCodec const codec(nullptr);
  KyUtil::debugOutSetParam(&codec, "numThreads", 4);
  KyUtil::debugOutSetParam(&codec, "openParameters", AnyDict("disableCC", 1));
  ASSERT_EQ(log.lines.size(), 2U);
  EXPECT_EQ(log.lines[0].second, "[codec] setParam numThreads=4");
  EXPECT_EQ(log.lines[1].second, "[codec] setParam openParameters={disableCC: 1}");
}

class P2Folder : public testing::Test {
 protected:
  TempFolder card;
  AnyDict found;
};

TEST_F(P2Folder, OfAVideoFileNamesEveryFolder) {
  card.write("CONTENTS/VIDEO/0001AB.MXF", "");
  card.write("CONTENTS/AUDIO/0001AB00.MXF", "");
  card.write("CONTENTS/CLIP/0001AB.XML", "");
  ASSERT_TRUE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VIDEO/0001AB.MXF"), found));
  EXPECT_EQ(found["root"], Any(card.path.string()));
  EXPECT_EQ(found["contents"], Any(card.in("CONTENTS")));
  EXPECT_EQ(found["video"], Any(card.in("CONTENTS/VIDEO")));
  EXPECT_EQ(found["audio"], Any(card.in("CONTENTS/AUDIO")));
  EXPECT_EQ(found["clip"], Any(card.in("CONTENTS/CLIP")));
  EXPECT_EQ(found["clipName"], Any("0001AB"));
}

TEST_F(P2Folder, OfAnAudioFileDropsTheChannelDigits) {
  fs::create_directories(card.in("CONTENTS/CLIP"));
  ASSERT_TRUE(KyUtil::getP2FolderStructure(card.in("CONTENTS/AUDIO/0001AB03.MXF"), found));
  EXPECT_EQ(found["clipName"], Any("0001AB"));
  EXPECT_EQ(found["video"], Any(card.in("CONTENTS/VIDEO")));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/AUDIO/0001AB.MXF"), found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/AUDIO/01.MXF"), found));
}

TEST_F(P2Folder, NamesMayHaveAnyCase) {
  fs::create_directories(card.in("Contents/clip"));
  fs::create_directories(card.in("Contents/Audio"));
  ASSERT_TRUE(KyUtil::getP2FolderStructure(card.in("Contents/video/0001AB.mxf"), found));
  EXPECT_EQ(found["clip"], Any(card.in("Contents/clip")));
  EXPECT_EQ(found["audio"], Any(card.in("Contents/Audio")));
  EXPECT_EQ(found["video"], Any(card.in("Contents/video")));
}

TEST_F(P2Folder, IsNotSeenElsewhere) {
  fs::create_directories(card.in("CONTENTS/VIDEO"));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VIDEO/0001AB.MXF"), found)) << "no CLIP folder";
  card.write("CONTENTS/CLIP", "a file");
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VIDEO/0001AB.MXF"), found));
  fs::remove(card.in("CONTENTS/CLIP"));
  fs::create_directories(card.in("CONTENTS/CLIP"));
  EXPECT_TRUE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VIDEO/0001AB.MXF"), found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VIDEO/0001AB.dv"), found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("CONTENTS/VOICE/0001AB.MXF"), found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(card.in("VIDEO/0001AB.MXF"), found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure("0001AB.MXF", found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure("", found));
  EXPECT_FALSE(KyUtil::getP2FolderStructure(Any(), found));
}

TEST_F(P2Folder, RelativePathsAndWideTextWork) {
  fs::create_directories(card.in("CONTENTS/CLIP"));
  fs::create_directories(card.in("CONTENTS/VIDEO"));
  fs::path const before = fs::current_path();
  fs::current_path(card.in("CONTENTS/VIDEO"));
  bool const relative = KyUtil::getP2FolderStructure("./0001AB.MXF", found);
  fs::current_path(before);
  EXPECT_TRUE(relative);
  EXPECT_TRUE(KyUtil::getP2FolderStructure(Any(card.in("CONTENTS//VIDEO/0001AB.MXF")).toWString(), found));
}

TEST(ColourDesc, SurvivesTheWayThroughAValue) {
  KyColourDesc const colour(1, 13, 5);
  EXPECT_EQ(KyColourDesc(colour.toAny()), colour);
  EXPECT_EQ(colour.toAny().asDict()["transfer"], Any(13));
  EXPECT_EQ(KyColourDesc(Any(AnyVector{9, 16, 9})), KyColourDesc(9, 16, 9));
}

TEST(ColourDesc, OtherValuesAreUnspecified) {
  for (Any const& value :
       {Any(), Any(1), Any("1"), Any(AnyVector{1, 1}), Any(AnyVector{1, 1, 1, 1}), Any(AnyDict())}) {
    EXPECT_EQ(KyColourDesc(value), KyColourDesc(2, 2, 2));
  }
  EXPECT_EQ(KyColourDesc(Any(AnyDict("matrix", 1, "primaries", "x"))), KyColourDesc(2, 2, 1));
}

TEST(ColourDesc, MatrixFollowsItsCodeThenThePrimaries) {
  struct {
    int primaries, matrix;
    KyYUVMatrix expected;
  } const cases[] = {
      {2, 0, KyYUVMatrix::Identity}, {9, 1, KyYUVMatrix::Bt709},   {1, 4, KyYUVMatrix::Fcc},
      {1, 5, KyYUVMatrix::Bt601},    {1, 6, KyYUVMatrix::Bt601},   {1, 7, KyYUVMatrix::Smpte240},
      {1, 9, KyYUVMatrix::Bt2020},   {1, 10, KyYUVMatrix::Bt2020}, {1, 2, KyYUVMatrix::Bt709},
      {4, 2, KyYUVMatrix::Fcc},      {5, 2, KyYUVMatrix::Bt601},   {6, 2, KyYUVMatrix::Bt601},
      {7, 2, KyYUVMatrix::Smpte240}, {9, 2, KyYUVMatrix::Bt2020},  {2, 2, KyYUVMatrix::Unknown},
      {1, 8, KyYUVMatrix::Unknown},  {1, -1, KyYUVMatrix::Unknown}};
  for (auto const& c : cases) {
    EXPECT_EQ(KyColourDesc(c.primaries, 2, c.matrix).toYUVMatrix(), c.expected)
        << c.primaries << ' ' << c.matrix;
  }
}

TEST(PtrList, HoldsPointersInOrderAndOwnsNothing) {
  int values[] = {3, 1, 2};
  TPtrList<int> list;
  EXPECT_TRUE(list.empty());
  for (int& value : values) list.append(&value);
  list.sort([](int a, int b) { return a < b; });
  EXPECT_EQ(*list[0], 1);
  EXPECT_EQ(*list.at(2), 3);
  EXPECT_EQ(list.at(3), nullptr);
  EXPECT_EQ(list.at(-1), nullptr);
  list.remove(1);
  list.remove(7);
  list.remove(-1);
  ASSERT_EQ(list.size(), 2);
  EXPECT_EQ(*list[1], 3);
  list.clear();
  EXPECT_EQ(list.size(), 0);
}

}  // namespace
