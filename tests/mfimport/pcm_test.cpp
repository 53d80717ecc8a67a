#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "mfimport/audio/sample_source.h"

using namespace mfimport;

namespace {

TEST(PcmWords, BigEndian_BecomeLittleEndian) {
  uint8_t const in[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
  std::array<uint8_t, 6> out{};
  convertPcm(AV_CODEC_ID_PCM_S16BE, in, 3, out.data());
  EXPECT_EQ(out, (std::array<uint8_t, 6>{0x34, 0x12, 0x78, 0x56, 0xBC, 0x9A}));
  convertPcm(AV_CODEC_ID_PCM_S24BE, in, 2, out.data());
  EXPECT_EQ(out, (std::array<uint8_t, 6>{0x56, 0x34, 0x12, 0xBC, 0x9A, 0x78}));
  convertPcm(AV_CODEC_ID_PCM_S24LE, in, 2, out.data());
  EXPECT_EQ(std::memcmp(out.data(), in, 6), 0);
}

TEST(PcmWords, OfEightBits_BecomeTheUpperByte) {
  uint8_t const in[] = {0x80, 0xFF, 0x00};
  std::array<int16_t, 3> out{};
  convertPcm(AV_CODEC_ID_PCM_U8, in, 3, reinterpret_cast<uint8_t*>(out.data()));
  EXPECT_EQ(out, (std::array<int16_t, 3>{0, 0x7F00, -0x8000}));
  convertPcm(AV_CODEC_ID_PCM_S8, in, 3, reinterpret_cast<uint8_t*>(out.data()));
  EXPECT_EQ(out, (std::array<int16_t, 3>{-0x8000, -0x100, 0}));
}

TEST(PcmWords, Doubles_BecomeFloats) {
  double const value = -0.25;
  uint8_t in[8];
  std::memcpy(in, &value, 8);
  float out = 0;
  convertPcm(AV_CODEC_ID_PCM_F64LE, in, 1, reinterpret_cast<uint8_t*>(&out));
  EXPECT_EQ(out, -0.25F);
  std::reverse(in, in + 8);
  convertPcm(AV_CODEC_ID_PCM_F64BE, in, 1, reinterpret_cast<uint8_t*>(&out));
  EXPECT_EQ(out, -0.25F);
}

TEST(PcmWords, CompandedPcm_IsNoPlainPcm) {
  EXPECT_EQ(pcmCodec(AV_CODEC_ID_PCM_ALAW).sourceBytes, 0);
  EXPECT_EQ(pcmCodec(AV_CODEC_ID_PCM_S24BE).layout.bytes(), 3);
}

}  // namespace
