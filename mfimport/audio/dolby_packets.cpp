#include "mfimport/audio/dolby_packets.h"

#include <algorithm>

namespace mfimport {

DolbyPackets::DolbyPackets(std::shared_ptr<Media const> media, size_t streamNumber,
                           mediafile::FileAccess access)
    : track_(std::move(media), streamNumber, nullptr), access_(std::move(access)) {}

Result<DolbyInfo const*> DolbyPackets::at(int64_t sample) {
  if (track_.samples <= 0) return failed("the stream is empty");
  size_t const at = track_.partOf(std::clamp<int64_t>(sample, 0, track_.samples - 1));
  AudioTrack::Part const& part = track_.parts[at];
  int64_t const local = std::min(sample - part.first, part.samples - 1);
  if (local < 0) return failed("the clip has no samples");
  if (at != part_) {
    reader_.reset();
    part_ = at;
    packet_ = SIZE_MAX;
  }
  size_t const packet = part.stream->audio().packetOf(local);
  if (packet != packet_) {
    packet_ = SIZE_MAX;
    info_.reset();
    if (auto const got = read(part, packet); !got) return got.error();
    packet_ = packet;
  }
  if (info_) return &*info_;
  return failed("no known bit stream information");
}

Result<void> DolbyPackets::read(AudioTrack::Part const& part, size_t packet) {
  if (!reader_) {
    auto reader = openPacketReader(*part.index, *part.stream, access_);
    if (!reader) return reader.error();
    reader_ = reader.take();
  }
  lav::Packet const bytes = lav::newPacket();
  if (!reader_->position(packet) || reader_->next(*bytes) != PacketReader::Outcome::packet) {
    reader_.reset();
    return Error{Fault::unreadable, "the file cannot be read"};
  }
  info_ = readDolbyInfo(lav::payload(*bytes));
  return {};
}

}  // namespace mfimport
