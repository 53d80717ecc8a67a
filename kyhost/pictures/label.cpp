#include "kyhost/pictures/label.h"

#include <array>
#include <cstring>

#include "kyhost/pictures/new_picture.h"

namespace kyhost {
namespace {

constexpr int kGlyphWidth = 5;
constexpr unsigned char kInk = 210;

// Rows from the top, the leftmost pixel in bit 4.
using Glyph = std::array<unsigned char, kLabelHeight>;
constexpr std::array<Glyph, 10> kDigits = {{{14, 17, 19, 21, 25, 17, 14},
                                            {4, 12, 4, 4, 4, 4, 14},
                                            {14, 17, 1, 2, 4, 8, 31},
                                            {31, 2, 4, 2, 1, 17, 14},
                                            {2, 6, 10, 18, 31, 2, 2},
                                            {31, 16, 30, 1, 1, 17, 14},
                                            {6, 8, 16, 30, 17, 17, 14},
                                            {31, 1, 2, 4, 8, 8, 8},
                                            {14, 17, 17, 14, 17, 17, 14},
                                            {14, 17, 17, 15, 1, 2, 12}}};
constexpr Glyph kColon = {0, 4, 4, 0, 4, 4, 0};
constexpr Glyph kPoint = {0, 0, 0, 0, 0, 4, 4};
constexpr Glyph kNumber = {10, 10, 31, 10, 31, 10, 10};
constexpr Glyph kBlank = {};

Glyph const& glyphOf(char character) {
  if (character >= '0' && character <= '9') return kDigits[static_cast<size_t>(character - '0')];
  return character == ':' ? kColon : character == '.' ? kPoint : character == '#' ? kNumber : kBlank;
}

void fillSquare(AVFrame& picture, int x, int y, int side) {
  if (x < 0 || y < 0 || x + side > picture.width || y + side > picture.height) return;
  for (int row = y; row < y + side; ++row) {
    std::memset(rgbAt(picture, x, row), kInk, static_cast<size_t>(side) * kRgbBytes);
  }
}

}  // namespace

void drawLabel(AVFrame& picture, int x, int y, int scale, std::string_view text) {
  for (char const character : text) {
    Glyph const& glyph = glyphOf(character);
    for (int row = 0; row < kLabelHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if (glyph[static_cast<size_t>(row)] >> (kGlyphWidth - 1 - column) & 1)
          fillSquare(picture, x + column * scale, y + row * scale, scale);
      }
    }
    x += (kGlyphWidth + 1) * scale;
  }
}

}  // namespace kyhost
