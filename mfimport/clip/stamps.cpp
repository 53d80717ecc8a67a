#include "mfimport/clip/stamps.h"

#include <cmath>
#include <optional>

namespace mfimport {
namespace {

std::optional<int64_t> ownStamp(StreamIndex const& stream, size_t display) {
  VideoIndex const& video = stream.video();
  int64_t const pts = stream.packets[video.pictures[video.byDisplay[display]].packet].pts;
  if (pts == AV_NOPTS_VALUE) return std::nullopt;
  return stream.to27M(pts);
}

int64_t ticksOf(StreamIndex const& stream, size_t pictures) {
  if (stream.video().rate <= 0) return 0;
  return std::llround(static_cast<double>(pictures) * kClock27M.den / stream.video().rate);
}

// Where no picture has a stamp, decoding times tell at least when the first one is due.
int64_t firstDecodingStamp(StreamIndex const& stream) {
  VideoIndex const& video = stream.video();
  int64_t const dts = stream.packets[video.pictures[video.firstKey].packet].dts;
  return dts == AV_NOPTS_VALUE ? 0 : stream.to27M(dts);
}

}  // namespace

std::vector<int64_t> displayStamps(StreamIndex const& stream) {
  std::vector<int64_t> stamps(stream.video().frames());
  if (stamps.empty()) return stamps;
  if (stream.video().stampsOfDecoding) {
    int64_t const first = firstDecodingStamp(stream);
    for (size_t i = 0; i < stamps.size(); ++i) stamps[i] = first + ticksOf(stream, i);
    return stamps;
  }
  stamps[0] = firstDisplayStamp(stream);
  size_t known = 0;  // the last picture whose stamp stands
  for (size_t i = 1; i < stamps.size(); ++i) {
    std::optional<int64_t> const own = ownStamp(stream, i);
    if (!own) continue;
    auto const gap = static_cast<int64_t>(i - known);
    for (size_t between = known + 1; between < i; ++between)
      stamps[between] = stamps[known] + (*own - stamps[known]) * static_cast<int64_t>(between - known) / gap;
    stamps[i] = *own;
    known = i;
  }
  for (size_t i = known + 1; i < stamps.size(); ++i) stamps[i] = stamps[known] + ticksOf(stream, i - known);
  return stamps;
}

int64_t firstDisplayStamp(StreamIndex const& stream) {
  if (stream.video().stampsOfDecoding) return stream.video().frames() > 0 ? firstDecodingStamp(stream) : 0;
  for (size_t i = 0; i < stream.video().frames(); ++i)
    if (std::optional<int64_t> const own = ownStamp(stream, i)) return *own - ticksOf(stream, i);
  return stream.video().frames() > 0 ? firstDecodingStamp(stream) : 0;
}

}  // namespace mfimport
