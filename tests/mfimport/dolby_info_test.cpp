#include "mfimport/headers/dolby_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "bit_writer.h"

using namespace mfimport;

namespace {

constexpr int16_t kNone = kDolbyAbsent;
constexpr int kAc3Bytes = 128;  // of a frame of 32 kbit/s at 48 kHz

struct Ac3Begin {
  int bsid = 8, bsmod = 0, acmod = 2;
};

// The fields that every AC-3 frame begins with, up to the coding mode.
BitWriter ac3(Ac3Begin const& begin) {
  BitWriter out;
  out.bits(0x0B77, 16).bits(0xAAAA, 16).bits(0, 2).bits(0, 6);
  out.bits(static_cast<uint32_t>(begin.bsid), 5);
  out.bits(static_cast<uint32_t>(begin.bsmod), 3);
  out.bits(static_cast<uint32_t>(begin.acmod), 3);
  return out;
}

struct Eac3Begin {
  int strmtyp = 0, substreamid = 0, fscod = 0, numblkscod = 3, acmod = 2, lfeon = 0;
  int frameBytes = 128;
};

// The fields that every E-AC-3 frame begins with, up to the dialogue level (27); numblkscod stands for fscod2
// where that takes its place.
BitWriter eac3(Eac3Begin const& begin) {
  BitWriter out;
  out.bits(0x0B77, 16);
  out.bits(static_cast<uint32_t>(begin.strmtyp), 2);
  out.bits(static_cast<uint32_t>(begin.substreamid), 3);
  out.bits(static_cast<uint32_t>(begin.frameBytes / 2 - 1), 11);
  out.bits(static_cast<uint32_t>(begin.fscod), 2);
  out.bits(static_cast<uint32_t>(begin.numblkscod), 2);
  out.bits(static_cast<uint32_t>(begin.acmod), 3);
  out.bits(static_cast<uint32_t>(begin.lfeon), 1);
  return out.bits(16, 5).bits(27, 5);
}

std::vector<uint8_t> frame(BitWriter const& header, size_t bytes = kAc3Bytes) {
  std::vector<uint8_t> out = header.bytes();
  out.resize(std::max(bytes, out.size()));
  return out;
}

// A copy of exactly the bytes, so that reading past them shows in builds that watch memory.
std::optional<DolbyInfo> parsed(std::vector<uint8_t> const& bytes) {
  auto const exact = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  return readDolbyInfo({exact.get(), bytes.size()});
}

// Every field of a record but the named ones is absent, reserved ones 0: held as the whole record.
template <class Record>
void expectRecord(Record const& expected, Record const& actual) {
  auto const* const want = reinterpret_cast<uint8_t const*>(&expected);
  auto const* const have = reinterpret_cast<uint8_t const*>(&actual);
  for (size_t i = 0; i < sizeof(Record) / 2; ++i) {
    int16_t a, b;
    std::memcpy(&a, want + 2 * i, 2);
    std::memcpy(&b, have + 2 * i, 2);
    EXPECT_EQ(a, b) << "field " << i;
  }
}

template <class Record>
Record absent() {
  Record record;
  std::memset(&record, 0xFF, sizeof record);
  if constexpr (requires { record.reserved; }) std::memset(record.reserved, 0, sizeof record.reserved);
  return record;
}

TEST(DolbyInfo, OfAPlainFrame_HasNothingOptional) {
  BitWriter out = ac3({8, 1, 2});
  out.bits(1, 2).bits(0, 1).bits(31, 5);            // dsurmod, lfeon, dialnorm
  out.bits(0, 3).bits(1, 1).bits(0, 1).bits(0, 3);  // compre, langcode, audprodie; copyright, original; none
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto config = absent<MpegDolbyConfig>();
  config.present = 1;
  config.bsid = 8;
  config.fscod = 0;
  config.frameBytes = kAc3Bytes;
  config.blocks = 6;
  expectRecord(config, info->config);
  auto general = absent<MpegDolbyGeneral>();
  general.bsid = 8;
  general.bsmod = 1;
  general.acmod = 2;
  general.lfeon = 0;
  general.dialnorm = 31;
  general.copyrightb = 1;
  general.origbs = 0;
  general.dsurmod = 1;
  general.frmsizecod = 0;
  expectRecord(general, info->general);
  expectRecord(absent<MpegDolbyMix>(), info->mix);
  expectRecord(absent<MpegDolbyProduction>(), info->production);
  expectRecord(absent<MpegDolbyTimecode>(), info->timecode);
  EXPECT_EQ(info->addbsi.bytes, kNone);
  EXPECT_EQ(info->auxdata.bits, kNone);
}

TEST(DolbyInfo, OfSurround_HasTheDownmixLevels) {
  for (int acmod = 0; acmod < 8; ++acmod) {
    SCOPED_TRACE(acmod);
    BitWriter out = ac3({8, 0, acmod});
    bool const centre = acmod == 3 || acmod == 5 || acmod == 7;
    if (centre) out.bits(1, 2);
    if (acmod >= 4) out.bits(2, 2);
    if (acmod == 2) out.bits(2, 2);
    out.bits(1, 1).bits(20, 5);
    auto const info = parsed(frame(out));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->general.acmod, acmod);
    EXPECT_EQ(info->general.lfeon, 1);
    EXPECT_EQ(info->general.dialnorm, 20);
    EXPECT_EQ(info->mix.cmixlev, centre ? 1 : kNone);
    EXPECT_EQ(info->mix.surmixlev, acmod >= 4 ? 2 : kNone);
    EXPECT_EQ(info->general.dsurmod, acmod == 2 ? 2 : kNone);
  }
}

