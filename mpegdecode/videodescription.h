// Descriptions of video streams, and the colour that they tell.
#pragma once

#include "mfimport/mfimport.h"

struct MpegColour {
  int primaries = 2, transfer = 2, matrix = 2;  // ISO/IEC 23091-2 code points, 2 unspecified
};
// That of the stream; what it leaves unspecified is that of `otherwise`.
MpegColour colourOf(MpegVideoInfo const& video, MpegColour const& otherwise);
