#pragma once

#include "mfimport/mfimport.h"

// Width to height of the picture as it is to be shown, from what the stream signals, with fixed corrections
// for sizes that are commonly signalled wrong. Incomplete information gives what the arithmetic yields.
// Raises a host exception failure for H.264 and HEVC aspect_ratio_idc 17 and for a negative one; when that
// returns, the result is width / height.
double frameAspect(MpegVideoInfo const& video);