TEST(DolbyInfo, OfDualMono_HasASecondSet) {
  BitWriter out = ac3({8, 0, 0});
  out.bits(0, 1).bits(21, 5);
  out.bits(1, 1).bits(0x81, 8).bits(1, 1).bits(0x2B, 8).bits(1, 1).bits(25, 5).bits(1, 2);
  out.bits(22, 5).bits(1, 1).bits(0x42, 8).bits(1, 1).bits(0x0F, 8).bits(1, 1).bits(26, 5).bits(2, 2);
  out.bits(0, 1).bits(1, 1);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto general = absent<MpegDolbyGeneral>();
  general.bsid = 8;
  general.bsmod = general.acmod = general.lfeon = 0;
  general.dialnorm = 21;
  general.compr = 0x81;
  general.langcod = 0x2B;
  general.dialnorm2 = 22;
  general.compr2 = 0x42;
  general.langcod2 = 0x0F;
  general.copyrightb = 0;
  general.origbs = 1;
  general.frmsizecod = 0;
  expectRecord(general, info->general);
  auto production = absent<MpegDolbyProduction>();
  production.mixlevel = 25;
  production.roomtyp = 1;
  production.mixlevel2 = 26;
  production.roomtyp2 = 2;
  expectRecord(production, info->production);
}

TEST(DolbyInfo, TimeCodes_AreSplitIntoTheirParts) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2);
  out.bits(1, 1).bits(23, 5).bits(59, 6).bits(7, 3);
  out.bits(1, 1).bits(5, 3).bits(29, 5).bits(63, 6);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto time = absent<MpegDolbyTimecode>();
  time.timecod1 = 23 << 9 | 59 << 3 | 7;
  time.hours = 23;
  time.minutes = 59;
  time.eights = 7;
  time.timecod2 = 5 << 11 | 29 << 6 | 63;
  time.seconds = 5;
  time.frames = 29;
  time.fraction = 63;
  expectRecord(time, info->timecode);
}

TEST(DolbyInfo, TheFineTimeCodeAlone_LeavesTheCoarseOneAbsent) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2);
  out.bits(0, 1);
  out.bits(1, 1).bits(0, 3).bits(1, 5).bits(0, 6);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto time = absent<MpegDolbyTimecode>();
  time.timecod2 = 1 << 6;
  time.seconds = 0;
  time.frames = 1;
  time.fraction = 0;
  expectRecord(time, info->timecode);
}

// Whether each of the two blocks of the alternate syntax is there.
class AlternateSyntax : public testing::TestWithParam<std::pair<bool, bool>> {};

