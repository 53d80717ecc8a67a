#include "mfimport/index/sample_count.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "mfimport/audio/audio_codec.h"
#include "mfimport/clip/packet_reader.h"
#include "mfimport/headers/amr_frames.h"
#include "mfimport/headers/classify.h"
#include "mfimport/headers/dolby_info.h"

namespace mfimport {
namespace {

// Counts what packets give when they are decoded.
class SampleCounter {
 public:
  SampleCounter(PacketList const& stream, PacketReader& reader)
      : stream_(stream), reader_(reader), parameters_(lav::copy(*stream.parameters)) {}

  // The stream's, with what only its decoder knows once packets have been counted.
  AVCodecParameters const& parameters() const { return *parameters_; }
  lav::CodecParameters takeParameters() { return std::move(parameters_); }
  std::optional<DolbyInfo> const& dolby() const { return dolby_; }

  // Samples of the packets from `from` to before `to`, decoded from `from` on. Packets that cannot be read or
  // decoded give 0.
  std::vector<int> count(size_t from, size_t to) {
    std::vector<int> counts(to - from, 0);
    codec_.reset();
    if (auto codec = openAudioCodec(*parameters_, stream_.timeBase)) codec_ = codec.take();
    if (!codec_ || !reader_.position(from)) return counts;
    size_t last = from;
    for (size_t number = from; number < to; ++number) {
      PacketReader::Outcome const result = reader_.next(*packet_);
      if (result == PacketReader::Outcome::end) break;
      if (result == PacketReader::Outcome::error) continue;
      readDolbyMode();
      packet_->pts = static_cast<int64_t>(number);
      packet_->dts = AV_NOPTS_VALUE;
      feeder_.send(*codec_, *packet_);
      av_packet_unref(packet_.get());
      do {
        receive(from, counts, last);
      } while (feeder_.sendNext(*codec_));
    }
    if (to == stream_.packets.size()) {
      avcodec_send_packet(codec_.get(), nullptr);
      receive(from, counts, last);
    }
    return counts;
  }

  // Samples at the very beginning that the decoder declares to precede the sound; known after the first
  // packet was counted.
  int declaredDelay() const { return declaredDelay_; }

 private:
  void receive(size_t from, std::vector<int>& counts, size_t& last) {
    while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
      // Further output of the same packet has no stamp.
      if (frame_->pts != AV_NOPTS_VALUE) last = static_cast<size_t>(frame_->pts);
      if (last >= from && last - from < counts.size()) counts[last - from] += frame_->nb_samples;
      if (!described_) describe();
    }
  }

  // What only the decoder knows for some AAC.
  void describe() {
    described_ = true;
    parameters_->sample_rate = frame_->sample_rate;
    parameters_->format = frame_->format;
    if (av_channel_layout_copy(&parameters_->ch_layout, &frame_->ch_layout) < 0) throw std::bad_alloc();
    AVFrameSideData const* const skip = av_frame_get_side_data(frame_.get(), AV_FRAME_DATA_SKIP_SAMPLES);
    if (!skip || skip->size < 4) return;
    declaredDelay_ =
        static_cast<int>(static_cast<uint32_t>(skip->data[0]) | static_cast<uint32_t>(skip->data[1]) << 8 |
                         static_cast<uint32_t>(skip->data[2] & 0x7F) << 16);
  }

  // From the first packet that tells it.
  void readDolbyMode() {
    if (stream_.codec() != AV_CODEC_ID_AC3 && stream_.codec() != AV_CODEC_ID_EAC3) return;
    if (!dolby_) dolby_ = readDolbyInfo(lav::payload(*packet_));
  }

