#include "mpeg12/mpegutil.h"

#include <cmath>

namespace {

constexpr int kContainerD10 = 6;

uint32_t d10Profile(double bitRate) {
  double const rounded = std::trunc(bitRate + 0.5);
  if (rounded == 5000000.0) return 0x20d0004;
  if (rounded == 4000000.0) return 0x20d0003;
  return 0x20d0002;
}

// Files that conform to no named profile.
uint32_t genericProfile(MpegVideoInfo const& video) {
  if (video.selA == 2) return 0x216000e;
  bool const programStream = video.selB == 1;
  if (video.selC == 6) return programStream ? 0x216000d : 0x216000b;
  if (programStream) return 0x216000c;
  return video.selC == 5 ? 0x216000a : 0x216000b;
}

}  // namespace

char const* profileName(uint32_t profileType) {
  switch (profileType) {
    case 0:
      return "MPEG1";
    case 1:
      return "VCD";
    case 2:
      return "MPEG2";
    case 3:
      return "SVCD";
    case 4:
      return "DVD";
    case 8:
      return "DVB";
    case 10:
      return "DVHS";
    case 11:
      return "ATSC";
    case 12:
      return "ATSC HI";
    case 18:
      return "HDV HD1";
    case 19:
      return "HDV Hd2";
    case 20:
    case 21:
    case 22:
    case 23:
      return "D10";
    case 26:
      return "Blu-ray";
    case 27:
      return "Blu-ray (HD)";
    case 28:
    case 29:
    case 30:
    case 31:
      return "XDCAM IMX";
    case 32:
    case 33:
    case 34:
    case 35:
    case 36:
    case 37:
    case 38:
    case 39:
    case 40:
      return "XDCAM HD";
    case 41:
    case 42:
    case 43:
      return "XDCAM EX";
    case 44:
      return "AVCHD";
    default:
      return "";
  }
}

uint32_t guessProfile(int fileType, MpegVideoInfo const& video) {
  if (fileType == kContainerD10) return d10Profile(video.bitRate);
  if (fileType == kContainerMxfAvcIntra)
    return video.width == 1440 || video.width == 960 ? 0x2100001 : 0x2100002;
  if (video.h264) return video.height > 720 ? 0x2160003 : 0x2160002;

  bool const standardWidth = video.width < 721;
  switch (video.profileType) {
    case 0:
      return 0x2160009;
    case 1:
      return 0x2050001;
    case 3:
      return 0x2040002;
    case 4:
      return 0x2040001;
    case 8:
      return standardWidth ? 0x2140003 : 0x2140004;
    case 11:
    case 12:
      return standardWidth ? 0x2140001 : 0x2140002;
    case 18:
      return 0x2150001;
    case 19:
      return 0x2150002;
    case 20:
    case 21:
    case 28:
    case 29:
      return 0x20d0002;
    case 22:
    case 30:
      return 0x20d0003;
    case 23:
    case 31:
      return 0x20d0004;
    case 26:
      return 0x2030004;
    case 27:
      return 0x2030003;
    case 32:
      return 0x20f0002;
    case 33:
      return 0x20f0003;
    case 34:
      return 0x20f0004;
    case 35:
      return 0x20f0007;
    case 36:
      return 0x20f0008;
    case 37:
      return 0x20f0009;
    case 38:
    case 40:
      return 0x20f0005;
    case 39:
      return 0x20f0001;
    case 41:
      return 0x20e0001;
    case 42:
      return 0x20e0002;
    case 43:
      return 0x20e0003;
    default:
      return genericProfile(video);
  }
}
