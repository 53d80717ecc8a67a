#include "mfimport/index/video_index.h"

#include <algorithm>
#include <utility>

#include "mfimport/index/broken_ends.h"
#include "mfimport/index/closing_probe.h"
#include "mfimport/index/frame_rate.h"
#include "mfimport/index/opening_probe.h"
#include "mfimport/index/picture_order.h"

namespace mfimport {
namespace {

// N and M of the first group of pictures.
void measureGroups(VideoIndex& video) {
  auto const& pictures = video.pictures;
  if (video.firstKey >= pictures.size()) return;
  size_t nextKey = video.firstKey + 1;
  while (nextKey < pictures.size() && !pictures[nextKey].key) ++nextKey;
  // Counted in presentation: in decoding, a key picture overtakes those that are shown before it. What is
  // left of a file without a second key picture is one group.
  uint32_t const firstRank = pictures[video.firstKey].rank;
  video.gopN = static_cast<int>(nextKey < pictures.size() ? pictures[nextKey].rank - firstRank
                                                          : nextKey - video.firstKey);
  // Anchors are the pictures that go beyond all before them in presentation.
  video.gopM = 1;
  for (size_t i = video.firstKey + 1; i < pictures.size(); ++i) {
    if (pictures[i].rank <= firstRank) continue;
    video.gopM = static_cast<int>(pictures[i].rank - firstRank);
    break;
  }
}

// An open first group of pictures has leading pictures that refer to a group which is not there: of those
// before the first one that came out, only those that came out too are shown.
VideoIndex numberForDisplay(PictureOrder order, OpeningFacts const& facts) {
  VideoIndex video(std::move(order));
  auto& pictures = video.pictures;
  std::vector<uint32_t> byRank(pictures.size());
  for (size_t i = 0; i < pictures.size(); ++i) byRank[pictures[i].rank] = static_cast<uint32_t>(i);
  uint32_t const opening = std::max(facts.reachedRank, pictures[video.firstKey].rank);
  video.byDisplay.reserve(pictures.size());
  for (size_t rank = 0; rank < byRank.size(); ++rank) {
    Picture& picture = pictures[byRank[rank]];
    if (picture.hidden || byRank[rank] < video.firstKey) continue;
    if (rank < opening && !facts.comesOut[rank]) continue;
    picture.display = static_cast<int32_t>(video.byDisplay.size());
    video.byDisplay.push_back(byRank[rank]);
  }
  video.first = facts.first;
  video.headers = facts.headers;
  return video;
}

}  // namespace

Result<StreamIndex> indexVideo(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip, PacketList list,
                               std::vector<PacketNote> const& notes) {
  PictureOrder order = orderPictures(list, notes, clip.bytePositions);
  if (order.pictures.empty()) return StreamIndex(std::move(list), VideoIndex(std::move(order)));
  // What never comes out whole has no number, and decoders let it get in the way of others.
  bool const vouched = containerVouchesForTheEnd(file->source(), clip, list, order);
  if (!vouched) {
    auto const whole = lastPictureIsWhole(file, clip, list, order);
    if (!whole) return whole.error();
    if (!*whole) order = withoutLast(std::move(order));
  }
  auto opening = probeOpening(file, clip, list, order);
  if (!opening) return opening.error();
  list.parameters = std::move(opening->parameters);
  StreamIndex stream(std::move(list), numberForDisplay(std::move(order), *opening));
  // Streams that can be cut anywhere; other containers list pictures that are there as a whole.
  if (clip.bytePositions) {
    auto const ends = findBrokenEnds(file, clip, stream, !vouched);
    if (!ends) return ends.error();
    stream.content = without(std::move(stream.video()), *ends);
  }
  measureGroups(stream.video());
  FrameRates const rates = measureRates(clip, stream, notes);
  stream.video().rate = rates.rate;
  stream.video().displayedRate = rates.displayed;
  return stream;
}

}  // namespace mfimport
