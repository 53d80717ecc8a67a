// Positions of samples.
#include <algorithm>

#include "mfimport/audio_codec.h"
#include "mfimport/classify.h"
#include "mfimport/index_build.h"
#include "mfimport/packet_reader.h"

namespace mfimport {
namespace {

// Samples that the first packets give when decoded; 0 when they differ or nothing comes out. Also corrects
// the sample rate and channels, which only the decoder knows for some AAC.
int probeSamplesPerPacket(const MediaIndex& index, StreamIndex& stream, const mediafile::FileAccess& access) {
  std::string error;
  const auto reader = openPacketReader(index, stream, access, error);
  const lav::CodecContext codec = openAudioCodec(stream, error);
  if (!reader || !codec) return 0;
  constexpr int kProbed = 4;
  const lav::Packet packet = lav::newPacket();
  const lav::Frame frame = lav::newFrame();
  int common = 0;
  for (int i = 0; i < kProbed && reader->next(*packet) == PacketReader::Result::packet; ++i) {
    const bool dolby = stream.codec() == AV_CODEC_ID_AC3 || stream.codec() == AV_CODEC_ID_EAC3;
    if (const auto mode = i == 0 && dolby ? readAc3Mode(lav::payload(*packet)) : std::nullopt) {
      stream.acmod = mode->acmod;
      stream.lfeon = mode->lfeon;
    }
    avcodec_send_packet(codec.get(), packet.get());
    av_packet_unref(packet.get());
    int samples = 0;
    while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
      samples += frame->nb_samples;
      stream.parameters->sample_rate = frame->sample_rate;
      stream.parameters->format = frame->format;
      if (av_channel_layout_copy(&stream.parameters->ch_layout, &frame->ch_layout) < 0) return 0;
    }
    if (samples == 0) continue;
    if (common != 0 && common != samples) return 0;
    common = samples;
  }
  return common;
}

int decodedSamples(const StreamIndex& stream, const PacketEntry& entry, const PacketNote& note, int common) {
  if (common > 0) return common;
  const int exact = av_get_audio_frame_duration2(stream.parameters.get(), entry.size);
  if (exact > 0) return exact;
  const AVRational perSample{1, std::max(stream.parameters->sample_rate, 1)};
  const int64_t samples = av_rescale_q(std::max<int64_t>(note.duration, 0), stream.timeBase, perSample);
  return static_cast<int>(std::min<int64_t>(samples, 1 << 20));
}

}  // namespace

void buildAudioIndex(const MediaIndex& index, StreamIndex& stream, const std::vector<PacketNote>& notes,
                     const mediafile::FileAccess& access) {
  AudioIndex& audio = stream.audio;
  const int common = isPcm(stream.codec()) ? 0 : probeSamplesPerPacket(index, stream, access);
  audio.spans.reserve(stream.packets.size());
  int64_t skip = 0;  // samples still to be left out; encoder delay can exceed a packet
  for (size_t i = 0; i < stream.packets.size(); ++i) {
    const PacketNote& note = notes[i];
    SampleSpan span{audio.samples, 0, 0, decodedSamples(stream, stream.packets[i], note, common)};
    if (note.hasSkip) skip = note.skipBegin;
    const auto dropped = static_cast<int32_t>(std::min<int64_t>(skip, span.decoded));
    skip -= dropped;
    span.drop = dropped;
    if (!note.discard) span.keep = span.decoded - dropped;
    if (note.hasSkip && note.skipEnd <= static_cast<uint32_t>(span.keep))
      span.keep -= static_cast<int32_t>(note.skipEnd);
    audio.samples += span.keep;
    audio.spans.push_back(span);
  }
}

}  // namespace mfimport
