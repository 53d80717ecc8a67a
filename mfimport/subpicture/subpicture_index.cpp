#include "mfimport/subpicture/subpicture_index.h"

#include <cstddef>

namespace mfimport {
namespace {

uint32_t big16(std::span<uint8_t const> data, size_t at) {
  return static_cast<uint32_t>(data[at]) << 8 | data[at + 1];
}

constexpr uint8_t kPresentation = 0x16;  // segment type of HDMV presentation graphics

// Segments of HDMV presentation graphics: type, 16-bit length, payload. A packet holds one or a whole set.
bool beginsEpoch(std::span<uint8_t const> packet) {
  constexpr size_t kHead = 3, kState = 7;  // behind width, height, frame rate and number of the composition
  while (packet.size() >= kHead) {
    size_t const length = big16(packet, 1);
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
  std::span<uint8_t const> payload;
};

// ETSI EN 300 743 7.2: sync byte, type, page, length, payload. `visit` returns true to end the walk.
template <class Visit>
bool anyDvbSegment(std::span<uint8_t const> packet, Visit visit) {
  constexpr uint8_t kDataIdentifier = 0x20, kSync = 0x0F;
  constexpr size_t kHead = 6;
  if (packet.size() >= 2 && packet[0] == kDataIdentifier) packet = packet.subspan(2);
  while (packet.size() >= kHead && packet[0] == kSync) {
    size_t const length = big16(packet, 4);
    if (packet.size() - kHead < length) return false;
    if (visit(DvbSegment{packet[1], big16(packet, 2), packet.subspan(kHead, length)})) return true;
    packet = packet.subspan(kHead + length);
  }
  return false;
}

bool beginsPage(AVCodecParameters const& stream, std::span<uint8_t const> packet) {
  constexpr uint8_t kPageComposition = 0x10;
  auto const extradata = lav::extradata(stream);
  return anyDvbSegment(packet, [&](DvbSegment const& segment) {
    if (segment.type != kPageComposition || segment.payload.size() < 2) return false;
    // The decoder shows the first pair of pages that the subtitling descriptor names.
    if (extradata.size() >= 4 && segment.page != big16(extradata, 0)) return false;
    int const state = segment.payload[1] >> 2 & 3;
    return state == 1 || state == 2;
  });
}

}  // namespace

bool beginsSubpictures(AVCodecParameters const& stream, std::span<uint8_t const> packet) {
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

bool continuesSubpicture(AVCodecParameters const& stream, std::span<uint8_t const> packet) {
  return stream.codec_id == AV_CODEC_ID_HDMV_PGS_SUBTITLE && !packet.empty() && packet[0] != kPresentation;
}

std::optional<SubpictureCanvas> dvbDisplay(std::span<uint8_t const> packet) {
  constexpr uint8_t kDisplayDefinition = 0x14;
  std::optional<SubpictureCanvas> display;
  anyDvbSegment(packet, [&](DvbSegment const& segment) {
    if (segment.type != kDisplayDefinition || segment.payload.size() < 5) return false;
    display = SubpictureCanvas{static_cast<int>(big16(segment.payload, 1)) + 1,
                               static_cast<int>(big16(segment.payload, 3)) + 1};
    return true;
  });
  return display;
}

}  // namespace mfimport
