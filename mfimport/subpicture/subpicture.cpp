#include "mfimport/subpicture/subpicture.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace mfimport {
namespace {

constexpr int64_t kForever = std::numeric_limits<int64_t>::max();
constexpr int64_t kTicksPerMs = 27000;
constexpr int kMostSide = 8192;                // pixels of a bitmap
constexpr int64_t kMostPixels = 1 << 24;       // of a bitmap, and of what a decoder may allocate
constexpr unsigned kMostBitmaps = 64;          // of one subpicture
constexpr size_t kEventsKept = 8;              // of one group
constexpr SubpictureCanvas kDvb = {720, 576};  // without a display definition

struct Decoded {
  Decoded() = default;
  ~Decoded() { avsubtitle_free(&subtitle); }
  Decoded(Decoded const&) = delete;
  Decoded& operator=(Decoded const&) = delete;

  AVSubtitle subtitle{};
};

bool namesPalette(AVCodecParameters const& stream) {
  auto const text = lav::extradata(stream);
  return std::string_view(reinterpret_cast<char const*>(text.data()), text.size()).find("palette:") !=
         std::string_view::npos;
}

void copyBitmap(AVSubtitleRect const& from, std::vector<SubpictureBitmap>& bitmaps) {
  if (from.type != SUBTITLE_BITMAP || !from.data[0] || !from.data[1] || from.w <= 0 || from.h <= 0 ||
      from.w > kMostSide || from.h > kMostSide || int64_t{from.w} * from.h > kMostPixels ||
      from.linesize[0] < from.w)
    return;
  auto const width = static_cast<size_t>(from.w), height = static_cast<size_t>(from.h);
  SubpictureBitmap bitmap{from.x, from.y, from.w, from.h, std::vector<uint8_t>(width * height), {}};
  for (size_t y = 0; y < height; ++y)
    std::memcpy(&bitmap.pixels[y * width], from.data[0] + y * static_cast<size_t>(from.linesize[0]), width);
  // libavcodec allocates all 256 colours whatever the number in use.
  static_assert(sizeof bitmap.argb == AVPALETTE_SIZE);
  std::memcpy(bitmap.argb.data(), from.data[1], AVPALETTE_SIZE);
  bitmaps.push_back(std::move(bitmap));
}

}  // namespace

SubpictureReader::SubpictureReader(MediaIndex const& index, StreamIndex const& stream,
                                   mediafile::FileAccess access, std::string dvdPalette,
                                   HostCallbacks const& host)
    : index_(index),
      stream_(stream),
      access_(std::move(access)),
      dvdPalette_(std::move(dvdPalette)),
      host_(host),
      packet_(lav::newPacket()) {
  due_.reserve(stream.packets.size());
  int64_t latest = std::numeric_limits<int64_t>::min();
  for (uint32_t const stamped : stream.subpictures().stampedBy) {
    int64_t const pts = stream.packets[stamped].pts;
    if (pts != AV_NOPTS_VALUE) latest = std::max(latest, stream.to27M(pts));
    due_.push_back(latest);
  }
}

// Where the shown subpicture may change: a packet falls due, a subpicture that is known begins or ends.
std::shared_ptr<Subpicture const> const& SubpictureReader::at(int64_t time) {
  if (time >= from_ && time < until_) return shown_;
  shown_.reset();
  auto const next = std::upper_bound(due_.begin(), due_.end(), time);
  until_ = next == due_.end() ? kForever : *next;
  from_ = std::numeric_limits<int64_t>::min();
  if (next == due_.begin()) return shown_;
  auto const packet = static_cast<size_t>(next - due_.begin()) - 1;
  from_ = due_[packet];

  size_t const group = groupOf(packet);
  if (!decodeThrough(group, packet)) return shown_;
  Event event = lastEventAt(time);
  if (!event && group > 0) {
    event = eventBefore(group);
    if (!decodeThrough(group, packet)) return shown_;
    if (event && event->start > time) {
      until_ = std::min(until_, event->start);
      event.reset();
    }
  }
  for (Event const& other : events_)
    if (other->start > time) until_ = std::min(until_, other->start);
  if (!event) return shown_;
  from_ = std::max(from_, event->start);
  if (time < event->end) {
    until_ = std::min(until_, event->end);
    shown_ = std::move(event);
  } else {
    from_ = std::max(from_, event->end);
  }
  return shown_;
}

size_t SubpictureReader::groupOf(size_t packet) const {
  auto const& starts = stream_.subpictures().starts;
  auto const after = std::upper_bound(starts.begin(), starts.end(), packet);
  return after == starts.begin() ? 0 : *(after - 1);
}

SubpictureReader::Event SubpictureReader::lastEventAt(int64_t time) const {
  for (size_t i = events_.size(); i-- > 0;)
    if (events_[i]->start <= time) return events_[i];
  return nullptr;
}

// The last subpicture of the group in front of `group`.
SubpictureReader::Event SubpictureReader::eventBefore(size_t group) {
  if (beforeGroup_ == group) return before_;
  Event last;
  if (decodeThrough(groupOf(group - 1), group - 1) && !events_.empty()) last = events_.back();
  beforeGroup_ = group;
  before_ = last;
  return last;
}

bool SubpictureReader::decodeThrough(size_t group, size_t packet) {
  if ((group != group_ || fed_ > packet + 1) && !begin(group)) return false;
  while (fed_ <= packet) feed();
  return true;
}

