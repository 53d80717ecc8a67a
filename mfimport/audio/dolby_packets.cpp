#include "mfimport/audio/dolby_packets.h"

#include <algorithm>

namespace mfimport {

DolbyPackets::DolbyPackets(std::shared_ptr<Media const> media, size_t streamNumber,
                           mediafile::FileAccess access)
    : track_(std::move(media), streamNumber, nullptr), access_(std::move(access)) {}

DolbyInfo const* DolbyPackets::at(int64_t sample, std::string& error) {
  if (track_.samples <= 0) {
    error = "the stream is empty";
    return nullptr;
  }
  size_t const at = track_.partOf(std::clamp<int64_t>(sample, 0, track_.samples - 1));
  AudioTrack::Part const& part = track_.parts[at];
  int64_t const local = std::min(sample - part.first, part.samples - 1);
  if (local < 0) {
    error = "the clip has no samples";
    return nullptr;
  }
  if (at != part_) {
    reader_.reset();
    part_ = at;
    packet_ = SIZE_MAX;
  }
  size_t const packet = part.stream->audio.packetOf(local);
  if (packet != packet_) {
    packet_ = SIZE_MAX;
    info_.reset();
    if (!read(part, packet, error)) return nullptr;
    packet_ = packet;
  }
  if (info_) return &*info_;
  error = "no known bit stream information";
  return nullptr;
}

bool DolbyPackets::read(AudioTrack::Part const& part, size_t packet, std::string& error) {
  if (!reader_) reader_ = openPacketReader(*part.index, *part.stream, access_, error);
  if (!reader_) return false;
  lav::Packet const bytes = lav::newPacket();
  if (!reader_->position(packet) || reader_->next(*bytes) != PacketReader::Result::packet) {
    error = "the file cannot be read";
    reader_.reset();
    return false;
  }
  info_ = readDolbyInfo(lav::payload(*bytes));
  return true;
}

}  // namespace mfimport
