// Which packets make a picture, and in which order pictures are shown.
#pragma once

#include <cstdint>
#include <vector>

#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

// The pictures of a stream with their ranks, by `notes` of its packets. `stampsMayJump`: the clock of the
// stream may begin anew within the file.
PictureOrder orderPictures(PacketList const& stream, std::vector<PacketNote> const& notes,
                           bool stampsMayJump);

// Without the picture decoded last.
PictureOrder withoutLast(PictureOrder order);

// More than about a second of decoding, which opening a file does not spend on looking at pictures.
bool takesLongToDecode(StreamFacts const& stream, size_t pictures);

// True when the stamps leave open whether pictures are shown in another order than they are decoded in.
bool stampsMayBeOfDecoding(PacketList const& stream);

// Presentation order. `ranks[i]` is the place of packet group i; exposed for tests of the rule.
struct StampedPicture {
  int64_t pts, dts;
  bool bidirectional;
};
std::vector<uint32_t> presentationRanks(std::vector<StampedPicture> const& pictures, bool stampsMayJump);

}  // namespace mfimport
