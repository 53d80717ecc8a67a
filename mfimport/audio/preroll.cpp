#include "mfimport/audio/preroll.h"

extern "C" {
#include <libavcodec/ac3_parser.h>
#include <libavutil/crc.h>
}

#include <algorithm>
#include <array>

#include "mfimport/headers/bit_reader.h"

namespace mfimport {
namespace {

// Overlap and synthesis filters reach back into the packet before; one more for good measure.
constexpr size_t kOverlap = 2;

// What a packet leaves behind depends on it alone, but for the overlap, as long as it is whole. A damaged one
// is refused, or decoded with whatever is left of any packet before: of the last damaged one, even.
class AfterWholePackets final : public Settling {
 public:
  using Check = bool (*)(std::span<uint8_t const> packet);
  explicit AfterWholePackets(Check isWhole) : isWhole_(isWhole) {}

  void saw(std::span<uint8_t const> packet) override {
    ++sinceBegin_;
    whole_ = isWhole_(packet) ? whole_ + 1 : 0;
    if (whole_ < kOverlap) return;
    settled_ = true;
    sinceBegin_ = kOverlap;
  }
  bool settled() const override { return settled_; }
  size_t needed() const override { return sinceBegin_; }
  bool mistrusts(std::span<uint8_t const> packet) const override {
    return whole_ >= kOverlap && !isWhole_(packet);
  }

 private:
  Check isWhole_;
  size_t whole_ = 0, sinceBegin_ = 0;
  bool settled_ = false;
};

bool hasSyncOfMpegAudio(std::span<uint8_t const> packet) {
  return packet.size() > 4 && packet[0] == 0xFF && (packet[1] & 0xE0) == 0xE0;
}

// ATSC A/52 7.10.1: the check covers all of a frame but its sync word, and leaves 0.
bool passesCheckOfDolby(std::span<uint8_t const> packet) {
  constexpr size_t kSyncBytes = 2;
  const AVCRC* const table = av_crc_get_table(AV_CRC_16_ANSI);
  while (!packet.empty()) {
    uint8_t streamId = 0;
    uint16_t bytes = 0;
    if (av_ac3_parse_header(packet.data(), packet.size(), &streamId, &bytes) < 0) return false;
    if (bytes <= kSyncBytes || bytes > packet.size()) return false;
    if (av_crc(table, 0, packet.data() + kSyncBytes, bytes - kSyncBytes) != 0) return false;
    packet = packet.subspan(bytes);
  }
  return true;
}

// Layer III frames take bits out of the frames before, and say how many bytes they reach back
// (ISO/IEC 11172-3 2.4.1.7, 13818-3 2.4.1.7).
class AfterReservoir final : public Settling {
 public:
  void saw(std::span<uint8_t const> packet) override {
    constexpr size_t kHeader = 4, kCheck = 2;
    ++seen_;
    if (!hasSyncOfMpegAudio(packet)) return;
    bool const mpeg1 = (packet[1] >> 3 & 3) == 3;
    bool const mono = packet[3] >> 6 == 3;
    size_t const before = kHeader + ((packet[1] & 1) == 0 ? kCheck : 0);
    size_t const sideInfo = mpeg1 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    if (packet.size() < before + sideInfo) return;
    BitReader side(packet.subspan(before));
    size_t const reachesBack = side.bits(mpeg1 ? 9 : 8);
    whole_ = reachesBack <= reservoir_ ? whole_ + 1 : 0;
    reservoir_ += packet.size() - before - sideInfo;
    settled_ = settled_ || whole_ >= kOverlap;
  }
  bool settled() const override { return settled_; }
  size_t needed() const override { return seen_; }

 private:
  size_t reservoir_ = 0, whole_ = 0, seen_ = 0;
  bool settled_ = false;
};

// The predictors of DTS continue subbands from their last samples, through any number of frames. Where a
// frame begins without prediction in a subband, the samples before no longer matter there; and none of them
// matter where it says that its predictors begin anew. ETSI TS 102 114 5.3 to 5.5.
class AfterPrediction final : public Settling {
 public:
  void saw(std::span<uint8_t const> packet) override {
    ++seen_;
    if (!read(packet)) forget();
  }
  bool settled() const override { return channels_ > 0 && knownSince() > 0 && needed() <= seen_; }
  size_t needed() const override { return seen_ - knownSince() + kOverlap; }

 private:
  static constexpr uint32_t kSubbands = 32;
  static constexpr size_t kMostChannels = 8;
  using Subbands = std::array<size_t, kSubbands>;

  struct Channel {
    uint32_t coded = 0;  // subbands
    bool joint = false;  // the others are copies of another channel's
  };

  void forget() {
    for (Subbands& subbands : known_) subbands.fill(0);
  }

  // The packet from which on the past of all subbands is known, by the number of packets seen with it.
  size_t knownSince() const {
    size_t since = seen_;
    for (size_t c = 0; c < channels_; ++c)
      since = std::min(since, *std::min_element(known_[c].begin(), known_[c].end()));
    return since;
  }