TEST_P(AlternateSyntax, HasItsTwoBlocksInsteadOfTimeCodes) {
  auto const [first, second] = GetParam();
  BitWriter out = ac3({6, 0, 7});
  out.bits(0, 2).bits(0, 2).bits(1, 1).bits(27, 5).bits(0, 3).bits(0, 2);
  out.bits(first, 1);
  if (first) out.bits(2, 2).bits(4, 3).bits(5, 3).bits(6, 3).bits(7, 3);
  out.bits(second, 1);
  if (second) out.bits(2, 2).bits(1, 2).bits(1, 1).bits(0xA5, 8).bits(1, 1);
  out.bits(1, 1).bits(0, 6).bits(0x5A, 8);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto mix = absent<MpegDolbyMix>();
  mix.cmixlev = mix.surmixlev = 0;
  if (first) {
    mix.dmixmod = 2;
    mix.ltrtcmixlev = 4;
    mix.ltrtsurmixlev = 5;
    mix.lorocmixlev = 6;
    mix.lorosurmixlev = 7;
  }
  expectRecord(mix, info->mix);
  EXPECT_EQ(info->general.dsurexmod, second ? 2 : kNone);
  EXPECT_EQ(info->general.dheadphonmod, second ? 1 : kNone);
  EXPECT_EQ(info->production.adconvtyp, second ? 1 : kNone);
  EXPECT_EQ(info->general.xbsi2, second ? 0xA5 : kNone);
  EXPECT_EQ(info->general.encinfo, second ? 1 : kNone);
  expectRecord(absent<MpegDolbyTimecode>(), info->timecode);
  EXPECT_EQ(info->addbsi.bytes, 1);
  EXPECT_EQ(info->addbsi.data[0], 0x5A);
}

INSTANTIATE_TEST_SUITE_P(Blocks, AlternateSyntax,
                         testing::Values(std::pair{false, false}, std::pair{true, false},
                                         std::pair{false, true}, std::pair{true, true}));

TEST(DolbyInfo, AdditionalInformationOf64Bytes_FillsItsRecord) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2).bits(0, 2);
  out.bits(1, 1).bits(63, 6);
  for (uint32_t i = 0; i < 64; ++i) out.bits(i * 3 + 1, 8);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  ASSERT_EQ(info->addbsi.bytes, 64);
  for (size_t i = 0; i < 64; ++i) EXPECT_EQ(info->addbsi.data[i], i * 3 + 1) << i;
}

TEST(DolbyInfo, AdditionalInformationThatIsCut_IsAbsent) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2).bits(0, 2);
  out.bits(1, 1).bits(63, 6).bits(0, 8);
  auto const info = parsed(out.bytes());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->addbsi.bytes, kNone);
  EXPECT_EQ(info->general.dialnorm, 31);
}

// A frame whose user data of `length` bits counts 0, 1, 2 ... in its bytes, first bit first.
std::vector<uint8_t> withAuxdata(std::vector<uint8_t> bytes, uint32_t length, bool exists = true) {
  auto const put = [&](size_t at, uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      size_t const bit = at + static_cast<size_t>(i);
      auto const mask = static_cast<uint8_t>(0x80 >> bit % 8);
      bytes[bit / 8] =
          static_cast<uint8_t>((bytes[bit / 8] & ~mask) | ((value >> (count - 1 - i) & 1) != 0 ? mask : 0));
    }
  };
  size_t const end = bytes.size() * 8 - 18;  // of auxdatae, crcrsv and crc2
  put(end, exists, 1);
  put(end + 1, 1, 1);
  put(end + 2, 0xBEEF, 16);
  put(end - 14, length, 14);
  for (uint32_t i = 0; i < length; ++i) put(end - 14 - length + i, (i / 8 & 0xFF) >> (7 - i % 8) & 1, 1);
  return bytes;
}

