// Blending against a plain formula, and what packets tell without being decoded.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"
#include "mfimport/subpicture/subpicture_blend.h"
#include "mfimport/subpicture/subpicture_index.h"

using namespace mfimport;

namespace {

constexpr PictureColours kSd{6, false};

// A picture in memory of its own, with padding behind every row and around every plane.
class Canvas {
 public:
  Canvas(char const* format, int width, int height, unsigned seed)
      : format_(format), width_(width), height_(height) {
    std::mt19937 random(seed);
    for (int p = 0; p < planes(); ++p) {
      bytes_[p].resize(static_cast<size_t>(stride(p)) * static_cast<size_t>(rows(p)) + 2 * kGuard);
      for (uint8_t& byte : bytes_[p]) byte = static_cast<uint8_t>(random());
    }
  }

  uint32_t fourcc() const { return mpegFourcc({format_[0], format_[1], format_[2], format_[3], 0}); }
  bool planar() const { return format_ == "I420" || format_ == "W016"; }
  bool wide() const { return format_ == "W016" || format_ == "Y216"; }
  bool bgr() const { return format_ == "BGR4"; }
  int width() const { return width_; }
  int height() const { return height_; }
  int planes() const { return planar() ? 3 : 1; }
  int chromaRows() const { return planar() ? 2 : 1; }
  PictureTarget target() {
    PictureTarget target{};
    for (int p = 0; p < planes(); ++p) {
      target.plane[p] = bytes_[p].data() + kGuard;
      target.stride[p] = stride(p);
    }
    return target;
  }

  // Component c (Y, Cb, Cr or B, G, R) of pixel or chroma sample (x, y).
  double get(int c, int x, int y) const {
    auto const [plane, at] = place(c, x, y);
    uint8_t const* from = &bytes_[plane][at];
    uint16_t word = *from;
    if (wide()) std::memcpy(&word, from, 2);
    return word;
  }
  void set(int c, int x, int y, double value) {
    auto const [plane, at] = place(c, x, y);
    auto const word = static_cast<uint16_t>(std::lround(value));
    std::memcpy(&bytes_[plane][at], &word, wide() ? 2 : 1);
  }

  // Largest difference of two components, in levels of 8 bits; bytes that belong to none have to be equal.
  static double difference(Canvas const& a, Canvas const& b) {
    double most = 0;
    double const scale = a.wide() ? 256 : 1;
    for (int p = 0; p < a.planes(); ++p)
      for (size_t i = 0; i < a.bytes_[p].size(); i += a.wide() ? 2 : 1) {
        uint16_t one = a.bytes_[p][i], other = b.bytes_[p][i];
        if (a.wide()) {
          std::memcpy(&one, &a.bytes_[p][i], 2);
          std::memcpy(&other, &b.bytes_[p][i], 2);
        }
        most = std::max(most, std::abs(one - other) / scale);
      }
    return most;
  }

  bool operator==(Canvas const& other) const {
    return bytes_[0] == other.bytes_[0] && bytes_[1] == other.bytes_[1] && bytes_[2] == other.bytes_[2];
  }

 private:
  static constexpr size_t kGuard = 64;

  int rows(int plane) const { return plane == 0 ? height_ : (height_ + 1) / 2; }
  int stride(int plane) const {
    int const pairs = (width_ + 1) / 2, bytes = wide() ? 2 : 1;
    if (bgr()) return 4 * width_ + 12;
    if (planar()) return (plane == 0 ? width_ : pairs) * bytes + 6;
    return 4 * pairs * bytes + 6;
  }
  std::pair<int, size_t> place(int c, int x, int y) const {
    int const bytes = wide() ? 2 : 1;
    int const plane = planar() ? c : 0;
    int word = x;
    if (bgr()) word = 4 * x + c;
    if (!bgr() && !planar()) word = c == 0 ? 2 * x : 4 * x + 2 * c - 1;
    return {plane, kGuard + static_cast<size_t>(stride(plane)) * static_cast<size_t>(y) +
                       static_cast<size_t>(word * bytes)};
  }

