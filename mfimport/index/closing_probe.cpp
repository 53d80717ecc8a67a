#include "mfimport/index/closing_probe.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "mfimport/clip/picture_reader.h"
#include "mfimport/index/picture_order.h"
#include "mfimport/video/video_codec.h"

namespace mfimport {
namespace {

// A packet of ISO/IEC 13818-1 2.4.3.2 whose adaptation field holds stuffing: the payload ends where its PES
// packet does.
bool isStuffed(std::span<uint8_t const> packet) {
  constexpr uint8_t kBothFields = 3, kPcr = 0x10, kOpcr = 0x08, kSplice = 0x04, kFurther = 0x03;
  if ((packet[3] >> 4 & 3) != kBothFields) return false;
  int const length = packet[4];
  if (length == 0) return true;
  uint8_t const flags = packet[5];
  if ((flags & kFurther) != 0) return false;
  int const used = 1 + ((flags & kPcr) ? 6 : 0) + ((flags & kOpcr) ? 6 : 0) + ((flags & kSplice) ? 1 : 0);
  return length > used;
}

// Where packets begin in `bytes`, of `size` bytes from one to the next; SIZE_MAX when nowhere.
size_t findSync(std::span<uint8_t const> bytes, size_t size) {
  constexpr size_t kInARow = 5;
  for (size_t begin = 0; begin < size && begin + kInARow * size <= bytes.size(); ++begin) {
    bool synchronous = true;
    for (size_t i = 0; i < kInARow && synchronous; ++i) synchronous = bytes[begin + i * size] == 0x47;
    if (synchronous) return begin;
  }
  return SIZE_MAX;
}

// Whether the last transport packet of a stream shows that its PES packet is complete.
bool transportEndsWhole(mediafile::ByteSource& source, uint16_t pid) {
  constexpr int64_t kMostBytes = 1 << 20;
  constexpr size_t kPacket = 188, kSizes[] = {188, 192, 204};
  int64_t const from = std::max<int64_t>(0, source.size() - kMostBytes);
  std::vector<uint8_t> bytes(static_cast<size_t>(source.size() - from));
  if (source.readAt(from, bytes) != static_cast<int64_t>(bytes.size())) return false;
  for (size_t const size : kSizes) {
    size_t const begin = findSync(bytes, size);
    if (begin == SIZE_MAX || bytes.size() - begin < kPacket) continue;
    for (size_t i = (bytes.size() - begin - kPacket) / size + 1; i-- > 0;) {
      auto const packet = std::span(bytes).subspan(begin + i * size, kPacket);
      if (((packet[1] & 0x1F) << 8 | packet[2]) == pid) return isStuffed(packet);
    }
  }
  return false;
}

// A field whose second one is missing is complete as far as the container knows.
bool hasFieldsOfTheirOwn(PictureOrder const& order) {
  return std::any_of(order.pictures.begin(), order.pictures.end(),
                     [](Picture const& picture) { return picture.packets > 1; });
}

// Decodes the end of a stream.
class ClosingProbe {
 public:
  ClosingProbe(StreamFacts const& stream, PictureOrder const& order, PictureReader& reader,
               lav::CodecContext codec)
      : stream_(stream), order_(order), reader_(reader), codec_(std::move(codec)) {}

  // Whether the last picture comes out without a fault when decoding begins at `key`. Arithmetic decoders go
  // on through whatever lies behind a cut, so it must not matter what that is.
  bool comesOutWhole(size_t key) {
    constexpr std::array<uint8_t, 8> kOther = {0xA7, 0x5B, 0xC9, 0x36, 0xD2, 0x6D, 0xB4, 0x59};
    std::vector<uint8_t> const picture = lastPicture(key, {});
    bool const arithmetic = stream_.codec() == AV_CODEC_ID_H264 || stream_.codec() == AV_CODEC_ID_HEVC;
    return !picture.empty() && (!arithmetic || lastPicture(key, kOther) == picture);
  }

 private:
  // The last picture's values, empty when there is a fault in it. `behind` is added to its bytes.
  std::vector<uint8_t> lastPicture(size_t key, std::span<uint8_t const> behind) {
    avcodec_flush_buffers(codec_.get());
    picture_.clear();
    if (!reader_.position(key)) return {};
    lav::Packet const packet = lav::newPacket();
    for (;;) {
      size_t const number = reader_.nextPicture();
      if (reader_.next(*packet) != PictureReader::Outcome::packet) break;
      packet->pts = order_.pictures[number].rank;
      packet->dts = AV_NOPTS_VALUE;
      bool const last = number + 1 == order_.pictures.size();
      int const before = packet->size;
      if (last && av_grow_packet(packet.get(), static_cast<int>(behind.size())) >= 0)
        std::copy(behind.begin(), behind.end(), packet->data + before);
      int const sent = avcodec_send_packet(codec_.get(), packet.get());
      av_packet_unref(packet.get());
      if (last && sent < 0) return {};
      receive();
    }
    avcodec_send_packet(codec_.get(), nullptr);
    receive();
    return std::move(picture_);
  }

  void receive() {
    lav::Frame const frame = lav::newFrame();
    for (;;) {
      int const result = avcodec_receive_frame(codec_.get(), frame.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
      if (result < 0 || frame->pts != order_.pictures.back().rank) continue;
      if (!lav::damaged(*frame)) keep(*frame);
    }
  }

  void keep(AVFrame const& frame) {
    auto const format = static_cast<AVPixelFormat>(frame.format);
    int const size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
    picture_.resize(static_cast<size_t>(std::max(size, 0)));
    av_image_copy_to_buffer(picture_.data(), size, frame.data, frame.linesize, format, frame.width,
                            frame.height, 1);
  }

  StreamFacts const& stream_;
  PictureOrder const& order_;
  PictureReader& reader_;
  lav::CodecContext codec_;
  std::vector<uint8_t> picture_;
};

}  // namespace

bool containerVouchesForTheEnd(mediafile::ByteSource& source, ClipFacts const& clip, PacketList const& stream,
                               PictureOrder const& order) {
  if (!clip.bytePositions) return true;
  if (!mpegIsTransportStream(clip.containerType) || hasFieldsOfTheirOwn(order)) return false;
  return transportEndsWhole(source, stream.id.pid);
}

Result<bool> lastPictureIsWhole(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                PacketList const& stream, PictureOrder const& order) {
  auto const& pictures = order.pictures;
  if (pictures.size() <= order.firstKey + 1) return true;
  auto reader = PictureReader::open(clip, stream, pictures, file);
  if (!reader) return reader.error();
  auto codec = openVideoCodec(stream, order.reorderDepth, {}, nullptr);
  if (!codec) return true;
  ClosingProbe probe(stream, order, **reader, codec.take());
  // Behind a key picture that only starts a gradual refresh, pictures come out whole later.
  constexpr int kMostBeginnings = 3;
  bool whole = false;
  size_t key = pictures.size();
  for (int i = 0; i < kMostBeginnings && key != order.firstKey && !whole; ++i) {
    do {
      key = order.keyBefore(key);
    } while (key != order.firstKey && pictures[key].rank > pictures.back().rank);
    whole = takesLongToDecode(stream, pictures.size() - key) || probe.comesOutWhole(key);
  }
  if (auto const health = file->health(); !health) return health.error();
  return whole;
}

}  // namespace mfimport
