// Bit stream information along an AC-3 or E-AC-3 track.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "mediafile/source.h"
#include "mfimport/clip/packet_reader.h"
#include "mfimport/headers/dolby_info.h"
#include "mfimport/takelist/media.h"

namespace mfimport {

// One thread at a time. Reads with a reader of its own, so that asking does not disturb the decoding of the
// same track; nothing is opened before the first question.
class DolbyPackets {
 public:
  DolbyPackets(std::shared_ptr<Media const> media, size_t streamNumber, mediafile::FileAccess access);

  // The information of the packet that gives `sample`; at the end of a clip that of its last one. Valid until
  // the next call, never null. Fails when the packet cannot be read or says nothing.
  Result<DolbyInfo const*> at(int64_t sample);

 private:
  Result<void> read(AudioTrack::Part const& part, size_t packet);

  AudioTrack track_;
  mediafile::FileAccess access_;
  std::unique_ptr<PacketReader> reader_;
  size_t part_ = SIZE_MAX;    // that reader_ reads
  size_t packet_ = SIZE_MAX;  // that info_ describes, of part_
  std::optional<DolbyInfo> info_;
};

}  // namespace mfimport
