// The last picture of a file that was cut.
#pragma once

#include "mfimport/media_index.h"

namespace mfimport {

// Whether the picture decoded last is there with all its bytes. Streams whose packets are counted in a table
// or have a length of their own need no look; of others, which a recording may leave or a copy may cut
// anywhere, the last group of pictures is decoded. Reads stream.video.pictures with their ranks.
bool lastPictureIsWhole(const MediaIndex& index, const StreamIndex& stream,
                        const mediafile::FileAccess& access);

}  // namespace mfimport
