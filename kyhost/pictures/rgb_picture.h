// Decoded pictures as RGB, and RGB pictures as PNG.
#pragma once

#include <span>

#include "host/frame.h"
#include "kyhost/pictures/planes.h"
#include "kyhost/writers/av_handles.h"

namespace kyhost {

// Converts by the matrix of the picture, or where that is unknown by that of its height, as the decoder does
// (mpegMatrixOfHeight). One thread; memory is used again from picture to picture. Throws Failure.
class RgbConverter {
 public:
  // RGB of 8 bits, or of 16 bits big-endian when `deep`. The result is valid until the next call.
  AVFrame const& convert(KyFrame const& frame, int width, int height, bool deep);

 private:
  AvPtr<SwsContext> scaler_;
  AvPtr<AVFrame> rgb_;
  Planes planes_;
};

class PngEncoder {
 public:
  // `frame` is RGB24 or RGB48BE; all pictures of one encoder have one size. The bytes are valid until the
  // next call. Throws Failure (write).
  std::span<unsigned char const> encode(AVFrame const& frame, AVRational pixelAspect);

 private:
  AvPtr<AVCodecContext> codec_;
  AvPtr<AVPacket> packet_;
};

}  // namespace kyhost
