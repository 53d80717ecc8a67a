#include "samples/mpeg2_encoder.h"

#include <fmt/core.h>

#include <climits>
#include <stdexcept>
#include <utility>

#include "mediafile/lav.h"

namespace samples {
namespace {

void check(int result, char const* what) {
  if (result >= 0) return;
  throw std::runtime_error(fmt::format("MPEG-2 encoder, {}: {}", what, lav::errorText(result)));
}

// profile_and_level_indication of ISO/IEC 13818-2, 8.2: Main Profile 4, High Level 4.
constexpr int kMainProfile = 4;
constexpr int kHighLevel = 4;
// vbv_buffer_size of MP@HL in bits, ISO/IEC 13818-2 table 8-14.
constexpr int kVbvBits = 9'781'248;

}  // namespace

struct Mpeg2Encoder::Life {
  lav::CodecContext context;
  lav::Frame frame;
  lav::Packet packet;
  Sink sink;
  bool interlaced = false;
  std::int64_t next = 0;

  void drain() {
    for (;;) {
      int const result = avcodec_receive_packet(context.get(), packet.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
      check(result, "coding a picture");
      sink({{packet->data, static_cast<std::size_t>(packet->size)},
            packet->pts,
            (packet->flags & AV_PKT_FLAG_KEY) != 0});
      av_packet_unref(packet.get());
    }
  }
};

Mpeg2Encoder::Mpeg2Encoder(PictureFormat const& format, std::string const& timecode, Sink sink)
    : life_(std::make_unique<Life>()) {
  AVCodec const* codec = avcodec_find_encoder(AV_CODEC_ID_MPEG2VIDEO);
  if (codec == nullptr) throw std::runtime_error("libavcodec was built without its MPEG-2 encoder");
  life_->context.reset(avcodec_alloc_context3(codec));
  life_->frame.reset(av_frame_alloc());
  life_->packet.reset(av_packet_alloc());
  if (!life_->context || !life_->frame || !life_->packet) throw std::bad_alloc();
  life_->sink = std::move(sink);
  life_->interlaced = format.interlaced;

  AVCodecContext& context = *life_->context;
  context.width = format.width;
  context.height = format.height;
  context.pix_fmt = AV_PIX_FMT_YUV420P;
  av_reduce(&context.time_base.num, &context.time_base.den, format.frameDuration, format.timeScale, INT_MAX);
  context.framerate = {context.time_base.den, context.time_base.num};
  context.sample_aspect_ratio = {1, 1};
  context.profile = kMainProfile;
  context.level = kHighLevel;
  context.gop_size = format.gopLength;
  context.max_b_frames = 2;
  // Variable rate: the average stays a little below the peak, which the sequence header states.
  context.bit_rate = format.bitRate / 100 * 97;
  context.rc_max_rate = format.bitRate;
  context.rc_buffer_size = kVbvBits;
  context.color_range = AVCOL_RANGE_MPEG;
  context.color_primaries = AVCOL_PRI_BT709;
  context.color_trc = AVCOL_TRC_BT709;
  context.colorspace = AVCOL_SPC_BT709;
  // Two slices side by side, whatever the machine: the files are the same everywhere.
  context.thread_type = FF_THREAD_SLICE;
  context.thread_count = 2;
  if (format.interlaced) {
    context.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    context.field_order = AV_FIELD_TT;
  }
  check(av_opt_set(context.priv_data, "gop_timecode", timecode.c_str(), 0), "time code");
  // Scene detection would begin GOPs of its own.
  check(av_opt_set_int(&context, "sc_threshold", 1'000'000'000, AV_OPT_SEARCH_CHILDREN), "scene threshold");
  check(avcodec_open2(&context, codec, nullptr), "opening");
}

Mpeg2Encoder::~Mpeg2Encoder() = default;

Planes Mpeg2Encoder::nextPicture() {
  AVFrame& frame = *life_->frame;
  // The encoder keeps references to earlier pictures, so every picture has its own memory.
  av_frame_unref(&frame);
  frame.format = AV_PIX_FMT_YUV420P;
  frame.width = life_->context->width;
  frame.height = life_->context->height;
  check(av_frame_get_buffer(&frame, 0), "memory for a picture");
  frame.pts = life_->next++;
  if (life_->interlaced) lav::setInterlacedTopFirst(frame);
  return {frame.data[0],     frame.linesize[0], frame.data[1],
          frame.linesize[1], frame.data[2],     frame.linesize[2]};
}

void Mpeg2Encoder::encode() {
  check(avcodec_send_frame(life_->context.get(), life_->frame.get()), "taking a picture");
  life_->drain();
}

void Mpeg2Encoder::finish() {
  check(avcodec_send_frame(life_->context.get(), nullptr), "finishing");
  life_->drain();
}

}  // namespace samples
