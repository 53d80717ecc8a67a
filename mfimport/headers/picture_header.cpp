#include "mfimport/headers/picture_header.h"

#include <algorithm>
#include <bit>

#include "mfimport/headers/bit_reader.h"

namespace mfimport {
namespace {

// Headers of a slice, a VOP or a picture and of the sets that they depend on are short.
constexpr size_t kMostHeaderBytes = 512;

// Calls `unit` for each unit between start codes, or behind length fields of `lengthBytes`, until it returns
// true.
template <class Unit>
bool anyUnit(std::span<uint8_t const> data, int lengthBytes, Unit unit) {
  if (lengthBytes > 0) {
    auto const width = static_cast<size_t>(lengthBytes);
    while (data.size() > width) {
      size_t size = 0;
      for (size_t i = 0; i < width; ++i) size = size << 8 | data[i];
      data = data.subspan(width);
      // The last one may be cut: only a beginning is at hand.
      if (size > 0 && unit(data.first(std::min(size, data.size())))) return true;
      data = data.subspan(std::min(size, data.size()));
    }
    return false;
  }
  size_t start = data.size();
  for (size_t i = 0; i + 3 < data.size(); ++i) {
    if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
    if (start < i && unit(data.subspan(start, i - start))) return true;
    start = i + 3;
    i += 2;
    // What decides stands at the beginning of a unit.
    size_t const room = std::min(kMostHeaderBytes, data.size() - start);
    if (unit(data.subspan(start, room))) return true;
    start = data.size();
  }
  return false;
}

PictureKind kindOfSlice(uint32_t type) {
  // ITU-T H.264 table 7-6: P, B, I, SP, SI.
  constexpr PictureKind kKinds[] = {PictureKind::predicted, PictureKind::bidirectional, PictureKind::intra,
                                    PictureKind::predicted, PictureKind::intra};
  return kKinds[type % 5];
}

// PTYPE of the advanced profile (SMPTE 421M 7.1.1.4), a code of up to four ones.
PictureKind readAdvancedType(BitReader& bits) {
  if (!bits.flag()) return PictureKind::predicted;
  if (!bits.flag()) return PictureKind::bidirectional;
  if (!bits.flag()) return PictureKind::intra;
  return bits.flag() ? PictureKind::predicted : PictureKind::bidirectional;  // skipped, BI
}

PictureKind readAdvancedKind(Vc1Sequence const& sequence, BitReader& bits) {
  if (!sequence.interlace || !bits.flag()) return readAdvancedType(bits);
  if (!bits.flag()) return readAdvancedType(bits);  // interlaced frame
  // FPTYPE (9.1.1.1): both fields are B or BI, or neither.
  uint32_t const fields = bits.bits(3);
  if (fields >= 4) return PictureKind::bidirectional;
  return fields == 0 ? PictureKind::intra : PictureKind::predicted;
}

PictureKind readMainKind(Vc1Sequence const& sequence, BitReader& bits) {
  if (sequence.interpolated) bits.skip(1);  // INTERPFRM
  bits.skip(2);                             // FRMCNT
  if (sequence.ranged) bits.skip(1);        // RANGEREDFRM
  if (bits.flag()) return PictureKind::predicted;
  if (sequence.mostBidirectional == 0) return PictureKind::intra;
  return bits.flag() ? PictureKind::intra : PictureKind::bidirectional;
}

// The bits that count vop_time_increment (ISO/IEC 14496-2 6.2.5), by the video object layer; 0 unknown.
int readTimeBits(std::span<uint8_t const> layer) {
  auto const ticks = static_cast<uint32_t>(readMpeg4Layer(layer).clockTicks);
  return ticks == 0 ? 0 : std::max(1, static_cast<int>(std::bit_width(ticks - 1)));
}

}  // namespace

bool completesFrame(PictureHeader const& first, PictureHeader const& second) {
  return first.structure != PictureStructure::frame && second.structure != PictureStructure::frame &&
         first.structure != second.structure && first.frameNumber == second.frameNumber &&
         first.reference == second.reference && !second.restarts;
}

std::optional<Vc1Sequence> readVc1Sequence(std::span<uint8_t const> extradata) {
  constexpr uint8_t kSequenceHeader = 0x0F;
  Vc1Sequence sequence;
  bool const found = anyUnit(extradata, 0, [&](std::span<uint8_t const> unit) {
    if (unit[0] != kSequenceHeader) return false;
    BitReader bits(unit.subspan(1));
    if (bits.bits(2) != 3) return false;         // PROFILE
    bits.skip(3 + 2 + 3 + 5 + 1 + 12 + 12 + 1);  // up to PULLDOWN
    sequence.advanced = true;
    sequence.interlace = bits.flag();
    return !bits.failed();
  });
  if (found) return sequence;
  // STRUCT_C of simple and main profile (annex J.1.2).
  BitReader bits(extradata);
  uint32_t const profile = bits.bits(2);
  if (profile > 1) return std::nullopt;
  bits.skip(2 + 3 + 5);          // rest of PROFILE, FRMRTQ_POSTPROC, BITRTQ_POSTPROC
  bits.skip(1 + 1 + 1 + 1);      // LOOPFILTER, reserved, MULTIRES, reserved
  bits.skip(1 + 1 + 2 + 1 + 1);  // FASTUVMC, EXTENDED_MV, DQUANT, VSTRANSFORM, reserved
  bits.skip(1 + 1);              // OVERLAP, SYNCMARKER
  sequence.ranged = bits.flag();
  sequence.mostBidirectional = static_cast<int>(bits.bits(3));
  bits.skip(2);  // QUANTIZER
  sequence.interpolated = bits.flag();
  if (bits.failed()) return std::nullopt;
  return sequence;
}

PictureKind readVc1Kind(Vc1Sequence const& sequence, std::span<uint8_t const> picture) {
  BitReader bits(picture);
  PictureKind const kind =
      sequence.advanced ? readAdvancedKind(sequence, bits) : readMainKind(sequence, bits);
  return bits.failed() ? PictureKind::unknown : kind;
}

PictureHeaderReader::PictureHeaderReader(AVCodecParameters const& parameters) : codec_(parameters.codec_id) {
  std::span<uint8_t const> const extradata = lav::extradata(parameters);
  if (codec_ == AV_CODEC_ID_H264) lengthBytes_ = nalLengthBytes(HeaderSyntax::h264, extradata);
  if (codec_ == AV_CODEC_ID_HEVC) lengthBytes_ = nalLengthBytes(HeaderSyntax::hevc, extradata);
  if (codec_ == AV_CODEC_ID_VC1 || codec_ == AV_CODEC_ID_WMV3) vc1_ = readVc1Sequence(extradata);
  if (lengthBytes_ > 0)
    readConfiguration(extradata);
  else
    read(extradata);
}

// Parameter sets of an AVCDecoderConfigurationRecord (ISO/IEC 14496-15 5.3.3.1).
void PictureHeaderReader::readConfiguration(std::span<uint8_t const> extradata) {
  if (codec_ != AV_CODEC_ID_H264) return;
  PictureHeader unused;
  size_t position = 5;
  for (int const mask : {0x1F, 0xFF}) {
    if (position >= extradata.size()) return;
    int const count = extradata[position++] & mask;
    for (int i = 0; i < count && extradata.size() - position >= 2; ++i) {
      size_t const size = static_cast<size_t>(extradata[position]) << 8 | extradata[position + 1];
      position += 2;
      if (size == 0 || size > extradata.size() - position) return;
      readUnit(extradata.subspan(position, size), unused);
      position += size;
    }
  }
}

std::optional<PictureHeader> PictureHeaderReader::read(std::span<uint8_t const> beginning) {
  PictureHeader header;
  bool const raw = codec_ == AV_CODEC_ID_WMV3 ||
                   (codec_ == AV_CODEC_ID_VC1 &&
                    (beginning.size() < 3 || beginning[0] != 0 || beginning[1] != 0 || beginning[2] != 1));
  if (raw) {  // ASF leaves the start code of a lone frame out
    if (!vc1_ || beginning.empty()) return std::nullopt;
    header.kind = readVc1Kind(*vc1_, beginning);
    return header;
  }
  bool const found =
      anyUnit(beginning, lengthBytes_, [&](std::span<uint8_t const> unit) { return readUnit(unit, header); });
  return found ? std::optional(header) : std::nullopt;
}

// True when `unit` is the picture's.
bool PictureHeaderReader::readUnit(std::span<uint8_t const> unit, PictureHeader& header) {
  switch (codec_) {
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
      return readMpeg12(unit, header);
    case AV_CODEC_ID_MPEG4:
      return readMpeg4(unit, header);
    case AV_CODEC_ID_VC1:
      return readVc1(unit, header);
    case AV_CODEC_ID_H264:
      return readH264(unit, header);
    case AV_CODEC_ID_HEVC:
      return readHevc(unit, header);
    default:
      return false;
  }
}

bool PictureHeaderReader::readMpeg12(std::span<uint8_t const> unit, PictureHeader& header) const {
  constexpr uint8_t kPicture = 0x00;
  if (unit[0] != kPicture || unit.size() < 3) return false;
  int const type = unit[2] >> 3 & 7;  // picture_coding_type
  header.kind = type == 1   ? PictureKind::intra
                : type == 2 ? PictureKind::predicted
                : type == 3 ? PictureKind::bidirectional
                            : PictureKind::unknown;
  return true;
}

bool PictureHeaderReader::readMpeg4(std::span<uint8_t const> unit, PictureHeader& header) {
  constexpr uint8_t kFirstLayer = 0x20, kLastLayer = 0x2F, kVideoObjectPlane = 0xB6;
  if (unit[0] >= kFirstLayer && unit[0] <= kLastLayer) timeBits_ = readTimeBits(unit);
  if (unit[0] != kVideoObjectPlane || unit.size() < 2) return false;
  constexpr PictureKind kKinds[] = {PictureKind::intra, PictureKind::predicted, PictureKind::bidirectional,
                                    PictureKind::predicted};
  BitReader bits(unit.subspan(1));
  header.kind = kKinds[bits.bits(2)];
  if (timeBits_ == 0) return true;
  while (bits.flag()) {  // modulo_time_base
  }
  bits.skip(static_cast<uint32_t>(1 + timeBits_ + 1));
  header.coded = bits.flag() || bits.failed();
  return true;
}

bool PictureHeaderReader::readVc1(std::span<uint8_t const> unit, PictureHeader& header) {
  constexpr uint8_t kFrame = 0x0D, kSequence = 0x0F;
  if (unit[0] == kSequence) {
    uint8_t const code[] = {0, 0, 1};
    std::vector<uint8_t> whole(std::begin(code), std::end(code));
    whole.insert(whole.end(), unit.begin(), unit.end());
    whole.push_back(0);
    if (auto const sequence = readVc1Sequence(whole)) vc1_ = sequence;
    return false;
  }
  if (unit[0] != kFrame || !vc1_) return false;
  header.kind = readVc1Kind(*vc1_, unit.subspan(1));
  return true;
}

bool PictureHeaderReader::readH264(std::span<uint8_t const> unit, PictureHeader& header) {
  constexpr int kSlice = 1, kPartition = 2, kIdrSlice = 5, kSequence = 7, kPicture = 8;
  int const type = unit[0] & 0x1F;
  if (type == kSequence) {
    HeaderInfo const info = readH264Sequence(unit.subspan(1));
    if (info.sequenceId < sequences_.size())
      sequences_[info.sequenceId] = {info.frameNumberBits, info.separatePlanes, info.framesOnly};
    return false;
  }
  if (type == kPicture) {
    BitReader bits(unit.subspan(1));
    uint32_t const id = bits.unsignedExpGolomb(), sequence = bits.unsignedExpGolomb();
    if (!bits.failed() && id < sequenceOfPicture_.size() && sequence < sequences_.size())
      sequenceOfPicture_[id] = static_cast<uint8_t>(sequence);
    return false;
  }
  if (type != kSlice && type != kPartition && type != kIdrSlice) return false;
  header.restarts = type == kIdrSlice;
  return readH264Slice(unit, header);
}

// slice_header(), ITU-T H.264 7.3.3.
bool PictureHeaderReader::readH264Slice(std::span<uint8_t const> unit, PictureHeader& header) const {
  constexpr size_t kEnough = 32;
  std::vector<uint8_t> const raw = withoutEmulation(unit.subspan(1, std::min(kEnough, unit.size() - 1)));
  BitReader bits(raw);
  header.reference = (unit[0] & 0x60) != 0;
  bits.unsignedExpGolomb();  // first_mb_in_slice
  header.kind = kindOfSlice(bits.unsignedExpGolomb());
  uint32_t const id = bits.unsignedExpGolomb();
  if (bits.failed() || id >= sequenceOfPicture_.size()) return false;
  H264Sequence const& sequence = sequences_[sequenceOfPicture_[id]];
  if (sequence.separatePlanes) bits.skip(2);
  header.frameNumber = bits.bits(sequence.numberBits);
  if (!sequence.framesOnly && bits.flag())
    header.structure = bits.flag() ? PictureStructure::bottom : PictureStructure::top;
  return true;
}

bool PictureHeaderReader::readHevc(std::span<uint8_t const> unit, PictureHeader& header) const {
  // ITU-T H.265 table 7-1: coded slices, of which 16 to 21 are random access points, BLA and IDR among them.
  constexpr int kLastSlice = 31, kFirstRandomAccess = 16, kLastRestart = 20, kLastRandomAccess = 23;
  if (unit.size() < 2) return false;
  int const type = unit[0] >> 1 & 0x3F;
  int const layer = (unit[0] & 1) << 5 | unit[1] >> 3;
  if (type > kLastSlice || layer > 0) return false;
  header.restarts = type >= kFirstRandomAccess && type <= kLastRestart;
  header.kind =
      type >= kFirstRandomAccess && type <= kLastRandomAccess ? PictureKind::intra : PictureKind::unknown;
  return true;
}

}  // namespace mfimport
