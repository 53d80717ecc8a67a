// The last picture of a file that was cut.
#pragma once

#include "mfimport/clip/media_index.h"

namespace mfimport {

// Whether the container tells that the last picture is there with all its bytes: packets are counted in a
// table or have a length of their own. Others a recording may leave, or a copy cut, anywhere.
bool containerVouchesForTheEnd(MediaIndex const& index, StreamIndex const& stream,
                               mediafile::FileAccess const& access);

// Whether the picture decoded last is there with all its bytes, found out by decoding the last group of
// pictures; true of groups that take too long. Reads stream.video.pictures with their ranks.
bool lastPictureIsWhole(MediaIndex const& index, StreamIndex const& stream,
                        mediafile::FileAccess const& access);

}  // namespace mfimport
