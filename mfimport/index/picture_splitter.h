// Where coded pictures begin in a stream whose packets are something else: many pictures, or pieces of one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

// libavcodec's parser run over the bytes of all packets in a row. One per stream.
class PictureSplitter {
 public:
  // Frames, or fields that were coded one by one.
  struct Coded {
    int64_t begin;  // in the bytes of all packets
    PacketNote note;
  };

  explicit PictureSplitter(AVCodecParameters const& parameters);

  // False for codecs whose pictures cannot be told apart.
  bool works() const { return parser_ != nullptr; }

  // The bytes of the next packet, with libavcodec's padding behind them.
  void add(std::span<uint8_t const> packet);
  // No more packets: all of them, ascending.
  std::vector<Coded> const& finish();

 private:
  PictureSplitter(lav::CodecParameters const& byteStream, int lengthBytes);
  std::span<uint8_t const> asByteStream(std::span<uint8_t const> packet);
  int parse(std::span<uint8_t const> bytes);

  int lengthBytes_;  // of the fields before NAL units, 0 for start codes
  lav::Parser parser_;
  lav::CodecContext context_;
  PictureHeaderReader headers_;
  FieldPairs pairs_;
  std::vector<Coded> coded_;
  // Where a picture may begin: a packet, or the length field of a NAL unit. So many bytes from there on may
  // be zeros of either side.
  struct Start {
    int64_t position;
    int zeros;
  };
  std::vector<Start> starts_;
  std::vector<uint8_t> buffer_;
  int64_t given_ = 0, parsed_ = 0;
  bool finished_ = false;
};

// Replaces the packets of `stream` and their notes by what `splitter`, which was given the same packets, made
// of them: a packet that holds several pictures becomes an entry for each, and one that continues a picture
// is noted as that.
void splitPackets(PacketList& stream, std::vector<PacketNote>& notes, PictureSplitter& splitter);

// Whether the first packets of a stream are pictures, that is frames or pairs of fields. libavcodec's padding
// lies behind each of them.
bool arePictures(AVCodecParameters const& parameters, std::span<std::span<uint8_t const> const> packets);

}  // namespace mfimport
