#include <bit>
#include <cstdint>
#include <cstring>

#include "host/frame.h"

static_assert(std::endian::native == std::endian::little, "16-bit layouts are read as native words");

namespace {

// 219/255 of 8 bits, rounded; the division by 255 is exact for every product of two bytes.
constexpr uint16_t swing8(unsigned y) {
  unsigned const t = y * 219U + 128U;
  return static_cast<uint16_t>(16U + ((t + (t >> 8)) >> 8));
}
static_assert(swing8(0) == 16 && swing8(255) == 235);

// 876/1023 in 16 bits: white of 10 bits, the depth that 16-bit layouts mostly carry, becomes 940 exactly.
constexpr uint32_t swing16(uint32_t y) { return 4096U + ((y * 56119U + 32768U) >> 16); }
static_assert(swing16(0) == 64 << 6 && swing16(1023 << 6) == 940 << 6 && swing16(65535) < 65536);

// Luma of packed layouts is the lower half of a word that holds it and one chroma component.
uint8_t swingI420(uint8_t y) { return static_cast<uint8_t>(swing8(y)); }
uint16_t swingYuyv(uint16_t word) { return static_cast<uint16_t>((word & 0xFF00U) | swing8(word & 0xFFU)); }
uint16_t swingW016(uint16_t y) { return static_cast<uint16_t>(swing16(y)); }
uint32_t swingY216(uint32_t word) { return (word & 0xFFFF0000U) | swing16(word & 0xFFFFU); }

// Blocks of a fixed size become vector code whatever the row; memcpy because a caller's rows may lie
// anywhere.
template <class Word, Word (*change)(Word)>
void changeRow(unsigned char* row, size_t bytes) {
  Word block[64 / sizeof(Word)] = {};
  for (; bytes >= sizeof block; row += sizeof block, bytes -= sizeof block) {
    std::memcpy(block, row, sizeof block);
    for (Word& word : block) word = change(word);
    std::memcpy(row, block, sizeof block);
  }
  std::memcpy(block, row, bytes);
  for (Word& word : block) word = change(word);
  std::memcpy(row, block, bytes);
}

}  // namespace

void YSwingCorrect::correct(KyFrame& frame) const {
  void (*row)(unsigned char*, size_t) = nullptr;
  switch (frame.fourcc()) {
    case kyFourcc("I420"):
    case kyFourcc("IYUV"):
      row = changeRow<uint8_t, swingI420>;
      break;
    case kyFourcc("YUYV"):
    case kyFourcc("YUY2"):
      row = changeRow<uint16_t, swingYuyv>;
      break;
    case kyFourcc("W016"):
      row = changeRow<uint16_t, swingW016>;
      break;
    case kyFourcc("Y216"):
      row = changeRow<uint32_t, swingY216>;
      break;
    default:
      return;
  }
  auto const bytes = static_cast<size_t>(frame.rowBytes(0));
  for (int y = 0; y < frame.height(0); ++y) row(frame.pixelPtr(0, 0, y), bytes);
}