  std::string format_;
  int width_, height_;
  std::vector<uint8_t> bytes_[3];
};

struct Colour {
  double alpha = 0, part[3] = {};  // parts multiplied by alpha
};

// BT.601 and BT.709, limited range.
Colour colourOf(uint32_t argb, bool bgr, bool bt709) {
  double const r = argb >> 16 & 255, g = argb >> 8 & 255, b = argb & 255, a = (argb >> 24) / 255.0;
  if (bgr) return {a, {a * b, a * g, a * r}};
  double const kr = bt709 ? 0.2126 : 0.299, kb = bt709 ? 0.0722 : 0.114;
  double const y = kr * r + (1 - kr - kb) * g + kb * b;
  return {a,
          {a * std::round(16 + 219 * y / 255), a * std::round(128 + 112 * (b - y) / (1 - kb) / 255),
           a * std::round(128 + 112 * (r - y) / (1 - kr) / 255)}};
}

// The pixel of the picture, sampled on the grid that canvas and picture have in common.
Colour pixelOf(SubpictureBitmap const& bitmap, SubpictureCanvas canvas, Canvas const& picture, int x, int y,
               bool bt709) {
  if (canvas.width == 0) canvas = {picture.width(), picture.height()};
  Colour sum;
  for (int j = 0; j < canvas.height; ++j)
    for (int i = 0; i < canvas.width; ++i) {
      int64_t const column = int64_t{(x * canvas.width + i) / picture.width()} - bitmap.x;
      int64_t const row = int64_t{(y * canvas.height + j) / picture.height()} - bitmap.y;
      if (column < 0 || row < 0 || column >= bitmap.width || row >= bitmap.height) continue;
      uint32_t const argb = bitmap.argb[bitmap.pixels[static_cast<size_t>(row * bitmap.width + column)]];
      Colour const colour = colourOf(argb, picture.bgr(), bt709);
      sum.alpha += colour.alpha;
      for (int c = 0; c < 3; ++c) sum.part[c] += colour.part[c];
    }
  double const samples = canvas.width * canvas.height;
  sum.alpha /= samples;
  for (double& part : sum.part) part /= samples;
  return sum;
}

void mix(Canvas& picture, int c, int part, int x, int y, Colour const& colour) {
  double const scale = picture.wide() ? 256 : 1;
  picture.set(c, x, y, picture.get(c, x, y) * (1 - colour.alpha) + scale * colour.part[part]);
}

void blendPlainly(SubpictureBitmap const& bitmap, SubpictureCanvas canvas, Canvas& picture, bool bt709) {
  int const rows = picture.chromaRows();
  for (int y = 0; y < picture.height(); ++y)
    for (int x = 0; x < picture.width(); ++x) {
      Colour const colour = pixelOf(bitmap, canvas, picture, x, y, bt709);
      for (int c = 0; c < (picture.bgr() ? 3 : 1); ++c) mix(picture, c, c, x, y, colour);
    }
  if (picture.bgr()) return;
  for (int y = 0; y < (picture.height() + rows - 1) / rows; ++y)
    for (int x = 0; x < (picture.width() + 1) / 2; ++x) {
      Colour mean;
      int pixels = 0;
      for (int v = y * rows; v < std::min((y + 1) * rows, picture.height()); ++v)
        for (int u = 2 * x; u < std::min(2 * x + 2, picture.width()); ++u, ++pixels) {
          Colour const colour = pixelOf(bitmap, canvas, picture, u, v, bt709);
          mean.alpha += colour.alpha;
          for (int c = 0; c < 3; ++c) mean.part[c] += colour.part[c];
        }
      mean.alpha /= pixels;
      for (double& part : mean.part) part /= pixels;
      mix(picture, 1, 1, x, y, mean);
      mix(picture, 2, 2, x, y, mean);
    }
}

SubpictureBitmap bitmapAt(int x, int y, int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  SubpictureBitmap bitmap{
      x, y, width, height, std::vector<uint8_t>(static_cast<size_t>(width) * static_cast<size_t>(height)),
      {}};
  for (uint8_t& pixel : bitmap.pixels) pixel = static_cast<uint8_t>(random());
  for (uint32_t& argb : bitmap.argb) argb = static_cast<uint32_t>(random());
  bitmap.argb[0] &= 0x00FFFFFF;
  bitmap.argb[1] |= 0xFF000000;
  return bitmap;
}

class Blending : public testing::TestWithParam<char const*> {
 protected:
  // Blends and compares; true when the blend changed something.
  bool check(SubpictureBitmap const& bitmap, SubpictureCanvas canvas, int width, int height,
             PictureColours colours = kSd, bool bt709 = false) {
    Canvas clean(GetParam(), width, height, 7);
    // The last pair of an odd row repeats its only pixel where luma and chroma are interleaved.
    bool const repeats = !clean.planar() && !clean.bgr() && width % 2 != 0;
    auto const repeat = [&](Canvas& picture) {
      for (int y = 0; repeats && y < height; ++y) picture.set(0, width, y, picture.get(0, width - 1, y));
    };
    repeat(clean);
    Canvas drawn = clean, expected = clean;
    PreparedSubpicture const prepared({&bitmap, 1}, canvas, clean.fourcc(), width, height, colours);
    prepared.blend(drawn.target());
    blendPlainly(bitmap, canvas, expected, bt709);
    repeat(expected);
    EXPECT_LE(Canvas::difference(drawn, expected), 1.0)
        << GetParam() << " bitmap " << bitmap.width << "x" << bitmap.height << " at " << bitmap.x << ","
        << bitmap.y << " on " << width << "x" << height;
    return !(drawn == clean);
  }
};

INSTANTIATE_TEST_SUITE_P(Formats, Blending, testing::Values("I420", "YUYV", "BGR4", "Y216", "W016"),
                         [](auto const& format) { return std::string(format.param); });

TEST_P(Blending, EvenAndOddPlacesAndSizes_FollowTheFormula) {
  unsigned seed = 1;
  for (auto const& [width, height] : {std::pair(16, 12), std::pair(17, 13), std::pair(1, 1), std::pair(2, 3)})
    for (auto const& [x, y] : {std::pair(0, 0), std::pair(1, 0), std::pair(0, 1), std::pair(3, 5)})
      for (auto const& [w, h] : {std::pair(1, 1), std::pair(4, 4), std::pair(5, 3)})
        check(bitmapAt(x, y, w, h, ++seed), {}, width, height);
}

TEST_P(Blending, WhatReachesOverTheBorders_IsCut) {
  for (auto const& [x, y] : {std::pair(-3, 2), std::pair(2, -3), std::pair(12, 2), std::pair(2, 9),
                             std::pair(-5, -5), std::pair(-1, -1)})
    EXPECT_TRUE(check(bitmapAt(x, y, 8, 6, 3), {}, 15, 11)) << x << "," << y;
  EXPECT_TRUE(check(bitmapAt(-20, -20, 64, 64, 4), {}, 15, 11));
}

TEST_P(Blending, WhatLiesOutside_ChangesNothing) {
  for (auto const& [x, y] :
       {std::pair(15, 0), std::pair(0, 11), std::pair(-8, 0), std::pair(0, -6),
        std::pair(std::numeric_limits<int>::max(), 0), std::pair(0, std::numeric_limits<int>::max()),
        std::pair(std::numeric_limits<int>::min(), std::numeric_limits<int>::min())})
    EXPECT_FALSE(check(bitmapAt(x, y, 8, 6, 3), {}, 15, 11)) << x << "," << y;
  EXPECT_FALSE(check(bitmapAt(0, 0, 0, 0, 3), {}, 15, 11));
}

TEST_P(Blending, TransparentColours_LeaveEveryBitAsItWas) {
  SubpictureBitmap bitmap = bitmapAt(1, 1, 9, 9, 5);
  for (uint32_t& argb : bitmap.argb) argb &= 0x00FFFFFF;
  EXPECT_FALSE(check(bitmap, {}, 17, 13));
  EXPECT_FALSE(check(bitmap, {34, 9}, 17, 13));
}

TEST_P(Blending, OpaqueColours_ReplaceThePicture) {
  SubpictureBitmap bitmap = bitmapAt(0, 0, 17, 13, 6);
  bitmap.argb.fill(0xFFFF8000);
  Canvas picture(GetParam(), 17, 13, 7);
  PreparedSubpicture({&bitmap, 1}, {}, picture.fourcc(), 17, 13, kSd).blend(picture.target());
  Colour const orange = colourOf(0xFFFF8000, picture.bgr(), false);
  for (int c = 0; c < 3; ++c) {
    bool const chroma = c > 0 && !picture.bgr();
    for (int y = 0; y < (chroma ? (13 + picture.chromaRows() - 1) / picture.chromaRows() : 13); ++y)
      for (int x = 0; x < (chroma ? 9 : 17); ++x)
        ASSERT_EQ(picture.get(c, x, y), orange.part[c] * (picture.wide() ? 256 : 1))
            << c << ": " << x << "," << y;
  }
}

TEST_P(Blending, CanvasesOfAnotherSize_AreScaledToThePicture) {
  check(bitmapAt(3, 2, 11, 7, 8), {32, 24}, 16, 12);
  check(bitmapAt(3, 2, 11, 7, 9), {41, 23}, 17, 13);
  check(bitmapAt(1, 1, 3, 3, 10), {7, 5}, 17, 13);
  check(bitmapAt(-2, -3, 50, 40, 11), {36, 30}, 9, 11);
}

TEST_P(Blending, SeveralBitmaps_LieOnEachOtherInTheirOrder) {
  std::vector<SubpictureBitmap> const bitmaps = {bitmapAt(1, 1, 6, 6, 12), bitmapAt(4, 3, 6, 6, 13)};
  Canvas both(GetParam(), 16, 12, 7), one = both;
  PreparedSubpicture(bitmaps, {}, both.fourcc(), 16, 12, kSd).blend(both.target());
  for (SubpictureBitmap const& bitmap : bitmaps)
    PreparedSubpicture({&bitmap, 1}, {}, one.fourcc(), 16, 12, kSd).blend(one.target());
  EXPECT_TRUE(both == one);
}

TEST_P(Blending, TheMatrixOfThePicture_MakesTheColours) {
  check(bitmapAt(1, 1, 9, 9, 14), {}, 17, 13, {1, false}, true);
  check(bitmapAt(1, 1, 9, 9, 14), {}, 17, 13, {2, false}, false);
}

TEST(SubpictureColours, UnspecifiedMatrices_AreThatOfTheSize) {
  constexpr uint32_t kRed = 0xFFFF0000;
  for (int const height : {480, 512, 576, 608, 718})
    EXPECT_EQ(ycbcrOf(kRed, {2, false}, height).y, 81) << height;
  for (int const height : {720, 1080}) EXPECT_EQ(ycbcrOf(kRed, {2, false}, height).y, 63) << height;
  EXPECT_EQ(ycbcrOf(kRed, {6, false}, 1080).y, 81);
  EXPECT_EQ(ycbcrOf(kRed, {9, false}, 1080).y, 74);
}

TEST(SubpictureColours, FullRangePictures_GetFullRangeColours) {
  Ycbcr const white = ycbcrOf(0xFFFFFFFF, {6, true}, 576), limited = ycbcrOf(0xFFFFFFFF, {6, false}, 576);
  EXPECT_EQ(white.y, 255);
  EXPECT_EQ(limited.y, 235);
  EXPECT_EQ(limited.cb, 128);
  EXPECT_EQ(limited.cr, 128);
}

lav::CodecParameters streamOf(AVCodecID codec, std::vector<uint8_t> const& extradata = {}) {
  lav::CodecParameters stream(avcodec_parameters_alloc());
  stream->codec_id = codec;
  if (!extradata.empty()) {
    stream->extradata = static_cast<uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    stream->extradata_size = static_cast<int>(extradata.size());
    std::copy(extradata.begin(), extradata.end(), stream->extradata);
  }
  return stream;
}

TEST(SubpictureStarts, EveryDvdPacketIsOne) {
  EXPECT_TRUE(beginsSubpictures(*streamOf(AV_CODEC_ID_DVD_SUBTITLE), {}));
}

// Type, length; width, height, rate, number, state, ...
std::vector<uint8_t> composition(uint8_t state) {
  return {0x16, 0, 11, 7, 128, 4, 56, 16, 0, 1, state, 0, 0, 0};
}

TEST(SubpictureStarts, EpochsAndAcquisitionPointsOfPresentationGraphicsAreSome) {
  auto const stream = streamOf(AV_CODEC_ID_HDMV_PGS_SUBTITLE);
  EXPECT_TRUE(beginsSubpictures(*stream, composition(0x80)));
  EXPECT_TRUE(beginsSubpictures(*stream, composition(0x40)));
  EXPECT_FALSE(beginsSubpictures(*stream, composition(0x00)));
  std::vector<uint8_t> packet = {0x17, 0, 2, 1, 2};
  EXPECT_FALSE(beginsSubpictures(*stream, packet));
  for (uint8_t byte : composition(0x80)) packet.push_back(byte);
  EXPECT_TRUE(beginsSubpictures(*stream, packet));
  for (size_t size = 0; size < 16; ++size)
    EXPECT_FALSE(beginsSubpictures(*stream, std::span(packet).first(size))) << size;
}

std::vector<uint8_t> page(uint8_t number, int state) {
  return {0x0F, 0x10, 0, number, 0, 2, 30, static_cast<uint8_t>(state << 2)};
}

TEST(SubpictureStarts, AcquisitionPointsAndModeChangesOfTheShownPageAreSome) {
  auto const stream = streamOf(AV_CODEC_ID_DVB_SUBTITLE, {0, 1, 0, 2, 0x10});
  EXPECT_FALSE(beginsSubpictures(*stream, page(1, 0)));
  EXPECT_TRUE(beginsSubpictures(*stream, page(1, 1)));
  EXPECT_TRUE(beginsSubpictures(*stream, page(1, 2)));
  EXPECT_FALSE(beginsSubpictures(*stream, page(3, 2)));
  EXPECT_TRUE(beginsSubpictures(*streamOf(AV_CODEC_ID_DVB_SUBTITLE), page(3, 2)));
}

TEST(DvbDisplays, AreReadFromTheirSegment) {
  std::vector<uint8_t> packet = page(1, 2);
  EXPECT_FALSE(dvbDisplay(packet));
  constexpr uint8_t kDefinition[] = {0x0F, 0x14, 0, 1, 0, 5, 0, 7, 127, 4, 55};
  packet.insert(packet.end(), std::begin(kDefinition), std::end(kDefinition));
  auto const display = dvbDisplay(packet);
  ASSERT_TRUE(display);
  EXPECT_EQ(display->width, 1920);
  EXPECT_EQ(display->height, 1080);
  for (size_t size = 0; size < packet.size(); ++size)
    EXPECT_FALSE(dvbDisplay(std::span(packet).first(size))) << size;
}

}  // namespace
