#include "host/colour.h"

namespace {

int code(Any const& value) { return value.isInt32() || value.isInt64() ? value.asInt32() : 2; }

// Primaries and matrices of one system have one code.
KyYUVMatrix ofSystem(int code) {
  switch (code) {
    case 1:
      return KyYUVMatrix::Bt709;
    case 4:
      return KyYUVMatrix::Fcc;
    case 5:  // BT.601 625 lines
    case 6:  // BT.601 525 lines
      return KyYUVMatrix::Bt601;
    case 7:
      return KyYUVMatrix::Smpte240;
    case 9:
      return KyYUVMatrix::Bt2020;
    default:
      return KyYUVMatrix::Unknown;
  }
}

}  // namespace

KyColourDesc::KyColourDesc(Any const& value) {
  if (value.kind() == Any::kDict) {
    AnyDict const& dict = value.asDict();
    primaries_ = code(dict["primaries"]);
    transfer_ = code(dict["transfer"]);
    matrix_ = code(dict["matrix"]);
  } else if (value.asVector().size() == 3) {
    AnyVector const& codes = value.asVector();
    primaries_ = code(codes[0]);
    transfer_ = code(codes[1]);
    matrix_ = code(codes[2]);
  }
}

Any KyColourDesc::toAny() const {
  return AnyDict("primaries", primaries_, "transfer", transfer_, "matrix", matrix_);
}

KyYUVMatrix KyColourDesc::toYUVMatrix() const {
  constexpr int kIdentity = 0, kUnspecified = 2, kBt2020Constant = 10;
  switch (matrix_) {
    case kIdentity:
      return KyYUVMatrix::Identity;
    case kUnspecified:
      return ofSystem(primaries_);
    case kBt2020Constant:
      return KyYUVMatrix::Bt2020;
    default:
      return ofSystem(matrix_);
  }
}
