#include "kyhost/pictures/rgb_picture.h"

#include <fmt/format.h>

#include "kyhost/session/failure.h"
#include "mfimport/mfimport.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace kyhost {
namespace {

AVPixelFormat formatOf(uint32_t fourcc) {
  if (auto const layout = planarLayout(fourcc)) {
    if (layout->chroma == Chroma::k420)
      return layout->bytes == 1 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV420P16LE;
    return layout->bytes == 1 ? AV_PIX_FMT_YUV422P : AV_PIX_FMT_YUV422P16LE;
  }
  if (fourcc == kyFourcc("BGR4") || fourcc == kyFourcc("BGRA")) return AV_PIX_FMT_BGRA;
  throw Failure(ExitCode::Usage, "pictures of this layout cannot be turned into RGB",
                "write --format raw, or ask the decoder for another layout with --set FOURCC=BGR4");
}

int swsMatrix(KyFrame const& frame) {
  switch (frame.yuvMatrix()) {
    case KyYUVMatrix::Bt709:
      return SWS_CS_ITU709;
    case KyYUVMatrix::Bt601:
      return SWS_CS_ITU601;
    case KyYUVMatrix::Bt2020:
      return SWS_CS_BT2020;
    case KyYUVMatrix::Smpte240:
      return SWS_CS_SMPTE240M;
    case KyYUVMatrix::Fcc:
      return SWS_CS_FCC;
    default:
      return mpegMatrixOfHeight(frame.height());  // swscale numbers them as ISO/IEC 23091-2 does
  }
}

void require(bool ok, char const* what) {
  if (!ok) throw Failure(ExitCode::Write, fmt::format("pictures cannot be converted: {}", what));
}

}  // namespace

AVFrame const& RgbConverter::convert(KyFrame const& frame, int width, int height, bool deep) {
  AVPixelFormat const from = formatOf(frame.fourcc());
  AVPixelFormat const to = deep ? AV_PIX_FMT_RGB48BE : AV_PIX_FMT_RGB24;
  bool const shrinks = width < frame.width();
  int const flags = (shrinks ? SWS_AREA : SWS_BICUBIC) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width(), frame.height(), from, width, height,
                                     to, flags, nullptr, nullptr, nullptr));
  require(scaler_ != nullptr, "no conversion to RGB");
  if (from != AV_PIX_FMT_BGRA) {
    constexpr int kUnity = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(swsMatrix(frame)), 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, kUnity, kUnity);
  }
  if (!rgb_ || rgb_->width != width || rgb_->height != height || rgb_->format != to) {
    rgb_.reset(av_frame_alloc());
    require(rgb_ != nullptr, "no memory");
    rgb_->format = to;
    rgb_->width = width;
    rgb_->height = height;
    require(av_frame_get_buffer(rgb_.get(), 0) >= 0, "no memory");
  }
  require(av_frame_make_writable(rgb_.get()) >= 0, "no memory");

  uint8_t const* data[4] = {};
  int stride[4] = {};
  if (from == AV_PIX_FMT_BGRA) {
    data[0] = frame.pixelPtr(0, 0, 0);
    stride[0] = frame.stride(0);
  } else {
    auto const& planes = planes_.of(frame);
    for (size_t i = 0; i < planes.size(); ++i) {
      data[i] = planes[i].data;
      stride[i] = planes[i].stride;
    }
  }
  int const rows = sws_scale(scaler_.get(), data, stride, 0, frame.height(), rgb_->data, rgb_->linesize);
  require(rows == height, "the conversion to RGB failed");
  return *rgb_;
}

std::span<unsigned char const> PngEncoder::encode(AVFrame const& frame, AVRational pixelAspect) {
  if (!codec_) {
    AVCodec const* const png = avcodec_find_encoder(AV_CODEC_ID_PNG);
    require(png != nullptr, "this libavcodec writes no PNG");
    codec_.reset(avcodec_alloc_context3(png));
    packet_.reset(av_packet_alloc());
    require(codec_ && packet_, "no memory");
    codec_->width = frame.width;
    codec_->height = frame.height;
    codec_->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    codec_->time_base = {1, 1};
    codec_->thread_count = 1;
    if (pixelAspect.num > 0 && pixelAspect.den > 0) codec_->sample_aspect_ratio = pixelAspect;
    // Filtering each row by what suits it makes pictures a tenth smaller.
    av_opt_set(codec_->priv_data, "pred", "mixed", 0);
    int const result = avcodec_open2(codec_.get(), png, nullptr);
    if (result < 0) require(false, avErrorText(result).c_str());
  }
  av_packet_unref(packet_.get());
  int result = avcodec_send_frame(codec_.get(), &frame);
  if (result >= 0) result = avcodec_receive_packet(codec_.get(), packet_.get());
  if (result < 0) require(false, avErrorText(result).c_str());
  return {packet_->data, static_cast<size_t>(packet_->size)};
}

}  // namespace kyhost
