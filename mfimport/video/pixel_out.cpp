#include "mfimport/video/pixel_out.h"

#include <cstring>
#include <string_view>

namespace mfimport {
namespace {

bool aligned(PictureTarget const& target, int plane, int bytes) {
  return reinterpret_cast<uintptr_t>(target.plane[plane]) % static_cast<unsigned>(bytes) == 0 &&
         target.stride[plane] % bytes == 0;
}

bool fits(PictureTarget const& target, uint32_t fourcc, int width) {
  int const bytes = isWide(fourcc) ? 2 : 1;
  if (isPlanar(fourcc)) {
    for (int p = 0; p < 3; ++p) {
      int const row = (p == 0 ? width : half(width)) * bytes;
      if (!target.plane[p] || target.stride[p] < row || !aligned(target, p, bytes)) return false;
    }
    return true;
  }
  int row = 4 * width;  // BGR4
  if (fourcc == kYuyv) row = 4 * half(width);
  if (fourcc == kY216) row = 8 * half(width);
  return target.plane[0] && target.stride[0] >= row && aligned(target, 0, bytes);
}

uint8_t const* row8(AVFrame const& frame, int plane, int y) {
  return frame.data[plane] + static_cast<std::ptrdiff_t>(frame.linesize[plane]) * y;
}

uint16_t const* row16(AVFrame const& frame, int plane, int y) {
  return reinterpret_cast<uint16_t const*>(row8(frame, plane, y));
}

struct Layout {
  bool planarYuv = false;
  int chromaWidthLog2 = 0, chromaHeightLog2 = 0;
  int depth = 0;
};

// Planar Y'CbCr in native byte order without alpha, or nothing.
Layout layoutOf(AVPixelFormat format) {
  AVPixFmtDescriptor const* info = av_pix_fmt_desc_get(format);
  constexpr uint64_t kRefused = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL |
                                AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_FLOAT;
  if (!info || info->nb_components != 3 || (info->flags & AV_PIX_FMT_FLAG_PLANAR) == 0 ||
      (info->flags & kRefused) != 0 || av_pix_fmt_count_planes(format) != 3)
    return {};
  int const bytes = info->comp[0].depth > 8 ? 2 : 1;
  if (info->comp[0].step != bytes || info->comp[0].shift != 0) return {};
  if (bytes == 2 && (info->flags & AV_PIX_FMT_FLAG_BE) != 0) return {};
  return {true, info->log2_chroma_w, info->log2_chroma_h, info->comp[0].depth};
}

bool is420(Layout const& layout) {
  return layout.planarYuv && layout.chromaWidthLog2 == 1 && layout.chromaHeightLog2 == 1;
}
bool is422(Layout const& layout) {
  return layout.planarYuv && layout.chromaWidthLog2 == 1 && layout.chromaHeightLog2 == 0;
}

void copyPlanes8(AVFrame const& frame, PictureTarget const& target) {
  for (int p = 0; p < 3; ++p) {
    int const width = p == 0 ? frame.width : half(frame.width);
    int const height = p == 0 ? frame.height : half(frame.height);
    for (int y = 0; y < height; ++y)
      std::memcpy(rowOf<uint8_t>(target, p, y), row8(frame, p, y), static_cast<size_t>(width));
  }
}

void writePlanes16(AVFrame const& frame, int depth, PictureTarget const& target) {
  for (int p = 0; p < 3; ++p) {
    int const width = p == 0 ? frame.width : half(frame.width);
    int const height = p == 0 ? frame.height : half(frame.height);
    for (int y = 0; y < height; ++y) {
      auto* out = rowOf<uint16_t>(target, p, y);
      if (depth > 8)
        shiftRow(row16(frame, p, y), width, 16 - depth, out);
      else
        shiftRow(row8(frame, p, y), width, out);
    }
  }
}

void packYuyv(AVFrame const& frame, PictureTarget const& target) {
  for (int y = 0; y < frame.height; ++y)
    packYuyvRow(row8(frame, 0, y), row8(frame, 1, y), row8(frame, 2, y), frame.width,
                rowOf<uint8_t>(target, 0, y));
}

void packY216(AVFrame const& frame, int depth, PictureTarget const& target) {
  for (int y = 0; y < frame.height; ++y) {
    auto* out = rowOf<uint16_t>(target, 0, y);
    if (depth > 8)
      packY216Row(row16(frame, 0, y), row16(frame, 1, y), row16(frame, 2, y), frame.width, 16 - depth, out);
    else
      packY216Row(row8(frame, 0, y), row8(frame, 1, y), row8(frame, 2, y), frame.width, out);
  }
}

// Full-range variants share the layout of their limited-range twins: values pass through.
AVPixelFormat withoutRange(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      return AV_PIX_FMT_YUV411P;
    default:
      return format;
  }
}

bool isRgb(AVPixelFormat format) {
  AVPixFmtDescriptor const* info = av_pix_fmt_desc_get(format);
  return info && (info->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

// The swscale matrix of a frame, whose numbers are those of ISO/IEC 23091-2.
int const* coefficientsOf(AVFrame const& frame) {
  int space = frame.colorspace;
  if (space == AVCOL_SPC_UNSPECIFIED || space == AVCOL_SPC_RGB) space = mpegMatrixOfHeight(frame.height);
  return sws_getCoefficients(space);
}

}  // namespace

void packYuyvRow(uint8_t const* y, uint8_t const* u, uint8_t const* v, int width, uint8_t* out) {
  int const pairs = width / 2;
  for (int i = 0; i < pairs; ++i) {
    out[4 * i] = y[2 * i];
    out[4 * i + 1] = u[i];
    out[4 * i + 2] = y[2 * i + 1];
    out[4 * i + 3] = v[i];
  }
  if (width % 2 == 0) return;
  out += 4 * pairs;
  out[0] = out[2] = y[2 * pairs];
  out[1] = u[pairs];
  out[3] = v[pairs];
}

namespace {

template <class In, class Widen>
void packWide(In const* y, In const* u, In const* v, int width, uint16_t* out, Widen widen) {
  int const pairs = width / 2;
  for (int i = 0; i < pairs; ++i) {
    out[4 * i] = widen(y[2 * i]);
    out[4 * i + 1] = widen(u[i]);
    out[4 * i + 2] = widen(y[2 * i + 1]);
    out[4 * i + 3] = widen(v[i]);
  }
  if (width % 2 == 0) return;
  out += 4 * pairs;
  out[0] = out[2] = widen(y[2 * pairs]);
  out[1] = widen(u[pairs]);
  out[3] = widen(v[pairs]);
}

}  // namespace

void packY216Row(uint16_t const* y, uint16_t const* u, uint16_t const* v, int width, int shift,
                 uint16_t* out) {
  packWide(y, u, v, width, out, [shift](uint16_t value) { return static_cast<uint16_t>(value << shift); });
}

void packY216Row(uint8_t const* y, uint8_t const* u, uint8_t const* v, int width, uint16_t* out) {
  packWide(y, u, v, width, out, [](uint8_t value) { return static_cast<uint16_t>(value << 8); });
}

void shiftRow(uint16_t const* in, int count, int shift, uint16_t* out) {
  for (int i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(in[i] << shift);
}

void shiftRow(uint8_t const* in, int count, uint16_t* out) {
  for (int i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(in[i] << 8);
}

Result<void> PixelWriter::write(AVFrame const& frame, uint32_t fourcc, PictureTarget const& target) {
  if (!fits(target, fourcc, frame.width)) return failed("the frame target is too small");
  Layout const layout = layoutOf(static_cast<AVPixelFormat>(frame.format));
  if (fourcc == kI420) {
    if (!is420(layout) || layout.depth != 8)
      return scale(frame, AV_PIX_FMT_YUV420P, target.plane, target.stride);
    copyPlanes8(frame, target);
    return {};
  }
  if (fourcc == kYuyv) {
    if (!is422(layout) || layout.depth != 8)
      return scale(frame, AV_PIX_FMT_YUYV422, target.plane, target.stride);
    packYuyv(frame, target);
    return {};
  }
  if (fourcc == kBgr4) return scale(frame, AV_PIX_FMT_BGRA, target.plane, target.stride);
  bool const planar = fourcc == kW016;
  if (!planar && fourcc != kY216) return failed("no such output format");
  AVFrame const* from = &frame;
  int depth = layout.depth;
  if (!(planar ? is420(layout) : is422(layout))) {
    auto const between = scaled(frame, planar ? AV_PIX_FMT_YUV420P16 : AV_PIX_FMT_YUV422P16);
    if (!between) return between.error();
    from = *between;
    depth = 16;
  }
  if (planar)
    writePlanes16(*from, depth, target);
  else
    packY216(*from, depth, target);
  return {};
}

Result<void> PixelWriter::scale(AVFrame const& frame, AVPixelFormat to, uint8_t* const plane[4],
                                int const stride[4]) {
  AVPixelFormat const from = withoutRange(static_cast<AVPixelFormat>(frame.format));
  if (!scaler_ || scalerWidth_ != frame.width || scalerHeight_ != frame.height || scalerFrom_ != from ||
      scalerTo_ != to) {
    constexpr int kFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
    scaler_.reset(sws_getContext(frame.width, frame.height, from, frame.width, frame.height, to, kFlags,
                                 nullptr, nullptr, nullptr));
    if (!scaler_) {
      char const* name = av_get_pix_fmt_name(from);
      return failed(std::string("no conversion from ") + (name ? name : "an unknown pixel format"));
    }
    scalerWidth_ = frame.width;
    scalerHeight_ = frame.height;
    scalerFrom_ = from;
    scalerTo_ = to;
    // Between Y'CbCr layouts both sides have the picture's own range, so that values pass through.
    bool const full =
        frame.color_range == AVCOL_RANGE_JPEG || static_cast<AVPixelFormat>(frame.format) != from;
    int const sourceFull = isRgb(from) || full ? 1 : 0;
    int const targetFull = isRgb(to) ? 1 : isRgb(from) ? 0 : sourceFull;
    int const* matrix = coefficientsOf(frame);
    sws_setColorspaceDetails(scaler_.get(), matrix, sourceFull, matrix, targetFull, 0, 1 << 16, 1 << 16);
  }
  int const rows = sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, plane, stride);
  if (rows != frame.height) return failed("conversion failed");
  return {};
}

Result<AVFrame const*> PixelWriter::scaled(AVFrame const& frame, AVPixelFormat to) {
  if (!between_ || between_->width != frame.width || between_->height != frame.height ||
      between_->format != to) {
    between_ = lav::newFrame();
    between_->width = frame.width;
    between_->height = frame.height;
    between_->format = to;
    if (av_frame_get_buffer(between_.get(), 0) < 0) {
      between_.reset();
      return failed("out of memory");
    }
  }
  if (auto const done = scale(frame, to, between_->data, between_->linesize); !done) return done.error();
  return between_.get();
}

}  // namespace mfimport
