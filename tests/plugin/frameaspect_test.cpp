#include "mpegdecode/frameaspect.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/failure.h"

namespace {

enum Codec { kMpeg1, kMpeg2, kH264, kHevc, kMpeg4, kVc1, kJpeg2000, kDv };

MpegVideoInfo videoOf(Codec codec, int width, int height) {
  MpegVideoInfo video{};
  video.present = 1;
  video.width = width;
  video.height = height;
  video.mpeg2 = codec == kMpeg2;
  video.h264 = codec == kH264;
  video.hevc = codec == kHevc;
  video.mpeg4 = codec == kMpeg4;
  video.vc1 = codec == kVc1;
  video.jpeg2000 = codec == kJpeg2000;
  video.dv = codec == kDv;
  return video;
}

struct SarCase {
  Codec codec;
  int width, height;
  int idc;
  int sarWidth, sarHeight;
  double aspect;
};

MpegVideoInfo videoOf(SarCase const& c) {
  MpegVideoInfo video = videoOf(c.codec, c.width, c.height);
  video.aspectPresent = 1;
  video.aspectIdc = c.idc;
  video.sarWidth = c.sarWidth;
  video.sarHeight = c.sarHeight;
  return video;
}

std::string describe(SarCase const& c) {
  return std::to_string(c.width) + "x" + std::to_string(c.height) + " idc " + std::to_string(c.idc) +
         " sar " + std::to_string(c.sarWidth) + ":" + std::to_string(c.sarHeight);
}

void expectAspects(std::vector<SarCase> const& cases) {
  for (SarCase const& c : cases) EXPECT_EQ(frameAspect(videoOf(c)), c.aspect) << describe(c);
}

double quotient(long num, long den) { return static_cast<double>(num) / static_cast<double>(den); }

TEST(FrameAspect, ExplicitSampleAspectScalesTheSize) {
  expectAspects({{kH264, 1920, 1080, 0, 1, 1, 16.0 / 9.0},
                 {kH264, 1920, 1080, 255, 1, 1, 16.0 / 9.0},
                 {kH264, 1440, 1080, 18, 4, 3, 16.0 / 9.0},
                 {kHevc, 1440, 1080, 255, 4, 3, 16.0 / 9.0},
                 {kMpeg4, 720, 576, 15, 16, 15, 4.0 / 3.0},
                 {kMpeg4, 720, 576, 0, 16, 15, 4.0 / 3.0}});
}

TEST(FrameAspect, ZeroSampleAspectCountsAsOne) {
  expectAspects({{kH264, 1280, 720, 0, 0, 0, 16.0 / 9.0},
                 {kH264, 1280, 720, 0, 0, 2, 8.0 / 9.0},
                 {kH264, 1280, 720, 0, 2, 0, 32.0 / 9.0}});
}

TEST(FrameAspect, SampleAspect3To4AtAnamorphicSizesIsReadAs4To3) {
  expectAspects({{kH264, 1440, 1080, 255, 3, 4, 16.0 / 9.0}, {kH264, 960, 720, 255, 3, 4, 16.0 / 9.0}});
}

TEST(FrameAspect, SampleAspect3To4AtOtherSizesIsKept) {
  expectAspects({{kH264, 1280, 1080, 255, 3, 4, quotient(1280 * 3, 4 * 1080)},
                 {kH264, 1440, 720, 255, 3, 4, quotient(1440 * 3, 4 * 720)}});
}

TEST(FrameAspect, SampleAspectsThatAreHalfASpecialOneAreKept) {
  expectAspects({{kH264, 1440, 1080, 255, 3, 5, quotient(1440 * 3, 5 * 1080)},
                 {kH264, 1440, 1080, 255, 5, 4, quotient(1440 * 5, 4 * 1080)},
                 {kH264, 560, 360, 255, 9, 7, quotient(9 * 560, 7 * 360)},
                 {kH264, 560, 360, 255, 7, 8, quotient(7 * 560, 8 * 360)}});
}

TEST(FrameAspect, SampleAspect9To8At560x360IsExactly16To9) {
  expectAspects(
      {{kH264, 560, 360, 255, 9, 8, 16.0 / 9.0}, {kH264, 560, 362, 255, 9, 8, quotient(9 * 560, 8 * 362)}});
}

TEST(FrameAspect, FixedSizesGiveExactRatios) {
  for (Codec codec : {kH264, kHevc, kMpeg4}) {
    expectAspects({{codec, 720, 576, 2, 0, 0, 4.0 / 3.0},
                   {codec, 720, 576, 4, 0, 0, 16.0 / 9.0},
                   {codec, 544, 576, 4, 0, 0, 4.0 / 3.0},
                   {codec, 544, 576, 12, 0, 0, 16.0 / 9.0},
                   {codec, 480, 576, 10, 0, 0, 4.0 / 3.0},
                   {codec, 480, 576, 6, 0, 0, 16.0 / 9.0},
                   {codec, 720, 480, 3, 0, 0, 4.0 / 3.0},
                   {codec, 720, 480, 5, 0, 0, 16.0 / 9.0},
                   {codec, 544, 480, 5, 0, 0, 4.0 / 3.0},
                   {codec, 544, 480, 13, 0, 0, 16.0 / 9.0}});
  }
  expectAspects({{kH264, 426, 360, 15, 0, 0, 16.0 / 9.0}});
}

TEST(FrameAspect, IndicesOfTheTableScaleOtherSizes) {
  struct Row {
    int idc;
    long a, b;
  };
  for (Row const& row :
       {Row{1, 1, 1}, Row{2, 12, 11}, Row{3, 10, 11}, Row{4, 16, 11}, Row{5, 40, 33}, Row{6, 24, 11},
        Row{7, 20, 11}, Row{8, 32, 11}, Row{9, 80, 33}, Row{10, 18, 11}, Row{11, 15, 11}, Row{12, 64, 33},
        Row{13, 160, 99}, Row{14, 4, 3}, Row{15, 3, 2}, Row{16, 2, 1}}) {
    expectAspects({{kH264, 704, 480, row.idc, 7, 7, quotient(row.a * 704, 480 * row.b)},
                   {kHevc, 704, 480, row.idc, 7, 7, quotient(row.a * 704, 480 * row.b)}});
    if (row.idc <= 14) expectAspects({{kMpeg4, 704, 480, row.idc, 7, 7, quotient(row.a * 704, 480 * row.b)}});
  }
}

TEST(FrameAspect, AFixedSizeWithAnotherIndexIsScaled) {
  expectAspects({{kH264, 720, 576, 1, 0, 0, quotient(720, 576)},
                 {kH264, 426, 360, 1, 0, 0, quotient(426, 360)},
                 {kH264, 720, 480, 2, 0, 0, quotient(720 * 12, 480 * 11)}});
}

struct Failure {
  KyFailureKind kind;
  std::string where;
  bool text;
};

std::vector<Failure> failuresOf(MpegVideoInfo const& video, double& aspect) {
  std::vector<Failure> failures;
  kySetFailureHandler(
      [](void* user, KyFailureKind kind, char const* where, char const* text) {
        static_cast<std::vector<Failure>*>(user)->push_back({kind, where, text != nullptr});
      },
      &failures);
  aspect = frameAspect(video);
  kySetFailureHandler(nullptr, nullptr);
  return failures;
}

TEST(FrameAspect, AnIndexOutsideTheTableRaisesTheExceptionCallAndGivesTheSize) {
  for (int idc : {17, -1, -2147483647}) {
    double aspect = 0.0;
    auto const failures = failuresOf(videoOf({kH264, 1920, 1080, idc, 0, 0, 0.0}), aspect);
    ASSERT_EQ(failures.size(), 1U) << idc;
    EXPECT_EQ(failures[0].kind, KyFailureKind::Exception);
    EXPECT_EQ(failures[0].where, "./mpegdecode/mpeginutil(497)");
    EXPECT_FALSE(failures[0].text);
    EXPECT_EQ(aspect, 16.0 / 9.0);
  }
}

TEST(FrameAspect, ANegativeIndexIsOutsideTheTableAtEverySize) {
  struct Size {
    int width, height;
  };
  for (Size const& size :
       {Size{720, 576}, Size{544, 576}, Size{480, 576}, Size{720, 480}, Size{544, 480}, Size{426, 360}}) {
    double aspect = 0.0;
    auto const failures = failuresOf(videoOf({kH264, size.width, size.height, -1, 0, 0, 0.0}), aspect);
    EXPECT_EQ(failures.size(), 1U) << size.width << "x" << size.height;
    EXPECT_EQ(aspect, quotient(size.width, size.height));
  }
}

TEST(FrameAspect, TheLastIndexOfTheTableRaisesNothing) {
  double aspect = 0.0;
  EXPECT_TRUE(failuresOf(videoOf({kH264, 1920, 1080, 16, 0, 0, 0.0}), aspect).empty());
}

TEST(FrameAspect, WithoutSampleAspectInformationTheCodeDecides) {
  struct Row {
    int code;
    double aspect;
  };
  for (Codec codec : {kMpeg2, kH264, kHevc, kMpeg4, kVc1, kJpeg2000}) {
    for (Row const& row : {Row{0, 720.0 / 576.0}, Row{1, 720.0 / 576.0}, Row{2, 1.3333333}, Row{3, 1.7777778},
                           Row{4, 2.21}, Row{5, 720.0 / 576.0}, Row{-1, 720.0 / 576.0}}) {
      MpegVideoInfo video = videoOf(codec, 720, 576);
      video.aspectCode = row.code;
      EXPECT_EQ(frameAspect(video), row.aspect) << codec << " code " << row.code;
    }
  }
}

TEST(FrameAspect, SampleAspectInformationOfOtherCodecsIsNotUsed) {
  for (Codec codec : {kMpeg2, kVc1, kJpeg2000}) {
    MpegVideoInfo video = videoOf({codec, 720, 576, 2, 0, 0, 0.0});
    video.aspectCode = 3;
    EXPECT_EQ(frameAspect(video), 1.7777778) << codec;
  }
}

TEST(FrameAspect, ADisplayExtensionOfOtherCodecsIsNotUsed) {
  MpegVideoInfo video = videoOf(kVc1, 720, 576);
  video.displayExtension = 1;
  video.displayWidth = 540;
  video.displayHeight = 576;
  video.aspectCode = 2;
  EXPECT_EQ(frameAspect(video), 1.3333333);
}

TEST(FrameAspect, Mpeg2WithADisplayExtensionScalesTheDisplayAspect) {
  MpegVideoInfo video = videoOf(kMpeg2, 720, 608);
  video.displayExtension = 1;
  video.displayWidth = 720;
  video.displayHeight = 576;
  struct Row {
    int code;
    double aspect;
  };
  for (Row const& row : {Row{0, 720.0 / 608.0}, Row{2, 720.0 / (720.0 * 0.75 / 576.0 * 608.0)},
                         Row{3, 720.0 / (720.0 * 0.5625 / 576.0 * 608.0)},
                         Row{4, 720.0 / (720.0 * 0.45248868778280543 / 576.0 * 608.0)},
                         Row{1, 720.0 / (720.0 * (608.0 / 720.0) / 576.0 * 608.0)},
                         Row{9, 720.0 / (720.0 * (608.0 / 720.0) / 576.0 * 608.0)}}) {
    video.aspectCode = row.code;
    EXPECT_DOUBLE_EQ(frameAspect(video), row.aspect) << row.code;
  }
}

TEST(FrameAspect, Mpeg2WithADisplayWidthUnlikeItsOwnScalesByIt) {
  MpegVideoInfo video = videoOf(kMpeg2, 720, 576);
  video.displayExtension = 1;
  video.displayWidth = 540;
  video.displayHeight = 576;
  for (auto [code, aspect] : {std::pair{2, 16.0 / 9.0}, std::pair{3, 64.0 / 27.0}}) {
    video.aspectCode = code;
    EXPECT_DOUBLE_EQ(frameAspect(video), aspect) << code;
  }
}

TEST(FrameAspect, TheWholePictureAsDisplayAreaGivesTheCodedAspect) {
  MpegVideoInfo video = videoOf(kMpeg2, 1920, 1080);
  video.displayExtension = 1;
  video.displayWidth = 1920;
  video.displayHeight = 1080;
  video.aspectCode = 3;
  EXPECT_DOUBLE_EQ(frameAspect(video), 16.0 / 9.0);
}

TEST(FrameAspect, Mpeg1DividesByThePelAspect) {
  constexpr double kPel[15] = {0.0,    1.0,    0.6735, 0.7615, 0.7031, 0.8055, 0.8437, 0.8935,
                               0.9157, 0.9815, 1.0255, 1.0695, 1.095,  1.1575, 1.2015};
  for (Codec codec : {kMpeg1, kDv}) {
    for (int code = 1; code <= 14; ++code) {
      MpegVideoInfo video = videoOf(codec, 1000, 400);
      video.aspectCode = code;
      EXPECT_DOUBLE_EQ(frameAspect(video), 2.5 / kPel[code]) << code;
    }
  }
}

TEST(FrameAspect, Mpeg1SnapsToTheUsualAspects) {
  struct Row {
    int width, height, code;
    double aspect;
  };
  for (Row const& row : {Row{352, 288, 8, 1.3333333333333333}, Row{352, 240, 12, 1.3333333333333333},
                         Row{1430, 1000, 1, 1.3333333333333333}, Row{1240, 1000, 1, 1.3333333333333333},
                         Row{1860, 1000, 1, 1.7777777777777777}, Row{1690, 1000, 1, 1.7777777777777777},
                         Row{1440, 1000, 1, 1.44}, Row{1880, 1000, 1, 1.88}, Row{1220, 1000, 1, 1.22}}) {
    MpegVideoInfo video = videoOf(kMpeg1, row.width, row.height);
    video.aspectCode = row.code;
    EXPECT_EQ(frameAspect(video), row.aspect) << row.width << " code " << row.code;
  }
}

TEST(FrameAspect, Mpeg1OfOtherCodesGivesTheSize) {
  for (int code : {0, 15, -1, 1000}) {
    MpegVideoInfo video = videoOf(kMpeg1, 352, 240);
    video.aspectCode = code;
    EXPECT_EQ(frameAspect(video), 352.0 / 240.0) << code;
  }
}

TEST(FrameAspect, AVideoCdIsFourToThree) {
  MpegVideoInfo video = videoOf(kMpeg1, 352, 288);
  video.profileType = 1;
  video.aspectCode = 3;
  EXPECT_EQ(frameAspect(video), 1.333333);
}

TEST(FrameAspect, MissingSizesGiveWhatTheArithmeticYields) {
  EXPECT_TRUE(std::isnan(frameAspect(videoOf(kMpeg2, 0, 0))));
  EXPECT_EQ(frameAspect(videoOf({kH264, 0, 0, 1, 0, 0, 0.0})), 0.0);
}

}  // namespace
