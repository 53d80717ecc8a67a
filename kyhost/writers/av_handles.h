// Ownership of libav objects, and what differs between its versions.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/md5.h>
#include <libswscale/swscale.h>
}

namespace kyhost {

struct AvDelete {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(AVFormatContext* format) const { avformat_free_context(format); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  void operator()(AVMD5* md5) const { av_free(md5); }
  void operator()(AVIOContext* io) const {
    av_freep(&io->buffer);
    avio_context_free(&io);
  }
};
template <class Object>
using AvPtr = std::unique_ptr<Object, AvDelete>;

// The write callback of an AVIOContext takes constant bytes since libavformat 61.
#if LIBAVFORMAT_VERSION_MAJOR < 61
using AvioWriteBytes = uint8_t;
#else
using AvioWriteBytes = uint8_t const;
#endif

inline std::string avErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

}  // namespace kyhost
