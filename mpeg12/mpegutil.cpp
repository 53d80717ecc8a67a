#include "mpeg12/mpegutil.h"

#include <cmath>

#include "mfimport/profiles.h"

namespace {

constexpr int kContainerD10 = 6;
constexpr int kWidestStandardDefinition = 720;

uint32_t identifierOf(mpegprofile::Code code) { return mpegprofile::find(code)->identifier; }

uint32_t d10Profile(double bitRate) {
  double const rounded = std::trunc(bitRate + 0.5);
  if (rounded == 5000000.0) return identifierOf(mpegprofile::kD10At50);
  if (rounded == 4000000.0) return identifierOf(mpegprofile::kD10At40);
  return identifierOf(mpegprofile::kD10At30);
}

// Files that conform to no profile of the host's own.
uint32_t genericProfile(MpegVideoInfo const& video) {
  if (video.selA == 2) return 0x216000e;
  bool const programStream = video.selB == 1;
  if (video.selC == 6) return programStream ? 0x216000d : 0x216000b;
  if (programStream) return 0x216000c;
  return video.selC == 5 ? 0x216000a : 0x216000b;
}

}  // namespace

char const* profileName(uint32_t profileType) {
  mpegprofile::Profile const* const profile = mpegprofile::find(profileType);
  return profile ? profile->name : "";
}

uint32_t guessProfile(int fileType, MpegVideoInfo const& video) {
  if (fileType == kContainerD10) return d10Profile(video.bitRate);
  if (fileType == kContainerMxfAvcIntra)
    return video.width == 1440 || video.width == 960 ? 0x2100001 : 0x2100002;
  if (video.h264) return video.height > 720 ? 0x2160003 : 0x2160002;

  mpegprofile::Profile const* const profile = mpegprofile::find(video.profileType);
  if (!profile || profile->identifier == 0) return genericProfile(video);
  return profile->wide != 0 && video.width > kWidestStandardDefinition ? profile->wide : profile->identifier;
}
