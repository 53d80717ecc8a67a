// Coded pictures of one stream by number, whatever the packets are that hold them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "mfimport/clip/media_index.h"
#include "mfimport/clip/packet_reader.h"

namespace mfimport {

// One thread at a time; the index must outlive the reader.
class PictureReader {
 public:
  using Result = PacketReader::Result;

  // At picture 0. Null when the file cannot be opened (any more), with the reason in `error`.
  static std::unique_ptr<PictureReader> open(MediaIndex const& index, StreamIndex const& stream,
                                             mediafile::FileAccess const& access, std::string& error);

  // Makes `picture` the next one. False when the container does not get there.
  bool position(size_t picture);

  // Reads all of the next picture into `packet`, which must be blank, as one packet. The position advances,
  // after an error too.
  Result next(AVPacket& packet);

  // The picture that `next` will deliver; the number of pictures at the end.
  size_t nextPicture() const { return next_; }

 private:
  PictureReader(StreamIndex const& stream, std::unique_ptr<PacketReader> packets);
  bool append(AVPacket& whole);

  StreamIndex const& stream_;
  std::unique_ptr<PacketReader> packets_;
  lav::Packet piece_;
  size_t next_ = 0;
};

}  // namespace mfimport
