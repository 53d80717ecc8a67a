#include "mfimport/subpicture/subpicture_blend.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "mfimport/mfimport.h"

namespace mfimport {
namespace {

constexpr uint32_t kSteps = 16;  // finer than the alpha of a colour, for means
constexpr uint32_t kOpaque = 255 * kSteps;

// Luma weights of red and blue.
struct Weights {
  double red, blue;
};

Weights weightsOf(int matrix, int height) {
  constexpr Weights kBt601{0.299, 0.114}, kBt709{0.2126, 0.0722};
  switch (matrix) {
    case 1:
      return kBt709;
    case 4:  // FCC
      return {0.30, 0.11};
    case 5:
    case 6:
      return kBt601;
    case 7:  // SMPTE 240M
      return {0.212, 0.087};
    case 9:
    case 10:  // BT.2020
      return {0.2627, 0.0593};
    default:
      return weightsOf(mpegMatrixOfHeight(height), height);
  }
}

uint8_t level(double value) { return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))); }

// The source samples that target samples `from` .. `from + count - 1` of one direction cover, with the share
// of each. Target sample t covers [t * canvas, (t + 1) * canvas) where a source sample is `picture` long.
class Coverage {
 public:
  Coverage(int position, int size, int canvas, int picture) : canvas_(canvas) {
    int64_t const begin = int64_t{position} * picture, end = begin + int64_t{size} * picture;
    int64_t const first = std::clamp<int64_t>(floorDivide(begin, canvas), 0, picture);
    int64_t const last = std::clamp<int64_t>(floorDivide(end + canvas - 1, canvas), first, picture);
    from_ = static_cast<int>(first);
    for (int64_t t = first; t < last; ++t) {
      int64_t const low = t * canvas - begin, high = low + canvas;
      auto const source = static_cast<int>(std::max<int64_t>(low, 0) / picture);
      spans_.push_back({source, shares_.size(), 0});
      for (int64_t s = source; s < size && s * picture < high; ++s) {
        shares_.push_back(
            static_cast<uint32_t>(std::min(high, (s + 1) * picture) - std::max(low, s * picture)));
        ++spans_.back().count;
      }
    }
  }

  struct Span {
    int source;  // first sample
    size_t share;
    int count;
  };

  int from() const { return from_; }
  int count() const { return static_cast<int>(spans_.size()); }
  Span const& span(int target) const { return spans_[static_cast<size_t>(target)]; }
  uint32_t const* shares(Span const& span) const { return shares_.data() + span.share; }
  // Of a whole target sample.
  uint64_t whole() const { return static_cast<uint64_t>(canvas_); }

 private:
  static int64_t floorDivide(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

  int canvas_, from_;
  std::vector<Span> spans_;
  std::vector<uint32_t> shares_;
};

template <class Word>
void blendRow(Word* out, int step, int count, uint16_t const* alpha, uint32_t const* component) {
  constexpr int kShift = 8 * (static_cast<int>(sizeof(Word)) - 1);
  for (int i = 0; i < count; ++i) {
    Word& at = out[static_cast<std::ptrdiff_t>(i) * step];
    at = static_cast<Word>((at * (kOpaque - alpha[i]) + (component[i] << kShift) + kOpaque / 2) / kOpaque);
  }
}

}  // namespace

Ycbcr ycbcrOf(uint32_t argb, PictureColours const& colours, int height) {
  Weights const weights = weightsOf(colours.matrix, height);
  double const red = argb >> 16 & 255, green = argb >> 8 & 255, blue = argb & 255;
  double const luma = weights.red * red + (1 - weights.red - weights.blue) * green + weights.blue * blue;
  double const cb = (blue - luma) / (2 * (1 - weights.blue)), cr = (red - luma) / (2 * (1 - weights.red));
  if (colours.fullRange) return {level(luma), level(128 + cb), level(128 + cr)};
  return {level(16 + luma * 219 / 255), level(128 + cb * 224 / 255), level(128 + cr * 224 / 255)};
}

PreparedSubpicture::PreparedSubpicture(std::span<SubpictureBitmap const> bitmaps, SubpictureCanvas canvas,
                                       uint32_t fourcc, int width, int height, PictureColours const& colours)
    : fourcc_(fourcc), width_(width), height_(height) {
  if (canvas.width <= 0 || canvas.height <= 0) canvas = {width, height};
  for (SubpictureBitmap const& bitmap : bitmaps) {
    Patch patch = scaled(bitmap, canvas, colours);
    if (patch.width <= 0 || patch.height <= 0) continue;
    if (fourcc != kBgr4) {
      chroma_.push_back(chromaOf(patch, isPlanar(fourcc) ? 2 : 1));
      for (int c = 1; c < 3; ++c) patch.component[c] = {};
    }
    patches_.push_back(std::move(patch));
  }
}

