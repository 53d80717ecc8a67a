#include "host/frame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

namespace {

struct LayoutCase {
  uint32_t fourcc;
  int width;
  int height;
  int planes;
  int rowBytes[3];
  int planeWidth[3];
  int planeHeight[3];
};

std::ostream& operator<<(std::ostream& out, LayoutCase const& c) {
  for (int i = 0; i < 4; ++i) out << static_cast<char>(c.fourcc >> (8 * i) & 0xFF);
  return out << ' ' << c.width << 'x' << c.height;
}

class FrameLayout : public testing::TestWithParam<LayoutCase> {
 protected:
  void SetUp() override { ASSERT_EQ(frame.init(GetParam().fourcc, GetParam().width, GetParam().height), 0); }
  KyFrame frame;
};

TEST_P(FrameLayout, SizesFollowTheFormat) {
  LayoutCase const& c = GetParam();
  ASSERT_EQ(frame.planes(), c.planes);
  EXPECT_EQ(frame.is420(), c.planes == 3);
  EXPECT_EQ(frame.fourcc(), c.fourcc);
  for (int p = 0; p < c.planes; ++p) {
    EXPECT_EQ(frame.rowBytes(p), c.rowBytes[p]);
    EXPECT_EQ(frame.width(p), c.planeWidth[p]);
    EXPECT_EQ(frame.height(p), c.planeHeight[p]);
    EXPECT_EQ(frame.getFrame_tt().plane[p], frame.pixelPtr(p, 0, 0));
    EXPECT_EQ(frame.getFrame_tt().stride[p], frame.stride(p));
  }
}

TEST_P(FrameLayout, RowsAreAlignedZeroedAndPadded) {
  for (int p = 0; p < frame.planes(); ++p) {
    int const padding = frame.stride(p) - frame.rowBytes(p);
    EXPECT_GE(padding, 64);
    unsigned sum = 0;
    for (int y = 0; y < frame.height(p); ++y) {
      unsigned char* const row = frame.pixelPtr(p, 0, y);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(row) % 64, 0U);
      // Reads past the row, the last one of the plane too, must stay inside the memory.
      for (int i = 0; i < frame.rowBytes(p) + 64; ++i) sum += row[i];
    }
    EXPECT_EQ(sum, 0U);
  }
}

TEST_P(FrameLayout, RowsOfAllPlanesAreDisjoint) {
  unsigned char mark = 1;
  for (int p = 0; p < frame.planes(); ++p) {
    for (int y = 0; y < frame.height(p); ++y) {
      std::memset(frame.pixelPtr(p, 0, y), mark++, static_cast<size_t>(frame.rowBytes(p)));
    }
  }
  mark = 1;
  for (int p = 0; p < frame.planes(); ++p) {
    for (int y = 0; y < frame.height(p); ++y, ++mark) {
      EXPECT_EQ(frame.pixelPtr(p, 0, y)[0], mark);
      EXPECT_EQ(frame.pixelPtr(p, 0, y)[frame.rowBytes(p) - 1], mark);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FrameLayout,
    testing::Values(LayoutCase{kyFourcc("I420"), 16, 8, 3, {16, 8, 8}, {16, 8, 8}, {8, 4, 4}},
                    LayoutCase{kyFourcc("I420"), 17, 9, 3, {17, 9, 9}, {17, 9, 9}, {9, 5, 5}},
                    LayoutCase{kyFourcc("I420"), 1, 1, 3, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}},
                    LayoutCase{kyFourcc("IYUV"), 64, 2, 3, {64, 32, 32}, {64, 32, 32}, {2, 1, 1}},
                    LayoutCase{kyFourcc("W016"), 17, 9, 3, {34, 18, 18}, {17, 9, 9}, {9, 5, 5}},
                    LayoutCase{kyFourcc("YUYV"), 16, 3, 1, {32}, {16}, {3}},
                    LayoutCase{kyFourcc("YUYV"), 17, 3, 1, {36}, {17}, {3}},
                    LayoutCase{kyFourcc("YUY2"), 1, 1, 1, {4}, {1}, {1}},
                    LayoutCase{kyFourcc("Y216"), 15, 3, 1, {64}, {15}, {3}},
                    LayoutCase{kyFourcc("Y216"), 16, 3, 1, {64}, {16}, {3}},
                    LayoutCase{kyFourcc("BGR4"), 5, 3, 1, {20}, {5}, {3}},
                    LayoutCase{kyFourcc("BGRA"), 16, 3, 1, {64}, {16}, {3}},
                    LayoutCase{kyFourcc("b64a"), 5, 3, 1, {40}, {5}, {3}}));

TEST(Frame, LargestSizeIsTakenAndLargerOnesAreNot) {
  KyFrame frame;
  EXPECT_EQ(frame.init(kyFourcc("I420"), 16384, 1), 0);
  EXPECT_EQ(frame.init(kyFourcc("I420"), 16385, 1), -1);
  EXPECT_TRUE(frame.empty());
  EXPECT_EQ(frame.init(kyFourcc("I420"), 1, 16385), -1);
  EXPECT_EQ(frame.init(kyFourcc("I420"), 0, 1), -1);
  EXPECT_EQ(frame.init(kyFourcc("I420"), 1, -1), -1);
  EXPECT_EQ(frame.init(kyFourcc("ABCD"), 16, 16), -1);
  EXPECT_EQ(frame.init(0, 16, 16), -1);
}

TEST(Frame, EmptyFrameHasNothing) {
  KyFrame frame;
  EXPECT_TRUE(frame.empty());
  EXPECT_EQ(frame.width(), 0);
  EXPECT_EQ(frame.stride(), 0);
  EXPECT_EQ(frame.pixelPtr(0, 0, 0), nullptr);
  EXPECT_FALSE(frame.is420());
  frame.changeFOURCC(kyFourcc("I420"));
  EXPECT_EQ(frame.fourcc(), 0U);
  EXPECT_EQ(frame.frameNumber(), 0);
}

TEST(Frame, PixelAddressesOutsideThePlaneAreNull) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("I420"), 5, 3), 0);
  EXPECT_NE(frame.pixelPtr(0, 4, 2), nullptr);
  EXPECT_NE(frame.pixelPtr(1, 2, 1), nullptr);
  EXPECT_EQ(frame.pixelPtr(0, 5, 0), nullptr);
  EXPECT_EQ(frame.pixelPtr(0, 0, 3), nullptr);
  EXPECT_EQ(frame.pixelPtr(0, -1, 0), nullptr);
  EXPECT_EQ(frame.pixelPtr(1, 3, 0), nullptr);
  EXPECT_EQ(frame.pixelPtr(3, 0, 0), nullptr);
  EXPECT_EQ(frame.pixelPtr(-1, 0, 0), nullptr);
  EXPECT_EQ(frame.width(3), 0);
  EXPECT_EQ(frame.height(-1), 0);
}

