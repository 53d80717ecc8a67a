// Opening a video decoder for a stream of the index.
#pragma once

#include "mfimport/caller/result.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

constexpr int kMostThreads = 64;

// Decoder threads; several pictures at once, or the slices of one.
struct ThreadSetting {
  int count = 1;
  int type = FF_THREAD_FRAME;  // or FF_THREAD_SLICE
};

class PictureMemory;

// `reorderDepth`: pictures decoded before and shown after one, as far as is known. The decoder counts stamps
// in pictures: packets are to carry their display number as presentation stamp. Its pictures lie in `memory`,
// or where null in libavcodec's own. Fails as Fault::noDecoder.
Result<lav::CodecContext> openVideoCodec(StreamFacts const& stream, int reorderDepth,
                                         ThreadSetting const& threads, PictureMemory* memory);

bool hasDecoder(AVCodecID codec);

}  // namespace mfimport
