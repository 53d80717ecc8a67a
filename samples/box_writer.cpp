#include "samples/box_writer.h"

namespace samples {

BoxWriter::Scope::Scope(BoxWriter& writer, std::string_view type)
    : writer_(writer), start_(writer.bytes_.size()) {
  writer_.u32(0);
  writer_.text(type);
}

BoxWriter::Scope::~Scope() {
  std::size_t const size = writer_.bytes_.size() - start_;
  for (std::size_t byte = 0; byte < 4; ++byte)
    writer_.bytes_[start_ + byte] = static_cast<std::uint8_t>(size >> (24 - 8 * byte));
}

BoxWriter::Scope::Scope(BoxWriter& writer, std::string_view type, std::uint8_t version, std::uint32_t flags)
    : Scope(writer, type) {
  writer_.u8(version);
  writer_.u24(flags);
}

void BoxWriter::number(std::uint64_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
    bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
}

}  // namespace samples
