// Display order of pictures.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "mfimport/classify.h"
#include "mfimport/closing_probe.h"
#include "mfimport/index_build.h"
#include "mfimport/picture_reader.h"
#include "mfimport/video_codec.h"

namespace mfimport {

bool FieldPairs::completes(const PictureHeader& header) {
  const bool second = open_ && completesFrame(*open_, header);
  open_.reset();
  if (!second && header.structure != PictureStructure::frame) open_ = header;
  return second;
}

void readNote(const AVCodecParserContext& parser, PictureHeaderReader& headers, FieldPairs& pairs,
              std::span<const uint8_t> picture, PacketNote& note) {
  note.key = note.key || parser.key_frame == 1;
  note.bidirectional = parser.pict_type == AV_PICTURE_TYPE_B;
  note.order = parser.output_picture_number;
  if (parser.repeat_pict > 0) note.fields = static_cast<uint8_t>(std::min(1 + parser.repeat_pict, 8));
  const std::optional<PictureHeader> header = headers.read(picture);
  if (!header) return;
  if (header->kind != PictureKind::unknown) note.bidirectional = header->kind == PictureKind::bidirectional;
  note.coded = header->coded;
  note.restarts = header->restarts;
  note.secondField = pairs.completes(*header);
}

PictureInspector::PictureInspector(const AVCodecParameters& parameters)
    : parser_(av_parser_init(parameters.codec_id)),
      context_(lav::checked(avcodec_alloc_context3(nullptr))),
      headers_(parameters) {
  if (parser_) parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  if (avcodec_parameters_to_context(context_.get(), &parameters) < 0) parser_.reset();
}

void PictureInspector::inspect(const AVPacket& packet, std::span<const uint8_t> beginning, PacketNote& note) {
  if (!parser_) {
    const std::optional<PictureHeader> header = headers_.read(beginning);
    note.bidirectional = header && header->kind == PictureKind::bidirectional;
    return;
  }
  uint8_t* out = nullptr;
  int size = 0;
  av_parser_parse2(parser_.get(), context_.get(), &out, &size, beginning.data(),
                   static_cast<int>(beginning.size()), packet.pts, packet.dts, packet.pos);
  readNote(*parser_, headers_, pairs_, beginning, note);
}

namespace {

int reorderDepthOf(const VideoIndex& video) {
  // A picture is held back by those decoded before it and shown after it.
  int depth = 0;
  std::vector<uint32_t> ahead;  // ranks decoded so far that exceed the ranks shown so far
  uint32_t shown = 0;
  std::vector<bool> decoded(video.pictures.size(), false);
  for (const Picture& picture : video.pictures) {
    decoded[picture.rank] = true;
    const auto above = std::lower_bound(ahead.begin(), ahead.end(), picture.rank);
    depth = std::max(depth, static_cast<int>(ahead.end() - above));
    ahead.insert(above, picture.rank);
    while (shown < decoded.size() && decoded[shown]) ++shown;
    ahead.erase(ahead.begin(), std::lower_bound(ahead.begin(), ahead.end(), shown));
    constexpr size_t kMostPending = 64;
    if (ahead.size() > kMostPending) ahead.erase(ahead.begin());
  }
  return depth;
}

void measureGroups(VideoIndex& video) {
  const auto& pictures = video.pictures;
  if (video.firstKey >= pictures.size()) return;
  size_t nextKey = video.firstKey + 1;
  while (nextKey < pictures.size() && !pictures[nextKey].key) ++nextKey;
  // Counted in presentation: in decoding, a key picture overtakes those that are shown before it. What is
  // left of a file without a second key picture is one group.
  const uint32_t firstRank = pictures[video.firstKey].rank;
  video.gopN = static_cast<int>(nextKey < pictures.size() ? pictures[nextKey].rank - firstRank
                                                          : nextKey - video.firstKey);
  // Anchors are the pictures that go beyond all before them in presentation.
  video.gopM = 1;
  for (size_t i = video.firstKey + 1; i < pictures.size(); ++i) {
    if (pictures[i].rank <= firstRank) continue;
    video.gopM = static_cast<int>(pictures[i].rank - firstRank);
    break;
  }
}

// Decodes from the first key picture until a picture is shown that is not before it in time, and keeps for
// display only those earlier ones that come out. An open first GOP has leading pictures that refer to a GOP
// which is not there; in a closed one they can be shown.
class OpeningProbe {
 public:
  OpeningProbe(const MediaIndex& index, StreamIndex& stream, const mediafile::FileAccess& access)
      : stream_(stream), pictures_(stream.video.pictures), comesOut_(pictures_.size(), false) {
    std::string error;
    reader_ = PictureReader::open(index, stream, access, error);
    if (reader_) codec_ = openVideoCodec(stream, {}, nullptr, error);
  }

