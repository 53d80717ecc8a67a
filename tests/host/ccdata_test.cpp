#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "host/userdata.h"

namespace {

using Bytes = std::vector<uint8_t>;

// ATSC A/53 part 4: two pairs, field 1 valid and field 2 not; then the marker byte.
Bytes const kA53 = {'G', 'A', '9', '4', 0x03, 0x42, 0xFF, 0xFC, 0x94, 0x2C, 0xF9, 0x80, 0x80, 0xFF};
Bytes const kA53Triplets = {0xFC, 0x94, 0x2C, 0xF9, 0x80, 0x80};

// ANSI/SCTE 20: field 1 "94 2C" and field 2 "15 2C", bytes in the bit order of line 21.
//   00010 | 00 01 01011 00101001 00110100 1 | 00 10 01011 10101000 00110100 1
Bytes const kScte20 = {0x03, 0x81, 0x10, 0xAC, 0xA4, 0xD2, 0x4B, 0xA8, 0x34, 0x80};
Bytes const kScte20Triplets = {0xFC, 0x94, 0x2C, 0xFD, 0x15, 0x2C};

// DVD-Video, two pairs of fields, field 1 first.
Bytes const kDvd = {'C',  'C',  0x01, 0xF8, 0x84, 0xFF, 0x94, 0x2C, 0xFE,
                    0x80, 0x80, 0xFF, 0xC8, 0xE9, 0xFE, 0x80, 0x80, 0x00};
Bytes const kDvdTriplets = {0xFC, 0x94, 0x2C, 0xFD, 0x80, 0x80, 0xFC, 0xC8, 0xE9, 0xFD, 0x80, 0x80};

Bytes joined(Bytes const& a, Bytes const& b) {
  Bytes all = a;
  all.insert(all.end(), b.begin(), b.end());
  return all;
}

// Calls on a copy of exactly the bytes, so that a sanitizer sees every read outside.
int detect(Bytes const& bytes) {
  auto const copy = std::make_unique<uint8_t[]>(bytes.size());
  if (!bytes.empty()) std::memcpy(copy.get(), bytes.data(), bytes.size());
  return KyCcData::detectBufferFmt(static_cast<int>(bytes.size()), copy.get());
}

int decode(KyCcData& cc, int format, Bytes const& bytes) {
  auto const copy = std::make_unique<uint8_t[]>(bytes.size());
  if (!bytes.empty()) std::memcpy(copy.get(), bytes.data(), bytes.size());
  return cc.fromBuffer(format, static_cast<int>(bytes.size()), copy.get(), nullptr);
}

Bytes tripletBytes(KyCcData const& cc) {
  Bytes out;
  for (KyCcData::Triplet const& t : cc.triplets()) {
    out.push_back(t.header);
    out.push_back(t.data1);
    out.push_back(t.data2);
  }
  return out;
}

struct FormatCase {
  char const* name;
  Bytes bytes;
  int format;
  Bytes triplets;
};

std::ostream& operator<<(std::ostream& out, FormatCase const& c) { return out << c.name; }

class CcFormat : public testing::TestWithParam<FormatCase> {};

TEST_P(CcFormat, IsRecognisedAndDecoded) {
  FormatCase const& c = GetParam();
  EXPECT_EQ(detect(c.bytes), c.format);
  KyCcData cc;
  ASSERT_EQ(decode(cc, c.format, c.bytes), 0);
  EXPECT_EQ(cc.format(), c.format);
  EXPECT_EQ(tripletBytes(cc), c.triplets);
}

TEST_P(CcFormat, TruncatedAnywhereNeverReadsOutsideAndFailsClean) {
  FormatCase const& c = GetParam();
  for (size_t size = 0; size < c.bytes.size(); ++size) {
    Bytes const cut(c.bytes.begin(), c.bytes.begin() + static_cast<std::ptrdiff_t>(size));
    int const format = detect(cut);
    EXPECT_TRUE(format == c.format || format == KyCcData::kFormatNone);
    KyCcData cc;
    if (decode(cc, c.format, cut) != 0) {
      EXPECT_EQ(cc.format(), KyCcData::kFormatNone);
      EXPECT_TRUE(cc.triplets().empty());
    } else {
      EXPECT_EQ(format, c.format);
      EXPECT_FALSE(cc.triplets().empty());
    }
  }
}

TEST_P(CcFormat, IsNotDecodedAsAnother) {
  FormatCase const& c = GetParam();
  for (int format = -2; format < 5; ++format) {
    if (format == c.format) continue;
    KyCcData cc;
    EXPECT_EQ(decode(cc, format, c.bytes), -1) << format;
  }
}

INSTANTIATE_TEST_SUITE_P(
    RealBytes, CcFormat,
    testing::Values(FormatCase{"A53", kA53, KyCcData::kFormatA53, kA53Triplets},
                    FormatCase{"A53InSei", joined({0xB5, 0x00, 0x31}, kA53), KyCcData::kFormatA53,
                               kA53Triplets},
                    FormatCase{"A53BehindStartCode", joined({0x00, 0x00, 0x01, 0xB2}, kA53),
                               KyCcData::kFormatA53, kA53Triplets},
                    FormatCase{"Scte20", kScte20, KyCcData::kFormatScte20, kScte20Triplets},
                    FormatCase{"Dvd", kDvd, KyCcData::kFormatDvd, kDvdTriplets}));

TEST(CcData, A53NeedsAllOfItsTriplets) {
  KyCcData cc;
  Bytes cut(kA53.begin(), kA53.end() - 1);
  EXPECT_EQ(decode(cc, KyCcData::kFormatA53, cut), 0) << "the marker byte may be missing";
  cut.pop_back();
  EXPECT_EQ(detect(cut), KyCcData::kFormatA53);
  EXPECT_EQ(decode(cc, KyCcData::kFormatA53, cut), -1);
  Bytes lying = kA53;
  lying[5] = 0x5F;  // 31 triplets
  EXPECT_EQ(decode(cc, KyCcData::kFormatA53, lying), -1);
}

TEST(CcData, A53WithoutCaptionsIsNotRecognised) {
  Bytes other = kA53;
  other[4] = 0x06;  // bar data
  EXPECT_EQ(detect(other), KyCcData::kFormatNone);
  other = kA53;
  other[5] = 0x02;  // process_cc_data_flag clear
  EXPECT_EQ(detect(other), KyCcData::kFormatNone);
  other[5] = 0x40;  // no triplets
  EXPECT_EQ(detect(other), KyCcData::kFormatNone);
  EXPECT_EQ(detect({0xB5, 0x00, 0x2F, 'G', 'A', '9', '4', 0x03, 0x42, 0xFF, 0xFC, 0x94, 0x2C}),
            KyCcData::kFormatNone);
}

TEST(CcData, Scte20TakesRepeatedFieldsAndDropsForbiddenOnes) {
  Bytes bytes = kScte20;
  bytes[2] = 0x11;  // field 3
  bytes[3] = 0xAC;
  KyCcData cc;
  ASSERT_EQ(decode(cc, KyCcData::kFormatScte20, bytes), 0);
  ASSERT_EQ(cc.triplets().size(), 2U);
  EXPECT_EQ(cc.triplets()[0].header, 0xFC);

  bytes[2] = 0x10;
  bytes[3] = 0x2C;  // field 0
  ASSERT_EQ(decode(cc, KyCcData::kFormatScte20, bytes), 0);
  ASSERT_EQ(cc.triplets().size(), 1U);
  EXPECT_EQ(cc.triplets()[0].header, 0xFD);
}

TEST(CcData, Scte20WithoutVbiDataIsNotRecognised) {
  EXPECT_EQ(detect({0x03, 0x80, 0x10, 0xAC, 0xA4, 0xD2, 0x4B, 0xA8, 0x34, 0x80}), KyCcData::kFormatNone);
  EXPECT_EQ(detect({0x03, 0x81, 0x07, 0xFF}), KyCcData::kFormatNone);
  EXPECT_EQ(detect({0x03, 0x01, 0x10, 0xAC, 0xA4, 0xD2, 0x4B, 0xA8, 0x34, 0x80}), KyCcData::kFormatScte20);
}

TEST(CcData, DvdReadsTripletsByTheirMarkersNotByTheCount) {
  Bytes bytes = kDvd;
  bytes[4] = 0x80 | 31 << 1;
  KyCcData cc;
  ASSERT_EQ(decode(cc, KyCcData::kFormatDvd, bytes), 0);
  EXPECT_EQ(tripletBytes(cc), kDvdTriplets);
  bytes[5] = 0x00;
  EXPECT_EQ(detect(bytes), KyCcData::kFormatNone);
}

TEST(CcData, UnknownAndEmptyDataIsNotRecognised) {
  EXPECT_EQ(detect({}), KyCcData::kFormatNone);
  EXPECT_EQ(KyCcData::detectBufferFmt(10, nullptr), KyCcData::kFormatNone);
  EXPECT_EQ(KyCcData::detectBufferFmt(-5, kA53.data()), KyCcData::kFormatNone);
  EXPECT_EQ(detect({'D', 'T', 'G', '1', 0x41, 0xF8}), KyCcData::kFormatNone);
}

TEST(CcData, StoreWritesTimeFormatAndTriplets) {
  KyCcData cc;
  MediaTime const time(2L, KyFramerate(25, 0, false, 0));
  ASSERT_EQ(cc.fromBuffer(KyCcData::kFormatA53, static_cast<int>(kA53.size()), kA53.data(), &time), 0);
  AnyDict out;
  cc.store(out);
  EXPECT_DOUBLE_EQ(out["time"].asDouble(), 0.08);
  EXPECT_EQ(out["format"], Any(0));
  EXPECT_EQ(out["data"], Any(static_cast<void const*>(kA53Triplets.data()), 6));
}

TEST(CcData, StoreWithoutTimeHasNone) {
  KyCcData cc;
  ASSERT_EQ(decode(cc, KyCcData::kFormatDvd, kDvd), 0);
  AnyDict out;
  cc.store(out);
  EXPECT_FALSE(out.contains("time"));
  EXPECT_EQ(out["format"], Any(2));
  EXPECT_EQ(out["data"].genericSize(), 12);
}

TEST(CcData, AFailedDecodeForgetsWhatWasThere) {
  KyCcData cc;
  MediaTime const time(1.0);
  ASSERT_EQ(cc.fromBuffer(KyCcData::kFormatA53, static_cast<int>(kA53.size()), kA53.data(), &time), 0);
  EXPECT_EQ(decode(cc, KyCcData::kFormatA53, kDvd), -1);
  AnyDict out;
  cc.store(out);
  EXPECT_FALSE(out.contains("time"));
  EXPECT_EQ(out["format"], Any(-1));
  EXPECT_EQ(out["data"].genericSize(), 0);
}

}  // namespace
