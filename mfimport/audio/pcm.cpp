// PCM without a decoder: a seek is arithmetic, a read one positioned read.
#include <algorithm>
#include <bit>
#include <cstring>

#include "mfimport/audio/sample_source.h"

namespace mfimport {
namespace {

static_assert(std::endian::native == std::endian::little);

void copyWords(uint8_t const* in, size_t values, size_t bytes, uint8_t* out) {
  std::memcpy(out, in, values * bytes);
}

template <size_t bytes>
void swapWords(uint8_t const* in, size_t values, uint8_t* out) {
  for (size_t i = 0; i < values; ++i)
    for (size_t b = 0; b < bytes; ++b) out[i * bytes + b] = in[i * bytes + bytes - 1 - b];
}

// 8-bit samples become the upper byte of 16-bit ones.
void widenBytes(uint8_t const* in, size_t values, uint8_t offset, uint8_t* out) {
  for (size_t i = 0; i < values; ++i) {
    out[2 * i] = 0;
    out[2 * i + 1] = static_cast<uint8_t>(in[i] ^ offset);
  }
}

template <bool big>
void narrowDoubles(uint8_t const* in, size_t values, uint8_t* out) {
  for (size_t i = 0; i < values; ++i) {
    uint8_t word[8];
    for (size_t b = 0; b < 8; ++b) word[b] = in[8 * i + (big ? 7 - b : b)];
    double value = 0;
    std::memcpy(&value, word, sizeof value);
    auto const narrow = static_cast<float>(value);
    std::memcpy(out + 4 * i, &narrow, sizeof narrow);
  }
}

class DirectPcm final : public SampleSource {
 public:
  DirectPcm(StreamIndex const& stream, std::unique_ptr<mediafile::ByteSource> source,
            HostMemory const& memory)
      : stream_(stream),
        source_(std::move(source)),
        codec_(pcmCodec(stream.codec())),
        channels_(static_cast<size_t>(stream.parameters->ch_layout.nb_channels)),
        sourceFrame_(static_cast<int64_t>(channels_) * codec_.sourceBytes),
        outFrame_(static_cast<int64_t>(channels_) * codec_.layout.bytes()),
        window_(HostAllocator<uint8_t>(memory)) {}

  void seek(int64_t sample) override { next_ = sample; }

  int64_t read(uint8_t* out, int64_t count) override {
    int64_t done = 0;
    while (done < count && next_ < stream_.audio().samples) {
      int64_t const got = readWithinPacket(out + done * outFrame_, count - done);
      if (got <= 0) return done > 0 ? done : got;
      done += got;
    }
    return done;
  }

 private:
  int64_t readWithinPacket(uint8_t* out, int64_t count) {
    auto const& spans = stream_.audio().spans;
    if (packet_ >= spans.size() || next_ < spans[packet_].first ||
        next_ >= spans[packet_].first + spans[packet_].keep)
      packet_ = stream_.audio().packetOf(next_);
    SampleSpan const& span = spans[packet_];
    int64_t const within = next_ - span.first;
    int64_t const usable = std::min(count, span.keep - within);
    int64_t const position = stream_.packets[packet_].position + (span.drop + within) * sourceFrame_;
    int64_t const got = convertFrom(position, usable, out);
    if (got > 0) next_ += got;
    return got;
  }

  // Converts up to `count` samples that lie at `position`. Their number, at least 1, or negative.
  int64_t convertFrom(int64_t position, int64_t count, uint8_t* out) {
    int64_t const end = windowAt_ + static_cast<int64_t>(window_.size());
    if (position < windowAt_ || position + sourceFrame_ > end) {
      if (!fill(position, count)) return -1;
    }
    int64_t const available = (windowAt_ + static_cast<int64_t>(window_.size()) - position) / sourceFrame_;
    int64_t const usable = std::min(count, available);
    if (usable <= 0) return -1;
    convertPcm(stream_.codec(), window_.data() + (position - windowAt_),
               static_cast<size_t>(usable) * channels_, out);
    return usable;
  }

