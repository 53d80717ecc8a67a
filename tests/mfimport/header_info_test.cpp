#include "mfimport/headers/header_info.h"
#include "mfimport/headers/coded_units.h"

#include <gtest/gtest.h>

#include <random>

#include "bit_writer.h"
#include "mfimport/headers/bit_reader.h"

using namespace mfimport;

namespace {

TEST(BitReading, PastTheEnd_GivesZeroAndFails) {
  uint8_t const one[] = {0xA5};
  BitReader bits(one);
  EXPECT_EQ(bits.bits(8), 0xA5U);
  EXPECT_FALSE(bits.failed());
  EXPECT_EQ(bits.bits(1), 0U);
  EXPECT_TRUE(bits.failed());
  BitReader skipping(one);
  skipping.skip(9);
  EXPECT_TRUE(skipping.failed());
}

TEST(BitReading, ExpGolomb_FollowsItsTable) {
  BitWriter out;
  for (uint32_t const value : {0U, 1U, 2U, 3U, 7U, 254U}) out.ue(value);
  out.ue(1).ue(2).ue(3);
  BitReader bits(out.bytes());
  for (uint32_t const value : {0U, 1U, 2U, 3U, 7U, 254U}) EXPECT_EQ(bits.unsignedExpGolomb(), value);
  EXPECT_EQ(bits.signedExpGolomb(), 1);
  EXPECT_EQ(bits.signedExpGolomb(), -1);
  EXPECT_EQ(bits.signedExpGolomb(), 2);
  uint8_t const zeros[8] = {};
  BitReader endless(zeros);
  EXPECT_EQ(endless.unsignedExpGolomb(), 0U);
  EXPECT_TRUE(endless.failed());
}

TEST(BitReading, EmulationBytes_AreTakenOut) {
  uint8_t const nal[] = {0, 0, 3, 1, 0, 0, 3, 0, 0, 3};
  EXPECT_EQ(withoutEmulation(nal), (std::vector<uint8_t>{0, 0, 1, 0, 0, 0, 0}));
}

std::vector<uint8_t> mpeg2Picture() {
  BitWriter out;
  out.start(0xB3).bits(1440, 12).bits(1080, 12).bits(3, 4).bits(4, 4).bits(87500, 18).bits(1, 1).bits(0, 13);
  out.start(0xB5).bits(1, 4).bits(0x44, 8).bits(0, 1).bits(1, 2).bits(0, 4).bits(0, 12).bits(1, 1).bits(0,
                                                                                                        16);
  out.start(0xB5)
      .bits(2, 4)
      .bits(0, 3)
      .bits(1, 1)
      .bits(0x010101, 24)
      .bits(1920, 14)
      .bits(1, 1)
      .bits(1080, 14);
  out.start(0xB8).bits(1, 1).bits(0, 24).bits(1, 1).bits(0, 6);
  out.start(0x00).bits(0, 10).bits(1, 3).bits(0xFFFF, 16).bits(0, 3);
  out.start(0xB5).bits(8, 4).bits(0xFFFF, 16).bits(0, 2).bits(3, 2).bits(1, 1).bits(1, 1).bits(0, 6);
  out.start(0xB2).bits('G', 8).bits('A', 8).bits('9', 8).bits('4', 8);
  out.start(0x01).bits(0x55, 8);
  return out.bytes();
}

TEST(Mpeg2Headers, OfASequence_AreRead) {
  HeaderInfo const info = readHeaders(HeaderSyntax::mpeg12, {}, mpeg2Picture());
  EXPECT_TRUE(info.mpeg2);
  EXPECT_EQ(info.aspectCode, 3);
  EXPECT_EQ(info.codedRateCode, 4);
  EXPECT_EQ(info.bitRateValue, 87500U);
  EXPECT_EQ(info.chromaFormat, 1);
  EXPECT_TRUE(info.displayExtension);
  EXPECT_EQ(info.displayWidth, 1920);
  EXPECT_EQ(info.displayHeight, 1080);
  EXPECT_TRUE(info.dropFrame);
  EXPECT_EQ(info.vbvDelay, 65535);
  EXPECT_EQ(info.frameDct, 1);
}

TEST(Mpeg2Headers, OfASequenceExtension_TellHowTheRateIsMultiplied) {
  EXPECT_EQ(readHeaders(HeaderSyntax::mpeg12, {}, mpeg2Picture()).rateDivisor, 1);
  BitWriter out;
  out.start(0xB3).bits(128, 12).bits(96, 12).bits(1, 4).bits(3, 4).bits(1000, 18).bits(1, 1).bits(0, 13);
  out.start(0xB5).bits(1, 4).bits(0x48, 8).bits(1, 1).bits(1, 2).bits(0, 4).bits(0, 12).bits(1, 1);
  out.bits(0, 8).bits(0, 1).bits(2, 2).bits(4, 5);
  HeaderInfo const info = readHeaders(HeaderSyntax::mpeg12, {}, out.bytes());
  EXPECT_EQ(info.codedRateCode, 3);
  EXPECT_EQ(info.rateMultiplier, 3);
  EXPECT_EQ(info.rateDivisor, 5);
}

TEST(Mpeg2Headers, UserData_IsTheBytesBehindTheStartCode) {
  auto const data = readUserData(HeaderSyntax::mpeg12, 0, mpeg2Picture());
  ASSERT_EQ(data.size(), 1U);
  EXPECT_EQ(data[0].type, 0xB2);
  EXPECT_EQ(std::string(data[0].bytes.begin(), data[0].bytes.end()), "GA94");
}

std::vector<uint8_t> h264Sps(uint32_t idc, bool cbr) {
  BitWriter out;
  out.bits(0x67, 8).bits(100, 8).bits(0, 8).bits(40, 8).ue(0);
  out.ue(1).ue(0).ue(0).bits(0, 1).bits(0, 1);      // 4:2:0, 8 bit, no scaling
  out.ue(0).ue(2).ue(4).bits(0, 1).ue(119).ue(33);  // order type 2, size
  out.bits(0, 1).bits(1, 1).bits(1, 1).bits(0, 1);  // interlaced, no cropping
  out.bits(1, 1);                                   // VUI
  out.bits(1, 1).bits(idc, 8);
  if (idc == 255) out.bits(3, 16).bits(4, 16);
  out.bits(0, 1).bits(0, 1).bits(0, 1).bits(0, 1);  // overscan, signal type, chroma place, timing
  out.bits(1, 1).ue(0).bits(0, 8).ue(9).ue(9).bits(cbr ? 1 : 0, 1).bits(0, 20).bits(0, 1);
  out.bits(0x80, 8);
  return out.bytes();
}

std::vector<uint8_t> avcC(std::vector<uint8_t> const& sps) {
  std::vector<uint8_t> record = {
      1, 100, 0, 40, 0xFF, 0xE1, static_cast<uint8_t>(sps.size() >> 8), static_cast<uint8_t>(sps.size())};
  record.insert(record.end(), sps.begin(), sps.end());
  record.push_back(0);
  return record;
}

TEST(H264Headers, InAvcC_GiveAspectAndHrd) {
  HeaderInfo info = readHeaders(HeaderSyntax::h264, avcC(h264Sps(255, true)), {});
  EXPECT_EQ(info.profile, 100);
  EXPECT_EQ(info.depth, 8);
  EXPECT_TRUE(info.aspectPresent);
  EXPECT_EQ(info.aspectIdc, 255);
  EXPECT_EQ(info.sarWidth, 3);
  EXPECT_EQ(info.sarHeight, 4);
  EXPECT_TRUE(info.cbr);
  info = readHeaders(HeaderSyntax::h264, avcC(h264Sps(2, false)), {});
  EXPECT_EQ(info.aspectIdc, 2);
  EXPECT_FALSE(info.cbr);
  EXPECT_EQ(nalLengthBytes(HeaderSyntax::h264, avcC(h264Sps(2, false))), 4);
}

TEST(H264Headers, WithStartCodes_AreReadToo) {
  std::vector<uint8_t> stream = {0, 0, 0, 1};
  auto const sps = h264Sps(14, false);
  stream.insert(stream.end(), sps.begin(), sps.end());
  EXPECT_EQ(readHeaders(HeaderSyntax::h264, {}, stream).aspectIdc, 14);
  EXPECT_EQ(nalLengthBytes(HeaderSyntax::h264, stream), 0);
}

TEST(H264Headers, SeiUserData_IsUnescapedAndFiltered) {
  // Type 6 (recovery point), type 4 with an emulation byte, type 5.
  std::vector<uint8_t> const packet = {0, 0, 0, 17, 6, 6, 1, 0xC0, 4, 5,   0xB5,
                                       0, 0, 3, 1,  7, 5, 2, 8,    9, 0x80};
  auto const data = readUserData(HeaderSyntax::h264, 4, packet);
  ASSERT_EQ(data.size(), 2U);
  EXPECT_EQ(data[0].type, 4);
  EXPECT_EQ(data[0].bytes, (std::vector<uint8_t>{0xB5, 0, 0, 1, 7}));
  EXPECT_EQ(data[1].type, 5);
  EXPECT_EQ(data[1].bytes, (std::vector<uint8_t>{8, 9}));
}

TEST(Mpeg4Headers, GiveTheAspectOfTheObjectLayer) {
  BitWriter out;
  out.start(0x20).bits(0, 9).bits(1, 1).bits(0, 7).bits(15, 4).bits(16, 8).bits(11, 8).bits(0, 8);
  HeaderInfo const info = readHeaders(HeaderSyntax::mpeg4, out.bytes(), {});
  EXPECT_TRUE(info.aspectPresent);
  EXPECT_EQ(info.aspectIdc, 15);
  EXPECT_EQ(info.sarWidth, 16);
  EXPECT_EQ(info.sarHeight, 11);
}

TEST(LengthPrefixedUnits, ThatDoNotFit_EndTheList) {
  std::vector<uint8_t> const packet = {0, 2, 1, 2, 0, 0, 0, 9, 3};
  int units = 0;
  forEachLengthPrefixed(packet, 2, [&](std::span<uint8_t const> unit) {
    ++units;
    EXPECT_EQ(unit.size(), 2U);
  });
  EXPECT_EQ(units, 1);
}

TEST(AnyBytes, AreReadWithoutLeavingThem) {
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> bytes(random() % 120);
    for (uint8_t& byte : bytes) byte = random() % 3 ? static_cast<uint8_t>(random()) : uint8_t{0};
    std::vector<uint8_t> record = bytes;
    if (!record.empty()) record[0] = 1;
    for (auto const syntax :
         {HeaderSyntax::mpeg12, HeaderSyntax::mpeg4, HeaderSyntax::h264, HeaderSyntax::hevc}) {
      readHeaders(syntax, record, bytes);
      readUserData(syntax, static_cast<int>(random() % 5), bytes);
    }
  }
  SUCCEED();
}

}  // namespace