TEST(DolbyInfo, UserData_LiesBeforeItsLengthAtTheEndOfTheFrame) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2).bits(0, 3);
  for (uint32_t const length : {0U, 1U, 7U, 8U, 9U, 333U}) {
    SCOPED_TRACE(length);
    auto const info = parsed(withAuxdata(frame(out), length));
    ASSERT_TRUE(info);
    ASSERT_EQ(info->auxdata.bits, static_cast<int>(length));
    for (uint32_t i = 0; i < sizeof info->auxdata.data; ++i) {
      uint8_t expected = i * 8 < length ? static_cast<uint8_t>(i) : uint8_t{0};
      if (i * 8 < length && length - i * 8 < 8)
        expected = static_cast<uint8_t>(expected & 0xFF00 >> (length - i * 8));
      ASSERT_EQ(info->auxdata.data[i], expected) << i;
    }
  }
}

TEST(DolbyInfo, UserDataOfTheGreatestLength_FitsItsRecord) {
  BitWriter out = eac3({.frameBytes = 4096});
  out.bits(0, 4);
  auto const info = parsed(withAuxdata(frame(out, 4096), 16383));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->config.frameBytes, 4096);
  ASSERT_EQ(info->auxdata.bits, 16383);
  EXPECT_EQ(info->auxdata.data[2046], 2046 & 0xFF);
  EXPECT_EQ(info->auxdata.data[2047], 0xFE);
}

TEST(DolbyInfo, UserDataThatIsNotThere_IsAbsent) {
  BitWriter out = ac3({8, 0, 1});
  out.bits(0, 1).bits(31, 5).bits(0, 3).bits(0, 2).bits(0, 3);
  EXPECT_EQ(parsed(withAuxdata(frame(out), 16, false))->auxdata.bits, kNone);
  // Longer than what the frame has behind its header.
  std::vector<uint8_t> bytes = withAuxdata(frame(out), 16);
  bytes[kAc3Bytes - 4] = 0xFF;
  EXPECT_EQ(parsed(bytes)->auxdata.bits, kNone);
  // Behind the end of the packet.
  bytes = withAuxdata(frame(out), 16);
  bytes.pop_back();
  EXPECT_EQ(parsed(bytes)->auxdata.bits, kNone);
  // The frame ends before the packet does.
  bytes = withAuxdata(frame(out), 16);
  bytes.resize(bytes.size() + 64, 0xFF);
  EXPECT_EQ(parsed(bytes)->auxdata.bits, 16);
}

TEST(DolbyInfo, FrameSizes_FollowTheirTable) {
  auto const size = [](uint32_t fscod, uint32_t frmsizecod) {
    BitWriter out;
    out.bits(0x0B77, 16).bits(0, 16).bits(fscod, 2).bits(frmsizecod, 6).bits(8 << 3, 8).bits(1, 3);
    return parsed(frame(out))->config.frameBytes;
  };
  EXPECT_EQ(size(0, 0), 128);
  EXPECT_EQ(size(0, 37), 2560);
  EXPECT_EQ(size(1, 0), 138);
  EXPECT_EQ(size(1, 1), 140);
  EXPECT_EQ(size(1, 28), 1670);
  EXPECT_EQ(size(1, 37), 2788);
  EXPECT_EQ(size(2, 36), 3840);
  EXPECT_EQ(size(0, 38), kNone);
  EXPECT_EQ(size(3, 0), kNone);
}

TEST(DolbyInfo, OfAPlainEac3Frame_HasNothingOptional) {
  BitWriter out = eac3({.strmtyp = 0, .substreamid = 3, .acmod = 7, .lfeon = 1, .frameBytes = 200});
  out.bits(0, 1).bits(0, 1).bits(0, 1).bits(0, 1);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto config = absent<MpegDolbyConfig>();
  config.present = 1;
  config.bsid = 16;
  config.fscod = 0;
  config.frameBytes = 200;
  config.blocks = 6;
  config.strmtyp = 0;
  config.substreamid = 3;
  expectRecord(config, info->config);
  auto general = absent<MpegDolbyGeneral>();
  general.bsid = 16;
  general.acmod = 7;
  general.lfeon = 1;
  general.dialnorm = 27;
  expectRecord(general, info->general);
  expectRecord(absent<MpegDolbyMix>(), info->mix);
}

