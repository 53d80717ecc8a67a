// Samples through a decoder: AAC, MPEG audio, AC-3 and the like.
#include <algorithm>
#include <cstring>

#include "mfimport/audio/preroll.h"
#include "mfimport/audio/sample_source.h"
#include "mfimport/clip/packet_reader.h"
#include "mfimport/headers/amr_frames.h"
#include "mfimport/headers/classify.h"

namespace mfimport {
namespace {

AVSampleFormat sampleFormatFor(SampleLayout const& layout) {
  if (layout.isFloat) return AV_SAMPLE_FMT_FLT;
  return layout.bits == 16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
}

int samplesPerPacket(StreamIndex const& stream) {
  auto const packets = static_cast<int64_t>(std::max<size_t>(stream.packets.size(), 1));
  return static_cast<int>(stream.audio().samples / packets);
}

class DecodedSamples final : public SampleSource {
 public:
  DecodedSamples(ClipFacts const& clip, StreamIndex const& stream, SampleLayout const& layout,
                 mediafile::FileAccess access, HostCallbacks const& host)
      : clip_(clip),
        stream_(stream),
        access_(std::move(access)),
        layout_(layout),
        host_(host),
        channels_(stream.parameters->ch_layout.nb_channels),
        frameBytes_(channels_ * layout.bytes()),
        runs_(runsOf(*stream.parameters, samplesPerPacket(stream))),
        settling_(settlingOf(*stream.parameters)),
        block_(HostAllocator<uint8_t>(host.memory())) {}

  // The decoder; the file is opened when the first sample is asked for.
  Result<void> open() {
    auto codec = openAudioCodec(*stream_.parameters, stream_.timeBase);
    if (!codec) return codec.error();
    codec_ = codec.take();
    return {};
  }

  void seek(int64_t sample) override { next_ = sample; }
  SampleStats stats() const override { return stats_; }

  int64_t read(uint8_t* out, int64_t count) override {
    int64_t done = 0;
    while (done < count && next_ < stream_.audio().samples) {
      if (!fetch(next_)) return done > 0 ? done : -1;
      SampleSpan const& span = stream_.audio().spans[blockPacket_];
      int64_t const within = next_ - span.first;
      int64_t const usable = std::min(count - done, span.keep - within);
      std::memcpy(out + done * frameBytes_, block_.data() + (span.drop + within) * frameBytes_,
                  static_cast<size_t>(usable * frameBytes_));
      done += usable;
      next_ += usable;
    }
    return done;
  }

 private:
  // Makes block_ hold blockPacket_, the decoded packet that delivers `sample`. False when it cannot be read.
  bool fetch(int64_t sample) {
    auto const& spans = stream_.audio().spans;
    auto const delivers = [&](size_t packet) {
      return packet < spans.size() && sample >= spans[packet].first &&
             sample < spans[packet].first + spans[packet].keep;
    };
    if (haveBlock_ && delivers(blockPacket_)) return true;
    size_t const wanted =
        haveBlock_ && delivers(blockPacket_ + 1) ? blockPacket_ + 1 : stream_.audio().packetOf(sample);
    haveBlock_ = false;
    approach(wanted);
    if (!unreadable_) decodeNext(true);
    if (unreadable_) {
      begun_ = false;
      return false;
    }
    haveBlock_ = true;
    blockPacket_ = wanted;
    return true;
  }

  // Brings the decoder before `wanted`, into the state that it has there in linear reading.
  void approach(size_t wanted) {
    if (!goesOn(wanted)) beginBefore(wanted);
    decodeUpTo(wanted);
    if (exact_ || unreadable_) return;
    size_t const start = settlingStart(wanted);
    if (start < wanted) {
      begin(start);
      decodeUpTo(wanted);
    }
    if (start == wanted || unreadable_) {  // what lies further back cannot be read
      beginBefore(wanted);
      decodeUpTo(wanted);
    }
    exact_ = true;
  }

  // The last packet from which a decoder settles before `wanted`, or as far back as it may be looked for:
  // packets are read and not decoded. `wanted` when they cannot be read.
  size_t settlingStart(size_t wanted) {
    Preroll const preroll = prerollOf(stream_.codec());
    size_t back = preroll.first;
    for (;;) {
      back = std::min({back * 4, preroll.most, wanted});
      auto const scan = settlingOf(*stream_.parameters);
      if (!look(wanted - back, wanted, *scan)) return wanted;
      if (scan->settled()) return wanted - scan->needed();
      if (back == preroll.most || back == wanted) return wanted - back;
    }
  }

  bool look(size_t from, size_t to, Settling& scan) {
    if (!reader_->position(from)) return false;
    while (reader_->nextNumber() < to) {
      ++stats_.examined;
      if (reader_->next(*packet_) != PacketReader::Outcome::packet) return false;
      scan.saw(lav::payload(*packet_));
      av_packet_unref(packet_.get());
    }
    return true;
  }