TEST(Frame, PackedLayoutsGiveTheLumaOfOddPixels) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("YUYV"), 4, 1), 0);
  EXPECT_EQ(frame.pixelPtr(0, 1, 0) - frame.pixelPtr(0, 0, 0), 2);
  EXPECT_EQ(frame.pixelPtr(0, 2, 0) - frame.pixelPtr(0, 0, 0), 4);
  ASSERT_EQ(frame.init(kyFourcc("Y216"), 4, 1), 0);
  EXPECT_EQ(frame.pixelPtr(0, 1, 0) - frame.pixelPtr(0, 0, 0), 4);
  ASSERT_EQ(frame.init(kyFourcc("b64a"), 4, 1), 0);
  EXPECT_EQ(frame.pixelPtr(0, 3, 0) - frame.pixelPtr(0, 0, 0), 24);
}

TEST(Frame, RefersToTheCallersMemoryRowByRow) {
  std::vector<unsigned char> memory(5 * 3 + 2 * (3 * 2));
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("I420"), 5, 3, memory.data()), 0);
  EXPECT_EQ(frame.pixelPtr(0, 0, 0), memory.data());
  EXPECT_EQ(frame.pixelPtr(0, 4, 2), memory.data() + 14);
  EXPECT_EQ(frame.pixelPtr(1, 0, 0), memory.data() + 15);
  EXPECT_EQ(frame.pixelPtr(2, 2, 1), memory.data() + memory.size() - 1);
}

TEST(Frame, RefersToTheCallersPlanes) {
  std::vector<unsigned char> memory(1000);
  unsigned char* const at = memory.data();
  AnyVector const planes{Pair{Any(at, 0), 40}, Pair{Any(at + 400, 0), 20}, Pair{Any(at + 600, 0), 24}};
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("I420"), 32, 8, at, &planes), 0);
  EXPECT_EQ(frame.stride(0), 40);
  EXPECT_EQ(frame.pixelPtr(2, 1, 2), at + 600 + 49);

  AnyVector const tooFew{Pair{Any(at, 0), 40}};
  EXPECT_EQ(frame.init(kyFourcc("I420"), 32, 8, at, &tooFew), -1);
  EXPECT_TRUE(frame.empty());
  AnyVector const tooNarrow{Pair{Any(at, 0), 63}};
  EXPECT_EQ(frame.init(kyFourcc("YUYV"), 32, 8, at, &tooNarrow), -1);
  AnyVector const noAddress{Pair{Any(), 64}};
  EXPECT_EQ(frame.init(kyFourcc("YUYV"), 32, 8, at, &noAddress), -1);
}

