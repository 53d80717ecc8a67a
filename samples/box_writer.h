#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace samples {

/// Builds boxes of the ISO base media file format (ISO/IEC 14496-12) in memory, big-endian.
class BoxWriter {
 public:
  /// A box lasts as long as the object that opened it.
  class Scope {
   public:
    Scope(BoxWriter& writer, std::string_view type);
    Scope(BoxWriter& writer, std::string_view type, std::uint8_t version, std::uint32_t flags);
    ~Scope();
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;

   private:
    BoxWriter& writer_;
    std::size_t start_;
  };

  [[nodiscard]] Scope box(std::string_view type) { return {*this, type}; }
  /// A box that begins with a version byte and 24 flag bits.
  [[nodiscard]] Scope fullBox(std::string_view type, std::uint8_t version = 0, std::uint32_t flags = 0) {
    return {*this, type, version, flags};
  }

  void u8(std::uint32_t value) { number(value, 1); }
  void u16(std::uint32_t value) { number(value, 2); }
  void u24(std::uint32_t value) { number(value, 3); }
  void u32(std::uint32_t value) { number(value, 4); }
  void u64(std::uint64_t value) { number(value, 8); }
  void u32s(std::initializer_list<std::uint32_t> values) {
    for (std::uint32_t const value : values) u32(value);
  }
  void text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
  }
  void bytes(std::span<std::uint8_t const> data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
  void zeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }

  std::span<std::uint8_t const> data() const { return bytes_; }

 private:
  void number(std::uint64_t value, int width);

  std::vector<std::uint8_t> bytes_;
};

}  // namespace samples
