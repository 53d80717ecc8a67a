// Opening an audio decoder for a stream of the index, and the sample format that it is to deliver.
#pragma once

#include "mfimport/caller/result.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// The decoder leaves all samples in place: trimming is the caller's. Fails as Fault::noDecoder.
Result<lav::CodecContext> openAudioCodec(AVCodecParameters const& parameters, AVRational timeBase);

// A delivered sample.
struct SampleLayout {
  int bits = 16;  // 16, 20 and 24 packed in 3 bytes, 32
  bool isFloat = false;

  int bytes() const { return bits == 16 ? 2 : bits == 32 ? 4 : 3; }
};

// What a stream delivers unless asked otherwise.
SampleLayout naturalLayout(AVCodecParameters const& parameters);

}  // namespace mfimport
