// Owners for libav objects, and the differences between FFmpeg 5.1 and 7 in one place.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace lav {

struct Deleter {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
  void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
  void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFrame* p) const { av_frame_free(&p); }
  void operator()(SwsContext* p) const { sws_freeContext(p); }
  void operator()(SwrContext* p) const { swr_free(&p); }
  void operator()(AVIOContext* p) const {
    // The buffer is ours by contract of avio_alloc_context, and libavformat may have replaced it.
    if (p) av_freep(&p->buffer);
    avio_context_free(&p);
  }
};

using FormatContext = std::unique_ptr<AVFormatContext, Deleter>;
using CodecContext = std::unique_ptr<AVCodecContext, Deleter>;
using CodecParameters = std::unique_ptr<AVCodecParameters, Deleter>;
using Parser = std::unique_ptr<AVCodecParserContext, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Scaler = std::unique_ptr<SwsContext, Deleter>;
using Resampler = std::unique_ptr<SwrContext, Deleter>;
using Io = std::unique_ptr<AVIOContext, Deleter>;

// libav objects whose allocation failed end the operation like any other lack of memory.
template <class T>
T checked(T pointer) {
  if (!pointer) throw std::bad_alloc();
  return pointer;
}

inline Packet newPacket() { return Packet(checked(av_packet_alloc())); }
inline Frame newFrame() { return Frame(checked(av_frame_alloc())); }

inline CodecParameters copy(AVCodecParameters const& from) {
  CodecParameters to(checked(avcodec_parameters_alloc()));
  if (avcodec_parameters_copy(to.get(), &from) < 0) throw std::bad_alloc();
  return to;
}

inline std::string errorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

// Keeps the messages of one decoder out of the process-wide log, which is the program's: what matters comes
// back as results.
inline void quieten(AVCodecContext& context) { context.log_level_offset = AV_LOG_TRACE; }

inline bool interlaced(AVFrame const& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
  return frame.interlaced_frame != 0;
#endif
}

inline bool topFieldFirst(AVFrame const& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST) != 0;
#else
  return frame.top_field_first != 0;
#endif
}

inline bool keyFrame(AVFrame const& frame) {
#ifdef AV_FRAME_FLAG_KEY
  return (frame.flags & AV_FRAME_FLAG_KEY) != 0;
#else
  return frame.key_frame != 0;
#endif
}

inline void setInterlacedTopFirst(AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  frame.flags |= AV_FRAME_FLAG_INTERLACED | AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
  frame.interlaced_frame = 1;
  frame.top_field_first = 1;
#endif
}

// get_buffer2 and draw_horiz_band may come from any of the decoder's threads, which later versions take for
// granted.
inline void allowCallbacksInThreads([[maybe_unused]] AVCodecContext& decoder) {
#if LIBAVCODEC_VERSION_MAJOR < 60
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

// The decoder met errors in the picture and filled in what it could not read.
inline bool damaged(AVFrame const& frame) {
  return frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

inline std::span<uint8_t const> extradata(AVCodecParameters const& parameters) {
  if (!parameters.extradata || parameters.extradata_size <= 0) return {};
  return {parameters.extradata, static_cast<size_t>(parameters.extradata_size)};
}

inline std::span<uint8_t const> payload(AVPacket const& packet) {
  if (!packet.data || packet.size <= 0) return {};
  return {packet.data, static_cast<size_t>(packet.size)};
}

inline std::span<uint8_t const> sideData(AVPacket const& packet, AVPacketSideDataType type) {
  size_t size = 0;
  uint8_t const* data = av_packet_get_side_data(&packet, type, &size);
  return data ? std::span<uint8_t const>(data, size) : std::span<uint8_t const>();
}

// The write callback of an AVIOContext takes constant bytes since libavformat 61.
#if LIBAVFORMAT_VERSION_MAJOR < 61
using AvioWriteBytes = uint8_t;
#else
using AvioWriteBytes = uint8_t const;
#endif

#ifdef AV_PROFILE_DTS
constexpr int kProfileDts = AV_PROFILE_DTS;
#else
constexpr int kProfileDts = FF_PROFILE_DTS;
#endif

// Converts audio frames like `frame` to `to`, packed, at their own rate and channels. Null when impossible.
inline Resampler formatConverter(AVFrame const& frame, AVSampleFormat to) {
  AVChannelLayout layout = {};  // FFmpeg 5.1 takes pointers to non-const
  if (av_channel_layout_copy(&layout, &frame.ch_layout) < 0) return nullptr;
  SwrContext* context = nullptr;
  int const result =
      swr_alloc_set_opts2(&context, &layout, to, frame.sample_rate, &layout,
                          static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  Resampler resampler(context);
  av_channel_layout_uninit(&layout);
  if (result < 0 || swr_init(context) < 0) return nullptr;
  return resampler;
}

}  // namespace lav