TEST(DolbyInfo, BlocksOfEac3_FollowTheirCode) {
  constexpr int kBlocks[] = {1, 2, 3, 6};
  for (int code = 0; code < 4; ++code) {
    BitWriter out = eac3({.numblkscod = code});
    out.bits(0, 3).bits(1, 1).bits(1, 1);  // none; convsync or else addbsie
    auto const info = parsed(frame(out));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->config.blocks, kBlocks[code]);
    EXPECT_EQ(info->general.convsync, code == 3 ? kNone : 1);
  }
}

TEST(DolbyInfo, HalvedSampleRates_HaveSixBlocks) {
  BitWriter out = eac3({.fscod = 3, .numblkscod = 1});
  out.bits(0, 2).bits(1, 1).bits(2, 3).bits(1, 1).bits(0, 1).bits(0, 4).bits(0, 1).bits(1, 1).bits(0, 6).bits(
      7, 8);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->config.fscod, 3);
  EXPECT_EQ(info->config.fscod2, 1);
  EXPECT_EQ(info->config.blocks, 6);
  EXPECT_EQ(info->general.bsmod, 2);
  EXPECT_EQ(info->general.sourcefscod, kNone);
  EXPECT_EQ(info->addbsi.bytes, 1);
  EXPECT_EQ(info->addbsi.data[0], 7);
}

TEST(DolbyInfo, OfEac3DualMono_HasASecondSet) {
  BitWriter out = eac3({.acmod = 0});
  out.bits(1, 1).bits(0x11, 8).bits(22, 5).bits(1, 1).bits(0x33, 8);
  // Mixing: both programme scale factors, none external, no definition, both pans, no blocks.
  out.bits(1, 1).bits(1, 1).bits(40, 6).bits(1, 1).bits(41, 6).bits(0, 1).bits(0, 2);
  out.bits(1, 1).bits(200, 8).bits(50, 6).bits(1, 1).bits(100, 8).bits(51, 6).bits(0, 1);
  // Information: mode, copyright, original, both production sets, source rate.
  out.bits(1, 1).bits(5, 3).bits(1, 1).bits(1, 1);
  out.bits(1, 1).bits(17, 5).bits(2, 2).bits(1, 1).bits(1, 1).bits(18, 5).bits(1, 2).bits(0, 1).bits(1, 1);
  out.bits(0, 1);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto general = absent<MpegDolbyGeneral>();
  general.bsid = 16;
  general.bsmod = 5;
  general.acmod = general.lfeon = 0;
  general.dialnorm = 27;
  general.compr = 0x11;
  general.dialnorm2 = 22;
  general.compr2 = 0x33;
  general.copyrightb = general.origbs = 1;
  general.sourcefscod = 1;
  expectRecord(general, info->general);
  auto mix = absent<MpegDolbyMix>();
  mix.pgmscl = 40;
  mix.pgmscl2 = 41;
  mix.mixdef = 0;
  mix.panmean = 200;
  mix.paninfo = 50;
  mix.panmean2 = 100;
  mix.paninfo2 = 51;
  expectRecord(mix, info->mix);
  auto production = absent<MpegDolbyProduction>();
  production.mixlevel = 17;
  production.roomtyp = 2;
  production.adconvtyp = 1;
  production.mixlevel2 = 18;
  production.roomtyp2 = 1;
  production.adconvtyp2 = 0;
  expectRecord(production, info->production);
}

