// Where the decoding of a sound stream has to begin for a packet's samples to be those of linear reading.
// docs/seeking-sound.md tells for every codec what its decoder remembers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "mediafile/lav.h"

namespace mfimport {

// Follows the packets of a stream from somewhere within it, until a decoder that began there gives what it
// gives in linear reading.
class Settling {
 public:
  virtual ~Settling() = default;
  virtual void saw(std::span<uint8_t const> packet) = 0;
  // The samples of packets to come will be right.
  virtual bool settled() const = 0;
  // When settled: so many of the packets seen last would have done.
  virtual size_t needed() const = 0;
  // `packet`, which comes next, can turn up anything that the decoder ever kept: a decoder of its own has to
  // begin `needed` packets before it, in linear reading too.
  virtual bool mistrusts(std::span<uint8_t const> /*packet*/) const { return false; }
};

// Null for codecs that settle by no rule, or never entirely: those are decoded in runs.
std::unique_ptr<Settling> settlingOf(AVCodecParameters const& parameters);

// Packets to begin with before the wanted one, and the most to look at when those do not settle the decoder.
struct Preroll {
  size_t first, most;
};
Preroll prerollOf(AVCodecID codec);

// Noise generators, predictors and filters that feed back run on for as long as a decoder lives. Their
// streams are decoded in runs of some minutes, also in linear reading: a decoder begins anew `preroll`
// packets before each run, so that a sample is the same however it is reached, at the cost of one run at
// most.
struct Runs {
  size_t packets, preroll;
};
// `samples` are those of one packet.
Runs runsOf(AVCodecParameters const& parameters, int samples);

}  // namespace mfimport
