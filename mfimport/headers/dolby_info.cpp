#include "mfimport/headers/dolby_info.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "mfimport/headers/bit_reader.h"

namespace mfimport {
namespace {

static_assert(std::endian::native == std::endian::little, "records are handed out as they lie in memory");

constexpr int kAc3LastBsid = 10, kAlternateBsid = 6, kLastBsid = 16;
constexpr int kDualMono = 0, kMono = 1, kStereo = 2;

bool hasCentre(int acmod) { return acmod > kStereo && (acmod & 1) != 0; }
bool hasSurround(int acmod) { return (acmod & 4) != 0; }

template <class Record>
Record absentRecord() {
  Record record;
  std::memset(&record, 0xFF, sizeof record);  // kDolbyAbsent in every field
  if constexpr (requires { record.reserved; }) std::memset(record.reserved, 0, sizeof record.reserved);
  return record;
}

DolbyInfo absentInfo() {
  return {absentRecord<MpegDolbyConfig>(),
          absentRecord<MpegDolbyGeneral>(),
          absentRecord<MpegDolbyMix>(),
          absentRecord<MpegDolbyProduction>(),
          absentRecord<MpegDolbyTimecode>(),
          {kDolbyAbsent, {}},
          {kDolbyAbsent, {}}};
}

// Bytes of an AC-3 syncframe, table 5.18; absent for codes without meaning.
int16_t ac3FrameBytes(uint32_t fscod, uint32_t frmsizecod) {
  constexpr int kKilobits[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                               192, 224, 256, 320, 384, 448, 512, 576, 640};
  if (fscod > 2 || frmsizecod / 2 >= std::size(kKilobits)) return kDolbyAbsent;
  uint32_t const rate = static_cast<uint32_t>(kKilobits[frmsizecod / 2]);
  switch (fscod) {
    case 0:
      return static_cast<int16_t>(rate * 4);
    case 1:
      return static_cast<int16_t>(2 * (rate * 320 / 147 + frmsizecod % 2));
    default:
      return static_cast<int16_t>(rate * 6);
  }
}

class BsiReader {
 public:
  explicit BsiReader(std::span<uint8_t const> packet) : packet_(packet), bits_(packet), info_(absentInfo()) {}

  std::optional<DolbyInfo> read() {
    constexpr uint32_t kSyncWord = 0x0B77;
    constexpr size_t kBsidByte = 5;  // in both syntaxes
    if (packet_.size() <= kBsidByte || bits_.bits(16) != kSyncWord) return std::nullopt;
    int const bsid = packet_[kBsidByte] >> 3;
    if (bsid > kLastBsid) return std::nullopt;
    info_.config.present = 1;
    if (bsid <= kAc3LastBsid)
      readAc3();
    else
      readEac3();
    if (info_.general.acmod == kDolbyAbsent || info_.general.lfeon == kDolbyAbsent) return std::nullopt;
    readAddbsi();
    readAuxdata();
    return info_;
  }

 private:
  // A field of up to 16 bits; absent when the packet ends before its last one.
  int16_t field(int count) {
    uint32_t const value = bits_.bits(count);
    return bits_.failed() ? kDolbyAbsent : static_cast<int16_t>(value);
  }

  // A field behind a bit that says whether it exists.
  int16_t optional(int count) { return bits_.flag() ? field(count) : kDolbyAbsent; }

  // 5.3.1, 5.3.2 and D2.2.
  void readAc3() {
    MpegDolbyConfig& config = info_.config;
    MpegDolbyGeneral& general = info_.general;
    MpegDolbyProduction& production = info_.production;
    bits_.skip(16);  // crc1
    config.fscod = field(2);
    general.frmsizecod = field(6);
    config.frameBytes =
        ac3FrameBytes(static_cast<uint32_t>(config.fscod), static_cast<uint32_t>(general.frmsizecod));
    config.blocks = 6;
    config.bsid = general.bsid = field(5);
    general.bsmod = field(3);
    int const acmod = general.acmod = field(3);
    if (acmod == kDolbyAbsent) return;
    if (hasCentre(acmod)) info_.mix.cmixlev = field(2);
    if (hasSurround(acmod)) info_.mix.surmixlev = field(2);
    if (acmod == kStereo) general.dsurmod = field(2);
    general.lfeon = field(1);
    general.dialnorm = field(5);
    general.compr = optional(8);
    general.langcod = optional(8);
    if (bits_.flag()) {
      production.mixlevel = field(5);
      production.roomtyp = field(2);
    }
    if (acmod == kDualMono) {
      general.dialnorm2 = field(5);
      general.compr2 = optional(8);
      general.langcod2 = optional(8);
      if (bits_.flag()) {
        production.mixlevel2 = field(5);
        production.roomtyp2 = field(2);
      }
    }
    general.copyrightb = field(1);
    general.origbs = field(1);
    if (general.bsid == kAlternateBsid)
      readAlternate();
    else
      readTimecode();
  }

