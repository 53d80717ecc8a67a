// Profiles that video is classified by: their codes (MpegVideoInfo::profileType), names and numbers in the
// host.
#pragma once

#include <cstdint>

namespace mpegprofile {

enum Code : uint32_t {
  kMpeg1 = 0,
  kVcd = 1,
  kMpeg2 = 2,
  kSvcd = 3,
  kDvd = 4,
  kDvb = 8,
  kDvhs = 10,
  kAtsc = 11,
  kAtscHi = 12,
  kHdv1 = 18,
  kHdv2 = 19,
  kD10 = 20,  // SMPTE 356M pictures
  kD10At30 = 21,
  kD10At40 = 22,
  kD10At50 = 23,
  kBluRay = 26,
  kBluRayHd = 27,
  kImx = 28,  // the same pictures, in MXF
  kImx30 = 29,
  kImx40 = 30,
  kImx50 = 31,
  kXdcamHd18 = 32,
  kXdcamHd25 = 33,
  kXdcamHd35 = 34,
  kXdcamHd720At25 = 35,
  kXdcamHd720At35 = 36,
  kXdcamHd720At50 = 37,
  kXdcamHd422 = 38,
  kXdcamHd1080Full = 39,
  kXdcamHd1440In422 = 40,
  kXdcamEx1440 = 41,
  kXdcamEx720 = 42,
  kXdcamEx1080 = 43,
  kAvchd = 44
};

struct Profile {
  uint32_t code;
  char const* name;         // shown to people
  uint32_t identifier = 0;  // number in the host; 0: the profile has none of its own
  uint32_t wide = 0;        // that of pictures wider than 720 pixels, where it is another
};

constexpr Profile kProfiles[] = {{kMpeg1, "MPEG1", 0x2160009},
                                 {kVcd, "VCD", 0x2050001},
                                 {kMpeg2, "MPEG2"},
                                 {kSvcd, "SVCD", 0x2040002},
                                 {kDvd, "DVD", 0x2040001},
                                 {kDvb, "DVB", 0x2140003, 0x2140004},
                                 {kDvhs, "DVHS"},
                                 {kAtsc, "ATSC", 0x2140001, 0x2140002},
                                 {kAtscHi, "ATSC HI", 0x2140001, 0x2140002},
                                 {kHdv1, "HDV HD1", 0x2150001},
                                 {kHdv2, "HDV Hd2", 0x2150002},  // the host compares the name as it stands
                                 {kD10, "D10", 0x20d0002},
                                 {kD10At30, "D10", 0x20d0002},
                                 {kD10At40, "D10", 0x20d0003},
                                 {kD10At50, "D10", 0x20d0004},
                                 {kBluRay, "Blu-ray", 0x2030004},
                                 {kBluRayHd, "Blu-ray (HD)", 0x2030003},
                                 {kImx, "XDCAM IMX", 0x20d0002},
                                 {kImx30, "XDCAM IMX", 0x20d0002},
                                 {kImx40, "XDCAM IMX", 0x20d0003},
                                 {kImx50, "XDCAM IMX", 0x20d0004},
                                 {kXdcamHd18, "XDCAM HD", 0x20f0002},
                                 {kXdcamHd25, "XDCAM HD", 0x20f0003},
                                 {kXdcamHd35, "XDCAM HD", 0x20f0004},
                                 {kXdcamHd720At25, "XDCAM HD", 0x20f0007},
                                 {kXdcamHd720At35, "XDCAM HD", 0x20f0008},
                                 {kXdcamHd720At50, "XDCAM HD", 0x20f0009},
                                 {kXdcamHd422, "XDCAM HD", 0x20f0005},
                                 {kXdcamHd1080Full, "XDCAM HD", 0x20f0001},
                                 {kXdcamHd1440In422, "XDCAM HD", 0x20f0005},
                                 {kXdcamEx1440, "XDCAM EX", 0x20e0001},
                                 {kXdcamEx720, "XDCAM EX", 0x20e0002},
                                 {kXdcamEx1080, "XDCAM EX", 0x20e0003},
                                 {kAvchd, "AVCHD"}};

// Null for a code of no profile.
constexpr Profile const* find(uint32_t code) {
  for (Profile const& profile : kProfiles)
    if (profile.code == code) return &profile;
  return nullptr;
}

// Pictures with lines of vertical blanking (SMPTE 356M), of a known bit rate or in MXF.
constexpr bool isImx(uint32_t code) {
  return (code >= kD10At30 && code <= kD10At50) || (code >= kImx && code <= kImx50);
}

}  // namespace mpegprofile
