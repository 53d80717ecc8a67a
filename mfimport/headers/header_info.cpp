#include "mfimport/headers/header_info.h"

#include <algorithm>
#include <bit>

#include "mfimport/headers/bit_reader.h"

namespace mfimport {
namespace {

// ISO/IEC 13818-2 table 6-1, start code values.
constexpr uint8_t kPicture = 0x00, kUserData = 0xB2, kSequence = 0xB3, kExtension = 0xB5, kGroup = 0xB8;
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
  uint32_t const increment = bits.flag() ? bits.bits(std::bit_width(std::max(ticks, 2U) - 1)) : 0;
  if (bits.failed()) return;
  info.clockTicks = static_cast<int>(ticks);
  info.pictureTicks = static_cast<int>(increment);
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

// The beginning of vui_parameters(), the same in H.264 and HEVC.
void readAspect(BitReader& bits, HeaderInfo& info) {
  constexpr int kExtendedSar = 255;
  if (!bits.flag()) return;
  info.aspectIdc = static_cast<int>(bits.bits(8));
  if (info.aspectIdc == kExtendedSar) {
    info.sarWidth = static_cast<int>(bits.bits(16));
    info.sarHeight = static_cast<int>(bits.bits(16));
  }
  info.aspectPresent = !bits.failed();
}

void skipScalingList(BitReader& bits, int size) {
  int last = 8, next = 8;
  for (int i = 0; i < size && !bits.failed(); ++i) {
    if (next != 0) next = (last + bits.signedExpGolomb() % 256 + 256) % 256;
    if (next != 0) last = next;
  }
}

// hrd_parameters(), ISO/IEC 14496-10 E.1.2.
void readHrd(BitReader& bits, HeaderInfo& info) {
  info.hrd = true;
  uint32_t const count = bits.unsignedExpGolomb() + 1;
  bits.skip(8);  // bit_rate_scale, cpb_size_scale
  for (uint32_t i = 0; i < count && !bits.failed(); ++i) {
    bits.unsignedExpGolomb();  // bit_rate_value_minus1
    bits.unsignedExpGolomb();  // cpb_size_value_minus1
    if (bits.flag()) info.cbr = true;
  }
  bits.skip(20);  // four lengths of 5 bits
}

void readH264Vui(BitReader& bits, HeaderInfo& info) {
  readAspect(bits, info);
  if (bits.flag()) bits.skip(1);  // overscan
  if (bits.flag()) {              // video_signal_type
    bits.skip(4);
    if (bits.flag()) bits.skip(24);
  }
  if (bits.flag()) {  // chroma_loc_info
    bits.unsignedExpGolomb();
    bits.unsignedExpGolomb();
  }
  if (bits.flag()) bits.skip(32 + 32 + 1);  // timing_info
  for (int kind = 0; kind < 2; ++kind)      // NAL, then VCL
    if (bits.flag()) readHrd(bits, info);
}

bool hasChromaFields(int profile) {
  constexpr int kProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

void readH264ChromaFields(BitReader& bits, HeaderInfo& info) {
  info.chromaFormat = static_cast<int>(std::min(bits.unsignedExpGolomb(), 3U));
  info.separatePlanes = info.chromaFormat == 3 && bits.flag();
  info.depth = 8 + static_cast<int>(std::min(bits.unsignedExpGolomb(), 6U));
  bits.unsignedExpGolomb();  // bit_depth_chroma_minus8
  bits.skip(1);              // qpprime_y_zero_transform_bypass_flag
  if (!bits.flag()) return;  // seq_scaling_matrix_present_flag
  int const lists = info.chromaFormat == 3 ? 12 : 8;
  for (int i = 0; i < lists; ++i)
    if (bits.flag()) skipScalingList(bits, i < 6 ? 16 : 64);
}

// seq_parameter_set_data(), ISO/IEC 14496-10 7.3.2.1.1; `unit` starts behind the NAL header.
void readH264Sps(std::span<uint8_t const> unit, HeaderInfo& info) {
  std::vector<uint8_t> const raw = withoutEmulation(unit);
  BitReader bits(raw);
  info.profile = static_cast<int>(bits.bits(8));
  bits.skip(3);
  info.intraProfile = bits.flag();  // constraint_set3_flag
  bits.skip(4 + 8);                 // constraint flags, level_idc
  info.sequenceId = bits.unsignedExpGolomb();
  info.chromaFormat = 1;
  info.depth = 8;
  if (hasChromaFields(info.profile)) readH264ChromaFields(bits, info);
  info.frameNumberBits = 4 + static_cast<int>(std::min(bits.unsignedExpGolomb(), 12U));
  uint32_t const orderType = bits.unsignedExpGolomb();
  if (orderType == 0) {
    bits.unsignedExpGolomb();
  } else if (orderType == 1) {
    bits.skip(1);
    bits.signedExpGolomb();
    bits.signedExpGolomb();
    uint32_t const cycle = bits.unsignedExpGolomb();
    for (uint32_t i = 0; i < cycle && !bits.failed(); ++i) bits.signedExpGolomb();
  }
  bits.unsignedExpGolomb();  // max_num_ref_frames
  bits.skip(1);              // gaps_in_frame_num_value_allowed_flag
  bits.unsignedExpGolomb();  // pic_width_in_mbs_minus1
  bits.unsignedExpGolomb();  // pic_height_in_map_units_minus1
  info.framesOnly = bits.flag();
  if (!info.framesOnly) bits.skip(1);  // mb_adaptive_frame_field_flag
  bits.skip(1);                        // direct_8x8_inference_flag
  if (bits.flag())                     // frame_cropping_flag
    for (int i = 0; i < 4; ++i) bits.unsignedExpGolomb();
  if (bits.flag() && !bits.failed()) readH264Vui(bits, info);
}

// profile_tier_level(), ISO/IEC 23008-2 7.3.3.
void readProfileTierLevel(BitReader& bits, int subLayers, HeaderInfo& info) {
  bits.skip(2 + 1);  // general_profile_space, general_tier_flag
  info.profile = static_cast<int>(bits.bits(5));
  bits.skip(32 + 48 + 8);  // compatibility flags, constraints, general_level_idc
  bool profilePresent[8] = {}, levelPresent[8] = {};
  for (int i = 0; i < subLayers; ++i) {
    profilePresent[i] = bits.flag();
    levelPresent[i] = bits.flag();
  }
  if (subLayers > 0) bits.skip(2 * static_cast<uint32_t>(8 - subLayers));
  for (int i = 0; i < subLayers; ++i) {
    if (profilePresent[i]) bits.skip(88);
    if (levelPresent[i]) bits.skip(8);
  }
}

// scaling_list_data(), 7.3.4.
void skipHevcScalingLists(BitReader& bits) {
  for (int sizeId = 0; sizeId < 4; ++sizeId) {
    for (int matrix = 0; matrix < 6; matrix += sizeId == 3 ? 3 : 1) {
      if (!bits.flag()) {
        bits.unsignedExpGolomb();
        continue;
      }
      if (sizeId > 1) bits.signedExpGolomb();
      int const coefficients = sizeId == 0 ? 16 : 64;
      for (int i = 0; i < coefficients && !bits.failed(); ++i) bits.signedExpGolomb();
    }
  }
}

// st_ref_pic_set(), 7.3.7. Returns the number of pictures in the set, of which `previous` had the last one.
uint32_t skipReferenceSet(BitReader& bits, bool first, uint32_t previous) {
  constexpr uint32_t kMostPictures = 64;
  uint32_t pictures = 0;
  if (!first && bits.flag()) {  // inter_ref_pic_set_prediction_flag
    bits.skip(1);
    bits.unsignedExpGolomb();
    for (uint32_t i = 0; i <= previous && !bits.failed(); ++i) {
      bool const used = bits.flag();
      if (used || bits.flag()) ++pictures;
    }
    return pictures;
  }
  uint32_t const negative = std::min(bits.unsignedExpGolomb(), kMostPictures);
  uint32_t const positive = std::min(bits.unsignedExpGolomb(), kMostPictures);
  pictures = negative + positive;
  for (uint32_t i = 0; i < pictures && !bits.failed(); ++i) {
    bits.unsignedExpGolomb();
    bits.skip(1);
  }
  return pictures;
}

void skipReferenceSets(BitReader& bits) {
  constexpr uint32_t kMostSets = 64;
  uint32_t const sets = std::min(bits.unsignedExpGolomb(), kMostSets);
  uint32_t previous = 0;
  for (uint32_t i = 0; i < sets && !bits.failed(); ++i) previous = skipReferenceSet(bits, i == 0, previous);
}

// seq_parameter_set_rbsp(), ISO/IEC 23008-2 7.3.2.2, to the aspect ratio; `unit` starts behind the NAL
// header.
void readHevcSps(std::span<uint8_t const> unit, HeaderInfo& info) {
  std::vector<uint8_t> const raw = withoutEmulation(unit);
  BitReader bits(raw);
  bits.skip(4);  // sps_video_parameter_set_id
  int const subLayers = static_cast<int>(bits.bits(3));
  bits.skip(1);
  readProfileTierLevel(bits, subLayers, info);
  bits.unsignedExpGolomb();  // sps_seq_parameter_set_id
  info.chromaFormat = static_cast<int>(std::min(bits.unsignedExpGolomb(), 3U));
  if (info.chromaFormat == 3) bits.skip(1);
  bits.unsignedExpGolomb();  // width
  bits.unsignedExpGolomb();  // height
  if (bits.flag())           // conformance_window_flag
    for (int i = 0; i < 4; ++i) bits.unsignedExpGolomb();
  info.depth = 8 + static_cast<int>(std::min(bits.unsignedExpGolomb(), 8U));
  bits.unsignedExpGolomb();  // bit_depth_chroma_minus8
  int const orderBits = static_cast<int>(std::min(bits.unsignedExpGolomb(), 12U)) + 4;
  for (int i = bits.flag() ? 0 : subLayers; i <= subLayers; ++i)
    for (int field = 0; field < 3; ++field) bits.unsignedExpGolomb();
  for (int i = 0; i < 6; ++i) bits.unsignedExpGolomb();  // block size limits, transform depths
  if (bits.flag() && bits.flag()) skipHevcScalingLists(bits);
  bits.skip(2);       // amp_enabled_flag, sample_adaptive_offset_enabled_flag
  if (bits.flag()) {  // pcm_enabled_flag
    bits.skip(8);
    bits.unsignedExpGolomb();
    bits.unsignedExpGolomb();
    bits.skip(1);
  }
  skipReferenceSets(bits);
  if (bits.flag()) {  // long_term_ref_pics_present_flag
    uint32_t const count = std::min(bits.unsignedExpGolomb(), 32U);
    for (uint32_t i = 0; i < count; ++i) bits.skip(static_cast<uint32_t>(orderBits) + 1);
  }
  bits.skip(2);  // sps_temporal_mvp_enabled_flag, strong_intra_smoothing_enabled_flag
  if (bits.flag() && !bits.failed()) readAspect(bits, info);
}

constexpr int kH264Sei = 6, kH264Sps = 7, kHevcSps = 33;

void readNal(HeaderSyntax syntax, std::span<uint8_t const> nal, HeaderInfo& info) {
  if (syntax == HeaderSyntax::h264 && nal.size() > 1 && (nal[0] & 0x1F) == kH264Sps)
    readH264Sps(nal.subspan(1), info);
  if (syntax == HeaderSyntax::hevc && nal.size() > 2 && (nal[0] >> 1 & 0x3F) == kHevcSps)
    readHevcSps(nal.subspan(2), info);
}

// Parameter sets of an AVCDecoderConfigurationRecord, ISO/IEC 14496-15 5.3.3.1.
void readAvcConfiguration(std::span<uint8_t const> record, HeaderInfo& info) {
  constexpr size_t kSets = 6;
  int const count = record[5] & 0x1F;
  size_t position = kSets;
  for (int i = 0; i < count && record.size() - position >= 2; ++i) {
    size_t const size = static_cast<size_t>(record[position]) << 8 | record[position + 1];
    position += 2;
    if (size > record.size() - position) return;
    readNal(HeaderSyntax::h264, record.subspan(position, size), info);
    position += size;
  }
}

// Arrays of an HEVCDecoderConfigurationRecord, ISO/IEC 14496-15 8.3.3.1.
void readHevcConfiguration(std::span<uint8_t const> record, HeaderInfo& info) {
  size_t position = 23;
  int const arrays = record[22];
  for (int array = 0; array < arrays && record.size() - position >= 3; ++array) {
    int const count = record[position + 1] << 8 | record[position + 2];
    position += 3;
    for (int i = 0; i < count && record.size() - position >= 2; ++i) {
      size_t const size = static_cast<size_t>(record[position]) << 8 | record[position + 1];
      position += 2;
      if (size > record.size() - position) return;
      readNal(HeaderSyntax::hevc, record.subspan(position, size), info);
      position += size;
    }
  }
}

void forEachNal(int lengthBytes, std::span<uint8_t const> data,
                std::function<void(std::span<uint8_t const>)> const& unit) {
  if (lengthBytes > 0)
    forEachLengthPrefixed(data, lengthBytes, unit);
  else
    forEachStartCode(data, unit);
}

void readUnits(HeaderSyntax syntax, int lengthBytes, std::span<uint8_t const> data, HeaderInfo& info) {
  forEachNal(lengthBytes, data, [&](std::span<uint8_t const> unit) {
    if (syntax == HeaderSyntax::mpeg12) readMpeg12Unit(unit, info);
    if (syntax == HeaderSyntax::mpeg4) readMpeg4Unit(unit, info);
    readNal(syntax, unit, info);
  });
}

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

void forEachStartCode(std::span<uint8_t const> data,
                      std::function<void(std::span<uint8_t const>)> const& unit) {
  size_t start = data.size();
  auto const end = [&](size_t position) {
    if (start < position) unit(data.subspan(start, position - start));
  };
  for (size_t i = 0; i + 3 < data.size(); ++i) {
    if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
    end(i);
    start = i + 3;
    i += 2;
  }
  end(data.size());
}

void forEachLengthPrefixed(std::span<uint8_t const> data, int lengthBytes,
                           std::function<void(std::span<uint8_t const>)> const& unit) {
  auto const width = static_cast<size_t>(std::clamp(lengthBytes, 1, 4));
  while (data.size() > width) {
    size_t size = 0;
    for (size_t i = 0; i < width; ++i) size = size << 8 | data[i];
    data = data.subspan(width);
    if (size > data.size()) return;
    if (size > 0) unit(data.first(size));
    data = data.subspan(size);
  }
}

int nalLengthBytes(HeaderSyntax syntax, std::span<uint8_t const> extradata) {
  // Both records start with version 1, extradata with start codes starts with 0.
  if (syntax == HeaderSyntax::h264 && extradata.size() >= 7 && extradata[0] == 1)
    return (extradata[4] & 3) + 1;
  if (syntax == HeaderSyntax::hevc && extradata.size() >= 23 && extradata[0] == 1)
    return (extradata[21] & 3) + 1;
  return 0;
}

HeaderInfo readH264Sequence(std::span<uint8_t const> unit) {
  HeaderInfo info;
  readH264Sps(unit, info);
  return info;
}

HeaderInfo readMpeg4Layer(std::span<uint8_t const> unit) {
  HeaderInfo info;
  readMpeg4Unit(unit, info);
  return info;
}

HeaderInfo readHeaders(HeaderSyntax syntax, std::span<uint8_t const> extradata,
                       std::span<uint8_t const> packet) {
  HeaderInfo info;
  if (syntax == HeaderSyntax::none) return info;
  int const lengthBytes = nalLengthBytes(syntax, extradata);
  if (lengthBytes > 0 && syntax == HeaderSyntax::h264)
    readAvcConfiguration(extradata, info);
  else if (lengthBytes > 0)
    readHevcConfiguration(extradata, info);
  else
    readUnits(syntax, 0, extradata, info);
  readUnits(syntax, lengthBytes, packet, info);
  if (info.bitRateValue && !info.mpeg2) info.chromaFormat = 1;
  return info;
}

double codedRate(HeaderInfo const& headers) {
  // ISO/IEC 13818-2 table 6-4 and 6.3.5.
  constexpr double kRates[] = {0, 24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};
  int const code = headers.codedRateCode;
  if (code >= 1 && code <= 8) return kRates[code] * headers.rateMultiplier / headers.rateDivisor;
  return headers.pictureTicks > 0 ? static_cast<double>(headers.clockTicks) / headers.pictureTicks : 0;
}

std::vector<UserData> readUserData(HeaderSyntax syntax, int lengthBytes, std::span<uint8_t const> packet) {
  std::vector<UserData> out;
  if (syntax == HeaderSyntax::mpeg12 || syntax == HeaderSyntax::mpeg4) {
    forEachStartCode(packet, [&](std::span<uint8_t const> unit) {
      if (unit[0] == kUserData) out.push_back({kUserData, {unit.begin() + 1, unit.end()}});
    });
  } else if (syntax == HeaderSyntax::h264) {
    forEachNal(lengthBytes, packet, [&](std::span<uint8_t const> unit) {
      if ((unit[0] & 0x1F) == kH264Sei) readSei(unit.subspan(1), out);
    });
  }
  return out;
}

}  // namespace mfimport
