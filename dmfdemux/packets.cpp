#include "dmfdemux/packets.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace dmfdemux {

using mediafile::Result;

namespace {

constexpr size_t kXsubTimesSize = 27;                // "[hh:mm:ss.mmm-hh:mm:ss.mmm]"
constexpr size_t kMostCollected = size_t{64} << 20;  // bytes; scripts and pictures of a film are some 10 MB

// "hh:mm:ss.mmm"
std::optional<int64_t> xsubTime(std::span<uint8_t const> text) {
  constexpr std::string_view kForm = "00:00:00.000";
  constexpr int64_t kWeight[] = {36000000000, 3600000000, 0, 600000000, 60000000, 0,
                                 10000000,    1000000,    0, 100000,    10000,    1000};
  int64_t time = 0;
  for (size_t i = 0; i < kForm.size(); ++i) {
    bool const digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !digit : text[i] != static_cast<uint8_t>(kForm[i])) return std::nullopt;
    if (digit) time += (text[i] - '0') * kWeight[i];
  }
  return time;
}

int64_t saturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

bool holds(std::vector<int> const& streams, int index) {
  return std::find(streams.begin(), streams.end(), index) != streams.end();
}

class FileReader final : public PacketReader {
 public:
  static Result<std::unique_ptr<PacketReader>> open(std::string const& fileName, int64_t start,
                                                    std::vector<int> streams) {
    auto source = mediafile::FileAccess().open(fileName);
    if (!source) return source.error();
    mediafile::ContainerOptions options;
    options.streamInfo = false;  // the header tells all that reading takes
    auto container = mediafile::Container::open(source.take(), fileName, options);
    if (!container) return container.error();
    AVFormatContext const& format = (*container)->format();
    for (unsigned i = 0; i < format.nb_streams; ++i)
      format.streams[i]->discard = holds(streams, static_cast<int>(i)) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return std::unique_ptr<PacketReader>(new FileReader(container.take(), start, std::move(streams)));
  }

  bool next(SubtitlePacket& packet) override {
    while (read()) {
      auto const payload = lav::payload(*packet_);
      if (payload.empty() || !holds(streams_, packet_->stream_index)) continue;
      packet = {packet_->stream_index, times(), payload};
      return true;
    }
    return false;
  }

 private:
  FileReader(std::unique_ptr<mediafile::Container> container, int64_t start, std::vector<int> streams)
      : container_(std::move(container)),
        packet_(lav::newPacket()),
        start_(start),
        streams_(std::move(streams)) {}

  bool read() {
    constexpr int kMostErrors = 64;
    for (int errors = 0; errors < kMostErrors; ++errors) {
      av_packet_unref(packet_.get());
      int const result = container_->read(*packet_);
      if (result >= 0) return true;
      if (result == AVERROR_EOF || result == AVERROR_EXIT) return false;
    }
    return false;
  }

  Times times() const {
    // libavformat's stamps of XSUB in AVI count packets, not time.
    if (auto const written = xsubTimes(lav::payload(*packet_))) return *written;
    AVRational const base = container_->format().streams[packet_->stream_index]->time_base;
    int64_t const stamp = packet_->pts != AV_NOPTS_VALUE ? packet_->pts : packet_->dts;
    if (stamp == AV_NOPTS_VALUE) return {};
    auto const inFile = [&](int64_t time) {
      return saturatingAdd(av_rescale_q(time, base, AV_TIME_BASE_Q), -start_);
    };
    return {inFile(stamp), inFile(saturatingAdd(stamp, std::max<int64_t>(packet_->duration, 0)))};
  }

  std::unique_ptr<mediafile::Container> container_;
  lav::Packet packet_;
  int64_t start_;
  std::vector<int> streams_;
};

}  // namespace

std::optional<Times> xsubTimes(std::span<uint8_t const> packet) {
  if (packet.size() < kXsubTimesSize || packet[0] != '[' || packet[13] != '-' || packet[26] != ']')
    return std::nullopt;
  auto const begin = xsubTime(packet.subspan(1, 12));
  auto const end = xsubTime(packet.subspan(14, 12));
  if (!begin || !end) return std::nullopt;
  return Times{*begin, *end};
}

// Packets one after another in one block.
struct SubtitlePackets::Collection {
  struct Entry {
    int libavIndex;
    Times times;
    size_t at, size;
  };
  std::vector<Entry> entries;
  std::vector<uint8_t> bytes;

  // False when it would be too much.
  bool add(SubtitlePacket const& packet) {
    size_t const spent = bytes.size() + entries.size() * sizeof(Entry);
    if (packet.bytes.size() + sizeof(Entry) > kMostCollected - std::min(spent, kMostCollected)) return false;
    entries.push_back({packet.libavIndex, packet.times, bytes.size(), packet.bytes.size()});
    bytes.insert(bytes.end(), packet.bytes.begin(), packet.bytes.end());
    return true;
  }
};

namespace {

class CollectionReader final : public PacketReader {
 public:
  CollectionReader(SubtitlePackets::Collection const& from, std::vector<int> streams)
      : from_(from), streams_(std::move(streams)) {}

  bool next(SubtitlePacket& packet) override {
    while (at_ < from_.entries.size()) {
      auto const& entry = from_.entries[at_++];
      if (!holds(streams_, entry.libavIndex)) continue;
      packet = {entry.libavIndex, entry.times, std::span(from_.bytes).subspan(entry.at, entry.size)};
      return true;
    }
    return false;
  }

 private:
  SubtitlePackets::Collection const& from_;
  std::vector<int> streams_;
  size_t at_ = 0;
};

}  // namespace

SubtitlePackets::SubtitlePackets(std::string fileName, int64_t start, std::vector<int> streams)
    : fileName_(std::move(fileName)),
      start_(start),
      streams_(std::move(streams)),
      collectable_(streams_.size() > 1) {}

SubtitlePackets::~SubtitlePackets() = default;

bool SubtitlePackets::collect() {
  if (collection_) return true;
  collectable_ = false;
  auto const reader = FileReader::open(fileName_, start_, streams_);
  if (!reader) return false;
  auto collection = std::make_unique<Collection>();
  for (SubtitlePacket packet; (*reader)->next(packet);)
    if (!collection->add(packet)) return false;
  collection_ = std::move(collection);
  return true;
}

Result<std::unique_ptr<PacketReader>> SubtitlePackets::reader(std::vector<int> streams) {
  if ((collection_ || collectable_) && collect())
    return {std::make_unique<CollectionReader>(*collection_, std::move(streams))};
  return FileReader::open(fileName_, start_, std::move(streams));
}

}  // namespace dmfdemux
