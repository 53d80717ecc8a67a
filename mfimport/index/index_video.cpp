// Display order of pictures.
#include <algorithm>
#include <numeric>
#include <utility>

#include "mfimport/clip/picture_reader.h"
#include "mfimport/headers/classify.h"
#include "mfimport/index/closing_probe.h"
#include "mfimport/index/frame_rate.h"
#include "mfimport/index/index_build.h"
#include "mfimport/video/exact_pictures.h"
#include "mfimport/video/video_codec.h"

namespace mfimport {

bool FieldPairs::completes(PictureHeader const& header) {
  bool const second = open_ && completesFrame(*open_, header);
  open_.reset();
  if (!second && header.structure != PictureStructure::frame) open_ = header;
  return second;
}

void readNote(AVCodecParserContext const& parser, PictureHeaderReader& headers, FieldPairs& pairs,
              std::span<uint8_t const> picture, PacketNote& note) {
  note.key = note.key || parser.key_frame == 1;
  note.bidirectional = parser.pict_type == AV_PICTURE_TYPE_B;
  note.order = parser.output_picture_number;
  if (parser.repeat_pict > 0) note.fields = static_cast<uint8_t>(std::min(1 + parser.repeat_pict, 8));
  std::optional<PictureHeader> const header = headers.read(picture);
  if (!header) return;
  if (header->kind != PictureKind::unknown) note.bidirectional = header->kind == PictureKind::bidirectional;
  note.coded = header->coded;
  note.restarts = header->restarts;
  note.secondField = pairs.completes(*header);
}

PictureInspector::PictureInspector(AVCodecParameters const& parameters)
    : parser_(av_parser_init(parameters.codec_id)),
      context_(lav::checked(avcodec_alloc_context3(nullptr))),
      headers_(parameters) {
  if (parser_) parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  if (avcodec_parameters_to_context(context_.get(), &parameters) < 0) parser_.reset();
}

void PictureInspector::inspect(AVPacket const& packet, std::span<uint8_t const> beginning, PacketNote& note) {
  if (!parser_) {
    std::optional<PictureHeader> const header = headers_.read(beginning);
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

int reorderDepthOf(VideoIndex const& video) {
  // A picture is held back by those decoded before it and shown after it.
  int depth = 0;
  std::vector<uint32_t> ahead;  // ranks decoded so far that exceed the ranks shown so far
  uint32_t shown = 0;
  std::vector<bool> decoded(video.pictures.size(), false);
  for (Picture const& picture : video.pictures) {
    decoded[picture.rank] = true;
    auto const above = std::lower_bound(ahead.begin(), ahead.end(), picture.rank);
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
  auto const& pictures = video.pictures;
  if (video.firstKey >= pictures.size()) return;
  size_t nextKey = video.firstKey + 1;
  while (nextKey < pictures.size() && !pictures[nextKey].key) ++nextKey;
  // Counted in presentation: in decoding, a key picture overtakes those that are shown before it. What is
  // left of a file without a second key picture is one group.
  uint32_t const firstRank = pictures[video.firstKey].rank;
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
  OpeningProbe(MediaIndex const& index, StreamIndex& stream, mediafile::FileAccess const& access)
      : stream_(stream), pictures_(stream.video.pictures), comesOut_(pictures_.size(), false) {
    if (auto reader = PictureReader::open(index, stream, access)) reader_ = reader.take();
    if (auto codec = openVideoCodec(stream, {}, nullptr)) codec_ = codec.take();
  }

  // The rank of the first picture at or behind the first key that can be shown; 0 when none came out.
  uint32_t run() {
    if (!reader_ || !codec_) return 0;
    if (!reader_->position(stream_.video.firstKey)) return 0;
    constexpr size_t kMostPictures = 400;
    lav::Packet const packet = lav::newPacket();
    for (size_t sent = 0; sent < kMostPictures && !reached_; ++sent) {
      size_t const number = reader_->nextPicture();
      PictureReader::Outcome const result = reader_->next(*packet);
      if (result == PictureReader::Outcome::end) break;
      if (result == PictureReader::Outcome::error) continue;
      if (number == stream_.video.firstKey || !stream_.headers.any())
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
    lav::Frame const frame = lav::newFrame();
    while (!reached_ && avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
      if (!stream_.first.seen || (firstIsBroken_ && !lav::damaged(*frame))) note(*frame);
      int64_t const rank = frame->pts;
      if (rank < 0 || rank >= static_cast<int64_t>(comesOut_.size())) continue;
      comesOut_[static_cast<size_t>(rank)] = true;
      if (rank < pictures_[stream_.video.firstKey].rank) continue;
      reached_ = true;
      reachedRank_ = static_cast<uint32_t>(rank);
    }
  }

  void note(AVFrame const& frame) {
    FirstPicture& first = stream_.first;
    first.seen = true;
    firstIsBroken_ = lav::damaged(frame);
    first.width = frame.width;
    first.height = frame.height;
    first.format = static_cast<AVPixelFormat>(frame.format);
    first.interlaced = lav::interlaced(frame);
    first.topFieldFirst = lav::topFieldFirst(frame);
    completeColour(frame);
    // Of MPEG-4 libavcodec tells the clock in which pictures are timed.
    AVRational const rate = codec_->framerate;
    if (rate.num > 0 && rate.den > 0 && stream_.codec() != AV_CODEC_ID_MPEG4) first.codedRate = av_q2d(rate);
  }

  // The coded headers fill in what the container leaves open: in MXF libavformat reads none of them.
  void completeColour(AVFrame const& frame) {
    AVCodecParameters& colour = *stream_.parameters;
    if (colour.color_primaries == AVCOL_PRI_UNSPECIFIED) colour.color_primaries = frame.color_primaries;
    if (colour.color_trc == AVCOL_TRC_UNSPECIFIED) colour.color_trc = frame.color_trc;
    if (colour.color_space == AVCOL_SPC_UNSPECIFIED) colour.color_space = frame.colorspace;
    if (colour.color_range == AVCOL_RANGE_UNSPECIFIED) colour.color_range = frame.color_range;
  }

  StreamIndex& stream_;
  HostVector<Picture> const& pictures_;
  std::vector<bool> comesOut_;  // by rank
  std::unique_ptr<PictureReader> reader_;
  lav::CodecContext codec_;
  bool firstIsBroken_ = false;  // its facts are to be those of a later one
  bool reached_ = false;
  uint32_t reachedRank_ = 0;
};

void removeLastPicture(StreamIndex& stream) {
  auto& pictures = stream.video.pictures;
  Picture const last = pictures.back();
  pictures.pop_back();
  for (Picture& picture : pictures)
    if (picture.rank > last.rank) --picture.rank;
  for (size_t i = last.packet; i < stream.packets.size(); ++i)
    stream.packets[i].unit = PacketEntry::kNoPicture;
}

void numberForDisplay(VideoIndex& video, OpeningProbe const& probe, uint32_t reachedRank) {
  auto& pictures = video.pictures;
  std::vector<uint32_t> byRank(pictures.size());
  for (size_t i = 0; i < pictures.size(); ++i) byRank[pictures[i].rank] = static_cast<uint32_t>(i);
  uint32_t const opening = std::max(reachedRank, pictures[video.firstKey].rank);
  video.byDisplay.reserve(pictures.size());
  for (size_t rank = 0; rank < byRank.size(); ++rank) {
    Picture& picture = pictures[byRank[rank]];
    if (picture.hidden || byRank[rank] < video.firstKey) continue;
    if (rank < opening && !probe.comesOut(rank)) continue;
    picture.display = static_cast<int32_t>(video.byDisplay.size());
    video.byDisplay.push_back(byRank[rank]);
  }
}

// Leaves pictures that never come out whole at either end out of the numbers.
void dropBrokenEnds(VideoIndex& video, BrokenEnds const& ends) {
  auto& shown = video.byDisplay;
  if (ends.first + ends.last == 0) return;
  for (size_t i = 0; i < shown.size(); ++i) {
    bool const kept = i >= ends.first && i < shown.size() - ends.last;
    video.pictures[shown[i]].display = kept ? static_cast<int32_t>(i - ends.first) : Picture::kNotShown;
  }
  shown.resize(shown.size() - ends.last);
  shown.erase(shown.begin(), shown.begin() + static_cast<std::ptrdiff_t>(ends.first));
}

}  // namespace

bool takesLongToDecode(StreamIndex const& stream, size_t pictures) {
  constexpr int64_t kMostPixels = int64_t{128} * 1920 * 1088;
  int64_t const pixels = int64_t{stream.parameters->width} * stream.parameters->height;
  return static_cast<int64_t>(pictures) * pixels > kMostPixels;
}

void buildVideoIndex(MediaIndex const& index, StreamIndex& stream, std::vector<PacketNote> const& notes,
                     mediafile::FileAccess const& access) {
  VideoIndex& video = stream.video;
  groupPackets(stream, notes);
  if (video.pictures.empty()) return;
  rankPictures(stream, notes, index.bytePositions);
  while (video.firstKey < video.pictures.size() && !video.pictures[video.firstKey].key) ++video.firstKey;
  if (video.firstKey == video.pictures.size())
    video.firstKey = 0;  // no marks: any picture may be a beginning
  video.reorderDepth = reorderDepthOf(video);
  // What never comes out whole has no number, and decoders let it get in the way of others.
  bool const vouched = containerVouchesForTheEnd(index, stream, access);
  if (!vouched && !lastPictureIsWhole(index, stream, access)) removeLastPicture(stream);
  OpeningProbe probe(index, stream, access);
  uint32_t const reached = probe.run();
  numberForDisplay(video, probe, reached);
  // Streams that can be cut anywhere; other containers list pictures that are there as a whole.
  if (index.bytePositions) dropBrokenEnds(video, brokenEnds(index, stream, access, !vouched));
  measureGroups(video);
  measureRates(index, stream, notes);
}

}  // namespace mfimport
