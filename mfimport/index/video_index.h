// The pictures of one video stream: order, numbers, facts.
#pragma once

#include <memory>
#include <vector>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

// Decodes the first and the last pictures to see which of them can be shown. Fails when the file cannot be
// read.
Result<StreamIndex> indexVideo(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip, PacketList list,
                               std::vector<PacketNote> const& notes);

}  // namespace mfimport
