// User data of coded pictures.
#include <algorithm>

#include "mfimport/headers/bit_reader.h"
#include "mfimport/headers/coded_units.h"
#include "mfimport/headers/header_info.h"

namespace mfimport {

namespace {

constexpr uint8_t kUserData = 0xB2;  // start code value, ISO/IEC 13818-2 table 6-1
constexpr uint8_t kH264Sei = 6;      // NAL unit type

// One field of a SEI message header: bytes of 255 add up with the byte that ends them.
bool readSeiNumber(std::span<uint8_t const> data, size_t& position, size_t& value) {
  value = 0;
  while (position < data.size()) {
    uint8_t const byte = data[position++];
    value += byte;
    if (byte != 0xFF) return true;
  }
  return false;
}

// sei_rbsp(), ISO/IEC 14496-10 7.3.2.3.
void readSei(std::span<uint8_t const> unit, std::vector<UserData>& out) {
  constexpr size_t kRegistered = 4, kUnregistered = 5;
  std::vector<uint8_t> const raw = withoutEmulation(unit);
  std::span<uint8_t const> const data(raw);
  size_t position = 0;
  while (position + 2 < data.size()) {  // at least a message header and the trailing bits
    size_t type = 0, size = 0;
    if (!readSeiNumber(data, position, type) || !readSeiNumber(data, position, size)) return;
    if (size > data.size() - position) return;
    auto const payload = data.subspan(position, size);
    if (type == kRegistered || type == kUnregistered)
      out.push_back({static_cast<int>(type), {payload.begin(), payload.end()}});
    position += size;
  }
}

}  // namespace

std::vector<UserData> readUserData(HeaderSyntax syntax, int lengthBytes, std::span<uint8_t const> packet) {
  std::vector<UserData> out;
  if (syntax == HeaderSyntax::mpeg12 || syntax == HeaderSyntax::mpeg4) {
    forEachStartCode(packet, [&](std::span<uint8_t const> unit) {
      if (unit[0] == kUserData) out.push_back({kUserData, {unit.begin() + 1, unit.end()}});
    });
  } else if (syntax == HeaderSyntax::h264) {
    forEachUnit(lengthBytes, packet, [&](std::span<uint8_t const> unit) {
      if ((unit[0] & 0x1F) == kH264Sei) readSei(unit.subspan(1), out);
    });
  }
  return out;
}

}  // namespace mfimport
