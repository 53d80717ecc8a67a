#include "mfimport/clip/picture_reader.h"

#include <cstring>

namespace mfimport {

PictureReader::PictureReader(std::span<Picture const> pictures, std::unique_ptr<PacketReader> packets)
    : pictures_(pictures), packets_(std::move(packets)), piece_(lav::newPacket()) {}

Result<std::unique_ptr<PictureReader>> PictureReader::open(ClipFacts const& clip, PacketList const& stream,
                                                           std::span<Picture const> pictures,
                                                           ClipAccess const& access) {
  auto packets = openPacketReader(clip, stream, access);
  if (!packets) return packets.error();
  return std::unique_ptr<PictureReader>(new PictureReader(pictures, packets.take()));
}

bool PictureReader::position(size_t picture) {
  next_ = picture;
  if (picture >= pictures_.size()) return true;
  size_t const packet = pictures_[picture].packet;
  return packets_->nextNumber() == packet || packets_->position(packet);
}

PictureReader::Outcome PictureReader::next(AVPacket& packet) {
  if (next_ >= pictures_.size()) return Outcome::end;
  Picture const& picture = pictures_[next_];
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
