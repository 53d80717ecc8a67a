#include "mfimport/clip/packet_reader.h"

#include <algorithm>

namespace mfimport {
namespace {

struct PoolDeleter {
  void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
};

class DirectReader final : public PacketReader {
 public:
  DirectReader(PacketList const& stream, std::shared_ptr<ClipFile> file)
      : stream_(stream), file_(std::move(file)) {
    int32_t largest = 0;
    for (PacketEntry const& entry : stream.packets) largest = std::max(largest, entry.size);
    pool_.reset(lav::checked(
        av_buffer_pool_init(static_cast<size_t>(largest) + AV_INPUT_BUFFER_PADDING_SIZE, nullptr)));
  }

  bool position(size_t number) override {
    next_ = number;
    return number <= stream_.packets.size();
  }

  Outcome next(AVPacket& packet) override {
    if (next_ >= stream_.packets.size()) return Outcome::end;
    PacketEntry const& entry = stream_.packets[next_++];
    auto const size = static_cast<size_t>(entry.size);
    packet.buf = lav::checked(av_buffer_pool_get(pool_.get()));
    packet.data = packet.buf->data;
    packet.size = entry.size;
    int64_t const got = file_->source().readAt(entry.position, {packet.data, size});
    std::fill_n(packet.data + size, AV_INPUT_BUFFER_PADDING_SIZE, uint8_t{0});
    if (got == entry.size) return Outcome::packet;
    av_packet_unref(&packet);
    return Outcome::error;
  }

  size_t nextNumber() const override { return next_; }

 private:
  PacketList const& stream_;
  std::shared_ptr<ClipFile> file_;
  std::unique_ptr<AVBufferPool, PoolDeleter> pool_;
  size_t next_ = 0;
};

// Reads through libavformat and keeps count of the packets. After a seek it finds out by comparison with the
// index which packet it met, and reads on to the wanted one.
class DemuxReader final : public PacketReader {
 public:
  DemuxReader(ClipFacts const& clip, PacketList const& stream, ClipAccess access)
      : clip_(clip), stream_(stream), access_(std::move(access)) {}

  Result<void> open() {
    auto file = access_.open(clip_);
    if (!file) return file.error();
    file_ = file.take();
    return enter();
  }

  bool position(size_t number) override {
    constexpr size_t kNearby = 32;  // reading on is cheaper than a seek
    if (number > stream_.packets.size()) return false;
    if (file_ && !file_->claim(this) && !enter()) return false;
    if (inStep_ && number >= next_ && number - next_ <= kNearby) return readOnTo(number);
    if (container_ && number < stream_.packets.size() && seekTo(wholeOf(number))) return readOnTo(number);
    return beginAnew() && readOnTo(number);
  }

  Outcome next(AVPacket& packet) override {
    if (next_ >= stream_.packets.size()) return Outcome::end;
    size_t const number = next_;
    bool const ready = file_ && file_->claim(this) && inStep_;
    if ((ready || position(number)) && take(packet)) return Outcome::packet;
    // Out of step with the index: from the beginning the count is right again.
    if (number > 0 && beginAnew() && readOnTo(number) && take(packet)) return Outcome::packet;
    inStep_ = false;
    container_ = nullptr;
    next_ = number + 1;
    return Outcome::error;
  }

  size_t nextNumber() const override { return next_; }

 private:
  // Takes the demultiplexer over, which may stand anywhere.
  Result<void> enter() {
    container_ = nullptr;
    inStep_ = false;
    pending_.reset();
    av_packet_unref(whole_.get());
    auto container = file_->container();
    if (!container) return container.error();
    auto const at = static_cast<unsigned>(stream_.libavIndex);
    AVFormatContext const& format = (*container)->format();
    if (at >= format.nb_streams || format.streams[at]->codecpar->codec_id != stream_.codec())
      return Error{Fault::format, "the file has changed"};
    container_ = *container;
    container_->selectStream(stream_.libavIndex);
    if (file_->untouched()) {
      inStep_ = true;
      next_ = 0;
    }
    file_->claim(this);
    return {};
  }

  bool beginAnew() {
    if (file_) file_->closeContainer();
    return open() && inStep_;
  }

  bool continuesWhole(size_t number) const {
    return number < stream_.packets.size() && stream_.packets[number].offset > 0;
  }

  // The first of the entries that lie in the same packet of the demultiplexer.
  size_t wholeOf(size_t number) const {
    while (number > 0 && continuesWhole(number)) --number;
    return number;
  }

  // Reads packet next_, and only that.
  bool take(AVPacket& packet) {
    if (!container_) return false;
    if (!continuesWhole(next_) && !continuesWhole(next_ + 1)) return takeWhole(packet);
    if (!continuesWhole(next_)) {
      av_packet_unref(whole_.get());
      if (!takeWhole(*whole_)) return false;
      --next_;
    }
    return cut(packet);
  }

  // Copies the part of the packet read last that is entry next_: decoders want room behind it.
  bool cut(AVPacket& packet) {
    PacketEntry const& entry = stream_.packets[next_];
    auto const end = int64_t{entry.offset} + entry.size;
    if (whole_->size < end || av_new_packet(&packet, entry.size) < 0) return false;
    std::copy_n(whole_->data + entry.offset, entry.size, packet.data);
    ++next_;
    return true;
  }

  bool takeWhole(AVPacket& packet) {
    if (pending_) {
      av_packet_move_ref(&packet, pending_.get());
      pending_.reset();
    } else if (!readOne(packet)) {
      return false;
    }
    if (!fits(packet, next_)) {
      av_packet_unref(&packet);
      return false;
    }
    ++next_;
    return true;
  }

