// Samples of one clip's audio stream, by number.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "mediafile/source.h"
#include "mfimport/audio/audio_codec.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// Work done since the opening.
struct SampleStats {
  int64_t beginnings = 0;  // decoders begun
  int64_t decoded = 0;     // packets sent to them
  int64_t examined = 0;    // packets and entries of the index looked at to find where to begin
};

// One thread at a time; index and stream must outlive it.
class SampleSource {
 public:
  virtual ~SampleSource() = default;

  // Makes `sample` (0 to the number of samples) the next one.
  virtual void seek(int64_t sample) = 0;

  // Writes up to `count` samples of all channels, interleaved, in the layout chosen at opening. The number
  // written, 0 at the end, negative when the file cannot be read.
  virtual int64_t read(uint8_t* out, int64_t count) = 0;

  virtual SampleStats stats() const { return {}; }
};

// PCM straight from the file where that is possible, else through a decoder. Fails when the decoder cannot be
// opened, or a file that is read straight; other files are opened at the first reading.
Result<std::unique_ptr<SampleSource>> openSampleSource(MediaIndex const& index, StreamIndex const& stream,
                                                       SampleLayout const& layout,
                                                       mediafile::FileAccess const& access,
                                                       HostCallbacks const& host);

// The same, but never straight from the file.
Result<std::unique_ptr<SampleSource>> openDecodedSamples(MediaIndex const& index, StreamIndex const& stream,
                                                         SampleLayout const& layout,
                                                         mediafile::FileAccess const& access,
                                                         HostCallbacks const& host);

// Raw PCM words of `codec` to words of native byte order, full scale kept; `values` counts words of all
// channels. False when the codec is not plain PCM.
struct PcmCodec {
  int sourceBytes = 0;  // per word, 0 for no plain PCM
  SampleLayout layout;  // after conversion
};
PcmCodec pcmCodec(AVCodecID codec);
void convertPcm(AVCodecID codec, uint8_t const* in, size_t values, uint8_t* out);

}  // namespace mfimport
