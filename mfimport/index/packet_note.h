// What listing the packets notes about each of them beyond what the index keeps.
#pragma once

#include <optional>
#include <span>

#include "mediafile/lav.h"
#include "mfimport/headers/picture_header.h"

namespace mfimport {

// What the pass notes about one packet and the index does not keep.
struct PacketNote {
  int64_t duration = 0;                 // time base of the stream
  uint32_t skipBegin = 0, skipEnd = 0;  // samples, AV_PKT_DATA_SKIP_SAMPLES
  bool hasSkip = false;
  bool key = false;
  bool discard = false;      // outside the edit list: decoded, not delivered
  bool secondField = false;  // completes the picture of the packet before
  bool continues = false;    // a further piece of what the packet before holds
  bool coded = true;         // false: no picture comes out of it
  bool restarts = false;     // order counts anew from here
  bool bidirectional = false;
  uint8_t fields = 2;  // shown, 3 and more with repeats
  int order = 0;       // picture order count of H.264 and HEVC, within a sequence
};

// Tells which fields are the second one of a frame. Pictures in decoding order.
class FieldPairs {
 public:
  bool completes(PictureHeader const& header);

 private:
  std::optional<PictureHeader> open_;  // a first field that waits for its second
};

// What the parser that has just delivered `picture`, and the picture's own header, say about it.
void readNote(AVCodecParserContext const& parser, PictureHeaderReader& headers, FieldPairs& pairs,
              std::span<uint8_t const> picture, PacketNote& note);

// Looks into coded pictures for what containers of elementary streams do not say. One per video stream.
class PictureInspector {
 public:
  explicit PictureInspector(AVCodecParameters const& parameters);
  // `beginning` are the first bytes of the packet, its slice header among them, with the padding behind them
  // that libavcodec asks for.
  void inspect(AVPacket const& packet, std::span<uint8_t const> beginning, PacketNote& note);

 private:
  lav::Parser parser_;  // null for codecs that libavcodec has none for
  lav::CodecContext context_;
  PictureHeaderReader headers_;
  FieldPairs pairs_;
};

}  // namespace mfimport
