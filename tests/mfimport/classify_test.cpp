#include "mfimport/headers/classify.h"

#include <gtest/gtest.h>

using namespace mfimport;

namespace {

TEST(Classify, PcmRunsDependOnTheContainer) {
  EXPECT_EQ(audioFormatOf(AV_CODEC_ID_PCM_S16BE, kContainerMp4), kAudioLpcm);
  EXPECT_EQ(audioFormatOf(AV_CODEC_ID_PCM_S16BE, kContainerQuickTime), kAudioAes3);
  EXPECT_EQ(audioFormatOf(AV_CODEC_ID_PCM_S24LE, kContainerMxf), kAudioAes3);
  EXPECT_EQ(audioFormatOf(AV_CODEC_ID_S302M, kContainerTransport), kAudioAes3);
  EXPECT_EQ(audioFormatOf(AV_CODEC_ID_PCM_DVD, kContainerMpeg2Program), kAudioLpcm);
}

TEST(Classify, FormatsWithoutAName_AreUnknown) {
  EXPECT_FALSE(audioFormatOf(AV_CODEC_ID_FLAC, kContainerMatroska).has_value());
  EXPECT_FALSE(audioFormatOf(AV_CODEC_ID_OPUS, kContainerMatroska).has_value());
  EXPECT_FALSE(isKnownVideo(AV_CODEC_ID_PRORES));
  EXPECT_FALSE(isKnownVideo(AV_CODEC_ID_NONE));
  EXPECT_TRUE(isKnownVideo(AV_CODEC_ID_H263));
}

TEST(Classify, StreamTypeCodes) {
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_NONE, kContainerMp4), 1);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_MPEG2VIDEO, kContainerMp4), 3);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_VIDEO, AV_CODEC_ID_PRORES, kContainerMp4), 10);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_MP2, kContainerMp4), 131);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_AAC, kContainerMp4), 132);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_PCM_S16BE, kContainerMp4), 133);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_PCM_S16BE, kContainerQuickTime), 136);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_AUDIO, AV_CODEC_ID_FLAC, kContainerMp4), 140);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_SUBTITLE, AV_CODEC_ID_DVD_SUBTITLE, kContainerMp4), 200);
  EXPECT_EQ(streamTypeCode(AVMEDIA_TYPE_DATA, AV_CODEC_ID_NONE, kContainerMp4), 201);
}

TEST(Classify, ChromaAndDepth) {
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_YUV420P10LE), 1);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_GRAY8), 1);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_YUV422P), 2);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_YUV411P), 2);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_YUV444P12LE), 3);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_GBRP), 3);
  EXPECT_EQ(chromaFormatOf(AV_PIX_FMT_NONE), 0);
  EXPECT_EQ(depthOf(AV_PIX_FMT_YUV422P10LE), 10);
  EXPECT_EQ(depthOf(AV_PIX_FMT_NONE), 0);
}

ProfileFacts mpeg2(int container, int width, int height, int chroma, double megabits, int gopN) {
  ProfileFacts facts;
  facts.codec = AV_CODEC_ID_MPEG2VIDEO;
  facts.containerType = container;
  facts.width = width;
  facts.height = height;
  facts.chromaFormat = chroma;
  facts.bitRate = megabits * 1e6;
  facts.gopN = gopN;
  facts.rate = 25;
  return facts;
}

ProfileFacts tagged(ProfileFacts facts, char const (&tag)[5]) {
  facts.tag = mpegFourcc(tag);
  return facts;
}

TEST(ProfileType, OfCardAndDiscRecordings) {
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerMp4, 1920, 1080, 1, 35, 12), "mp4v")), 43U);
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerMp4, 1440, 1080, 1, 35, 12), "mp4v")), 41U);
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerMp4, 1280, 720, 1, 35, 12), "mp4v")), 42U);
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerQuickTime, 1920, 1080, 1, 35, 12), "xdve")), 43U);
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerQuickTime, 1440, 1080, 1, 35, 12), "xdv3")), 34U);
  EXPECT_EQ(profileTypeCode(tagged(mpeg2(kContainerQuickTime, 1920, 1080, 2, 50, 12), "xd5c")), 38U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1440, 1080, 1, 18, 12)), 32U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1440, 1080, 1, 25, 12)), 33U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1440, 1080, 1, 35, 12)), 34U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1280, 720, 2, 50, 12)), 37U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1920, 1080, 2, 50, 12)), 38U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 1920, 1080, 1, 35, 12)), 39U);
}

TEST(ProfileType, OfTallIntraPictures_DependsOnMapping) {
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 720, 608, 2, 50, 1)), 31U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 720, 608, 2, 40, 1)), 30U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 720, 512, 2, 30, 1)), 29U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMxf, 720, 512, 2, 0, 1)), 28U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerQuickTime, 720, 512, 2, 50, 1)), 23U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerQuickTime, 720, 512, 2, 0, 1)), 21U);
}

TEST(ProfileType, OfBroadcastAndDiscs) {
  ProfileFacts hdv = mpeg2(kContainerTransport, 1440, 1080, 1, 25, 12);
  hdv.mpegAudio = hdv.constantBitRate = true;
  EXPECT_EQ(profileTypeCode(hdv), 19U);
  hdv.width = 1280;
  hdv.height = 720;
  EXPECT_EQ(profileTypeCode(hdv), 18U);
  ProfileFacts vcd = mpeg2(kContainerMpeg1System, 352, 288, 1, 1.15, 12);
  vcd.codec = AV_CODEC_ID_MPEG1VIDEO;
  EXPECT_EQ(profileTypeCode(vcd), 1U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMpeg2Program, 480, 576, 1, 2, 12)), 3U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerMpeg2Program, 720, 576, 1, 6, 12)), 4U);
  ProfileFacts atsc = mpeg2(kContainerTransport, 1920, 1080, 1, 15, 15);
  atsc.ac3Audio = true;
  EXPECT_EQ(profileTypeCode(atsc), 12U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerTransport, 720, 576, 1, 4, 12)), 8U);
  ProfileFacts avchd = mpeg2(kContainerM2ts, 1920, 1080, 1, 20, 12);
  avchd.codec = AV_CODEC_ID_H264;
  avchd.h264Profile = 100;
  avchd.ac3Audio = true;
  EXPECT_EQ(profileTypeCode(avchd), 44U);
  avchd.path = "/disc/BDMV/STREAM/00001.m2ts";
  EXPECT_EQ(profileTypeCode(avchd), 27U);
  EXPECT_EQ(profileTypeCode(mpeg2(kContainerElementary, 720, 576, 1, 4, 12)), 2U);
}

}  // namespace
