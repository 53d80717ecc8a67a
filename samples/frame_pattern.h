#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace samples {

/// What a sample picture says about itself.
struct FrameTag {
  /// Frame number within the take, running on over its clip files. 24 bits.
  std::uint32_t frame = 0;
  std::uint8_t take = 0;
  /// Clip file of the take, from 1.
  std::uint8_t part = 0;

  bool operator==(FrameTag const&) const = default;
};

/// The pattern: 48 square blocks, 8 columns by 6 rows in the middle of the picture, black 0 and white 1, most
/// significant bit first: frame (24), take (8), part (8), CRC-8 of those five bytes. Blocks are 80 pixels
/// wide at 1920x1080 and never less than 16 from 320x240 on; edges fall on macroblocks, so that coding hardly
/// blurs them.
struct PatternArea {
  static constexpr int kColumns = 8;
  static constexpr int kRows = 6;
  static constexpr std::uint8_t kBlack = 32;
  static constexpr std::uint8_t kWhite = 220;

  int left = 0;
  int top = 0;
  int block = 0;

  static constexpr PatternArea of(int width, int height) {
    int const block = std::min(width / 12, height / 12) / 16 * 16;
    return {(width - kColumns * block) / 2 / 16 * 16, (height - kRows * block) / 2 / 16 * 16, block};
  }
};

namespace detail {

constexpr int kTagBits = PatternArea::kColumns * PatternArea::kRows;

/// CRC-8 with the polynomial x^8 + x^2 + x + 1, from 0xFF, so that an all-black picture is no valid tag.
constexpr std::uint8_t crc8(std::uint64_t payload40) {
  unsigned crc = 0xFF;
  for (int shift = 32; shift >= 0; shift -= 8) {
    crc ^= static_cast<unsigned>(payload40 >> shift) & 0xFF;
    for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc & 0x80) != 0 ? 0x107u : 0u);
  }
  return static_cast<std::uint8_t>(crc);
}

constexpr std::uint64_t tagBits(FrameTag const& tag) {
  std::uint64_t const payload =
      (std::uint64_t{tag.frame & 0xFFFFFF} << 16) | (std::uint64_t{tag.take} << 8) | tag.part;
  return (payload << 8) | crc8(payload);
}

/// Mean of the middle of a block over the lines of one field.
inline int blockMean(std::uint8_t const* luma, std::ptrdiff_t stride, int pixelStep, int left, int top,
                     int block, int field) {
  int const margin = block / 4;
  int sum = 0, count = 0;
  for (int y = top + margin + ((top + margin + field) & 1); y < top + block - margin; y += 2) {
    std::uint8_t const* row = luma + y * stride;
    for (int x = left + margin; x < left + block - margin; ++x, ++count) sum += row[x * pixelStep];
  }
  return sum / count;
}

}  // namespace detail

/// Draws the tag into an 8-bit luma plane of at least 192x192 pixels; `stride` in bytes.
inline void drawFrameNumber(std::uint8_t* luma, std::ptrdiff_t stride, int width, int height,
                            FrameTag const& tag) {
  PatternArea const area = PatternArea::of(width, height);
  std::uint64_t bits = detail::tagBits(tag) << (64 - detail::kTagBits);
  for (int row = 0; row < PatternArea::kRows; ++row) {
    int const top = area.top + row * area.block;
    for (int column = 0; column < PatternArea::kColumns; ++column, bits <<= 1) {
      std::uint8_t const level = (bits >> 63) != 0 ? PatternArea::kWhite : PatternArea::kBlack;
      std::uint8_t* first = luma + top * stride + area.left + column * area.block;
      for (int y = 0; y < area.block; ++y) std::fill_n(first + y * stride, area.block, level);
    }
  }
}

/// Reads the tag back from the same size of picture. Empty when a block is neither black nor white, the check
/// fails, or the two fields differ (fields of different frames woven together). `pixelStep` is the distance
/// of two luma samples in bytes: 1 in a plane, 2 in packed 4:2:2 with `luma` at the first Y.
inline std::optional<FrameTag> readFrameNumber(std::uint8_t const* luma, std::ptrdiff_t stride, int width,
                                               int height, int pixelStep = 1) {
  PatternArea const area = PatternArea::of(width, height);
  if (area.block < 16) return std::nullopt;

  std::array<std::uint64_t, 2> bits{};
  for (int index = 0; index < detail::kTagBits; ++index) {
    int const left = area.left + index % PatternArea::kColumns * area.block;
    int const top = area.top + index / PatternArea::kColumns * area.block;
    for (int field = 0; field < 2; ++field) {
      int const mean = detail::blockMean(luma, stride, pixelStep, left, top, area.block, field);
      if (mean > 96 && mean < 156) return std::nullopt;
      auto const f = static_cast<std::size_t>(field);
      bits[f] = (bits[f] << 1) | (mean >= 156 ? 1u : 0u);
    }
  }
  FrameTag const tag{static_cast<std::uint32_t>(bits[0] >> 24), static_cast<std::uint8_t>(bits[0] >> 16),
                     static_cast<std::uint8_t>(bits[0] >> 8)};
  if (bits[0] != bits[1] || detail::tagBits(tag) != bits[0]) return std::nullopt;
  return tag;
}

}  // namespace samples
