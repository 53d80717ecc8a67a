// The layouts that pictures are delivered in.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mfimport/mfimport.h"

namespace mfimport {

constexpr uint32_t kI420 = mpegFourcc("I420"), kYuyv = mpegFourcc("YUYV"), kBgr4 = mpegFourcc("BGR4"),
                   kY216 = mpegFourcc("Y216"), kW016 = mpegFourcc("W016");

constexpr bool isOutputFormat(uint32_t fourcc) {
  return fourcc == kI420 || fourcc == kYuyv || fourcc == kBgr4 || fourcc == kY216 || fourcc == kW016;
}
// Three planes with chroma of half width and height; the others are one plane.
constexpr bool isPlanar(uint32_t fourcc) { return fourcc == kI420 || fourcc == kW016; }
// Components are words of 16 bits.
constexpr bool isWide(uint32_t fourcc) { return fourcc == kW016 || fourcc == kY216; }

// Chroma samples beside `size` luma samples.
constexpr int half(int size) { return (size + 1) / 2; }

struct PictureTarget {
  uint8_t* plane[4];
  int stride[4];  // bytes
};

// Row `y` of a plane, in components of a format.
template <class Word>
Word* rowOf(PictureTarget const& target, int plane, int y) {
  return reinterpret_cast<Word*>(target.plane[plane] + static_cast<std::ptrdiff_t>(target.stride[plane]) * y);
}

}  // namespace mfimport
