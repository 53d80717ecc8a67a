#include "mfimport/headers/amr_frames.h"

#include <algorithm>

namespace mfimport {

int amrFrameBytes(AVCodecID codec, uint8_t first) {
  // 3GPP TS 26.101 and 26.201 annex A, with the byte of the frame type; 1 for types without data.
  constexpr int kNarrow[16] = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
  constexpr int kWide[16] = {18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 1, 1, 1, 1, 1, 1};
  int const type = first >> 3 & 15;
  return codec == AV_CODEC_ID_AMR_NB ? kNarrow[type] : kWide[type];
}

void FrameFeeder::send(AVCodecContext& codec, AVPacket const& packet) {
  left_ = 0;
  if (codec.codec_id != AV_CODEC_ID_AMR_NB && codec.codec_id != AV_CODEC_ID_AMR_WB) {
    avcodec_send_packet(&codec, &packet);
    return;
  }
  av_packet_unref(rest_.get());
  if (av_packet_ref(rest_.get(), &packet) < 0) return;
  left_ = rest_->size;
  sendNext(codec);
}

bool FrameFeeder::sendNext(AVCodecContext& codec) {
  if (left_ <= 0) return false;
  lav::Packet const frame = lav::newPacket();
  if (av_packet_ref(frame.get(), rest_.get()) < 0) return false;
  frame->data += rest_->size - left_;
  frame->size = std::min(left_, amrFrameBytes(codec.codec_id, *frame->data));
  left_ -= frame->size;
  avcodec_send_packet(&codec, frame.get());
  return true;
}

}  // namespace mfimport
