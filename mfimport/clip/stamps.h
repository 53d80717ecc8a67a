// When pictures are shown, 27 MHz.
#pragma once

#include <cstdint>
#include <vector>

#include "mfimport/clip/media_index.h"

namespace mfimport {

// Of every shown picture of a video stream, by display number. A picture without a stamp of its own (program
// streams give one to each pack only, AVI none at all) lies evenly between its neighbours, or at the
// measured rate beside the only one.
std::vector<int64_t> displayStamps(StreamIndex const& stream);

// Of display number 0; 0 for a stream without pictures.
int64_t firstDisplayStamp(StreamIndex const& stream);

}  // namespace mfimport