  // Small requests read ahead, across packets too: in an interleaved file that costs one read either way.
  bool fill(int64_t position, int64_t count) {
    constexpr int64_t kReadAhead = 16 << 10, kMostAtOnce = 1 << 20;
    SampleSpan const& span = stream_.audio().spans[packet_];
    int64_t const left = stream_.packets[packet_].position + span.decoded * sourceFrame_ - position;
    int64_t bytes =
        std::clamp<int64_t>(count * sourceFrame_, std::max(kReadAhead, sourceFrame_), kMostAtOnce);
    bytes = std::min(bytes, left) / sourceFrame_ * sourceFrame_;
    if (bytes <= 0) return false;
    window_.resize(static_cast<size_t>(bytes));
    windowAt_ = position;
    int64_t const got = source_->readAt(position, {window_.data(), window_.size()});
    window_.resize(static_cast<size_t>(std::max<int64_t>(got, 0)));
    return got >= sourceFrame_;
  }

  StreamIndex const& stream_;
  std::unique_ptr<mediafile::ByteSource> source_;
  PcmCodec codec_;
  size_t channels_;
  int64_t sourceFrame_, outFrame_;  // bytes of one sample of all channels
  int64_t next_ = 0;
  size_t packet_ = 0;
  HostVector<uint8_t> window_;  // bytes of the file from windowAt_ on
  int64_t windowAt_ = 0;
};

bool packetsHoldWholeSamples(StreamIndex const& stream, int sourceBytes) {
  int64_t const frame = int64_t{stream.parameters->ch_layout.nb_channels} * sourceBytes;
  for (size_t i = 0; i < stream.packets.size(); ++i)
    if (stream.audio().spans[i].decoded * frame > stream.packets[i].size) return false;
  return true;
}

}  // namespace

PcmCodec pcmCodec(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_PCM_U8:
    case AV_CODEC_ID_PCM_S8:
      return {1, {16, false}};
    case AV_CODEC_ID_PCM_S16LE:
    case AV_CODEC_ID_PCM_S16BE:
      return {2, {16, false}};
    case AV_CODEC_ID_PCM_S24LE:
    case AV_CODEC_ID_PCM_S24BE:
      return {3, {24, false}};
    case AV_CODEC_ID_PCM_S32LE:
    case AV_CODEC_ID_PCM_S32BE:
      return {4, {32, false}};
    case AV_CODEC_ID_PCM_F32LE:
    case AV_CODEC_ID_PCM_F32BE:
      return {4, {32, true}};
    case AV_CODEC_ID_PCM_F64LE:
    case AV_CODEC_ID_PCM_F64BE:
      return {8, {32, true}};
    default:
      return {};
  }
}

void convertPcm(AVCodecID codec, uint8_t const* in, size_t values, uint8_t* out) {
  switch (codec) {
    case AV_CODEC_ID_PCM_U8:
      widenBytes(in, values, 0x80, out);
      break;
    case AV_CODEC_ID_PCM_S8:
      widenBytes(in, values, 0, out);
      break;
    case AV_CODEC_ID_PCM_S16LE:
      copyWords(in, values, 2, out);
      break;
    case AV_CODEC_ID_PCM_S24LE:
      copyWords(in, values, 3, out);
      break;
    case AV_CODEC_ID_PCM_S32LE:
    case AV_CODEC_ID_PCM_F32LE:
      copyWords(in, values, 4, out);
      break;
    case AV_CODEC_ID_PCM_S16BE:
      swapWords<2>(in, values, out);
      break;
    case AV_CODEC_ID_PCM_S24BE:
      swapWords<3>(in, values, out);
      break;
    case AV_CODEC_ID_PCM_S32BE:
    case AV_CODEC_ID_PCM_F32BE:
      swapWords<4>(in, values, out);
      break;
    case AV_CODEC_ID_PCM_F64LE:
      narrowDoubles<false>(in, values, out);
      break;
    case AV_CODEC_ID_PCM_F64BE:
      narrowDoubles<true>(in, values, out);
      break;
    default:
      break;
  }
}

Result<std::unique_ptr<SampleSource>> openSampleSource(MediaIndex const& index, StreamIndex const& stream,
                                                       SampleLayout const& layout,
                                                       mediafile::FileAccess const& access,
                                                       HostCallbacks const& host) {
  PcmCodec const pcm = pcmCodec(stream.codec());
  bool const plain =
      pcm.sourceBytes > 0 && pcm.layout.bits == layout.bits && pcm.layout.isFloat == layout.isFloat;
  if (!plain || !stream.direct || !packetsHoldWholeSamples(stream, pcm.sourceBytes))
    return openDecodedSamples(index, stream, layout, access, host);
  auto source = access.open(index.name);
  if (!source) return source.error();
  return {std::make_unique<DirectPcm>(stream, source.take(), host.memory())};
}

}  // namespace mfimport
