#include "mfimport/clip/media_index.h"

#include <algorithm>

namespace mfimport {

uint32_t fingerprintOf(std::span<uint8_t const> packet) {
  constexpr size_t kBegin = 192, kEnd = 64;
  constexpr uint32_t kOffset = 2166136261U, kPrime = 16777619U;  // FNV-1a
  uint32_t hash = kOffset;
  auto const add = [&](std::span<uint8_t const> bytes) {
    for (uint8_t const byte : bytes) hash = (hash ^ byte) * kPrime;
  };
  add(packet.first(std::min(packet.size(), kBegin)));
  if (packet.size() > kBegin) add(packet.last(std::min(packet.size() - kBegin, kEnd)));
  return hash != 0 ? hash : 1;
}

size_t VideoIndex::startFor(size_t display) const {
  size_t const target = byDisplay[display];
  // libavcodec's H.264 decoder withholds what follows a recovery point when the stream ends before that has
  // come out.
  size_t const held = reorderDepth > 0 ? static_cast<size_t>(reorderDepth) + 2 : 0;
  for (size_t i = target + 1; i-- > firstKey;)
    if (pictures[i].key && pictures[i].rank <= pictures[target].rank && pictures.size() - i > held) return i;
  return firstKey;
}

size_t PictureOrder::keyBefore(size_t picture) const {
  for (size_t i = picture; i-- > firstKey;)
    if (pictures[i].key) return i;
  return firstKey;
}

size_t AudioIndex::packetOf(int64_t sample) const {
  // Spans that keep nothing share their first sample with the span after; the last of equals delivers.
  auto const after =
      std::upper_bound(spans.begin(), spans.end(), sample,
                       [](int64_t wanted, SampleSpan const& span) { return wanted < span.first; });
  auto at = static_cast<size_t>(after - spans.begin()) - 1;
  while (at > 0 && spans[at].keep == 0) --at;
  return at;
}

}  // namespace mfimport
