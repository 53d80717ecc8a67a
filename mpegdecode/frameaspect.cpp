#include "mpegdecode/frameaspect.h"

#include <iterator>

#include "host/failure.h"
#include "host/framerate.h"
#include "host/util.h"
#include "mfimport/profiles.h"

namespace {

double ratio(long num, long den) { return KyRatio(num, den).reduce().ratio(); }

bool isSize(MpegVideoInfo const& video, int width, int height) {
  return video.width == width && video.height == height;
}

double widthToHeight(MpegVideoInfo const& video) {
  return static_cast<double>(video.width) / static_cast<double>(video.height);
}

// aspect_ratio_idc 1 to 16, ITU-T H.264 table E-1.
struct SampleAspect {
  long width, height;
};
constexpr SampleAspect kSampleAspects[] = {{1, 1},    {12, 11}, {10, 11}, {16, 11}, {40, 33}, {24, 11},
                                           {20, 11},  {32, 11}, {80, 33}, {18, 11}, {15, 11}, {64, 33},
                                           {160, 99}, {4, 3},   {3, 2},   {2, 1}};

// Sizes whose usual indices mean exactly 4:3 or 16:9 of the whole picture.
constexpr int kNoIndex = 0;  // 0 stands for an explicit sample aspect
struct ExactAspect {
  int width, height;
  int idc43, idc169;
};
constexpr ExactAspect kExactAspects[] = {{720, 576, 2, 4}, {544, 576, 4, 12}, {480, 576, 10, 6},
                                         {720, 480, 3, 5}, {544, 480, 5, 13}, {426, 360, kNoIndex, 15}};

double explicitSampleAspect(MpegVideoInfo const& video) {
  long const sarWidth = video.sarWidth == 0 ? 1 : video.sarWidth;
  long const sarHeight = video.sarHeight == 0 ? 1 : video.sarHeight;
  long const width = video.width;
  long const height = video.height;
  if (sarWidth == 3 && sarHeight == 4) {
    // Anamorphic HD whose encoders write the reciprocal.
    if (isSize(video, 1440, 1080) || isSize(video, 960, 720)) return ratio(width * 4, 3 * height);
    return ratio(width * 3, 4 * height);
  }
  if (sarWidth == 9 && sarHeight == 8 && isSize(video, 560, 360)) return ratio(16, 9);
  return ratio(sarWidth * width, sarHeight * height);
}

double indexedSampleAspect(MpegVideoInfo const& video) {
  int const idc = video.aspectIdc;
  for (ExactAspect const& exact : kExactAspects) {
    if (!isSize(video, exact.width, exact.height)) continue;
    if (idc == exact.idc43) return ratio(4, 3);
    if (idc == exact.idc169) return ratio(16, 9);
  }
  if (idc < 1 || idc > static_cast<int>(std::size(kSampleAspects))) {
    kyExceptionFail("./mpegdecode/mpeginutil(497)", nullptr);
    return widthToHeight(video);
  }
  SampleAspect const& aspect = kSampleAspects[idc - 1];
  return ratio(aspect.width * video.width, video.height * aspect.height);
}

// ISO/IEC 13818-2 aspect_ratio_information without a display size.
double codedAspect(MpegVideoInfo const& video) {
  switch (video.aspectCode) {
    case 2:
      return 1.3333333;
    case 3:
      return 1.7777778;
    case 4:
      return 2.21;
    default:
      return widthToHeight(video);
  }
}

// The aspect code describes the display area of sequence_display_extension; the coded picture may be larger.
double displayAreaAspect(MpegVideoInfo const& video) {
  double const width = video.width;
  double const height = video.height;
  double k = height / width;
  switch (video.aspectCode) {
    case 0:
      return widthToHeight(video);
    case 2:
      k = 0.75;
      break;
    case 3:
      k = 0.5625;
      break;
    case 4:
      k = 0.45248868778280543;
      break;
    default:
      break;
  }
  return width / (video.displayWidth * k / video.displayHeight * height);
}

double mpeg1Aspect(MpegVideoInfo const& video) {
  // By ISO/IEC 11172-2 table of pel aspect ratios, but for entries 3 and 4, which are exchanged, and entry 8:
  // existing material was described with these values.
  static constexpr double kPelAspects[] = {1.0,    0.6735, 0.7615, 0.7031, 0.8055, 0.8437, 0.8935,
                                           0.9157, 0.9815, 1.0255, 1.0695, 1.095,  1.1575, 1.2015};
  if (video.profileType == mpegprofile::kVcd) return 1.333333;
  int const code = video.aspectCode;
  if (code < 1 || code > static_cast<int>(std::size(kPelAspects))) return widthToHeight(video);
  double aspect = widthToHeight(video) / kPelAspects[code - 1];
  if (KyUtil::equ(aspect, 4.0 / 3.0, 0.1)) aspect = 1.3333333333333333;
  if (KyUtil::equ(aspect, 16.0 / 9.0, 0.1)) aspect = 1.7777777777777777;
  return aspect;
}

}  // namespace

double frameAspect(MpegVideoInfo const& video) {
  bool const avcLike = video.h264 || video.hevc;
  if (video.aspectPresent && (avcLike || video.mpeg4)) {
    int const limit = avcLike ? 17 : 14;
    bool const explicitAspect = video.aspectIdc == 0 || video.aspectIdc > limit;
    return explicitAspect ? explicitSampleAspect(video) : indexedSampleAspect(video);
  }
  bool const otherCodec = video.mpeg4 || avcLike || video.vc1 || video.jpeg2000;
  if (otherCodec || (video.mpeg2 && !video.displayExtension)) return codedAspect(video);
  return video.mpeg2 ? displayAreaAspect(video) : mpeg1Aspect(video);
}
