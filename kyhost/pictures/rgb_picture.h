// Decoded pictures come in; they go out as RGB of any size, and RGB goes out as PNG.
#pragma once

#include <span>

#include "host/frame.h"
#include "kyhost/pictures/planes.h"
#include "mediafile/lav.h"

namespace kyhost {

// Converts by the matrix of the picture, or where that is unknown by that of its height, as the decoder does
// (kyMatrixOfHeight). One thread; memory is used again from picture to picture. Throws Failure.
class RgbConverter {
 public:
  // RGB of 8 bits, or of 16 bits big-endian when `deep`. The result is valid until the next call.
  AVFrame const& convert(KyFrame const& frame, int width, int height, bool deep);

 private:
  void prepare(KyFrame const& frame, AVPixelFormat from, int width, int height, AVPixelFormat to);

  lav::Scaler scaler_;
  lav::Frame rgb_;
  Planes planes_;
};

class PngEncoder {
 public:
  // `frame` is RGB24 or RGB48BE; all pictures of one encoder have one size. The bytes are valid until the
  // next call. Throws Failure (write).
  std::span<unsigned char const> encode(AVFrame const& frame, AVRational pixelAspect);

 private:
  void open(AVFrame const& frame, AVRational pixelAspect);

  lav::CodecContext codec_;
  lav::Packet packet_;
};

}  // namespace kyhost