  // The rank of the first picture at or behind the first key that can be shown; 0 when none came out.
  uint32_t run() {
    if (!reader_ || !codec_) return 0;
    if (!reader_->position(stream_.video.firstKey)) return 0;
    constexpr size_t kMostPictures = 400;
    const lav::Packet packet = lav::newPacket();
    for (size_t sent = 0; sent < kMostPictures && !reached_; ++sent) {
      const size_t number = reader_->nextPicture();
      const PictureReader::Result result = reader_->next(*packet);
      if (result == PictureReader::Result::end) break;
      if (result == PictureReader::Result::error) continue;
      if (number == stream_.video.firstKey)
        stream_.headers = readHeaders(headerSyntaxOf(stream_.codec()), lav::extradata(*stream_.parameters),
                                      lav::payload(*packet));
      packet->pts = pictures_[number].rank;
      packet->dts = AV_NOPTS_VALUE;
      avcodec_send_packet(codec_.get(), packet.get());
      av_packet_unref(packet.get());
      receive();
    }
    if (!reached_) {
      avcodec_send_packet(codec_.get(), nullptr);
      receive();
    }
    return reached_ ? reachedRank_ : 0;
  }

  bool comesOut(size_t rank) const { return comesOut_[rank]; }

 private:
  void receive() {
    const lav::Frame frame = lav::newFrame();
    while (!reached_ && avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
      if (!stream_.first.seen) note(*frame);
      const int64_t rank = frame->pts;
      if (rank < 0 || rank >= static_cast<int64_t>(comesOut_.size())) continue;
      comesOut_[static_cast<size_t>(rank)] = true;
      if (rank < pictures_[stream_.video.firstKey].rank) continue;
      reached_ = true;
      reachedRank_ = static_cast<uint32_t>(rank);
    }
  }

  void note(const AVFrame& frame) {
    FirstPicture& first = stream_.first;
    first.seen = true;
    first.width = frame.width;
    first.height = frame.height;
    first.format = static_cast<AVPixelFormat>(frame.format);
    first.interlaced = lav::interlaced(frame);
    first.topFieldFirst = lav::topFieldFirst(frame);
    if (codec_->framerate.num > 0 && codec_->framerate.den > 0) first.codedRate = av_q2d(codec_->framerate);
  }