  // True when decoding on from where the decoder is gives the same as beginning anew, and costs no more.
  bool goesOn(size_t wanted) const {
    if (!begun_ || wanted < nextDecoded_) return false;
    if (stream_.codec() == AV_CODEC_ID_PCM_DVD) return nextDecoded_ >= wholePairsBefore(wanted);
    if (isPcm(stream_.codec())) return wanted == nextDecoded_;
    if (settling_) return wanted - nextDecoded_ <= prerollOf(stream_.codec()).first;
    return begunRun_ == wanted / runs_.packets;
  }

  void beginBefore(size_t wanted) {
    if (stream_.codec() == AV_CODEC_ID_PCM_DVD) return begin(wholePairsBefore(wanted));
    if (isPcm(stream_.codec())) return begin(wanted);
    bool const fromStart = wanted == stream_.audio().packetOf(0);
    begunRun_ = wanted / runs_.packets;
    size_t const target = settling_ ? wanted : begunRun_ * runs_.packets;
    size_t const back = settling_ ? prerollOf(stream_.codec()).first : runs_.preroll;
    begin(fromStart || target < back ? 0 : target - back);
  }

  // The last packet up to `wanted` that does not begin within a pair of samples which the packet before
  // began.
  size_t wholePairsBefore(size_t wanted) const {
    auto const& starts = stream_.audio().wholePairs;
    auto const after =
        std::upper_bound(starts.begin(), starts.end(), wanted, [&](size_t packet, uint32_t start) {
          ++stats_.examined;
          return packet < start;
        });
    return after == starts.begin() ? 0 : *(after - 1);
  }

  void decodeUpTo(size_t packet) {
    while (nextDecoded_ < packet && !unreadable_) decodeNext(false);
  }

  // Always with a decoder that has seen no packet: some keep state when they are flushed, and what is read
  // after a seek shall not depend on what was read before.
  void begin(size_t packet) {
    if (begun_) {
      if (auto fresh = openAudioCodec(*stream_.parameters, stream_.timeBase))
        codec_ = fresh.take();
      else
        avcodec_flush_buffers(codec_.get());
    }
    begun_ = true;
    begunAt_ = packet;
    settling_ = settlingOf(*stream_.parameters);
    exact_ = packet == 0 || !settling_;
    ++stats_.beginnings;
    unreadable_ = !openReader() || !reader_->position(packet);
    nextDecoded_ = packet;
    feeder_.forget();
    ready_ = lav::Frame();
    drained_ = false;
  }

  bool openReader() {
    if (reader_) return true;
    auto reader = openPacketReader(clip_, stream_, access_);
    if (reader) reader_ = reader.take();
    return reader_ != nullptr;
  }

  // Decodes one packet's samples; with `keep` into block_, as many as the index says. What does not come out
  // is silence, so that all other samples keep their place.
  void decodeNext(bool keep) {
    size_t const packet = nextDecoded_++;
    int64_t const wanted = stream_.audio().spans[packet].decoded;
    if (keep) {
      block_.assign(static_cast<size_t>(wanted * frameBytes_), 0);
      filled_ = 0;
    }
    while (receive(packet)) {
      if (ready_->pts > static_cast<int64_t>(packet)) break;  // the packet's own gave nothing
      if (keep && ready_->pts == static_cast<int64_t>(packet)) append(*ready_, wanted);
      ready_.reset();
    }
    if (keep && filled_ == 0 && wanted > 0 && !unreadable_)
      host_.warning(formatted("mfimport: '%s': audio packet %zu cannot be decoded, silence stands in",
                              clip_.name.c_str(), packet));
  }

  // Makes ready_ hold the next decoder output, sending packets up to `packet`. False when they give no more.
  bool receive(size_t packet) {
    if (ready_) return true;
    lav::Frame frame = lav::newFrame();
    for (;;) {
      int const result = avcodec_receive_frame(codec_.get(), frame.get());
      if (result >= 0) {
        if (frame->pts == AV_NOPTS_VALUE) frame->pts = lastPts_;  // further output of the same packet
        lastPts_ = frame->pts;
        ready_ = std::move(frame);
        return true;
      }
      if (feeder_.sendNext(*codec_)) continue;
      if (result == AVERROR_EOF || drained_ || unreadable_) return false;
      // Behind the last packet the decoder may hold a block that only the end brings out.
      if (reader_->nextNumber() > packet && packet + 1 < stream_.packets.size()) return false;
      send();
    }
  }

