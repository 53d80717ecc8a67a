#include "mfimport/index/stream_scan.h"

#include <algorithm>
#include <utility>

#include "mfimport/headers/classify.h"
#include "mfimport/headers/header_info.h"
#include "mfimport/index/picture_order.h"
#include "mfimport/subpicture/subpicture_index.h"

namespace mfimport {
namespace {

void readSkip(AVPacket const& packet, PacketNote& note) {
  auto const skip = lav::sideData(packet, AV_PKT_DATA_SKIP_SAMPLES);
  if (skip.size() < 8) return;
  auto const little = [&](size_t at) {
    return static_cast<uint32_t>(skip[at]) | static_cast<uint32_t>(skip[at + 1]) << 8 |
           static_cast<uint32_t>(skip[at + 2]) << 16 | static_cast<uint32_t>(skip[at + 3]) << 24;
  };
  note.hasSkip = true;
  note.skipBegin = little(0);
  note.skipEnd = little(4);
}

// Its bytes are not all there is to the packet.
bool carriesMore(AVPacket const& packet) {
  return !lav::sideData(packet, AV_PKT_DATA_NEW_EXTRADATA).empty() ||
         !lav::sideData(packet, AV_PKT_DATA_ENCRYPTION_INFO).empty() ||
         !lav::sideData(packet, AV_PKT_DATA_PALETTE).empty();
}

}  // namespace

std::span<uint8_t const> PacketBytes::beginningOf(AVPacket const& packet, int most) {
  if (!packetsAsTheyLie_ || packet.pos < 0) return lav::payload(packet);
  auto const wanted = static_cast<size_t>(std::min(packet.size, most));
  buffer_.assign(wanted + AV_INPUT_BUFFER_PADDING_SIZE, 0);
  int64_t const got = source_.readAt(packet.pos, std::span(buffer_).first(wanted));
  return std::span(buffer_).first(static_cast<size_t>(std::max<int64_t>(got, 0)));
}

bool PacketBytes::areAt(int64_t position, std::span<uint8_t const> bytes) {
  buffer_.resize(bytes.size());
  return position >= 0 && source_.readAt(position, buffer_) == static_cast<int64_t>(bytes.size()) &&
         std::equal(buffer_.begin(), buffer_.end(), bytes.begin());
}

StreamScan::StreamScan(ClipFacts const& clip, bool isMxf, StreamFacts facts, HostMemory const& memory,
                       PacketBytes& bytes)
    : clip_(clip),
      isMxf_(isMxf),
      bytes_(bytes),
      stream_{PacketList(std::move(facts), memory), {}, SubpictureIndex(memory)} {
  bool const video = stream_.list.type() == AVMEDIA_TYPE_VIDEO;
  if (video && (!clip.packetsAsTheyLie || tellsTooLittle()))
    inspector_ = std::make_unique<PictureInspector>(*stream_.list.parameters);
}

// The demultiplexer marks no key pictures of H.264 and HEVC in MXF, and not all files tell their order.
bool StreamScan::tellsTooLittle() const {
  AVCodecID const codec = stream_.list.codec();
  return isMxf_ && (codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC);
}

bool StreamScan::comparedEnough() const {
  return !stream_.list.known || stream_.list.type() == AVMEDIA_TYPE_SUBTITLE || mismatched_ ||
         verified_ >= kPacketsCompared;
}

void StreamScan::take(AVPacket const& packet, bool compare) {
  // In the tables of MP4 a packet is only marked so when the file ends within it.
  if (clip_.packetsAsTheyLie && (packet.flags & AV_PKT_FLAG_CORRUPT) != 0) return;
  PacketList& list = stream_.list;
  std::span<uint8_t const> const payload = lav::payload(packet);
  PacketNote note;
  note.duration = packet.duration;
  note.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  note.discard = (packet.flags & AV_PKT_FLAG_DISCARD) != 0;
  readSkip(packet, note);
  // AVC-Intra has 10 KB of padded headers and messages before its first slice.
  constexpr int kUpToTheSlice = 16384;
  if (inspector_) inspector_->inspect(packet, bytes_.beginningOf(packet, kUpToTheSlice), note);
  if (splitter_)
    splitter_->add(payload);
  else if (list.type() == AVMEDIA_TYPE_VIDEO)
    verifyKey(packet, note);
  uint32_t const fingerprint = clip_.packetsAsTheyLie ? 0 : fingerprintOf(payload);
  list.packets.push_back({packet.pts, packet.dts, packet.pos, packet.size, fingerprint});
  stream_.notes.push_back(note);
  if (isBitmapSubtitle(list.codec())) noteSubpicture(payload);
  if (carriesMore(packet)) mismatched_ = true;
  if (compare || splitter_) compareOne(packet.pos, payload);
  keepBeginning(packet);
}

// The first packets of a stream whose pictures the demultiplexer does not tell apart itself, as long as
// payload is read anyway.
void StreamScan::keepBeginning(AVPacket const& packet) {
  constexpr size_t kMostPackets = 16, kMostBytes = size_t{4} << 20;
  PacketList const& list = stream_.list;
  if (judged_ || clip_.bytePositions || !list.known || list.type() != AVMEDIA_TYPE_VIDEO) return;
  std::span<uint8_t const> const payload = lav::payload(packet);
  beginningBytes_ += payload.size();
  beginning_.push_back({packet.pos, payload.size(), {payload.begin(), payload.end()}});
  beginning_.back().bytes.resize(payload.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  if (beginning_.size() >= kMostPackets || beginningBytes_ >= kMostBytes) judgeBeginning();
}

void StreamScan::judgeBeginning() {
  if (judged_) return;
  judged_ = true;
  std::vector<std::span<uint8_t const>> packets;
  for (Kept const& kept : beginning_) packets.push_back(std::span(kept.bytes).first(kept.size));
  if (!packets.empty() && !arePictures(*stream_.list.parameters, packets)) split();
  beginning_ = {};
}

// From now on, and what has been taken so far too.
void StreamScan::split() {
  splitter_ = std::make_unique<PictureSplitter>(*stream_.list.parameters);
  inspector_.reset();
  for (Kept const& kept : beginning_) {
    std::span<uint8_t const> const payload = std::span(kept.bytes).first(kept.size);
    splitter_->add(payload);
    compareOne(kept.position, payload);
  }
}

// Marks of the container are checked where they are known to lie: phones mark H.263 and MPEG-4 pictures that
// are no beginnings, and MXF without an index table marks none.
void StreamScan::verifyKey(AVPacket const& packet, PacketNote& note) {
  switch (stream_.list.codec()) {
    case AV_CODEC_ID_H263:
      note.key = isIntraH263(bytes_.beginningOf(packet)).value_or(note.key);
      break;
    case AV_CODEC_ID_MPEG4:
      if (note.key) note.key = isIntraMpeg4(bytes_.beginningOf(packet)).value_or(true);
      break;
    case AV_CODEC_ID_MPEG2VIDEO:
      if (!note.key && isMxf_) note.key = beginsSequence(bytes_.beginningOf(packet));
      break;
    default:
      break;
  }
}

// Of the packet taken last.
void StreamScan::noteSubpicture(std::span<uint8_t const> payload) {
  SubpictureIndex& index = stream_.subpictures;
  AVCodecParameters const& parameters = *stream_.list.parameters;
  auto const number = static_cast<uint32_t>(stream_.list.packets.size() - 1);
  bool const further = number > 0 && continuesSubpicture(parameters, payload);
  index.stampedBy.push_back(further ? index.stampedBy.back() : number);
  if (beginsSubpictures(parameters, payload)) index.starts.push_back(number);
}

void StreamScan::compareOne(int64_t position, std::span<uint8_t const> payload) {
  if (mismatched_ || verified_ >= kPacketsCompared) return;
  if (bytes_.areAt(position, payload))
    ++verified_;
  else
    mismatched_ = true;
}

ScannedStream StreamScan::finish() {
  PacketList& list = stream_.list;
  if (splitter_) splitPackets(list, stream_.notes, *splitter_);
  if (stampsMayBeOfDecoding(list)) inspectLater();
  list.packets.shrink_to_fit();
  list.direct = verified_ > 0 && !mismatched_;
  for (PacketEntry const& entry : list.packets)
    if (entry.position < 0 || entry.size > clip_.fileSize - entry.position) list.direct = false;
  return std::move(stream_);
}

// Reads the headers of pictures that were passed over, where the stamps alone do not tell their order. Of a
// long stream a part is read first: without bidirectional pictures there is nothing to find.
void StreamScan::inspectLater() {
  if (!clip_.packetsAsTheyLie || inspector_ || splitter_) return;
  constexpr size_t kMostRead = 2048, kRun = 4, kRuns = 64;
  size_t const packets = stream_.list.packets.size();
  if (packets > kMostRead) {
    bool reordered = false;
    for (size_t run = 0; run < kRuns && !reordered; ++run) {
      size_t const from = run * (packets - kRun) / kRuns;
      reordered = inspectRange(from, from + kRun);
    }
    if (!reordered) return;
  }
  inspectRange(0, packets);
}

// True when a bidirectional picture is among them.
bool StreamScan::inspectRange(size_t from, size_t to) {
  constexpr int kUpToTheSlice = 2048;
  PictureInspector inspector(*stream_.list.parameters);
  lav::Packet const packet = lav::newPacket();
  bool reordered = false;
  for (size_t i = from; i < to; ++i) {
    PacketEntry const& entry = stream_.list.packets[i];
    packet->pts = entry.pts;
    packet->dts = entry.dts;
    packet->pos = entry.position;
    packet->size = entry.size;
    if (entry.position < 0) continue;
    PacketNote& before = stream_.notes[i];
    PacketNote note = before;
    inspector.inspect(*packet, bytes_.beginningOf(*packet, kUpToTheSlice), note);
    note.key = before.key;
    before = note;
    reordered |= note.bidirectional;
  }
  packet->size = 0;
  return reordered;
}

}  // namespace mfimport
