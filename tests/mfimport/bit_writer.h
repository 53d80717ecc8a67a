// Coded headers for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Writes headers bit by bit.
class BitWriter {
 public:
  BitWriter& bits(uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | (value >> i & 1) << (7 - used_ % 8));
      ++used_;
    }
    return *this;
  }
  BitWriter& ue(uint32_t value) {
    int length = 0;
    while ((value + 1) >> (length + 1)) ++length;
    return bits(0, length).bits(value + 1, length + 1);
  }
  BitWriter& start(uint8_t code) {
    while (used_ % 8) bits(0, 1);
    return bits(0x000001, 24).bits(code, 8);
  }
  std::vector<uint8_t> const& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t used_ = 0;
};