TEST(DolbyInfo, MixingOfEac3Surround_HasLevelsAndBlocks) {
  BitWriter out = eac3({.numblkscod = 2, .acmod = 7, .lfeon = 1});
  out.bits(0, 1);
  out.bits(1, 1).bits(1, 2).bits(2, 3).bits(3, 3).bits(4, 3).bits(5, 3).bits(1, 1).bits(21, 5);
  out.bits(0, 1).bits(1, 1).bits(33, 6);  // pgmscl, extpgmscl
  out.bits(1, 2).bits(1, 1).bits(0, 1).bits(6, 3);
  out.bits(1, 1).bits(1, 1).bits(9, 5).bits(0, 1).bits(1, 1).bits(10, 5);
  out.bits(1, 1).bits(0, 3).bits(0, 2).bits(3, 2).bits(0, 1).bits(0, 1);  // information with dsurexmod
  out.bits(1, 1).bits(0, 1);                                              // convsync
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto mix = absent<MpegDolbyMix>();
  mix.dmixmod = 1;
  mix.ltrtcmixlev = 2;
  mix.lorocmixlev = 3;
  mix.ltrtsurmixlev = 4;
  mix.lorosurmixlev = 5;
  mix.lfemixlevcod = 21;
  mix.extpgmscl = 33;
  mix.mixdef = 1;
  mix.premixcmpsel = 1;
  mix.drcsrc = 0;
  mix.premixcmpscl = 6;
  mix.blkmixcfginfo[0] = 9;
  mix.blkmixcfginfo[2] = 10;
  expectRecord(mix, info->mix);
  EXPECT_EQ(info->general.dsurexmod, 3);
  EXPECT_EQ(info->general.dsurmod, kNone);
  EXPECT_EQ(info->general.convsync, 1);
}

TEST(DolbyInfo, ShortMixingData_IsKept) {
  BitWriter out = eac3({.numblkscod = 0, .acmod = 2});
  out.bits(0, 1);
  out.bits(1, 1).bits(0, 2).bits(2, 2).bits(0xABC, 12);
  out.bits(1, 1).bits(30, 5);  // the single block has no flag
  out.bits(1, 1).bits(0, 3).bits(0, 2).bits(2, 2).bits(1, 2).bits(0, 1).bits(1, 1);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto mix = absent<MpegDolbyMix>();
  mix.mixdef = 2;
  mix.mixdata = 0xABC;
  mix.blkmixcfginfo[0] = 30;
  expectRecord(mix, info->mix);
  EXPECT_EQ(info->general.dsurmod, 2);
  EXPECT_EQ(info->general.dheadphonmod, 1);
  EXPECT_EQ(info->general.sourcefscod, 1);
}

TEST(DolbyInfo, LongMixingData_IsReadAndItsRestSkipped) {
  BitWriter out = eac3({.acmod = 2});
  out.bits(0, 1);
  out.bits(1, 1).bits(0, 2).bits(3, 2).bits(10, 5);  // 12 bytes follow
  out.bits(1, 1).bits(0, 1).bits(1, 1).bits(7, 3);
  for (uint32_t level = 1; level <= 6; ++level) out.bits(1, 1).bits(level, 4);
  out.bits(1, 1).bits(8, 4).bits(1, 1).bits(1, 1).bits(9, 4).bits(1, 1).bits(10, 4);
  out.bits(1, 1).bits(11, 5).bits(1, 1).bits(12, 5).bits(3, 2).bits(1, 1).bits(13, 5).bits(6, 3);
  int const used = 6 + 6 * 5 + 5 + 11 + 1 + 5 + 1 + 5 + 2 + 1 + 5 + 3;
  for (int i = used; i < 12 * 8; ++i) out.bits(1, 1);
  out.bits(0, 1);                                                                    // blocks
  out.bits(1, 1).bits(6, 3).bits(0, 2).bits(0, 2).bits(0, 2).bits(0, 1).bits(0, 1);  // information
  out.bits(1, 1).bits(1, 6).bits(0x1234, 16);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  auto mix = absent<MpegDolbyMix>();
  mix.mixdef = 3;
  mix.mixdeflen = 10;
  mix.premixcmpsel = 0;
  mix.drcsrc = 1;
  mix.premixcmpscl = 7;
  mix.extpgmlscl = 1;
  mix.extpgmcscl = 2;
  mix.extpgmrscl = 3;
  mix.extpgmlsscl = 4;
  mix.extpgmrsscl = 5;
  mix.extpgmlfescl = 6;
  mix.dmixscl = 8;
  mix.extpgmaux1scl = 9;
  mix.extpgmaux2scl = 10;
  mix.spchdat = 11;
  mix.spchdat1 = 12;
  mix.spchan1att = 3;
  mix.spchdat2 = 13;
  mix.spchan2att = 6;
  expectRecord(mix, info->mix);
  EXPECT_EQ(info->general.bsmod, 6);
  ASSERT_EQ(info->addbsi.bytes, 2);
  EXPECT_EQ(info->addbsi.data[1], 0x34);
}

