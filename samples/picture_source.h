#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "samples/card_plan.h"
#include "samples/frame_pattern.h"

namespace samples {

/// Planes of an 8-bit 4:2:0 picture in memory of the caller; strides in bytes.
struct Planes {
  std::uint8_t* luma;
  std::ptrdiff_t lumaStride;
  std::uint8_t* cb;
  std::ptrdiff_t cbStride;
  std::uint8_t* cr;
  std::ptrdiff_t crStride;
};

/// Pictures of a pan over a texture, with the frame pattern on top. Interlaced formats move from field to
/// field, top field first. Drawing is copying rows.
class PictureSource {
 public:
  explicit PictureSource(PictureFormat const& format);

  void draw(Planes const& planes, FrameTag const& tag) const;

 private:
  /// One plane, wider than the picture by its period: any row from any offset below the period is a memcpy.
  struct Texture {
    Texture(int width, int height, int period, int contrast, std::uint32_t seed);
    void copyTo(std::uint8_t* plane, std::ptrdiff_t stride, int const (&fieldOffset)[2],
                std::uint32_t frame) const;

    int width, height, period;
    std::vector<std::uint8_t> samples;
  };

  PictureFormat format_;
  Texture luma_, cb_, cr_;
};

}  // namespace samples
