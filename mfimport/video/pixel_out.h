// Writing decoded pictures in the output formats.
#pragma once

#include <cstdint>

#include "mediafile/lav.h"
#include "mfimport/caller/result.h"
#include "mfimport/video/output_format.h"

namespace mfimport {

// Converts pictures of one stream; keeps what swscale needs between pictures. One thread at a time.
class PixelWriter {
 public:
  // Writes `frame` into `target` as `fourcc`. Layouts that the decoder has already are copied, those of more
  // than 8 bits as value << (16 - depth); the others go through swscale. Fails with the target untouched
  // when there is no such conversion or the target does not fit.
  Result<void> write(AVFrame const& frame, uint32_t fourcc, PictureTarget const& target);

 private:
  Result<void> scale(AVFrame const& frame, AVPixelFormat to, uint8_t* const plane[4], int const stride[4]);
  Result<AVFrame const*> scaled(AVFrame const& frame, AVPixelFormat to);

  lav::Scaler scaler_;
  int scalerWidth_ = 0, scalerHeight_ = 0;
  AVPixelFormat scalerFrom_ = AV_PIX_FMT_NONE, scalerTo_ = AV_PIX_FMT_NONE;
  lav::Frame between_;  // picture between swscale and a packing loop
};

// The packing loops, rows of pixels. `width` in luma samples; chroma has (width + 1) / 2 per row.
void packYuyvRow(uint8_t const* y, uint8_t const* u, uint8_t const* v, int width, uint8_t* out);
void packY216Row(uint16_t const* y, uint16_t const* u, uint16_t const* v, int width, int shift,
                 uint16_t* out);
void packY216Row(uint8_t const* y, uint8_t const* u, uint8_t const* v, int width, uint16_t* out);
void shiftRow(uint16_t const* in, int count, int shift, uint16_t* out);
void shiftRow(uint8_t const* in, int count, uint16_t* out);

}  // namespace mfimport
