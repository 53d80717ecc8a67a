// The pass over all packets of a file.
#pragma once

#include <vector>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

struct ScannedStream {
  PacketList list;
  std::vector<PacketNote> notes;  // one per packet
  SubpictureIndex subpictures;    // of bitmap subtitles
};

// Lists the packets of `streams`. Where those of a video stream are no pictures, they are taken apart and put
// together to pictures. Where the container has tables of its packets, payload is left unread once the
// beginning has been compared with the file. Damage is read over; fails when the file cannot be read.
Result<std::vector<ScannedStream>> scanPackets(ClipFile& file, ClipFacts const& clip,
                                               std::vector<StreamFacts> streams, HostMemory const& memory);

}  // namespace mfimport