  // Whether `packet` is the demultiplexer's packet that begins with entry `number`.
  bool fits(AVPacket const& packet, size_t number) const {
    PacketEntry const& entry = stream_.packets[number];
    int64_t size = entry.size;
    for (size_t i = number + 1; continuesWhole(i); ++i) size += stream_.packets[i].size;
    return packet.size == size &&
           (entry.fingerprint == 0 || fingerprintOf(lav::payload(packet)) == entry.fingerprint);
  }

  // The next packet of the stream that holds data.
  bool readOne(AVPacket& packet) {
    constexpr int kMostErrors = 64;
    for (int errors = 0; errors < kMostErrors;) {
      int const result = container_->read(packet);
      if (result == AVERROR_EOF) return false;
      if (result < 0) {
        ++errors;
        continue;
      }
      if (packet.stream_index == stream_.libavIndex && packet.size > 0) return true;
      av_packet_unref(&packet);
    }
    return false;
  }

  bool readOnTo(size_t number) {
    lav::Packet const packet = lav::newPacket();
    while (next_ < number) {
      if (!take(*packet)) return false;
      av_packet_unref(packet.get());
    }
    return true;
  }

  bool seekTo(size_t number) {
    constexpr size_t kStepsBack[] = {4, 16, 64};
    inStep_ = false;
    for (size_t const back : kStepsBack) {
      pending_.reset();
      size_t const from = clip_.bytePositions ? positionedBefore(number, back) : number;
      if (!seekContainer(from)) return false;
      if (meet(number) && next_ <= number) return readOnTo(number);
      if (!clip_.bytePositions) return false;
    }
    return false;
  }

  size_t positionedBefore(size_t number, size_t back) const {
    size_t from = number > back ? number - back : 0;
    while (from > 0 && stream_.packets[from].position < 0) --from;
    return wholeOf(from);
  }

  bool seekContainer(size_t from) {
    PacketEntry const& entry = stream_.packets[from];
    if (clip_.bytePositions) return container_->seekToByte(from == 0 ? 0 : entry.position) >= 0;
    int64_t const stamp = entry.pts != AV_NOPTS_VALUE ? entry.pts : entry.dts;
    return stamp != AV_NOPTS_VALUE && container_->seekToTime(stream_.libavIndex, stamp) >= 0;
  }

  // Reads until a packet is recognised near `number`; it becomes the pending one.
  bool meet(size_t number) {
    constexpr int kMostPackets = 2000;
    lav::Packet packet = lav::newPacket(), before = lav::newPacket();
    for (int i = 0; i < kMostPackets; ++i) {
      if (!readOne(*packet)) return false;
      size_t const met = find(*packet, *before, number);
      if (met < stream_.packets.size()) {
        next_ = met;
        inStep_ = true;
        pending_ = std::move(packet);
        return true;
      }
      std::swap(packet, before);
      av_packet_unref(packet.get());
    }
    return false;
  }

  // The number of `packet`, which was read after `before` (blank for none), near `number`; the number of
  // packets when it cannot be told.
  size_t find(AVPacket const& packet, AVPacket const& before, size_t number) const {
    constexpr size_t kBefore = 400, kAfter = 50;
    auto const& entries = stream_.packets;
    size_t const begin = number > kBefore ? number - kBefore : 0;
    size_t const end = std::min(entries.size(), number + kAfter);
    size_t alike = 0, found = entries.size();
    for (size_t i = begin; i < end; ++i) {
      if (continuesWhole(i) || !fits(packet, i)) continue;
      ++alike;
      if (samePlace(packet, before, i)) return i;
      found = i;
    }
    // The first packet after a seek by position may be a piece of one.
    bool const byContent = clip_.bytePositions && before.size > 0 && alike == 1;
    return byContent ? found : entries.size();
  }

  // Silence and still pictures repeat the same packet; then its place in the file has to tell. After a seek
  // by position that is only right behind a whole packet, or at the beginning of the file.
  bool samePlace(AVPacket const& packet, AVPacket const& before, size_t number) const {
    PacketEntry const& entry = stream_.packets[number];
    if (packet.pos != entry.position) return false;
    if (!clip_.bytePositions) return packet.dts == entry.dts;
    if (number == 0) return before.size == 0;
    return packet.pos >= 0 && before.size > 0 && fits(before, wholeOf(number - 1));
  }

  ClipFacts const& clip_;
  PacketList const& stream_;
  ClipAccess access_;
  std::shared_ptr<ClipFile> file_;
  mediafile::Container* container_ = nullptr;  // of file_; null where it has to be opened anew
  bool inStep_ = false;                        // it stands before packet next_
  lav::Packet pending_;                        // met after a seek and not delivered yet
  lav::Packet whole_ = lav::newPacket();       // holds entry next_, where that does not begin it
  size_t next_ = 0;
};

}  // namespace

Result<std::unique_ptr<PacketReader>> openDirectReader(ClipFacts const& clip, PacketList const& stream,
                                                       ClipAccess const& access) {
  auto file = access.open(clip);
  if (!file) return file.error();
  return {std::make_unique<DirectReader>(stream, file.take())};
}

Result<std::unique_ptr<PacketReader>> openDemuxReader(ClipFacts const& clip, PacketList const& stream,
                                                      ClipAccess const& access) {
  auto reader = std::make_unique<DemuxReader>(clip, stream, access);
  if (auto const opened = reader->open(); !opened) return opened.error();
  return {std::move(reader)};
}

Result<std::unique_ptr<PacketReader>> openPacketReader(ClipFacts const& clip, PacketList const& stream,
                                                       ClipAccess const& access) {
  return stream.direct ? openDirectReader(clip, stream, access) : openDemuxReader(clip, stream, access);
}

}  // namespace mfimport
