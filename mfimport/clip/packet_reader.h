// Packets of one stream by number.
#pragma once

#include <cstddef>
#include <memory>

#include "mfimport/caller/result.h"
#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// One thread at a time; clip and stream must outlive the reader. A packet that is not the one of the index is
// an error, never delivered.
class PacketReader {
 public:
  enum class Outcome { packet, end, error };

  virtual ~PacketReader() = default;

  // Makes packet `number` of the index the next one. False when the container does not get there.
  virtual bool position(size_t number) = 0;

  // Reads the next packet into `packet`, which must be blank. The position advances, after an error too.
  virtual Outcome next(AVPacket& packet) = 0;

  // The number of the packet that `next` will deliver.
  virtual size_t nextNumber() const = 0;
};

// A reader that starts at packet 0: straight from the file where the index vouches for that, else through the
// demultiplexer. Fails when the file cannot be opened (any more).
Result<std::unique_ptr<PacketReader>> openPacketReader(ClipFacts const& clip, PacketList const& stream,
                                                       ClipAccess const& access);

// Like openPacketReader, always through the demultiplexer.
Result<std::unique_ptr<PacketReader>> openDemuxReader(ClipFacts const& clip, PacketList const& stream,
                                                      ClipAccess const& access);

// Like openPacketReader, always straight from the file.
Result<std::unique_ptr<PacketReader>> openDirectReader(ClipFacts const& clip, PacketList const& stream,
                                                       ClipAccess const& access);

}  // namespace mfimport
