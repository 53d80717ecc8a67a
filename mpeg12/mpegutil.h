// Names and host identifiers of the profiles that the import library classifies files by.
#pragma once

#include <cstdint>

#include "mfimport/mfimport.h"

// Display name of a profile type code (MpegVideoInfo::profileType); "" for a code without a name.
char const* profileName(uint32_t profileType);

// The host's number of the profile that a video stream conforms to. `fileType` is the MpegContainer of the
// file, or 6 for a file that the library classifies as D-10 by its container.
uint32_t guessProfile(int fileType, MpegVideoInfo const& video);
