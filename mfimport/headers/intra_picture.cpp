#include "mfimport/headers/bit_reader.h"
#include "mfimport/headers/coded_units.h"
#include "mfimport/headers/header_info.h"

namespace mfimport {

std::optional<bool> isIntraH263(std::span<uint8_t const> picture) {
  constexpr uint32_t kStartCode = 0x20, kExtended = 7, kWithOptions = 1;
  BitReader bits(picture);
  if (bits.bits(22) != kStartCode) return std::nullopt;
  bits.skip(8);                                                 // temporal reference
  if (bits.bits(2) != 2 || bits.failed()) return std::nullopt;  // fixed bits of PTYPE
  bits.skip(3);  // split screen, document camera, freeze release
  if (bits.bits(3) != kExtended) {
    bool const inter = bits.flag();
    return bits.failed() ? std::nullopt : std::optional(!inter);
  }
  if (bits.bits(3) == kWithOptions) bits.skip(18);  // UFEP, OPPTYPE
  bool const intra = bits.bits(3) == 0;             // picture type of MPPTYPE
  return bits.failed() ? std::nullopt : std::optional(intra);
}

std::optional<bool> isIntraMpeg4(std::span<uint8_t const> picture) {
  constexpr uint8_t kVideoObjectPlane = 0xB6;
  std::optional<bool> intra;
  forEachStartCode(picture, [&](std::span<uint8_t const> unit) {
    if (intra || unit.size() < 2 || unit[0] != kVideoObjectPlane) return;
    intra = unit[1] >> 6 == 0;
  });
  return intra;
}

bool beginsSequence(std::span<uint8_t const> picture) {
  constexpr uint8_t kSequenceHeader = 0xB3, kPicture = 0x00;
  bool header = false, intra = false, seen = false;
  forEachStartCode(picture, [&](std::span<uint8_t const> unit) {
    if (seen || unit.empty()) return;
    if (unit[0] == kSequenceHeader) header = true;
    if (unit[0] != kPicture || unit.size() < 3) return;
    seen = true;
    intra = (unit[2] >> 3 & 7) == 1;  // picture_coding_type behind the temporal reference
  });
  return header && intra;
}

}  // namespace mfimport