  bool read(std::span<uint8_t const> packet) {
    BitReader bits(packet);
    if (bits.bits(32) != 0x7FFE8001) return false;
    bits.skip(1 + 5);
    bool const checked = bits.flag();
    bits.skip(7 + 14 + 6 + 4 + 5 + 1 + 1 + 1 + 1 + 1 + 3 + 1 + 1 + 2);
    bool const continues = bits.flag();
    bits.skip((checked ? 16 : 0) + 1 + 4 + 2 + 3 + 1 + 1 + 4);
    if (!continues)
      for (Subbands& subbands : known_) subbands.fill(seen_);
    std::array<Channel, kMostChannels> channels{};
    if (!readCoding(bits, checked, channels)) return false;
    bits.skip(2 + 3);  // lengths of the first subframe
    learn(bits, std::span(channels).first(channels_));
    return !bits.failed();
  }

  bool readCoding(BitReader& bits, bool checked, std::array<Channel, kMostChannels>& channels) {
    bits.skip(4);
    size_t const count = bits.bits(3) + 1;
    if (count != channels_) forget();
    channels_ = count;
    auto const used = std::span(channels).first(count);
    for (Channel& channel : used) {
      channel.coded = bits.bits(5) + 2;
      if (channel.coded > kSubbands) return false;
    }
    bits.skip(static_cast<uint32_t>(count) * 5);
    for (Channel& channel : used) channel.joint = bits.bits(3) != 0;
    bits.skip(static_cast<uint32_t>(count) * (2 + 3 + 3));
    skipQuantizers(bits);
    if (checked) bits.skip(16);
    return true;
  }

  // The choice of a Huffman book for each number of levels, and a scale adjustment for each book chosen.
  void skipQuantizers(BitReader& bits) const {
    constexpr std::array<int, 10> kWidths = {1, 2, 2, 2, 2, 3, 3, 3, 3, 3};
    uint32_t adjustments = 0;
    for (int const width : kWidths)
      for (size_t c = 0; c < channels_; ++c)
        if (bits.bits(width) < (1U << width) - 1) ++adjustments;
    bits.skip(adjustments * 2);
  }

  // From the prediction flags of the first subframe.
  void learn(BitReader& bits, std::span<Channel const> channels) {
    for (size_t c = 0; c < channels.size(); ++c) {
      for (size_t subband = 0; subband < channels[c].coded; ++subband)
        if (!bits.flag()) known_[c][subband] = seen_;
      if (channels[c].joint) continue;
      for (size_t subband = channels[c].coded; subband < kSubbands; ++subband) known_[c][subband] = seen_;
    }
    for (size_t c = 0; c < channels.size(); ++c)
      if (channels[c].joint)
        for (size_t subband = channels[c].coded; subband < kSubbands; ++subband)
          known_[c][subband] = knownOfOthers(channels, subband);
  }

  // Whichever channel the copy comes from.
  size_t knownOfOthers(std::span<Channel const> channels, size_t subband) const {
    size_t since = seen_;
    for (size_t c = 0; c < channels.size(); ++c)
      if (!channels[c].joint || subband < channels[c].coded) since = std::min(since, known_[c][subband]);
    return since;
  }

  size_t channels_ = 0, seen_ = 0;
  // For every subband the last packet, by the number seen with it, at which the past did not matter; 0 none.
  std::array<Subbands, kMostChannels> known_{};
};

}  // namespace

std::unique_ptr<Settling> settlingOf(AVCodecParameters const& parameters) {
  switch (parameters.codec_id) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
      return std::make_unique<AfterWholePackets>(hasSyncOfMpegAudio);
    case AV_CODEC_ID_MP3:
      return std::make_unique<AfterReservoir>();
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
      return std::make_unique<AfterWholePackets>(passesCheckOfDolby);
    case AV_CODEC_ID_DTS:
      // Its extensions predict as well, and where they do lies behind what only a decoder reads.
      return parameters.profile == lav::kProfileDts ? std::make_unique<AfterPrediction>() : nullptr;
    default:
      return nullptr;
  }
}

Preroll prerollOf(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MP3:
      return {10, 512};  // the reservoir holds up to 511 bytes, frames of 8 kbit/s as few as 7
    case AV_CODEC_ID_DTS:
      return {kOverlap, 1024};
    default:
      return {kOverlap, 64};
  }
}

Runs runsOf(AVCodecParameters const& parameters, int samples) {
  constexpr int64_t kSeconds = 120;
  // Noise tables of some codecs come round after 2, 4, 8 or 16 packets: runs begin where they do.
  constexpr int64_t kStep = 16;
  int64_t const inRun = kSeconds * std::max(parameters.sample_rate, 1);
  int64_t const packets = (inRun / std::max(samples, 1) + kStep) / kStep * kStep;
  // 240 packets bring the predictors of AAC Main back to their beginning (ISO/IEC 14496-3 4.6.6), and 5 s
  // let the filters of speech codecs die away.
  constexpr size_t kPreroll = 256;
  return {static_cast<size_t>(packets), kPreroll};
}

}  // namespace mfimport
