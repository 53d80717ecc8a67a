#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace samples {

/// Where a stretch of the running audio signal stands.
struct Phase {
  /// Sample number within the take, running on over its clip files. 30 bits.
  std::uint64_t position = 0;
  /// 9 bits each; tracks count from 1.
  unsigned take = 0;
  unsigned track = 0;

  bool operator==(Phase const&) const = default;
};

// The signal: words of 8 samples. A sample is a 12-bit code around zero (-24 dBFS): its place in the word (3
// bits) above 9 bits of payload.
//
//   place    0      1      2      3      4      5      6      7
//   payload  w26-18 w17-9  w8-0   take   track  check  check  check      w = position / 8
//
// Any 15 samples in a row hold a whole word, and the check refuses words that a joint or a lost sample tore.
namespace detail {

constexpr std::uint64_t kWord = 8;
constexpr int kMiddle = 2048;

constexpr std::uint32_t phaseCheck(std::uint64_t word, unsigned take, unsigned track) {
  std::uint64_t mix = (word << 18 | std::uint64_t{take} << 9 | track) + 0x9E3779B97F4A7C15u;
  mix = (mix ^ (mix >> 30)) * 0xBF58476D1CE4E5B9u;
  mix = (mix ^ (mix >> 27)) * 0x94D049BB133111EBu;
  return static_cast<std::uint32_t>(mix >> 37);
}

constexpr std::array<std::int16_t, kWord> phaseWord(std::uint64_t word, unsigned take, unsigned track) {
  std::uint32_t const check = phaseCheck(word, take, track);
  std::array<std::uint64_t, kWord> const payload{word >> 18, word >> 9,   word,       take,
                                                 track,      check >> 18, check >> 9, check};
  std::array<std::int16_t, kWord> samples{};
  for (std::size_t place = 0; place < kWord; ++place)
    samples[place] =
        static_cast<std::int16_t>(static_cast<int>(place << 9 | (payload[place] & 0x1FF)) - kMiddle);
  return samples;
}

}  // namespace detail

/// Fills `out` with the signal from `from` on.
inline void fillPhase(std::span<std::int16_t> out, Phase from) {
  while (!out.empty()) {
    auto const word = detail::phaseWord(from.position / detail::kWord, from.take, from.track);
    std::size_t const place = from.position % detail::kWord;
    std::size_t const count = std::min(out.size(), word.size() - place);
    std::copy_n(word.begin() + static_cast<std::ptrdiff_t>(place), count, out.begin());
    out = out.subspan(count);
    from.position += count;
  }
}

/// First sample of `heard` that differs from the signal from `from` on; empty when all agree.
inline std::optional<std::size_t> firstMismatch(std::span<std::int16_t const> heard, Phase from) {
  for (std::size_t index = 0; index < heard.size();) {
    std::uint64_t const position = from.position + index;
    auto const word = detail::phaseWord(position / detail::kWord, from.take, from.track);
    for (std::size_t place = position % detail::kWord; place < word.size() && index < heard.size();
         ++place, ++index)
      if (heard[index] != word[place]) return index;
  }
  return std::nullopt;
}

/// Where the first sample of `heard` stands, from the first whole word in it; empty when there is none. A
/// word is looked for in the first `searched` samples only. What lies before the word is not checked: follow
/// up with `firstMismatch`.
inline std::optional<Phase> readPhase(std::span<std::int16_t const> heard, std::size_t searched = 4096) {
  auto const payload = [&](std::size_t index) {
    return static_cast<std::uint32_t>(heard[index] + detail::kMiddle) & 0x1FF;
  };
  for (std::size_t at = 0; at < searched && at + detail::kWord <= heard.size(); ++at) {
    std::uint64_t const word = std::uint64_t{payload(at)} << 18 | payload(at + 1) << 9 | payload(at + 2);
    Phase const phase{word * detail::kWord, payload(at + 3), payload(at + 4)};
    if (phase.position >= at && !firstMismatch(heard.subspan(at, detail::kWord), phase))
      return Phase{phase.position - at, phase.take, phase.track};
  }
  return std::nullopt;
}

}  // namespace samples
