// Coded pictures of one stream by number, whatever the packets are that hold them.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "mfimport/clip/media_index.h"
#include "mfimport/clip/packet_reader.h"

namespace mfimport {

// One thread at a time; what it was opened with must outlive the reader.
class PictureReader {
 public:
  using Outcome = PacketReader::Outcome;

  // At picture 0. Fails when the file cannot be opened (any more).
  static Result<std::unique_ptr<PictureReader>> open(ClipFacts const& clip, PacketList const& stream,
                                                     std::span<Picture const> pictures,
                                                     ClipAccess const& access);

  // Makes `picture` the next one. False when the container does not get there.
  bool position(size_t picture);

  // Reads all of the next picture into `packet`, which must be blank, as one packet. The position advances,
  // after an error too.
  Outcome next(AVPacket& packet);

  // The picture that `next` will deliver; the number of pictures at the end.
  size_t nextPicture() const { return next_; }

 private:
  PictureReader(std::span<Picture const> pictures, std::unique_ptr<PacketReader> packets);
  bool append(AVPacket& whole);

  std::span<Picture const> pictures_;
  std::unique_ptr<PacketReader> packets_;
  lav::Packet piece_;
  size_t next_ = 0;
};

}  // namespace mfimport