  void readTimecode() {
    MpegDolbyTimecode& time = info_.timecode;
    time.timecod1 = optional(14);
    if (time.timecod1 != kDolbyAbsent) {
      time.hours = static_cast<int16_t>(time.timecod1 >> 9);
      time.minutes = static_cast<int16_t>(time.timecod1 >> 3 & 63);
      time.eights = static_cast<int16_t>(time.timecod1 & 7);
    }
    time.timecod2 = optional(14);
    if (time.timecod2 != kDolbyAbsent) {
      time.seconds = static_cast<int16_t>(time.timecod2 >> 11);
      time.frames = static_cast<int16_t>(time.timecod2 >> 6 & 31);
      time.fraction = static_cast<int16_t>(time.timecod2 & 63);
    }
  }

  void readAlternate() {
    MpegDolbyMix& mix = info_.mix;
    if (bits_.flag()) {
      mix.dmixmod = field(2);
      mix.ltrtcmixlev = field(3);
      mix.ltrtsurmixlev = field(3);
      mix.lorocmixlev = field(3);
      mix.lorosurmixlev = field(3);
    }
    if (bits_.flag()) {
      info_.general.dsurexmod = field(2);
      info_.general.dheadphonmod = field(2);
      info_.production.adconvtyp = field(1);
      info_.general.xbsi2 = field(8);
      info_.general.encinfo = field(1);
    }
  }

  // E2.2.2.
  void readEac3() {
    constexpr int kRateInFscod2 = 3;
    constexpr int16_t kBlocks[] = {1, 2, 3, 6};
    MpegDolbyConfig& config = info_.config;
    MpegDolbyGeneral& general = info_.general;
    config.strmtyp = field(2);
    config.substreamid = field(3);
    config.frameBytes = static_cast<int16_t>(2 * (field(11) + 1));
    config.fscod = field(2);
    uint32_t numblkscod = 3;
    if (config.fscod == kRateInFscod2)
      config.fscod2 = field(2);
    else
      numblkscod = bits_.bits(2);
    config.blocks = kBlocks[numblkscod];
    int const acmod = general.acmod = field(3);
    general.lfeon = field(1);
    config.bsid = general.bsid = field(5);
    general.dialnorm = field(5);
    general.compr = optional(8);
    if (acmod == kDualMono) {
      general.dialnorm2 = field(5);
      general.compr2 = optional(8);
    }
    if (config.strmtyp == 1) general.chanmap = optional(16);
    if (bits_.flag()) readMixing(acmod);
    if (bits_.flag()) readInformation(acmod);
    if (config.strmtyp == 0 && config.blocks != 6) general.convsync = field(1);
    if (config.strmtyp == 2) {
      general.blkid = config.blocks == 6 ? int16_t{1} : field(1);
      if (general.blkid == 1) general.frmsizecod = field(6);
    }
  }

  void readMixing(int acmod) {
    MpegDolbyMix& mix = info_.mix;
    if (acmod > kStereo) mix.dmixmod = field(2);
    if (hasCentre(acmod)) {
      mix.ltrtcmixlev = field(3);
      mix.lorocmixlev = field(3);
    }
    if (hasSurround(acmod)) {
      mix.ltrtsurmixlev = field(3);
      mix.lorosurmixlev = field(3);
    }
    if (info_.general.lfeon == 1) mix.lfemixlevcod = optional(5);
    if (info_.config.strmtyp != 0) return;
    mix.pgmscl = optional(6);
    if (acmod == kDualMono) mix.pgmscl2 = optional(6);
    mix.extpgmscl = optional(6);
    mix.mixdef = field(2);
    if (mix.mixdef == 1)
      readPremix();
    else if (mix.mixdef == 2)
      mix.mixdata = field(12);
    else if (mix.mixdef == 3)
      readLongMixing();
    if (acmod <= kMono) {
      if (bits_.flag()) {
        mix.panmean = field(8);
        mix.paninfo = field(6);
      }
      if (acmod == kDualMono && bits_.flag()) {
        mix.panmean2 = field(8);
        mix.paninfo2 = field(6);
      }
    }
    if (!bits_.flag()) return;
    for (int block = 0; block < info_.config.blocks; ++block)
      mix.blkmixcfginfo[block] = info_.config.blocks == 1 ? field(5) : optional(5);
  }

  void readPremix() {
    MpegDolbyMix& mix = info_.mix;
    mix.premixcmpsel = field(1);
    mix.drcsrc = field(1);
    mix.premixcmpscl = field(3);
  }

