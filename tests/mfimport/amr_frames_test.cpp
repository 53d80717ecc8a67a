#include "mfimport/headers/amr_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace mfimport;

namespace {

TEST(AmrFrames, HaveTheLengthOfTheirType) {
  // 4.75 and 12.2 kbit/s, comfort noise, no data; 6.60 and 23.85 kbit/s, speech lost.
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_NB, 0 << 3 | 4), 13);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_NB, 7 << 3 | 4), 32);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_NB, 8 << 3 | 4), 6);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_NB, 15 << 3 | 4), 1);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_WB, 0 << 3 | 4), 18);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_WB, 8 << 3 | 4), 61);
  EXPECT_EQ(amrFrameBytes(AV_CODEC_ID_AMR_WB, 14 << 3 | 4), 1);
  for (int type = 0; type < 256; ++type) {
    EXPECT_GE(amrFrameBytes(AV_CODEC_ID_AMR_NB, static_cast<uint8_t>(type)), 1);
    EXPECT_GE(amrFrameBytes(AV_CODEC_ID_AMR_WB, static_cast<uint8_t>(type)), 1);
  }
}

class FedDecoder : public testing::Test {
 protected:
  void SetUp() override {
    AVCodec const* codec = avcodec_find_decoder(AV_CODEC_ID_AMR_NB);
    ASSERT_TRUE(codec);
    codec_.reset(avcodec_alloc_context3(codec));
    codec_->sample_rate = 8000;
    av_channel_layout_default(&codec_->ch_layout, 1);
    ASSERT_GE(avcodec_open2(codec_.get(), codec, nullptr), 0);
  }
  static lav::Packet packet(std::vector<uint8_t> const& bytes) {
    lav::Packet out = lav::newPacket();
    EXPECT_GE(av_new_packet(out.get(), static_cast<int>(bytes.size())), 0);
    std::copy(bytes.begin(), bytes.end(), out->data);
    out->pts = 5;
    return out;
  }
  int samples() {
    int count = 0;
    lav::Frame const frame = lav::newFrame();
    while (avcodec_receive_frame(codec_.get(), frame.get()) >= 0) {
      EXPECT_EQ(frame->pts, 5);
      count += frame->nb_samples;
    }
    return count;
  }
  static std::vector<uint8_t> frames(int count) {
    std::mt19937 random(3);
    std::vector<uint8_t> bytes;
    for (int i = 0; i < count; ++i) {
      bytes.push_back(7 << 3 | 4);
      for (int k = 1; k < 32; ++k) bytes.push_back(static_cast<uint8_t>(random()));
    }
    return bytes;
  }
  lav::CodecContext codec_;
  FrameFeeder feeder_;
};

TEST_F(FedDecoder, ReadsEveryFrameOfAPacket) {
  feeder_.send(*codec_, *packet(frames(50)));
  int count = 0, sent = 0;
  do {
    count += samples();
    ++sent;
  } while (feeder_.sendNext(*codec_));
  EXPECT_EQ(sent, 50);
  EXPECT_EQ(count, 50 * 160);
}

TEST_F(FedDecoder, EndsWithAPacketThatIsCutOff) {
  std::vector<uint8_t> bytes = frames(2);
  bytes.resize(40);
  feeder_.send(*codec_, *packet(bytes));
  EXPECT_EQ(samples(), 160);
  EXPECT_TRUE(feeder_.sendNext(*codec_));
  samples();
  EXPECT_FALSE(feeder_.sendNext(*codec_));
}

TEST_F(FedDecoder, ForgetsTheRestOnRequest) {
  feeder_.send(*codec_, *packet(frames(3)));
  feeder_.forget();
  EXPECT_FALSE(feeder_.sendNext(*codec_));
}

}  // namespace
