// What the scripted decoder delivers, for both sides of a test.
#pragma once

#include <cstdint>

namespace script_values {

// Byte `i` of a row.
constexpr unsigned char pictureByte(int frame, int plane, int row, int i) {
  return static_cast<unsigned char>(16 + (frame * 31 + plane * 67 + row * 13 + i * 5) % 200);
}

// Value `i` of the interleaved stream; the low bytes of it are delivered. Value 3 is full scale, 2^23.
constexpr int sample(int64_t i) {
  return i == 3 ? 8388608 : static_cast<int>((i * 7919) % 16000000 - 8000000);
}

}  // namespace script_values