TEST(DolbyInfo, LongMixingDataThatHoldsMoreThanItSays_EndsTheReading) {
  BitWriter out = eac3({.acmod = 2});
  out.bits(0, 1);
  out.bits(1, 1).bits(0, 2).bits(3, 2).bits(0, 5);  // 2 bytes follow
  out.bits(1, 1).bits(0, 5);
  for (int i = 0; i < 6; ++i) out.bits(1, 1).bits(15, 4);
  out.bits(0xFFFFFFFF, 32);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->general.dialnorm, 27);
  EXPECT_EQ(info->general.bsmod, kNone);
  EXPECT_EQ(info->addbsi.bytes, kNone);
}

TEST(DolbyInfo, OfADependentSubstream_HasItsSpeakers) {
  BitWriter out = eac3({.strmtyp = 1, .substreamid = 0, .acmod = 6});
  out.bits(0, 1).bits(1, 1).bits(0x1E00, 16);
  out.bits(1, 1).bits(2, 2).bits(1, 3).bits(2, 3);  // mixing ends with the downmix levels
  out.bits(0, 1).bits(1, 1).bits(0, 6).bits(9, 8);
  auto const info = parsed(frame(out));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->config.strmtyp, 1);
  EXPECT_EQ(info->general.chanmap, 0x1E00);
  EXPECT_EQ(info->mix.dmixmod, 2);
  EXPECT_EQ(info->mix.ltrtsurmixlev, 1);
  EXPECT_EQ(info->mix.lorosurmixlev, 2);
  EXPECT_EQ(info->mix.mixdef, kNone);
  EXPECT_EQ(info->addbsi.bytes, 1);
}

TEST(DolbyInfo, OfAConvertedStream_HasTheSizeCodeOfItsSource) {
  BitWriter whole = eac3({.strmtyp = 2});
  whole.bits(0, 3).bits(28, 6).bits(1, 1).bits(0, 6).bits(3, 8);
  auto info = parsed(frame(whole));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->general.blkid, 1);
  EXPECT_EQ(info->general.frmsizecod, 28);
  EXPECT_EQ(info->addbsi.data[0], 3);
  BitWriter later = eac3({.strmtyp = 2, .numblkscod = 1});
  later.bits(0, 3).bits(0, 1).bits(1, 1).bits(0, 6).bits(4, 8);
  info = parsed(frame(later));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->general.blkid, 0);
  EXPECT_EQ(info->general.frmsizecod, kNone);
  EXPECT_EQ(info->addbsi.data[0], 4);
}

TEST(DolbyInfo, OfWhatIsNoSyncframe_IsNone) {
  EXPECT_FALSE(parsed({}));
  EXPECT_FALSE(parsed(std::vector<uint8_t>(64, 0)));
  EXPECT_FALSE(parsed({0x0B, 0x77}));
  BitWriter unknown = ac3({17, 0, 2});
  EXPECT_FALSE(parsed(frame(unknown)));
}

// A frame with everything that its syntax knows.
std::vector<uint8_t> richFrame(bool eac) {
  if (!eac) {
    BitWriter out = ac3({8, 3, 0});
    out.bits(0, 1).bits(21, 5).bits(1, 1).bits(0x81, 8).bits(1, 1).bits(0x2B, 8).bits(1, 1).bits(25, 5).bits(
        1, 2);
    out.bits(22, 5).bits(1, 1).bits(0x42, 8).bits(1, 1).bits(0x0F, 8).bits(1, 1).bits(26, 5).bits(2, 2);
    out.bits(0, 1).bits(1, 1).bits(1, 1).bits(1234, 14).bits(1, 1).bits(4321, 14);
    out.bits(1, 1).bits(15, 6);
    for (uint32_t i = 0; i < 16; ++i) out.bits(i, 8);
    return withAuxdata(frame(out), 40);
  }
  BitWriter out = eac3({.acmod = 7, .lfeon = 1});
  out.bits(1, 1).bits(0x81, 8);
  out.bits(1, 1).bits(1, 2).bits(2, 3).bits(3, 3).bits(4, 3).bits(5, 3).bits(1, 1).bits(21, 5);
  out.bits(1, 1).bits(32, 6).bits(1, 1).bits(33, 6).bits(1, 2).bits(1, 1).bits(0, 1).bits(6, 3);
  out.bits(1, 1);
  for (uint32_t block = 0; block < 6; ++block) out.bits(1, 1).bits(block, 5);
  out.bits(1, 1).bits(1, 3).bits(3, 2).bits(2, 2).bits(1, 1).bits(25, 5).bits(2, 2).bits(1, 1).bits(1, 1);
  out.bits(1, 1).bits(15, 6);
  for (uint32_t i = 0; i < 16; ++i) out.bits(i, 8);
  return withAuxdata(frame(out), 40);
}

