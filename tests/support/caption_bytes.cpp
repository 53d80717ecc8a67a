// caption_bytes FILE: one line for each picture of the first video stream in order of presentation, the
// caption triplets that libavcodec found with it in hexadecimal, or "-".
#include <cstdio>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

struct Closer {
  void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFrame* f) const { av_frame_free(&f); }
};

void print(AVFrame const& frame) {
  AVFrameSideData const* const data = av_frame_get_side_data(&frame, AV_FRAME_DATA_A53_CC);
  if (!data) std::fputs("-", stdout);
  for (size_t i = 0; data && i < static_cast<size_t>(data->size); ++i) std::printf("%02x", data->data[i]);
  std::fputs("\n", stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  AVFormatContext* opened = nullptr;
  if (avformat_open_input(&opened, argv[1], nullptr, nullptr) < 0) return 2;
  std::unique_ptr<AVFormatContext, Closer> const format(opened);
  if (avformat_find_stream_info(format.get(), nullptr) < 0) return 2;
  int const stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream < 0) return 3;
  AVCodecParameters const* const parameters = format->streams[stream]->codecpar;
  AVCodec const* const codec = avcodec_find_decoder(parameters->codec_id);
  std::unique_ptr<AVCodecContext, Closer> const context(avcodec_alloc_context3(codec));
  if (!codec || avcodec_parameters_to_context(context.get(), parameters) < 0) return 4;
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return 4;

  std::unique_ptr<AVPacket, Closer> const packet(av_packet_alloc());
  std::unique_ptr<AVFrame, Closer> const frame(av_frame_alloc());
  auto const drain = [&] {
    while (avcodec_receive_frame(context.get(), frame.get()) >= 0) print(*frame);
  };
  while (av_read_frame(format.get(), packet.get()) >= 0) {
    if (packet->stream_index == stream) {
      avcodec_send_packet(context.get(), packet.get());
      drain();
    }
    av_packet_unref(packet.get());
  }
  avcodec_send_packet(context.get(), nullptr);
  drain();
  return 0;
}