  void send() {
    size_t const number = reader_->nextNumber();
    PacketReader::Outcome const result = reader_->next(*packet_);
    if (result == PacketReader::Outcome::error) {
      unreadable_ = true;
    } else if (result == PacketReader::Outcome::end) {
      drained_ = true;
      avcodec_send_packet(codec_.get(), nullptr);
    } else {
      if (settling_ && settling_->mistrusts(lav::payload(*packet_)) &&
          begunAt_ + settling_->needed() < number)
        return beginForDamaged(number);
      packet_->pts = static_cast<int64_t>(number);
      packet_->dts = AV_NOPTS_VALUE;
      packet_->flags &= ~AV_PKT_FLAG_DISCARD;
      feeder_.send(*codec_, *packet_);
      ++stats_.decoded;
      if (settling_) {
        settling_->saw(lav::payload(*packet_));
        exact_ = exact_ || settling_->settled();
      }
      av_packet_unref(packet_.get());
    }
  }

  // In the middle of decoding packet `number`, before it was sent.
  void beginForDamaged(size_t number) {
    av_packet_unref(packet_.get());
    begin(number - settling_->needed());
    decodeUpTo(number);
    nextDecoded_ = number + 1;
    if (!unreadable_) send();
  }

  void append(AVFrame const& frame, int64_t wanted) {
    if (frame.ch_layout.nb_channels != channels_ || !prepareResampler(frame)) return;
    int64_t const usable = std::min<int64_t>(frame.nb_samples, wanted - filled_);
    if (usable <= 0) return;
    uint8_t* out = block_.data() + filled_ * frameBytes_;
    bool const packed = layout_.bits == 20 || layout_.bits == 24;
    if (packed) {
      wide_.resize(static_cast<size_t>(usable * channels_));
      out = reinterpret_cast<uint8_t*>(wide_.data());
    }
    int const got = swr_convert(resampler_.get(), &out, static_cast<int>(usable),
                                const_cast<uint8_t const**>(frame.extended_data), static_cast<int>(usable));
    if (got != usable) return;
    if (packed)
      packThreeBytes(block_.data() + filled_ * frameBytes_, static_cast<size_t>(usable * channels_));
    filled_ += usable;
  }

  // The upper three bytes of left-aligned 32-bit samples.
  void packThreeBytes(uint8_t* out, size_t values) const {
    for (size_t i = 0; i < values; ++i) {
      auto const value = static_cast<uint32_t>(wide_[i]);
      out[3 * i] = static_cast<uint8_t>(value >> 8);
      out[3 * i + 1] = static_cast<uint8_t>(value >> 16);
      out[3 * i + 2] = static_cast<uint8_t>(value >> 24);
    }
  }

  // Converts the sample format alone; rate and channels stay.
  bool prepareResampler(AVFrame const& frame) {
    if (resampler_ && resamplerFrom_ == frame.format) return true;
    resampler_ = lav::formatConverter(frame, sampleFormatFor(layout_));
    resamplerFrom_ = frame.format;
    return resampler_ != nullptr;
  }

  ClipFacts const& clip_;
  StreamIndex const& stream_;
  mediafile::FileAccess access_;
  SampleLayout layout_;
  HostCallbacks host_;
  int64_t channels_, frameBytes_;
  Runs runs_;
  std::unique_ptr<Settling> settling_;  // null for codecs that do not settle
  std::unique_ptr<PacketReader> reader_;
  lav::CodecContext codec_;
  FrameFeeder feeder_;
  lav::Packet packet_ = lav::newPacket();
  lav::Resampler resampler_;
  int resamplerFrom_ = AV_SAMPLE_FMT_NONE;

  int64_t next_ = 0;
  bool begun_ = false;
  size_t begunAt_ = 0;   // packet
  size_t begunRun_ = 0;  // of codecs that are decoded in runs
  bool exact_ = false;   // the decoder has settled: it gives what it gives in linear reading, from now on
  mutable SampleStats stats_;
  size_t nextDecoded_ = 0;  // packet whose samples come next out of the decoder
  bool drained_ = false;
  bool unreadable_ = false;
  lav::Frame ready_;  // came out and is not used yet
  int64_t lastPts_ = 0;
  bool haveBlock_ = false;
  size_t blockPacket_ = 0;
  HostVector<uint8_t> block_;  // all decoded samples of blockPacket_
  int64_t filled_ = 0;
  std::vector<int32_t> wide_;
};

}  // namespace

Result<std::unique_ptr<SampleSource>> openDecodedSamples(MediaIndex const& index, StreamIndex const& stream,
                                                         SampleLayout const& layout,
                                                         mediafile::FileAccess const& access,
                                                         HostCallbacks const& host) {
  auto samples = std::make_unique<DecodedSamples>(index, stream, layout, access, host);
  if (auto const opened = samples->open(); !opened) return opened.error();
  return {std::move(samples)};
}

}  // namespace mfimport
