#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "host/frame.h"

namespace {

int expected8(int y) { return 16 + static_cast<int>(std::lround(y * 219.0 / 255.0)); }
int expected16(int y) { return 4096 + static_cast<int>(std::lround(y * 876.0 / 1023.0)); }

uint16_t wordAt(unsigned char const* p) {
  uint16_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

TEST(YSwingCorrect, MapsEveryByteOfPlanarLumaAndNoChroma) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("I420"), 257, 2), 0);
  for (int x = 0; x < 256; ++x) *frame.pixelPtr(0, x, 1) = static_cast<unsigned char>(x);
  *frame.pixelPtr(0, 256, 1) = 255;
  std::memset(frame.pixelPtr(1, 0, 0), 200, 129);
  YSwingCorrect().correct(frame);
  for (int x = 0; x < 256; ++x) EXPECT_EQ(*frame.pixelPtr(0, x, 1), expected8(x)) << x;
  EXPECT_EQ(*frame.pixelPtr(0, 256, 1), 235);
  EXPECT_EQ(*frame.pixelPtr(0, 0, 0), 16);
  EXPECT_EQ(*frame.pixelPtr(1, 0, 0), 200);
  EXPECT_EQ(*frame.pixelPtr(2, 0, 0), 0);
}

TEST(YSwingCorrect, LeavesWhatLiesBehindTheRows) {
  std::vector<unsigned char> memory(100 * 2, 255);
  AnyVector const planes{Pair{Any(memory.data(), 0), 100}};
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("YUYV"), 45, 2, memory.data(), &planes), 0);  // 92 bytes
  YSwingCorrect().correct(frame);
  for (size_t i = 0; i < memory.size(); ++i) {
    size_t const x = i % 100;
    EXPECT_EQ(memory[i], x < 92 && x % 2 == 0 ? 235 : 255) << i;
  }
}

TEST(YSwingCorrect, MapsPackedLumaOfEveryValue) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("YUY2"), 256, 1), 0);
  for (int x = 0; x < 256; ++x) {
    frame.pixelPtr(0, x, 0)[0] = static_cast<unsigned char>(x);
    frame.pixelPtr(0, x, 0)[1] = static_cast<unsigned char>(255 - x);
  }
  YSwingCorrect().correct(frame);
  for (int x = 0; x < 256; ++x) {
    EXPECT_EQ(frame.pixelPtr(0, x, 0)[0], expected8(x));
    EXPECT_EQ(frame.pixelPtr(0, x, 0)[1], 255 - x);
  }
}

TEST(YSwingCorrect, Maps16BitLumaOfBothLayoutsWithinOneStep) {
  for (uint32_t const fourcc : {kyFourcc("W016"), kyFourcc("Y216")}) {
    KyFrame frame;
    ASSERT_EQ(frame.init(fourcc, 256, 256), 0);
    for (int v = 0; v < 65536; ++v) {
      auto const word = static_cast<uint16_t>(v);
      std::memcpy(frame.pixelPtr(0, v % 256, v / 256), &word, 2);
      if (fourcc == kyFourcc("Y216")) std::memset(frame.pixelPtr(0, v % 256, v / 256) + 2, 0xAB, 2);
    }
    YSwingCorrect().correct(frame);
    for (int v = 0; v < 65536; ++v) {
      unsigned char const* const p = frame.pixelPtr(0, v % 256, v / 256);
      ASSERT_NEAR(wordAt(p), expected16(v), 1) << v;
      uint16_t const chroma = fourcc == kyFourcc("Y216") ? wordAt(p + 2) : 0xABAB;
      ASSERT_EQ(chroma, 0xABAB);
    }
  }
}

TEST(YSwingCorrect, TenBitBlackAndWhiteBecomeExact) {
  KyFrame frame;
  ASSERT_EQ(frame.init(kyFourcc("W016"), 2, 1), 0);
  uint16_t const white = 1023 << 6;
  std::memcpy(frame.pixelPtr(0, 1, 0), &white, 2);
  YSwingCorrect().correct(frame);
  EXPECT_EQ(wordAt(frame.pixelPtr(0, 0, 0)), 64 << 6);
  EXPECT_EQ(wordAt(frame.pixelPtr(0, 1, 0)), 940 << 6);
}

TEST(YSwingCorrect, LeavesRgbAndEmptyFramesAlone) {
  for (uint32_t const fourcc : {kyFourcc("BGR4"), kyFourcc("BGRA"), kyFourcc("b64a")}) {
    KyFrame frame;
    ASSERT_EQ(frame.init(fourcc, 8, 1), 0);
    std::memset(frame.pixelPtr(0, 0, 0), 255, static_cast<size_t>(frame.rowBytes()));
    YSwingCorrect().correct(frame);
    for (int i = 0; i < frame.rowBytes(); ++i) EXPECT_EQ(frame.pixelPtr(0, 0, 0)[i], 255);
  }
  KyFrame empty;
  YSwingCorrect().correct(empty);
  EXPECT_TRUE(empty.empty());
}

}  // namespace
