#include "samples/picture_source.h"

#include <algorithm>
#include <cstring>

namespace samples {
namespace {

constexpr int kPeriod = 512;
/// Luma samples per field; a multiple of two, so that chroma moves by whole samples.
constexpr int kSpeed = 4;

std::uint32_t noise(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t mix = x * 0x8DA6B343u ^ y * 0xD8163841u ^ seed * 0xCB1AB31Fu;
  mix = (mix ^ (mix >> 15)) * 0x2C1B3C6Du;
  mix = (mix ^ (mix >> 12)) * 0x297A2D39u;
  return mix ^ (mix >> 15);
}

/// Noise on a lattice of `cell` samples, interpolated between, 0 to 255; periodic in x.
int smoothNoise(int x, int y, int cell, int period, std::uint32_t seed) {
  int const cells = period / cell;
  auto const at = [&](int column, int row) {
    return static_cast<int>(
        noise(static_cast<std::uint32_t>(column % cells), static_cast<std::uint32_t>(row), seed) & 0xFF);
  };
  int const column = x / cell, row = y / cell, fx = x % cell, fy = y % cell;
  int const upper = at(column, row) * (cell - fx) + at(column + 1, row) * fx;
  int const lower = at(column, row + 1) * (cell - fx) + at(column + 1, row + 1) * fx;
  return (upper * (cell - fy) + lower * fy) / (cell * cell);
}

}  // namespace

PictureSource::Texture::Texture(int w, int h, int p, int contrast, std::uint32_t seed)
    : width(w + p),
      height(h),
      period(p),
      samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(h)) {
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = samples.data() + static_cast<std::ptrdiff_t>(y) * width;
    for (int x = 0; x < period; ++x) {
      // Broad shapes, detail and grain: enough to make the encoder spend its bits, as a camera's picture
      // does.
      int const mixed = 4 * smoothNoise(x, y, 64, period, seed) + 2 * smoothNoise(x, y, 8, period, seed + 1) +
                        2 * smoothNoise(x, y, 2, period, seed + 2);
      row[x] = static_cast<std::uint8_t>(128 + (mixed / 8 - 128) * contrast / 128);
    }
    for (int x = period; x < width; ++x) row[x] = row[x - period];
  }
}

void PictureSource::Texture::copyTo(std::uint8_t* plane, std::ptrdiff_t stride, int const (&fieldOffset)[2],
                                    std::uint32_t frame) const {
  auto const bytes = static_cast<std::size_t>(width - period);
  int const panned = height - height / 6;
  for (int y = 0; y < height; ++y) {
    int offset = fieldOffset[y & 1];
    if (y >= panned)
      offset = static_cast<int>(noise(frame, static_cast<std::uint32_t>(y / 8), 31) %
                                static_cast<unsigned>(period));
    std::memcpy(plane + y * stride, samples.data() + static_cast<std::ptrdiff_t>(y) * width + offset, bytes);
  }
}

PictureSource::PictureSource(PictureFormat const& format)
    : format_(format),
      luma_(format.width, format.height, kPeriod, 160, 1),
      cb_(format.width / 2, format.height / 2, kPeriod / 2, 100, 11),
      cr_(format.width / 2, format.height / 2, kPeriod / 2, 100, 21) {}

void PictureSource::draw(Planes const& planes, FrameTag const& tag) const {
  auto const topField = static_cast<int>(tag.frame % kPeriod) * 2 * kSpeed;
  int const bottomField = format_.interlaced ? topField + kSpeed : topField;
  int const lumaOffset[2] = {topField % kPeriod, bottomField % kPeriod};
  int const chromaOffset[2] = {lumaOffset[0] / 2, lumaOffset[1] / 2};

  luma_.copyTo(planes.luma, planes.lumaStride, lumaOffset, tag.frame);
  cb_.copyTo(planes.cb, planes.cbStride, chromaOffset, tag.frame);
  cr_.copyTo(planes.cr, planes.crStride, chromaOffset, tag.frame);

  // The pattern in neutral grey, for the eye.
  PatternArea const area = PatternArea::of(format_.width, format_.height);
  for (int y = area.top / 2; y < (area.top + PatternArea::kRows * area.block) / 2; ++y) {
    std::fill_n(planes.cb + y * planes.cbStride + area.left / 2, PatternArea::kColumns * area.block / 2, 128);
    std::fill_n(planes.cr + y * planes.crStride + area.left / 2, PatternArea::kColumns * area.block / 2, 128);
  }
  drawFrameNumber(planes.luma, planes.lumaStride, format_.width, format_.height, tag);
}

}  // namespace samples
