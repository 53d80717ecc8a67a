// What packets of bitmap subtitles tell without being decoded. Any input is allowed.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mediafile/lav.h"

namespace mfimport {

// True when a decoder that begins with `packet` shows what one that has read the whole stream does: every
// packet of DVD subpictures, an epoch start or acquisition point of HDMV presentation graphics (composition
// state not normal case), a page composition of DVB that is an acquisition point or a mode change (ETSI EN
// 300 743 7.2.2).
bool beginsSubpictures(AVCodecParameters const& stream, std::span<uint8_t const> packet);

// True when `packet` is a further piece of what the packet before it began, and is due with that one: a
// segment of HDMV presentation graphics behind its composition.
bool continuesSubpicture(AVCodecParameters const& stream, std::span<uint8_t const> packet);

// Pixels of the display that DVB regions are placed on.
struct SubpictureCanvas {
  int width, height;
};

// The display definition segment of a packet (ETSI EN 300 743 7.2.1), none when it has no such segment.
std::optional<SubpictureCanvas> dvbDisplay(std::span<uint8_t const> packet);

}  // namespace mfimport
