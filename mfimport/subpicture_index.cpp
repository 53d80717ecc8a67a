#include "mfimport/subpicture_index.h"

#include <cstddef>

namespace mfimport {
namespace {

uint32_t big16(std::span<const uint8_t> data, size_t at) {
  return static_cast<uint32_t>(data[at]) << 8 | data[at + 1];
}

constexpr uint8_t kPresentation = 0x16;  // segment type of HDMV presentation graphics

// Segments of HDMV presentation graphics: type, 16-bit length, payload. A packet holds one or a whole set.
bool beginsEpoch(std::span<const uint8_t> packet) {
  constexpr size_t kHead = 3, kState = 7;  // behind width, height, frame rate and number of the composition
  while (packet.size() >= kHead) {
    const size_t length = big16(packet, 1);
    if (packet[0] == kPresentation)
      return packet.size() > kHead + kState && length > kState && packet[kHead + kState] >> 6 != 0;
    if (packet.size() - kHead < length) return false;
    packet = packet.subspan(kHead + length);
  }
  return false;
}

struct DvbSegment {
  uint8_t type;
  uint32_t page;
  std::span<const uint8_t> payload;
};

// ETSI EN 300 743 7.2: sync byte, type, page, length, payload. `visit` returns true to end the walk.
template <class Visit>
bool anyDvbSegment(std::span<const uint8_t> packet, Visit visit) {
  constexpr uint8_t kDataIdentifier = 0x20, kSync = 0x0F;
  constexpr size_t kHead = 6;
  if (packet.size() >= 2 && packet[0] == kDataIdentifier) packet = packet.subspan(2);
  while (packet.size() >= kHead && packet[0] == kSync) {
    const size_t length = big16(packet, 4);
    if (packet.size() - kHead < length) return false;
    if (visit(DvbSegment{packet[1], big16(packet, 2), packet.subspan(kHead, length)})) return true;
    packet = packet.subspan(kHead + length);
  }
  return false;
}

bool beginsPage(const AVCodecParameters& stream, std::span<const uint8_t> packet) {
  constexpr uint8_t kPageComposition = 0x10;
  const auto extradata = lav::extradata(stream);
  return anyDvbSegment(packet, [&](const DvbSegment& segment) {
    if (segment.type != kPageComposition || segment.payload.size() < 2) return false;
    // The decoder shows the first pair of pages that the subtitling descriptor names.
    if (extradata.size() >= 4 && segment.page != big16(extradata, 0)) return false;
    const int state = segment.payload[1] >> 2 & 3;
    return state == 1 || state == 2;
  });
}

}  // namespace

bool beginsSubpictures(const AVCodecParameters& stream, std::span<const uint8_t> packet) {
  switch (stream.codec_id) {
    case AV_CODEC_ID_DVD_SUBTITLE:
      return true;
    case AV_CODEC_ID_HDMV_PGS_SUBTITLE:
      return beginsEpoch(packet);
    case AV_CODEC_ID_DVB_SUBTITLE:
      return beginsPage(stream, packet);
    default:
      return false;
  }
}

bool continuesSubpicture(const AVCodecParameters& stream, std::span<const uint8_t> packet) {
  return stream.codec_id == AV_CODEC_ID_HDMV_PGS_SUBTITLE && !packet.empty() && packet[0] != kPresentation;
}

std::optional<SubpictureCanvas> dvbDisplay(std::span<const uint8_t> packet) {
  constexpr uint8_t kDisplayDefinition = 0x14;
  std::optional<SubpictureCanvas> display;
  anyDvbSegment(packet, [&](const DvbSegment& segment) {
    if (segment.type != kDisplayDefinition || segment.payload.size() < 5) return false;
    display = SubpictureCanvas{static_cast<int>(big16(segment.payload, 1)) + 1,
                               static_cast<int>(big16(segment.payload, 3)) + 1};
    return true;
  });
  return display;
}

}  // namespace mfimport
