#include "mfimport/index/broken_ends.h"

#include <algorithm>

#include "mfimport/index/picture_order.h"
#include "mfimport/video/exact_pictures.h"

namespace mfimport {
namespace {

constexpr size_t kMostBroken = 64;

BrokenEnds endsOf(ExactPictures& pictures, StreamIndex const& stream, bool lookAtTheEnd) {
  VideoIndex const& video = stream.video();
  size_t const frames = video.frames();
  auto const whole = [&](size_t display) { return static_cast<bool>(pictures.find(display)); };
  BrokenEnds ends;
  while (ends.first < std::min(frames, kMostBroken) && !whole(ends.first)) ++ends.first;
  if (ends.first == std::min(frames, kMostBroken)) return {};
  size_t const tail = video.byDisplay[frames - 1] - video.startFor(frames - 1);
  if (!lookAtTheEnd || takesLongToDecode(stream, tail)) return ends;
  while (ends.last < kMostBroken && ends.first + ends.last + 1 < frames && !whole(frames - 1 - ends.last))
    ++ends.last;
  return ends;
}

}  // namespace

Result<BrokenEnds> findBrokenEnds(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                  StreamIndex const& stream, bool lookAtTheEnd) {
  if (stream.video().frames() == 0) return BrokenEnds{};
  ExactPictures pictures(clip, stream, file, HostMemory{});
  BrokenEnds const ends = endsOf(pictures, stream, lookAtTheEnd);
  if (auto const health = file->health(); !health) return health.error();
  return ends;
}

VideoIndex without(VideoIndex video, BrokenEnds const& ends) {
  auto& shown = video.byDisplay;
  if (ends.first + ends.last == 0) return video;
  for (size_t i = 0; i < shown.size(); ++i) {
    bool const kept = i >= ends.first && i < shown.size() - ends.last;
    video.pictures[shown[i]].display = kept ? static_cast<int32_t>(i - ends.first) : Picture::kNotShown;
  }
  shown.resize(shown.size() - ends.last);
  shown.erase(shown.begin(), shown.begin() + static_cast<std::ptrdiff_t>(ends.first));
  return video;
}

}  // namespace mfimport
