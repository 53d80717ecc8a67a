// Which samples each packet of sound gives.
#pragma once

#include <memory>
#include <vector>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

struct CountedSamples {
  AudioIndex audio;
  lav::CodecParameters parameters;  // the stream's, with what only its decoder knows
};

// Decodes as many packets as it takes to know. Fails when the file cannot be read; a stream without a decoder
// is counted by its durations.
Result<CountedSamples> countSamples(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                    PacketList const& stream, std::vector<PacketNote> const& notes);

}  // namespace mfimport