  void readLongMixing() {
    MpegDolbyMix& mix = info_.mix;
    mix.mixdeflen = field(5);
    if (mix.mixdeflen == kDolbyAbsent) return;
    size_t const end = bits_.position() + 8 * (static_cast<size_t>(mix.mixdeflen) + 2);
    if (bits_.flag()) {
      readPremix();
      mix.extpgmlscl = optional(4);
      mix.extpgmcscl = optional(4);
      mix.extpgmrscl = optional(4);
      mix.extpgmlsscl = optional(4);
      mix.extpgmrsscl = optional(4);
      mix.extpgmlfescl = optional(4);
      mix.dmixscl = optional(4);
      if (bits_.flag()) {
        mix.extpgmaux1scl = optional(4);
        mix.extpgmaux2scl = optional(4);
      }
    }
    if (bits_.flag()) {
      mix.spchdat = field(5);
      if (bits_.flag()) {
        mix.spchdat1 = field(5);
        mix.spchan1att = field(2);
        if (bits_.flag()) {
          mix.spchdat2 = field(5);
          mix.spchan2att = field(3);
        }
      }
    }
    // Data of later definitions and fill bits. What claims less than it holds is not followed further.
    if (bits_.position() > end)
      bits_.fail();
    else
      bits_.skip(static_cast<uint32_t>(end - bits_.position()));
  }

  void readInformation(int acmod) {
    MpegDolbyGeneral& general = info_.general;
    MpegDolbyProduction& production = info_.production;
    general.bsmod = field(3);
    general.copyrightb = field(1);
    general.origbs = field(1);
    if (acmod == kStereo) {
      general.dsurmod = field(2);
      general.dheadphonmod = field(2);
    }
    if (acmod >= 6) general.dsurexmod = field(2);
    if (bits_.flag()) {
      production.mixlevel = field(5);
      production.roomtyp = field(2);
      production.adconvtyp = field(1);
    }
    if (acmod == kDualMono && bits_.flag()) {
      production.mixlevel2 = field(5);
      production.roomtyp2 = field(2);
      production.adconvtyp2 = field(1);
    }
    if (info_.config.fscod < 3) general.sourcefscod = field(1);
  }

  void readAddbsi() {
    int16_t const length = optional(6);
    if (length == kDolbyAbsent) return;
    MpegDolbyAddbsi read{static_cast<int16_t>(length + 1), {}};
    for (int i = 0; i < read.bytes; ++i) read.data[i] = static_cast<uint8_t>(bits_.bits(8));
    if (!bits_.failed()) info_.addbsi = read;
  }

  // The field is read from its end: auxdatae before crcrsv (or encinfo) and crc2, auxdatal before that, and
  // the user data before that.
  void readAuxdata() {
    constexpr size_t kBehind = 1 + 1 + 16, kLengthBits = 14;
    auto const frameBits = static_cast<size_t>(std::max<int16_t>(info_.config.frameBytes, 0)) * 8;
    if (frameBits < kBehind + kLengthBits || frameBits > packet_.size() * 8) return;
    BitReader tail(packet_.first(frameBits / 8));
    tail.skip(static_cast<uint32_t>(frameBits - kBehind - kLengthBits));
    uint32_t const length = tail.bits(kLengthBits);
    if (!tail.flag()) return;
    // It cannot reach into the bit stream information.
    size_t const free = frameBits - kBehind - kLengthBits;
    if (bits_.failed() || bits_.position() > free || length > free - bits_.position()) return;
    BitReader data(packet_.first(frameBits / 8));
    data.skip(static_cast<uint32_t>(free - length));
    MpegDolbyAuxdata& aux = info_.auxdata;
    aux.bits = static_cast<int16_t>(length);
    for (uint32_t done = 0; done < length; done += 8) {
      int const count = static_cast<int>(std::min<uint32_t>(8, length - done));
      aux.data[done / 8] = static_cast<uint8_t>(data.bits(count) << (8 - count));
    }
  }

  std::span<uint8_t const> packet_;
  BitReader bits_;
  DolbyInfo info_;
};

template <class Record>
std::span<uint8_t const> bytesOf(Record const& record) {
  return {reinterpret_cast<uint8_t const*>(&record), sizeof record};
}

}  // namespace

std::optional<DolbyInfo> readDolbyInfo(std::span<uint8_t const> packet) { return BsiReader(packet).read(); }

std::span<uint8_t const> dolbyRecord(DolbyInfo const& info, int request) {
  switch (request) {
    case kAuxDolbyConfig:
      return bytesOf(info.config);
    case kAuxDolbyGeneral:
      return bytesOf(info.general);
    case kAuxDolbyMix:
      return bytesOf(info.mix);
    case kAuxDolbyProduction:
      return bytesOf(info.production);
    case kAuxDolbyTimecode:
      return bytesOf(info.timecode);
    case kAuxDolbyAddbsi:
      return bytesOf(info.addbsi);
    case kAuxDolbyAuxdata:
      return bytesOf(info.auxdata);
    default:
      return {};
  }
}

size_t dolbyRecordSize(int request) {
  static constexpr DolbyInfo kSizes{};
  return dolbyRecord(kSizes, request).size();
}

}  // namespace mfimport
