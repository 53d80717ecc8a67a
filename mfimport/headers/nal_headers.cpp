#include <algorithm>

#include "mfimport/headers/bit_reader.h"
#include "mfimport/headers/sequence_headers.h"

namespace mfimport {

namespace {

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

}  // namespace

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

}  // namespace mfimport