TEST(Frame, ViewShowsTheRowsBelowAndKeepsTheMemoryAlive) {
  KyFrame view;
  {
    auto owner = std::make_unique<KyFrame>();
    ASSERT_EQ(owner->init(kyFourcc("I420"), 8, 10), 0);
    *owner->pixelPtr(0, 3, 4) = 77;
    *owner->pixelPtr(2, 1, 2) = 78;
    owner->setFrameNumber(12);
    owner->setFramerate(KyFramerate(25, 1, false, 0));
    owner->setYUVMatrix(KyYUVMatrix::Bt601);
    ASSERT_EQ(view.initView(*owner, 4, 5), 0);
  }
  EXPECT_EQ(view.width(), 8);
  EXPECT_EQ(view.height(), 5);
  EXPECT_EQ(view.height(1), 3);
  EXPECT_EQ(*view.pixelPtr(0, 3, 0), 77);
  EXPECT_EQ(*view.pixelPtr(2, 1, 0), 78);
  EXPECT_EQ(view.frameNumber(), 12);
  EXPECT_EQ(view.framerate().order(), 1);
  EXPECT_EQ(view.yuvMatrix(), KyYUVMatrix::Bt601);
  EXPECT_EQ(view.pixelPtr(0, 0, 5), nullptr);
}

TEST(Frame, ViewOfItselfAndOfAView) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("YUYV"), 8, 10), 0);
  *frame.pixelPtr(0, 0, 5) = 5;
  ASSERT_EQ(frame.initView(frame, 3, 7), 0);
  ASSERT_EQ(frame.initView(frame, 2, 1), 0);
  EXPECT_EQ(*frame.pixelPtr(0, 0, 0), 5);
}

TEST(Frame, ViewOutsideTheFrameOrOnAnOddChromaRowFails) {
  KyFrame owner;
  KyFrame view;
  EXPECT_EQ(view.initView(owner, 0, 1), -1);
  ASSERT_EQ(owner.init(kyFourcc("W016"), 8, 10), 0);
  EXPECT_EQ(view.initView(owner, 1, 4), -1);
  EXPECT_EQ(view.initView(owner, 0, 11), -1);
  EXPECT_EQ(view.initView(owner, 10, 1), -1);
  EXPECT_EQ(view.initView(owner, -2, 2), -1);
  EXPECT_EQ(view.initView(owner, 2, 0), -1);
  EXPECT_EQ(view.initView(owner, 2, 2147483647), -1);
  EXPECT_TRUE(view.empty());
  EXPECT_EQ(view.initView(owner, 8, 2), 0);
  ASSERT_EQ(owner.init(kyFourcc("Y216"), 8, 10), 0);
  EXPECT_EQ(view.initView(owner, 1, 4), 0);
}

TEST(Frame, MovesKeepAddressesAndEmptyTheSource) {
  KyFrame source;
  ASSERT_EQ(source.init(kyFourcc("I420"), 8, 8), 0);
  source.setFrameNumber(3);
  unsigned char const* const address = source.pixelPtr(0, 0, 0);
  KyFrame target(std::move(source));
  EXPECT_EQ(target.pixelPtr(0, 0, 0), address);
  EXPECT_EQ(target.frameNumber(), 3);
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  EXPECT_EQ(source.pixelPtr(0, 0, 0), nullptr);  // NOLINT(clang-analyzer-cplusplus.Move)
  KyFrame& alias = target;
  target = std::move(alias);
  EXPECT_EQ(target.pixelPtr(0, 0, 0), address);
}

TEST(Frame, InitAndDestroyStartAnew) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("I420"), 8, 8), 0);
  frame.setFrameNumber(3);
  KyUserData data;
  data.addDataPacket(2, "ab", 0, 1);
  frame.setUserData(data);
  ASSERT_EQ(frame.init(kyFourcc("I420"), 8, 8), 0);
  EXPECT_EQ(frame.frameNumber(), 0);
  EXPECT_EQ(frame.userData(), nullptr);
  frame.destroy();
  EXPECT_TRUE(frame.empty());
}

TEST(Frame, UserDataIsCopiedAndCleared) {
  KyFrame frame;
  {
    KyUserData data;
    data.addDataPacket(2, "ab", 0, 1);
    frame.setUserData(data);
  }
  ASSERT_NE(frame.userData(), nullptr);
  EXPECT_EQ(frame.userData()->countPackets(1), 1);
  frame.clearUserData();
  EXPECT_EQ(frame.userData(), nullptr);
}

TEST(Frame, ChangeFourccTakesOnlyTheSameMemoryLayout) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("YUYV"), 8, 8), 0);
  frame.changeFOURCC(kyFourcc("YUY2"));
  EXPECT_EQ(frame.fourcc(), kyFourcc("YUY2"));
  EXPECT_EQ(frame.rowBytes(), 16);
  frame.changeFOURCC(kyFourcc("I420"));
  EXPECT_EQ(frame.fourcc(), kyFourcc("YUY2"));
}

}  // namespace
