// Colours of pictures that are turned into RGB.
#include "kyhost/pictures/rgb_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

using Rgb = std::array<int, 3>;

// One colour, by the equations of ITU-R BT.601 and BT.709 for limited range.
constexpr int kY = 120, kCb = 100, kCr = 180;

Rgb expected(bool bt709) {
  double const kr = bt709 ? 0.2126 : 0.299, kb = bt709 ? 0.0722 : 0.114;
  double const y = (kY - 16) / 219.0, cb = (kCb - 128) / 224.0, cr = (kCr - 128) / 224.0;
  double const red = y + 2 * (1 - kr) * cr, blue = y + 2 * (1 - kb) * cb;
  double const green = (y - kr * red - kb * blue) / (1 - kr - kb);
  auto const level = [](double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
  };
  return {level(red), level(green), level(blue)};
}

Rgb converted(int height, KyYUVMatrix matrix) {
  KyFrame frame;
  EXPECT_EQ(frame.init(kyFourcc("I420"), 64, height), 0);
  frame.setYUVMatrix(matrix);
  int const values[] = {kY, kCb, kCr};
  for (int plane = 0; plane < 3; ++plane)
    for (int row = 0; row < frame.height(plane); ++row)
      std::fill_n(frame.pixelPtr(plane, 0, row), frame.width(plane),
                  static_cast<unsigned char>(values[plane]));
  kyhost::RgbConverter converter;
  AVFrame const& rgb = converter.convert(frame, 64, height, false);
  uint8_t const* const pixel = rgb.data[0] + rgb.linesize[0] * (height / 2) + 3 * 32;
  return {pixel[0], pixel[1], pixel[2]};
}

void expectNear(Rgb const& found, Rgb const& wanted, int height) {
  for (size_t i = 0; i < 3; ++i)
    EXPECT_NEAR(found[i], wanted[i], 2) << "component " << i << " of " << height << " lines";
}

TEST(RgbPicture, WithoutAMatrix_IsBt709From720LinesOn) {
  for (int height : {480, 512, 576, 608, 718})
    expectNear(converted(height, KyYUVMatrix::Unknown), expected(false), height);
  for (int height : {720, 1080}) expectNear(converted(height, KyYUVMatrix::Unknown), expected(true), height);
}

TEST(RgbPicture, WithAMatrix_FollowsItWhateverItsHeight) {
  expectNear(converted(480, KyYUVMatrix::Bt709), expected(true), 480);
  expectNear(converted(1080, KyYUVMatrix::Bt601), expected(false), 1080);
}

}  // namespace
