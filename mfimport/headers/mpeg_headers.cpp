#include <bit>

#include "mfimport/headers/bit_reader.h"
#include "mfimport/headers/sequence_headers.h"

namespace mfimport {

namespace {

// ISO/IEC 13818-2 table 6-1, start code values.
constexpr uint8_t kPicture = 0x00, kSequence = 0xB3, kExtension = 0xB5, kGroup = 0xB8;
// Table 6-2, extension identifiers.
constexpr uint32_t kSequenceExtension = 1, kSequenceDisplay = 2, kPictureCoding = 8;

void readSequenceHeader(BitReader& bits, HeaderInfo& info) {
  bits.skip(24);  // horizontal_size_value, vertical_size_value
  info.aspectCode = static_cast<int>(bits.bits(4));
  info.codedRateCode = static_cast<int>(bits.bits(4));
  info.bitRateValue = bits.bits(18);
}

void readSequenceExtension(BitReader& bits, HeaderInfo& info) {
  info.mpeg2 = true;
  bits.skip(9);  // profile_and_level_indication, progressive_sequence
  info.chromaFormat = static_cast<int>(bits.bits(2));
  bits.skip(4);  // horizontal_size_extension, vertical_size_extension
  info.bitRateValue |= bits.bits(12) << 18;
  bits.skip(1 + 8 + 1);  // marker_bit, vbv_buffer_size_extension, low_delay
  info.rateMultiplier = 1 + static_cast<int>(bits.bits(2));
  info.rateDivisor = 1 + static_cast<int>(bits.bits(5));
}

void readSequenceDisplay(BitReader& bits, HeaderInfo& info) {
  info.displayExtension = true;
  bits.skip(3);                    // video_format
  if (bits.flag()) bits.skip(24);  // colour_description
  info.displayWidth = static_cast<int>(bits.bits(14));
  bits.skip(1);  // marker_bit
  info.displayHeight = static_cast<int>(bits.bits(14));
}

void readPictureCoding(BitReader& bits, HeaderInfo& info) {
  if (info.frameDct >= 0) return;
  bits.skip(16 + 2 + 2 + 1);  // f_code, intra_dc_precision, picture_structure, top_field_first
  info.frameDct = static_cast<int>(bits.bits(1));
}

// video_object_layer() from vol_control_parameters to fixed_vop_time_increment, ISO/IEC 14496-2 6.2.3.
void readMpeg4Clock(BitReader& bits, uint32_t version, HeaderInfo& info) {
  constexpr uint32_t kGrayscale = 3;
  if (bits.flag()) {                 // vol_control_parameters
    bits.skip(3);                    // chroma_format, low_delay
    if (bits.flag()) bits.skip(79);  // vbv_parameters
  }
  uint32_t const shape = bits.bits(2);
  if (shape == kGrayscale && version != 1) bits.skip(4);
  bits.skip(1);  // marker_bit
  uint32_t const ticks = bits.bits(16);
  bits.skip(1);  // marker_bit
  uint32_t const increment =
      bits.flag() ? bits.bits(static_cast<int>(std::bit_width(std::max(ticks, 2U) - 1))) : 0;
  if (bits.failed()) return;
  info.clockTicks = static_cast<int>(ticks);
  info.pictureTicks = static_cast<int>(increment);
}

}  // namespace

void readMpeg12Unit(std::span<uint8_t const> unit, HeaderInfo& info) {
  BitReader bits(unit.subspan(1));
  switch (unit[0]) {
    case kSequence:
      readSequenceHeader(bits, info);
      break;
    case kPicture:
      if (info.vbvDelay >= 0) break;
      bits.skip(10 + 3);  // temporal_reference, picture_coding_type
      info.vbvDelay = static_cast<int>(bits.bits(16));
      break;
    case kGroup:
      info.dropFrame = bits.flag();
      break;
    case kExtension:
      switch (bits.bits(4)) {
        case kSequenceExtension:
          readSequenceExtension(bits, info);
          break;
        case kSequenceDisplay:
          readSequenceDisplay(bits, info);
          break;
        case kPictureCoding:
          readPictureCoding(bits, info);
          break;
        default:
          break;
      }
      break;
    default:
      break;
  }
}

// video_object_layer(), ISO/IEC 14496-2 6.2.3.
void readMpeg4Unit(std::span<uint8_t const> unit, HeaderInfo& info) {
  constexpr uint32_t kExtendedPar = 15;
  if (unit[0] < 0x20 || unit[0] > 0x2F) return;
  BitReader bits(unit.subspan(1));
  bits.skip(1 + 8);  // random_accessible_vol, video_object_type_indication
  uint32_t version = 1;
  if (bits.flag()) {
    version = bits.bits(4);
    bits.skip(3);  // video_object_layer_priority
  }
  uint32_t const idc = bits.bits(4);
  if (bits.failed()) return;
  info.aspectPresent = true;
  info.aspectIdc = static_cast<int>(idc);
  if (idc == kExtendedPar) {
    info.sarWidth = static_cast<int>(bits.bits(8));
    info.sarHeight = static_cast<int>(bits.bits(8));
  }
  readMpeg4Clock(bits, version, info);
}

}  // namespace mfimport