  PacketList const& stream_;
  PacketReader& reader_;
  lav::CodecParameters parameters_;
  lav::CodecContext codec_;
  FrameFeeder feeder_;
  lav::Packet packet_ = lav::newPacket();
  lav::Frame frame_ = lav::newFrame();
  bool described_ = false;
  std::optional<DolbyInfo> dolby_;
  int declaredDelay_ = 0;
};

bool isWma(AVCodecID codec) { return audioFormatOf(codec, kContainerAsf) == kAudioWma; }

// Packets of WMA hold as many blocks as fit, those of DVD may end within a pair of samples, so that only
// decoding tells.
bool packetsVary(AVCodecID codec) { return isWma(codec) || codec == AV_CODEC_ID_PCM_DVD; }

// Samples of every packet of a stream whose packets give the same number, but for a beginning or an end that
// is cut off. Empty when they differ.
std::vector<int> uniformCounts(SampleCounter& counter, size_t packets) {
  constexpr size_t kProbed = 4, kTail = 16;
  std::vector<int> const head = counter.count(0, std::min(kProbed, packets));
  auto const first = std::find_if(head.begin(), head.end(), [](int samples) { return samples > 0; });
  if (first == head.end()) return {};
  if (std::any_of(first, head.end(), [&](int samples) { return samples != *first; })) return {};
  std::vector<int> counts(packets, *first);
  std::copy(head.begin(), first, counts.begin());
  if (packets <= head.size()) return counts;
  size_t const from = packets - std::min(packets, kTail);
  std::vector<int> const tail = counter.count(from, packets);
  counts.back() = std::min(counts.back(), tail.back());
  return counts;
}

int samplesByDuration(AVCodecParameters const& parameters, AVRational timeBase, PacketEntry const& entry,
                      PacketNote const& note) {
  // Takes pointers to non-const, and changes nothing.
  int const exact = av_get_audio_frame_duration2(const_cast<AVCodecParameters*>(&parameters), entry.size);
  if (exact > 0) return exact;
  AVRational const perSample{1, std::max(parameters.sample_rate, 1)};
  int64_t const samples = av_rescale_q(std::max<int64_t>(note.duration, 0), timeBase, perSample);
  return static_cast<int>(std::min<int64_t>(samples, 1 << 20));
}

// Where as many bits came in as samples went out, no packet leaves half a pair to the next one.
void listWholePairs(PacketList const& stream, AudioIndex& audio) {
  constexpr int64_t kHeaderBytes = 3;
  int64_t const sampleBits =
      int64_t{stream.parameters->ch_layout.nb_channels} * stream.parameters->bits_per_coded_sample;
  int64_t open = 0;  // bits
  for (size_t i = 0; i < stream.packets.size(); ++i) {
    if (open == 0) audio.wholePairs.push_back(static_cast<uint32_t>(i));
    open += (stream.packets[i].size - kHeaderBytes) * 8 - audio.spans[i].decoded * sampleBits;
  }
}

// What decoding tells of the packets; empty where that is not needed.
struct Counts {
  std::vector<int> samples;
  int64_t skip = 0;  // samples left out at the beginning
};

Counts decodedCounts(SampleCounter& counter, PacketList const& stream) {
  size_t const packets = stream.packets.size();
  Counts counts;
  if ((isPcm(stream.codec()) && !packetsVary(stream.codec())) || packets == 0) return counts;
  if (!packetsVary(stream.codec())) counts.samples = uniformCounts(counter, packets);
  if (counts.samples.empty()) counts.samples = counter.count(0, packets);
  // WMA declares two blocks, of which the second carries sound.
  if (isWma(stream.codec())) counts.skip = counter.declaredDelay() / 2;
  return counts;
}

}  // namespace

Result<CountedSamples> countSamples(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                    PacketList const& stream, std::vector<PacketNote> const& notes) {
  auto reader = openPacketReader(clip, stream, file);
  if (!reader) return reader.error();
  SampleCounter counter(stream, **reader);
  auto const [counts, delay] = decodedCounts(counter, stream);
  if (auto const health = file->health(); !health) return health.error();

  int64_t skip = delay;  // samples still to be left out; encoder delay can exceed a packet
  AudioIndex audio(stream.packets.get_allocator().memory());
  size_t const packets = stream.packets.size();
  bool const nothingDecoded = std::all_of(counts.begin(), counts.end(), [](int n) { return n == 0; });
  audio.spans.reserve(packets);
  for (size_t i = 0; i < packets; ++i) {
    PacketNote const& note = notes[i];
    SampleSpan span{audio.samples, 0, 0, 0};
    span.decoded = nothingDecoded
                       ? samplesByDuration(counter.parameters(), stream.timeBase, stream.packets[i], note)
                       : counts[i];
    if (note.hasSkip) skip = note.skipBegin;
    auto const dropped = static_cast<int32_t>(std::min<int64_t>(skip, span.decoded));
    skip -= dropped;
    span.drop = dropped;
    if (!note.discard) span.keep = span.decoded - dropped;
    if (note.hasSkip && note.skipEnd <= static_cast<uint32_t>(span.keep))
      span.keep -= static_cast<int32_t>(note.skipEnd);
    audio.samples += span.keep;
    audio.spans.push_back(span);
  }
  if (stream.codec() == AV_CODEC_ID_PCM_DVD) listWholePairs(stream, audio);
  if (counter.dolby()) {
    audio.acmod = counter.dolby()->general.acmod;
    audio.lfeon = counter.dolby()->general.lfeon;
  }
  return CountedSamples{std::move(audio), counter.takeParameters()};
}

}  // namespace mfimport