PreparedSubpicture::Patch PreparedSubpicture::scaled(SubpictureBitmap const& bitmap,
                                                     SubpictureCanvas const& canvas,
                                                     PictureColours const& colours) const {
  // Means are made of colours multiplied by alpha, so that transparent pixels do not tint their neighbours.
  struct Colour {
    uint32_t alpha, component[3];
  };
  std::array<Colour, 256> palette{};
  for (size_t i = 0; i < palette.size(); ++i) {
    uint32_t const argb = bitmap.argb[i], alpha = argb >> 24;
    Ycbcr const ycbcr = ycbcrOf(argb, colours, height_);
    palette[i] = {alpha, {alpha * ycbcr.y, alpha * ycbcr.cb, alpha * ycbcr.cr}};
    if (fourcc_ == kBgr4)
      palette[i] = {alpha, {alpha * (argb & 255), alpha * (argb >> 8 & 255), alpha * (argb >> 16 & 255)}};
  }

  Coverage const columns(bitmap.x, bitmap.width, canvas.width, width_);
  Coverage const rows(bitmap.y, bitmap.height, canvas.height, height_);
  Patch patch{columns.from(), rows.from(), columns.count(), rows.count(), {}, {}};
  size_t const size = static_cast<size_t>(patch.width) * static_cast<size_t>(patch.height);
  patch.alpha.reserve(size);
  for (auto& component : patch.component) component.reserve(size);
  uint64_t const whole = columns.whole() * rows.whole();
  auto const mean = [whole](uint64_t sum) {
    return static_cast<uint32_t>((sum * kSteps + whole / 2) / whole);
  };
  for (int y = 0; y < patch.height; ++y) {
    Coverage::Span const& down = rows.span(y);
    for (int x = 0; x < patch.width; ++x) {
      Coverage::Span const& across = columns.span(x);
      uint64_t alpha = 0, sum[3] = {};
      for (int j = 0; j < down.count; ++j) {
        uint8_t const* pixels = bitmap.pixels.data() +
                                static_cast<std::ptrdiff_t>(down.source + j) * bitmap.width + across.source;
        for (int i = 0; i < across.count; ++i) {
          Colour const& colour = palette[pixels[i]];
          uint64_t const share = uint64_t{rows.shares(down)[j]} * columns.shares(across)[i];
          alpha += share * colour.alpha;
          for (int c = 0; c < 3; ++c) sum[c] += share * colour.component[c];
        }
      }
      patch.alpha.push_back(static_cast<uint16_t>(mean(alpha)));
      for (int c = 0; c < 3; ++c) patch.component[c].push_back(mean(sum[c]));
    }
  }
  return patch;
}

PreparedSubpicture::Patch PreparedSubpicture::chromaOf(Patch const& full, int rowsPerSample) const {
  int const left = full.x / 2, right = half(full.x + full.width);
  int const top = full.y / rowsPerSample;
  int const bottom = (full.y + full.height + rowsPerSample - 1) / rowsPerSample;
  Patch patch{left, top, right - left, bottom - top, {}, {}};
  for (int cy = top; cy < bottom; ++cy) {
    int const beginY = cy * rowsPerSample, endY = std::min(beginY + rowsPerSample, height_);
    for (int cx = left; cx < right; ++cx) {
      int const beginX = 2 * cx, endX = std::min(beginX + 2, width_);
      uint32_t alpha = 0, cb = 0, cr = 0;
      for (int y = std::max(beginY, full.y); y < std::min(endY, full.y + full.height); ++y) {
        for (int x = std::max(beginX, full.x); x < std::min(endX, full.x + full.width); ++x) {
          size_t const at = static_cast<size_t>(y - full.y) * static_cast<size_t>(full.width) +
                            static_cast<size_t>(x - full.x);
          alpha += full.alpha[at];
          cb += full.component[1][at];
          cr += full.component[2][at];
        }
      }
      // At the right and lower border of odd sizes fewer pixels share a sample.
      auto const pixels = static_cast<uint32_t>((endX - beginX) * (endY - beginY));
      patch.alpha.push_back(static_cast<uint16_t>((alpha + pixels / 2) / pixels));
      patch.component[0].push_back((cb + pixels / 2) / pixels);
      patch.component[1].push_back((cr + pixels / 2) / pixels);
    }
  }
  return patch;
}

void PreparedSubpicture::blend(PictureTarget const& target) const {
  if (isWide(fourcc_))
    blendInto<uint16_t>(target);
  else
    blendInto<uint8_t>(target);
}

template <class Word>
void PreparedSubpicture::blendInto(PictureTarget const& target) const {
  bool const planar = isPlanar(fourcc_);
  int const step = planar ? 1 : fourcc_ == kBgr4 ? 4 : 2;  // words from pixel to pixel
  auto const at = [](Patch const& patch, int row) {
    return static_cast<size_t>(row) * static_cast<size_t>(patch.width);
  };
  for (size_t i = 0; i < patches_.size(); ++i) {
    Patch const& patch = patches_[i];
    for (int row = 0; row < patch.height; ++row) {
      Word* const out = rowOf<Word>(target, 0, patch.y + row) + static_cast<std::ptrdiff_t>(patch.x) * step;
      for (int c = 0; c < (fourcc_ == kBgr4 ? 3 : 1); ++c)
        blendRow(out + c, step, patch.width, &patch.alpha[at(patch, row)],
                 &patch.component[c][at(patch, row)]);
      // The last pair of an odd row holds its only pixel twice.
      if (step == 2 && width_ % 2 != 0 && patch.x + patch.width == width_)
        out[2 * patch.width] = out[2 * (patch.width - 1)];
    }
    if (chroma_.empty()) continue;
    Patch const& chroma = chroma_[i];
    for (int row = 0; row < chroma.height; ++row) {
      for (int c = 0; c < 2; ++c) {
        // Y0 Cb Y1 Cr where the components are interleaved.
        Word* const out = planar ? rowOf<Word>(target, 1 + c, chroma.y + row) + chroma.x
                                 : rowOf<Word>(target, 0, chroma.y + row) +
                                       static_cast<std::ptrdiff_t>(chroma.x) * 4 + 1 + 2 * c;
        blendRow(out, planar ? 1 : 4, chroma.width, &chroma.alpha[at(chroma, row)],
                 &chroma.component[c][at(chroma, row)]);
      }
    }
  }
}

}  // namespace mfimport
