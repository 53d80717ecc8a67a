#include "mfimport/clip/picture_reader.h"

#include <cstring>

namespace mfimport {

PictureReader::PictureReader(StreamIndex const& stream, std::unique_ptr<PacketReader> packets)
    : stream_(stream), packets_(std::move(packets)), piece_(lav::newPacket()) {}

Result<std::unique_ptr<PictureReader>> PictureReader::open(MediaIndex const& index, StreamIndex const& stream,
                                                           mediafile::FileAccess const& access) {
  auto packets = openPacketReader(index, stream, access);
  if (!packets) return packets.error();
  return std::unique_ptr<PictureReader>(new PictureReader(stream, packets.take()));
}

bool PictureReader::position(size_t picture) {
  next_ = picture;
  if (picture >= stream_.video.pictures.size()) return true;
  size_t const packet = stream_.video.pictures[picture].packet;
  return packets_->nextNumber() == packet || packets_->position(packet);
}

PictureReader::Outcome PictureReader::next(AVPacket& packet) {
  auto const& pictures = stream_.video.pictures;
  if (next_ >= pictures.size()) return Outcome::end;
  Picture const& picture = pictures[next_];
  // Between two pictures may lie what belongs to none.
  bool const there = packets_->nextNumber() == picture.packet || packets_->position(picture.packet);
  ++next_;
  if (!there) return Outcome::error;
  Outcome const first = packets_->next(packet);
  if (first != Outcome::packet) return first;
  for (int i = 1; i < picture.packets; ++i) {
    if (append(packet)) continue;
    av_packet_unref(&packet);
    return Outcome::error;
  }
  return Outcome::packet;
}

bool PictureReader::append(AVPacket& whole) {
  if (packets_->next(*piece_) != Outcome::packet) return false;
  int const before = whole.size;
  bool const grown = av_grow_packet(&whole, piece_->size) >= 0;
  if (grown) std::memcpy(whole.data + before, piece_->data, static_cast<size_t>(piece_->size));
  av_packet_unref(piece_.get());
  return grown;
}

}  // namespace mfimport
