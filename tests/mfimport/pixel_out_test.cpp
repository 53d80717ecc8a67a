#include "mfimport/video/pixel_out.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "mfimport/mfimport.h"

using namespace mfimport;

namespace {

TEST(PackingRows, Yuyv_InterleavesAndRepeatsTheLastOfOddWidths) {
  uint8_t const y[] = {1, 2, 3}, u[] = {10, 11}, v[] = {20, 21};
  std::array<uint8_t, 8> out{};
  packYuyvRow(y, u, v, 3, out.data());
  EXPECT_EQ(out, (std::array<uint8_t, 8>{1, 10, 2, 20, 3, 11, 3, 21}));
}

TEST(PackingRows, Y216_ShiftsToTheTop) {
  uint16_t const y[] = {1, 1023}, u[] = {512}, v[] = {3};
  std::array<uint16_t, 4> out{};
  packY216Row(y, u, v, 2, 6, out.data());
  EXPECT_EQ(out, (std::array<uint16_t, 4>{64, 512 << 6, 1023 << 6, 192}));
  uint8_t const y8[] = {1, 255}, u8[] = {128}, v8[] = {3};
  packY216Row(y8, u8, v8, 2, out.data());
  EXPECT_EQ(out, (std::array<uint16_t, 4>{256, 0x8000, 0xFF00, 768}));
}

TEST(PackingRows, Words_AreShifted) {
  uint16_t const in[] = {0, 1, 4095};
  std::array<uint16_t, 3> out{};
  shiftRow(in, 3, 4, out.data());
  EXPECT_EQ(out, (std::array<uint16_t, 3>{0, 16, 65520}));
}

lav::Frame picture(AVPixelFormat format, int width, int height) {
  lav::Frame frame = lav::newFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  for (int p = 0; p < 3; ++p) {
    int const rows = p == 0 ? height : AV_CEIL_RSHIFT(height, av_pix_fmt_desc_get(format)->log2_chroma_h);
    for (int i = 0; i < rows * frame->linesize[p]; ++i) frame->data[p][i] = static_cast<uint8_t>(i * 7 + p);
  }
  return frame;
}

TEST(PixelWriting, OddSizes_CopyEveryChromaSample) {
  lav::Frame const frame = picture(AV_PIX_FMT_YUV420P, 17, 19);
  std::vector<uint8_t> planes[3] = {std::vector<uint8_t>(17 * 19), std::vector<uint8_t>(9 * 10),
                                    std::vector<uint8_t>(9 * 10)};
  PictureTarget target{{planes[0].data(), planes[1].data(), planes[2].data(), nullptr}, {17, 9, 9, 0}};
  PixelWriter writer;
  ASSERT_TRUE(writer.write(*frame, mpegFourcc("I420"), target));
  for (int y = 0; y < 10; ++y)
    EXPECT_TRUE(std::equal(planes[2].begin() + 9 * y, planes[2].begin() + 9 * (y + 1),
                           frame->data[2] + y * frame->linesize[2]));
}

TEST(PixelWriting, EveryDecodedLayoutToEveryFormat_HasAConversion) {
  std::vector<uint8_t> planes(4 * 64 * 64 * 8);
  for (AVPixelFormat const from :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUV444P,
        AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUV444P10, AV_PIX_FMT_YUV420P12,
        AV_PIX_FMT_GBRP}) {
    lav::Frame const frame = picture(from, 64, 48);
    for (char const* format : {"I420", "YUYV", "BGR4", "Y216", "W016"}) {
      bool const planar = format[0] == 'I' || format[0] == 'W';
      PictureTarget target{
          {planes.data(), planes.data() + 64 * 64 * 8, planes.data() + 2 * 64 * 64 * 8, nullptr},
          {512, planar ? 512 : 0, planar ? 512 : 0, 0}};
      PixelWriter writer;
      auto const written =
          writer.write(*frame, mpegFourcc({format[0], format[1], format[2], format[3], 0}), target);
      EXPECT_TRUE(written) << av_get_pix_fmt_name(from) << " to " << format << ": " << written.error().text;
    }
  }
}

// ITU-R BT.601 and BT.709 differ most in red.
TEST(PixelWriting, OfPicturesWithoutAMatrix_FollowsTheirHeight) {
  auto const redOf = [](int height) {
    lav::Frame const frame = picture(AV_PIX_FMT_YUV444P, 16, height);
    uint8_t const values[] = {120, 100, 180};
    for (int p = 0; p < 3; ++p) std::fill_n(frame->data[p], frame->linesize[p] * height, values[p]);
    std::vector<uint8_t> rows(static_cast<size_t>(64 * height));
    PixelWriter writer;
    EXPECT_TRUE(writer.write(*frame, mpegFourcc("BGR4"), {{rows.data()}, {64}}));
    return rows[rows.size() / 2 + 2];
  };
  for (int const height : {480, 512, 576, 608, 718}) EXPECT_NEAR(redOf(height), 204, 2) << height;
  for (int const height : {720, 1080}) EXPECT_NEAR(redOf(height), 214, 2) << height;
}

TEST(PixelWriting, TargetsThatDoNotFit_AreRefused) {
  lav::Frame const frame = picture(AV_PIX_FMT_YUV422P10, 64, 48);
  std::vector<uint8_t> plane(64 * 48 * 4 + 1, 0xEE);
  PixelWriter writer;
  PictureTarget narrow{{plane.data(), nullptr, nullptr, nullptr}, {255, 0, 0, 0}};
  EXPECT_FALSE(writer.write(*frame, mpegFourcc("Y216"), narrow));
  PictureTarget odd{{plane.data() + 1, nullptr, nullptr, nullptr}, {256, 0, 0, 0}};
  EXPECT_FALSE(writer.write(*frame, mpegFourcc("Y216"), odd));
  PictureTarget none{};
  EXPECT_FALSE(writer.write(*frame, mpegFourcc("I420"), none));
  EXPECT_TRUE(std::all_of(plane.begin(), plane.end(), [](uint8_t b) { return b == 0xEE; }));
}

}  // namespace