bool SubpictureReader::begin(size_t group) {
  if (group_ != SIZE_MAX && fed_ == group) {
    beforeGroup_ = group;
    before_ = events_.empty() ? nullptr : events_.back();
  }
  group_ = SIZE_MAX;
  events_.clear();
  shownWhole_ = SIZE_MAX;
  canvas_ = {};
  if (auto const opened = openReaders(); !opened) {
    warn(opened.error().text);
    return false;
  }
  if (reader_->nextNumber() != group && !reader_->position(group)) {
    warn("the file cannot be positioned");
    return false;
  }
  group_ = fed_ = group;
  return true;
}

Result<void> SubpictureReader::openReaders() {
  if (!reader_) {
    auto reader = openPacketReader(index_, stream_, access_);
    if (!reader) return reader.error();
    reader_ = reader.take();
  }
  return openDecoder();
}

Result<void> SubpictureReader::openDecoder() {
  AVCodec const* codec = avcodec_find_decoder(stream_.codec());
  if (!codec) return Error{Fault::noDecoder, "no decoder"};
  codec_.reset(lav::checked(avcodec_alloc_context3(codec)));
  lav::quieten(*codec_);
  codec_->max_pixels = kMostPixels;
  int result = avcodec_parameters_to_context(codec_.get(), stream_.parameters.get());
  codec_->err_recognition |= AV_EF_EXPLODE;  // report damage in place of drawing what is left
  codec_->pkt_timebase = AV_TIME_BASE_Q;     // of durations; stamps are those of the index
  if (result >= 0 && !dvdPalette_.empty() && stream_.codec() == AV_CODEC_ID_DVD_SUBTITLE &&
      !namesPalette(*stream_.parameters))
    result = av_opt_set(codec_.get(), "palette", dvdPalette_.c_str(), AV_OPT_SEARCH_CHILDREN);
  if (result >= 0) result = avcodec_open2(codec_.get(), codec, nullptr);
  if (result < 0) return Error{Fault::noDecoder, lav::errorText(result)};
  return {};
}

// Decodes the next packet of the group. One that fails ends what was shown before.
void SubpictureReader::feed() {
  if (reader_->next(*packet_) == PacketReader::Outcome::packet) {
    decode(*packet_);
  } else {
    warn("a packet cannot be read");
    events_.push_back(std::make_shared<Subpicture>(Subpicture{stampOf(fed_), kForever, {}, {}}));
  }
  av_packet_unref(packet_.get());
  ++fed_;
  if (events_.size() > kEventsKept) events_.erase(events_.begin());
}

void SubpictureReader::decode(AVPacket& packet) {
  if (stream_.codec() == AV_CODEC_ID_DVB_SUBTITLE) {
    if (auto const display = dvbDisplay(lav::payload(packet))) canvas_ = *display;
  }
  packet.pts = packet.dts = AV_NOPTS_VALUE;
  if (packet.duration > 0) packet.duration = av_rescale_q(packet.duration, stream_.timeBase, AV_TIME_BASE_Q);
  Decoded decoded;
  int complete = 0;
  int const result = avcodec_decode_subtitle2(codec_.get(), &decoded.subtitle, &complete, &packet);
  ++packets_;
  uint32_t const whole = stream_.subpictures().stampedBy[fed_];
  if (complete) shownWhole_ = whole;
  if (result < 0) {
    warn(lav::errorText(result));
  } else if (!complete) {
    bool const last =
        fed_ + 1 == stream_.packets.size() || stream_.subpictures().stampedBy[fed_ + 1] != whole;
    if (stream_.codec() == AV_CODEC_ID_DVB_SUBTITLE || !last || shownWhole_ == whole) return;
    // Damage, or a DVD subpicture without a visible pixel: it takes the place of the one before all the same.
    warn("a packet holds nothing that can be drawn");
  }

  int64_t const stamp = stampOf(fed_);
  Subpicture event{stamp, kForever, {}, {}};
  if (result >= 0 && complete) {
    AVSubtitle const& from = decoded.subtitle;
    event.start = stamp + kTicksPerMs * from.start_display_time;
    if (from.end_display_time > from.start_display_time && from.end_display_time != UINT32_MAX)
      event.end = stamp + kTicksPerMs * from.end_display_time;
    for (unsigned i = 0; i < std::min(from.num_rects, kMostBitmaps); ++i)
      copyBitmap(*from.rects[i], event.bitmaps);
    event.canvas = {codec_->width, codec_->height};
    if (stream_.codec() == AV_CODEC_ID_DVB_SUBTITLE) event.canvas = canvas_.width > 0 ? canvas_ : kDvb;
  }
  events_.push_back(std::make_shared<Subpicture>(std::move(event)));
}

int64_t SubpictureReader::stampOf(size_t packet) const {
  int64_t const pts = stream_.packets[stream_.subpictures().stampedBy[packet]].pts;
  return pts != AV_NOPTS_VALUE ? stream_.to27M(pts) : due_[packet];
}

void SubpictureReader::warn(std::string const& what) {
  if (warned_) return;
  warned_ = true;
  host_.warning(formatted("mfimport: '%s': subpictures of stream %d: %s; what is damaged is not drawn",
                          index_.name.c_str(), stream_.libavIndex, what.c_str()));
}

}  // namespace mfimport
