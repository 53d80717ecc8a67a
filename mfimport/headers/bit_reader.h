// Bits of a coded header, most significant first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace mfimport {

// Reads past the end give 0 and mark the reader as failed; no byte outside the span is touched.
class BitReader {
 public:
  explicit BitReader(std::span<uint8_t const> bytes) : bytes_(bytes) {}

  bool failed() const { return failed_; }
  void fail() {
    failed_ = true;
    position_ = bytes_.size() * 8;
  }

  // Bits read so far.
  size_t position() const { return position_; }

  // `count` bits, 0 to 32.
  uint32_t bits(int count) {
    uint32_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 1 | bit();
    return value;
  }

  bool flag() { return bit() != 0; }

  void skip(uint32_t count) {
    if (count > bytes_.size() * 8 - position_) failed_ = true;
    position_ = failed_ ? bytes_.size() * 8 : position_ + count;
  }

  // ue(v) of ISO/IEC 14496-10 9.1.
  uint32_t unsignedExpGolomb() {
    int zeros = 0;
    while (!bit()) {
      if (failed_ || ++zeros > 31) {
        failed_ = true;
        return 0;
      }
    }
    return (1U << zeros) - 1 + bits(zeros);
  }

  // se(v) of ISO/IEC 14496-10 9.1.1.
  int32_t signedExpGolomb() {
    uint32_t const code = unsignedExpGolomb();
    auto const magnitude = static_cast<int32_t>(code / 2 + code % 2);
    return code % 2 ? magnitude : -magnitude;
  }

 private:
  uint32_t bit() {
    if (position_ >= bytes_.size() * 8) {
      failed_ = true;
      return 0;
    }
    uint32_t const value = bytes_[position_ / 8] >> (7 - position_ % 8) & 1;
    ++position_;
    return value;
  }

  std::span<uint8_t const> bytes_;
  size_t position_ = 0;
  bool failed_ = false;
};

// A NAL unit without its emulation prevention bytes (ISO/IEC 14496-10 7.4.1).
inline std::vector<uint8_t> withoutEmulation(std::span<uint8_t const> nal) {
  std::vector<uint8_t> out;
  out.reserve(nal.size());
  int zeros = 0;
  for (uint8_t const byte : nal) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    out.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return out;
}

}  // namespace mfimport
