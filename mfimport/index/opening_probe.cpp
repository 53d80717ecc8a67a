#include "mfimport/index/opening_probe.h"

#include <utility>

#include "mfimport/clip/picture_reader.h"
#include "mfimport/headers/classify.h"
#include "mfimport/video/video_codec.h"

namespace mfimport {
namespace {

// Decodes from the first key picture until a picture is shown that is not before it in time, and keeps for
// display only those earlier ones that come out. An open first GOP has leading pictures that refer to a GOP
// which is not there; in a closed one they can be shown.
class OpeningProbe {
 public:
  OpeningProbe(StreamFacts const& stream, PictureOrder const& order, PictureReader& reader,
               lav::CodecContext codec)
      : stream_(stream), order_(order), reader_(reader), codec_(std::move(codec)) {
    facts_.parameters = lav::copy(*stream.parameters);
    facts_.comesOut.assign(order.pictures.size(), false);
  }

  OpeningFacts run() {
    if (!reader_.position(order_.firstKey)) return std::move(facts_);
    constexpr size_t kMostPictures = 400;
    lav::Packet const packet = lav::newPacket();
    for (size_t sent = 0; sent < kMostPictures && !reached_; ++sent) {
      size_t const number = reader_.nextPicture();
      PictureReader::Outcome const result = reader_.next(*packet);
      if (result == PictureReader::Outcome::end) break;
      if (result == PictureReader::Outcome::error) continue;
      if (number == order_.firstKey || !facts_.headers.any())
        facts_.headers = readHeaders(headerSyntaxOf(stream_.codec()), lav::extradata(*facts_.parameters),
                                     lav::payload(*packet));
      packet->pts = order_.pictures[number].rank;
      packet->dts = AV_NOPTS_VALUE;
      avcodec_send_packet(codec_.get(), packet.get());
      av_packet_unref(packet.get());
      receive();
    }
    if (!reached_) {
      avcodec_send_packet(codec_.get(), nullptr);
      receive();
    }
    return std::move(facts_);
  }

 private:
  void receive() {
    lav::Frame const frame = lav::newFrame();
    while (!reached_ && avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
      if (!facts_.first.seen || (firstIsBroken_ && !lav::damaged(*frame))) note(*frame);
      int64_t const rank = frame->pts;
      if (rank < 0 || rank >= static_cast<int64_t>(facts_.comesOut.size())) continue;
      facts_.comesOut[static_cast<size_t>(rank)] = true;
      if (rank < order_.pictures[order_.firstKey].rank) continue;
      reached_ = true;
      facts_.reachedRank = static_cast<uint32_t>(rank);
    }
  }

  void note(AVFrame const& frame) {
    FirstPicture& first = facts_.first;
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
    AVCodecParameters& colour = *facts_.parameters;
    if (colour.color_primaries == AVCOL_PRI_UNSPECIFIED) colour.color_primaries = frame.color_primaries;
    if (colour.color_trc == AVCOL_TRC_UNSPECIFIED) colour.color_trc = frame.color_trc;
    if (colour.color_space == AVCOL_SPC_UNSPECIFIED) colour.color_space = frame.colorspace;
    if (colour.color_range == AVCOL_RANGE_UNSPECIFIED) colour.color_range = frame.color_range;
  }

  StreamFacts const& stream_;
  PictureOrder const& order_;
  PictureReader& reader_;
  lav::CodecContext codec_;
  OpeningFacts facts_;
  bool firstIsBroken_ = false;  // its facts are to be those of a later one
  bool reached_ = false;
};

}  // namespace

Result<OpeningFacts> probeOpening(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                  PacketList const& stream, PictureOrder const& order) {
  auto reader = PictureReader::open(clip, stream, order.pictures, file);
  if (!reader) return reader.error();
  auto codec = openVideoCodec(stream, order.reorderDepth, {}, nullptr);
  if (!codec) {
    OpeningFacts none;
    none.parameters = lav::copy(*stream.parameters);
    none.comesOut.assign(order.pictures.size(), false);
    return none;
  }
  OpeningFacts facts = OpeningProbe(stream, order, **reader, codec.take()).run();
  if (auto const health = file->health(); !health) return health.error();
  return facts;
}

}  // namespace mfimport
