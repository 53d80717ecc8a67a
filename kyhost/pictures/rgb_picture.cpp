#include "kyhost/pictures/rgb_picture.h"

#include <fmt/format.h>

#include "host/colour.h"
#include "kyhost/pictures/new_picture.h"
#include "kyhost/session/failure.h"

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

int swsMatrix(KyYUVMatrix matrix) {
  switch (matrix) {
    case KyYUVMatrix::Bt601:
      return SWS_CS_ITU601;
    case KyYUVMatrix::Bt2020:
      return SWS_CS_BT2020;
    case KyYUVMatrix::Smpte240:
      return SWS_CS_SMPTE240M;
    case KyYUVMatrix::Fcc:
      return SWS_CS_FCC;
    default:
      return SWS_CS_ITU709;
  }
}

// Of a picture that tells none, and of RGB called YUV, that of its height.
KyYUVMatrix matrixOf(KyFrame const& frame) {
  KyYUVMatrix const told = frame.yuvMatrix();
  bool const known = told != KyYUVMatrix::Unknown && told != KyYUVMatrix::Identity;
  return known ? told : kyMatrixOfHeight(frame.height());
}

void require(bool ok, char const* what) {
  if (!ok) throw Failure(ExitCode::Write, fmt::format("pictures cannot be converted: {}", what));
}

void requireResult(int result) {
  if (result < 0) require(false, lav::errorText(result).c_str());
}

}  // namespace

void RgbConverter::prepare(KyFrame const& frame, AVPixelFormat from, int width, int height,
                           AVPixelFormat to) {
  bool const shrinks = width < frame.width();
  int const flags = (shrinks ? SWS_AREA : SWS_BICUBIC) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width(), frame.height(), from, width, height,
                                     to, flags, nullptr, nullptr, nullptr));
  require(scaler_ != nullptr, "no conversion to RGB");
  if (from != AV_PIX_FMT_BGRA) {
    constexpr int kUnity = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(swsMatrix(matrixOf(frame))), 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, kUnity, kUnity);
  }
  if (!rgb_ || rgb_->width != width || rgb_->height != height || rgb_->format != to) {
    rgb_ = newPicture(to, width, height);
    require(rgb_ != nullptr, "no memory");
  }
  require(av_frame_make_writable(rgb_.get()) >= 0, "no memory");
}

AVFrame const& RgbConverter::convert(KyFrame const& frame, int width, int height, bool deep) {
  AVPixelFormat const from = formatOf(frame.fourcc());
  prepare(frame, from, width, height, deep ? AV_PIX_FMT_RGB48BE : AV_PIX_FMT_RGB24);
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

void PngEncoder::open(AVFrame const& frame, AVRational pixelAspect) {
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
  requireResult(avcodec_open2(codec_.get(), png, nullptr));
}

std::span<unsigned char const> PngEncoder::encode(AVFrame const& frame, AVRational pixelAspect) {
  if (!codec_) open(frame, pixelAspect);
  av_packet_unref(packet_.get());
  requireResult(avcodec_send_frame(codec_.get(), &frame));
  requireResult(avcodec_receive_packet(codec_.get(), packet_.get()));
  return lav::payload(*packet_);
}

}  // namespace kyhost
