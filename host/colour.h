#pragma once

#include "host/any.h"
#include "host/api.h"

enum class KyYUVMatrix { Unknown = 0, Bt601 = 1, Bt709 = 2, Bt2020 = 3, Smpte240 = 4, Fcc = 5, Identity = 6 };

// The matrix of pictures that tell none: BT.709 from 720 lines on, BT.601 below, also of those that carry
// lines of blanking (608 and 512, SMPTE ST 356). Decoders colour their subtitles by it.
constexpr KyYUVMatrix kyMatrixOfHeight(int height) {
  return height >= 720 ? KyYUVMatrix::Bt709 : KyYUVMatrix::Bt601;
}

// Colour of a video stream as ISO/IEC 23091-2 code points; 2 means unspecified.
class KY_API KyColourDesc {
 public:
  KyColourDesc() = default;
  KyColourDesc(int primaries, int transfer, int matrix)
      : primaries_(primaries), transfer_(transfer), matrix_(matrix) {}
  // From what toAny() made, or a vector of three integers; anything else is unspecified.
  explicit KyColourDesc(Any const& value);

  int primaries() const { return primaries_; }
  int transfer() const { return transfer_; }
  int matrix() const { return matrix_; }
  Any toAny() const;  // dictionary "primaries", "transfer", "matrix"
  // Matrix by its code; unspecified follows the primaries, then Unknown.
  KyYUVMatrix toYUVMatrix() const;
  bool operator==(KyColourDesc const&) const = default;

 private:
  int primaries_ = 2;
  int transfer_ = 2;
  int matrix_ = 2;
};
