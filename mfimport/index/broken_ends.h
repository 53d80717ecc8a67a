// Pictures at either end of a clip that are not whole, as where it was cut out of a longer one.
#pragma once

#include <memory>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// Pictures, in display order.
struct BrokenEnds {
  size_t first = 0, last = 0;
};

// None when no picture is whole. Bounded: of ends that take long to decode the pictures count as whole. The
// last ones are looked at only with `lookAtTheEnd`. Fails when the file cannot be read.
Result<BrokenEnds> findBrokenEnds(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                  StreamIndex const& stream, bool lookAtTheEnd);

// Leaves them out of the numbers.
VideoIndex without(VideoIndex video, BrokenEnds const& ends);

}  // namespace mfimport