TEST(DolbyInfo, OfACutPacket_HasWhatComesBeforeTheCut) {
  for (bool const eac : {false, true}) {
    std::vector<uint8_t> const whole = richFrame(eac);
    auto const complete = parsed(whole);
    ASSERT_TRUE(complete);
    EXPECT_EQ(complete->addbsi.bytes, 16);
    EXPECT_EQ(complete->auxdata.bits, 40);
    for (size_t size = 0; size < whole.size(); ++size) {
      SCOPED_TRACE(size);
      auto const cut = parsed({whole.begin(), whole.begin() + static_cast<long>(size)});
      EXPECT_EQ(cut.has_value(), size >= 7 || (eac && size == 6));
      if (!cut) continue;
      EXPECT_EQ(cut->auxdata.bits, kNone);
      // A field is the true one or absent, never made of bits that are not there.
      for (int const request :
           {kAuxDolbyConfig, kAuxDolbyGeneral, kAuxDolbyMix, kAuxDolbyProduction, kAuxDolbyTimecode}) {
        auto const have = dolbyRecord(*cut, request), want = dolbyRecord(*complete, request);
        ASSERT_EQ(have.size(), want.size());
        for (size_t i = 0; i < have.size(); i += 2)
          EXPECT_TRUE((have[i] == want[i] && have[i + 1] == want[i + 1]) ||
                      (have[i] == 0xFF && have[i + 1] == 0xFF))
              << request << " field " << i / 2;
      }
    }
  }
}

TEST(DolbyInfo, OfAnyBytes_IsReadWithoutLeavingThem) {
  std::mt19937 random(7);
  int known = 0;
  for (int round = 0; round < 20000; ++round) {
    std::vector<uint8_t> bytes(random() % 200);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    if (bytes.size() > 5) {
      bytes[0] = 0x0B;
      bytes[1] = 0x77;
      bytes[2] = static_cast<uint8_t>(bytes[2] & 0xF8);  // frames that can end within the packet
      bytes[5] = static_cast<uint8_t>(random() % 18 << 3 | (bytes[5] & 7));
    }
    auto const info = parsed(bytes);
    if (!info) continue;
    ++known;
    EXPECT_LE(info->general.acmod, 7);
    EXPECT_GE(info->general.acmod, 0);
    EXPECT_LE(info->addbsi.bytes, 64);
    EXPECT_LE(info->auxdata.bits, 16383);
  }
  EXPECT_GT(known, 1000);
}

TEST(DolbyRecords, HaveTheSizesOfTheirRequests) {
  DolbyInfo const info{};
  constexpr std::pair<int, size_t> kSizes[] = {
      {kAuxDolbyConfig, 16},     {kAuxDolbyGeneral, 62},  {kAuxDolbyMix, 86},
      {kAuxDolbyProduction, 40}, {kAuxDolbyTimecode, 44}, {kAuxDolbyAddbsi, 66},
      {kAuxDolbyAuxdata, 2050},  {kAuxSampleFormat, 0},   {0, 0}};
  for (auto const& [request, size] : kSizes) {
    EXPECT_EQ(dolbyRecord(info, request).size(), size) << request;
    EXPECT_EQ(dolbyRecordSize(request), size) << request;
  }
}

}  // namespace
