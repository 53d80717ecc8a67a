#include "mfimport/headers/picture_header.h"

#include <gtest/gtest.h>

#include "bit_writer.h"

using namespace mfimport;

namespace {

lav::CodecParameters parametersOf(AVCodecID codec, std::vector<uint8_t> const& extradata = {}) {
  lav::CodecParameters parameters(avcodec_parameters_alloc());
  parameters->codec_type = AVMEDIA_TYPE_VIDEO;
  parameters->codec_id = codec;
  if (extradata.empty()) return parameters;
  parameters->extradata = static_cast<uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  parameters->extradata_size = static_cast<int>(extradata.size());
  std::copy(extradata.begin(), extradata.end(), parameters->extradata);
  return parameters;
}

// SMPTE 421M 6.1, up to INTERLACE and the flags behind it.
std::vector<uint8_t> advancedSequence(bool interlace) {
  BitWriter out;
  out.start(0x0F).bits(3, 2).bits(2, 3).bits(1, 2).bits(0, 3).bits(0, 5).bits(0, 1);
  out.bits(47, 12).bits(31, 12).bits(1, 1).bits(interlace ? 1 : 0, 1).bits(0, 4);
  return out.bytes();
}

// STRUCT_C, annex J.1.2.
std::vector<uint8_t> mainSequence(bool ranged, int mostBidirectional, bool interpolated) {
  BitWriter out;
  out.bits(4, 4).bits(0, 3).bits(0, 5).bits(0, 4).bits(0, 2).bits(0, 2).bits(0, 2).bits(0, 2);
  out.bits(ranged ? 1 : 0, 1).bits(static_cast<uint32_t>(mostBidirectional), 3).bits(0, 2);
  out.bits(interpolated ? 1 : 0, 1).bits(1, 1);
  return out.bytes();
}

PictureKind kindOf(std::vector<uint8_t> const& sequence, char const* code) {
  auto const read = readVc1Sequence(sequence);
  if (!read) return PictureKind::unknown;
  BitWriter out;
  for (char const* digit = code; *digit; ++digit) out.bits(*digit == '1' ? 1 : 0, 1);
  out.bits(0, 16);
  return readVc1Kind(*read, out.bytes());
}

TEST(Vc1Pictures, OfAdvancedProfile_ProgressiveTellTheirType) {
  auto const sequence = advancedSequence(false);
  EXPECT_EQ(kindOf(sequence, "0"), PictureKind::predicted);
  EXPECT_EQ(kindOf(sequence, "10"), PictureKind::bidirectional);
  EXPECT_EQ(kindOf(sequence, "110"), PictureKind::intra);
  EXPECT_EQ(kindOf(sequence, "1110"), PictureKind::bidirectional);  // BI
  EXPECT_EQ(kindOf(sequence, "1111"), PictureKind::predicted);      // skipped
}

TEST(Vc1Pictures, OfAdvancedProfile_InterlacedTellTheirTypeBehindTheCodingMode) {
  auto const sequence = advancedSequence(true);
  EXPECT_EQ(kindOf(sequence, "0110"), PictureKind::intra);  // progressive
  EXPECT_EQ(kindOf(sequence, "010"), PictureKind::bidirectional);
  EXPECT_EQ(kindOf(sequence, "100"), PictureKind::predicted);  // interlaced frame
  EXPECT_EQ(kindOf(sequence, "1010"), PictureKind::bidirectional);
  PictureKind const fields[] = {PictureKind::intra,         PictureKind::predicted,
                                PictureKind::predicted,     PictureKind::predicted,
                                PictureKind::bidirectional, PictureKind::bidirectional,
                                PictureKind::bidirectional, PictureKind::bidirectional};
  for (int type = 0; type < 8; ++type) {
    std::string const code =
        std::string("11") + (type & 4 ? "1" : "0") + (type & 2 ? "1" : "0") + (type & 1 ? "1" : "0");
    EXPECT_EQ(kindOf(sequence, code.c_str()), fields[type]) << code;
  }
}

TEST(Vc1Pictures, OfMainProfile_TellTheirTypeBehindTheFlagsOfTheSequence) {
  EXPECT_EQ(kindOf(mainSequence(false, 0, false), "000"), PictureKind::intra);
  EXPECT_EQ(kindOf(mainSequence(false, 0, false), "001"), PictureKind::predicted);
  EXPECT_EQ(kindOf(mainSequence(false, 1, false), "0000"), PictureKind::bidirectional);
  EXPECT_EQ(kindOf(mainSequence(false, 1, false), "0001"), PictureKind::intra);
  EXPECT_EQ(kindOf(mainSequence(false, 1, false), "001"), PictureKind::predicted);
  EXPECT_EQ(kindOf(mainSequence(true, 1, false), "11101"), PictureKind::intra);
  EXPECT_EQ(kindOf(mainSequence(true, 1, true), "111100"), PictureKind::bidirectional);
  EXPECT_EQ(kindOf(mainSequence(false, 7, true), "1111"), PictureKind::predicted);
}

TEST(Vc1Pictures, InPackets_AreFoundBehindTheirStartCodeOrWithoutOne) {
  PictureHeaderReader advanced(*parametersOf(AV_CODEC_ID_VC1, advancedSequence(false)));
  BitWriter coded;
  coded.start(0x0D).bits(2, 2).bits(0, 30);
  EXPECT_EQ(advanced.read(coded.bytes())->kind, PictureKind::bidirectional);
  EXPECT_EQ(advanced.read(std::vector<uint8_t>{0x80, 0, 0, 0})->kind, PictureKind::bidirectional);
  PictureHeaderReader main(*parametersOf(AV_CODEC_ID_WMV3, mainSequence(false, 1, false)));
  EXPECT_EQ(main.read(std::vector<uint8_t>{0x00, 0})->kind, PictureKind::bidirectional);
}

// Parameter sets of a stream that may hold fields, and slices of it.
std::vector<uint8_t> h264Sets() {
  BitWriter out;
  out.start(0x67).bits(77, 8).bits(0, 8).bits(30, 8).ue(0).ue(0).ue(2).ue(1).bits(0, 1).ue(3).ue(1);
  out.bits(0, 1).bits(0, 1).bits(1, 1).bits(0, 2).bits(1, 1);
  out.start(0x68).ue(0).ue(0).bits(0, 2).ue(0).bits(1, 1);
  return out.bytes();
}

PictureHeader field(PictureHeaderReader& reader, uint8_t unit, uint32_t number, bool bottom) {
  BitWriter out;
  out.start(unit).ue(0).ue(5).ue(0).bits(number, 4).bits(1, 1).bits(bottom ? 1 : 0, 1).bits(0, 32);
  return *reader.read(out.bytes());
}

TEST(H264Fields, OfOneFrame_HaveOppositeParityAndOneNumber) {
  PictureHeaderReader reader(*parametersOf(AV_CODEC_ID_H264, h264Sets()));
  constexpr uint8_t kReference = 0x61, kOther = 0x01, kIdr = 0x65;
  PictureHeader const top = field(reader, kReference, 3, false);
  EXPECT_EQ(top.structure, PictureStructure::top);
  EXPECT_EQ(top.kind, PictureKind::predicted);
  EXPECT_TRUE(completesFrame(top, field(reader, kReference, 3, true)));
  EXPECT_FALSE(completesFrame(top, field(reader, kReference, 3, false)));
  EXPECT_FALSE(completesFrame(top, field(reader, kReference, 4, true)));
  EXPECT_FALSE(completesFrame(top, field(reader, kOther, 3, true)));
  EXPECT_FALSE(completesFrame(top, field(reader, kIdr, 3, true)));
  EXPECT_TRUE(completesFrame(field(reader, kIdr, 0, false), field(reader, kReference, 0, true)));
}

TEST(Mpeg4Pictures, ThatAreNotCoded_AreTold) {
  BitWriter layer;
  layer.start(0x20)
      .bits(0, 1)
      .bits(1, 8)
      .bits(0, 1)
      .bits(1, 4)
      .bits(0, 1)
      .bits(0, 2)
      .bits(1, 1)
      .bits(25, 16)
      .bits(1, 1);
  PictureHeaderReader reader(*parametersOf(AV_CODEC_ID_MPEG4, layer.bytes()));
  for (uint32_t const coded : {0U, 1U}) {
    BitWriter out;
    out.start(0xB6).bits(1, 2).bits(2, 2).bits(1, 1).bits(7, 5).bits(1, 1).bits(coded, 1).bits(0, 16);
    EXPECT_EQ(reader.read(out.bytes())->coded, coded == 1);
    EXPECT_EQ(reader.read(out.bytes())->kind, PictureKind::predicted);
  }
}

TEST(PictureHeaders, OfAnyBytes_AreReadWithoutLeavingThem) {
  for (AVCodecID const codec : {AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4, AV_CODEC_ID_H264, AV_CODEC_ID_HEVC,
                                AV_CODEC_ID_VC1, AV_CODEC_ID_WMV3}) {
    PictureHeaderReader reader(*parametersOf(codec));
    EXPECT_FALSE(reader.read({}).has_value());
    for (int code = 0; code < 256; ++code) {
      std::vector<uint8_t> const bytes = {0, 0, 1, static_cast<uint8_t>(code)};
      for (size_t size = 1; size <= bytes.size(); ++size) reader.read(std::span(bytes).first(size));
    }
  }
}

}  // namespace