  StreamIndex& stream_;
  const HostVector<Picture>& pictures_;
  std::vector<bool> comesOut_;  // by rank
  std::unique_ptr<PictureReader> reader_;
  lav::CodecContext codec_;
  bool reached_ = false;
  uint32_t reachedRank_ = 0;
};

void removeLastPicture(StreamIndex& stream) {
  auto& pictures = stream.video.pictures;
  const Picture last = pictures.back();
  pictures.pop_back();
  for (Picture& picture : pictures)
    if (picture.rank > last.rank) --picture.rank;
  for (size_t i = last.packet; i < stream.packets.size(); ++i)
    stream.packets[i].unit = PacketEntry::kNoPicture;
}

void numberForDisplay(VideoIndex& video, const OpeningProbe& probe, uint32_t reachedRank) {
  auto& pictures = video.pictures;
  std::vector<uint32_t> byRank(pictures.size());
  for (size_t i = 0; i < pictures.size(); ++i) byRank[pictures[i].rank] = static_cast<uint32_t>(i);
  const uint32_t opening = std::max(reachedRank, pictures[video.firstKey].rank);
  video.byDisplay.reserve(pictures.size());
  for (size_t rank = 0; rank < byRank.size(); ++rank) {
    Picture& picture = pictures[byRank[rank]];
    if (picture.hidden || byRank[rank] < video.firstKey) continue;
    if (rank < opening && !probe.comesOut(rank)) continue;
    picture.display = static_cast<int32_t>(video.byDisplay.size());
    video.byDisplay.push_back(byRank[rank]);
  }
}

void measureRates(StreamIndex& stream, const std::vector<PacketNote>& notes) {
  VideoIndex& video = stream.video;
  std::vector<int64_t> stamps;
  stamps.reserve(video.frames());
  int64_t fields = 0, lastFields = 0;
  for (const uint32_t at : video.byDisplay) {
    const Picture& picture = video.pictures[at];
    stamps.push_back(stream.packets[picture.packet].pts);
    lastFields = picture.packets == 2 ? 2 : notes[picture.packet].fields;
    fields += lastFields;
  }
  if (video.stampsOfDecoding) std::sort(stamps.begin(), stamps.end());
  const double declared = stream.averageRate > 0 ? stream.averageRate : stream.baseRate;
  video.rate = measuredRate(stamps, stream.timeBase);
  if (video.rate <= 0) video.rate = snappedRate(declared);
  video.displayedRate = video.rate;
  const auto frames = static_cast<double>(video.frames());
  const double shown = frames > 0 ? static_cast<double>(fields) / (2 * frames) : 1;
  if (shown <= 1.02) return;
  // The stamps span all fields but those of the last picture.
  const double spanned = frames > 1 ? static_cast<double>(fields - lastFields) / (2 * (frames - 1)) : shown;
  video.displayedRate = snappedRate(video.rate * spanned);
  video.rate = snappedRate(video.displayedRate / shown);
}

}  // namespace

double snappedRate(double rate) {
  constexpr double kTolerance = 0.0005;
  for (int whole = 1; whole <= 300; ++whole) {
    const double drop = whole * 1000.0 / 1001.0;
    const bool dropUsual = whole % 24 == 0 || whole % 30 == 0 || whole == 15;
    // Both candidates lie a thousandth apart: the nearer one counts.
    const bool nearWhole = std::abs(rate - whole) < kTolerance * whole;
    const bool nearDrop = dropUsual && std::abs(rate - drop) < kTolerance * drop;
    if (nearWhole && (!nearDrop || std::abs(rate - whole) <= std::abs(rate - drop))) return whole;
    if (nearDrop) return drop;
  }
  return rate;
}

double measuredRate(const std::vector<int64_t>& stamps, AVRational timeBase) {
  if (stamps.size() < 2 || timeBase.num <= 0 || timeBase.den <= 0) return 0;
  // From one stamp to the next lie `pictures` pictures.
  struct Step {
    double ticks, pictures;
    double each() const { return ticks / pictures; }
  };
  std::vector<Step> steps;
  steps.reserve(stamps.size() - 1);
  std::optional<size_t> before;
  for (size_t i = 0; i < stamps.size(); ++i) {
    if (stamps[i] == AV_NOPTS_VALUE) continue;
    if (before && stamps[i] > stamps[*before])
      steps.push_back({static_cast<double>(stamps[i] - stamps[*before]), static_cast<double>(i - *before)});
    before = i;
  }
  if (steps.empty()) return 0;
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end(),
                   [](const Step& a, const Step& b) { return a.each() < b.each(); });
  const double usual = middle->each();
  // Containers with coarse clocks round every stamp.
  const auto regular = [&](const Step& step) {
    return std::abs(step.each() - usual) <= std::max(1.0, usual / 50);
  };
  const auto regulars = std::count_if(steps.begin(), steps.end(), regular);
  const bool steady = static_cast<size_t>(regulars) * 10 >= steps.size() * 9;
  double ticks = 0, pictures = 0;
  for (const Step& step : steps) {
    if (steady ? !regular(step) : step.each() > 4 * usual) continue;
    ticks += step.ticks;
    pictures += step.pictures;
  }
  return snappedRate(pictures * timeBase.den / (ticks * timeBase.num));
}

void buildVideoIndex(const MediaIndex& index, StreamIndex& stream, const std::vector<PacketNote>& notes,
                     const mediafile::FileAccess& access) {
  VideoIndex& video = stream.video;
  groupPackets(stream, notes);
  if (video.pictures.empty()) return;
  rankPictures(stream, notes, index.bytePositions);
  while (video.firstKey < video.pictures.size() && !video.pictures[video.firstKey].key) ++video.firstKey;
  if (video.firstKey == video.pictures.size())
    video.firstKey = 0;  // no marks: any picture may be a beginning
  video.reorderDepth = reorderDepthOf(video);
  // What never comes out whole has no number, and decoders let it get in the way of others.
  if (!lastPictureIsWhole(index, stream, access)) removeLastPicture(stream);
  OpeningProbe probe(index, stream, access);
  const uint32_t reached = probe.run();
  numberForDisplay(video, probe, reached);
  measureGroups(video);
  measureRates(stream, notes);
}

}  // namespace mfimport
