#include "mfimport/index/picture_order.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <utility>

namespace mfimport {
namespace {

// Stamps that leap further than this start a new stretch of time.
constexpr int64_t kLeapSeconds = 10;

// An anchor picture is shown when the next anchor arrives, bidirectional ones at once.
std::vector<uint32_t> ranksWithoutStamps(std::vector<StampedPicture> const& pictures) {
  std::vector<uint32_t> ranks(pictures.size());
  uint32_t next = 0;
  size_t anchor = pictures.size();
  for (size_t i = 0; i < pictures.size(); ++i) {
    if (pictures[i].bidirectional) {
      ranks[i] = next++;
      continue;
    }
    if (anchor < pictures.size()) ranks[anchor] = next++;
    anchor = i;
  }
  if (anchor < pictures.size()) ranks[anchor] = next;
  return ranks;
}

// Pictures of H.264 and HEVC count presentation themselves, anew from each one that empties the buffer of
// pictures (ITU-T H.264 8.2.1, H.265 8.3.1).
std::vector<uint32_t> ranksByOrderCount(HostVector<Picture> const& pictures,
                                        std::vector<PacketNote> const& notes) {
  std::vector<std::pair<uint32_t, int>> places;  // sequence, order count
  places.reserve(pictures.size());
  uint32_t sequence = 0;
  for (Picture const& picture : pictures) {
    PacketNote const& note = notes[picture.packet];
    if (note.restarts) ++sequence;
    places.emplace_back(sequence, note.order);
  }
  std::vector<uint32_t> shown(pictures.size());
  std::iota(shown.begin(), shown.end(), 0U);
  std::stable_sort(shown.begin(), shown.end(), [&](uint32_t a, uint32_t b) { return places[a] < places[b]; });
  std::vector<uint32_t> ranks(pictures.size());
  for (uint32_t rank = 0; rank < shown.size(); ++rank) ranks[shown[rank]] = rank;
  return ranks;
}

// No decoder holds back more pictures than the buffer of pictures has room for.
bool areInReach(std::vector<uint32_t> const& ranks) {
  constexpr int64_t kMostHeldBack = 32;  // 16 frames, or their fields
  for (size_t i = 0; i < ranks.size(); ++i)
    if (std::llabs(int64_t{ranks[i]} - static_cast<int64_t>(i)) > kMostHeldBack) return false;
  return true;
}

bool countsPresentation(AVCodecID codec) { return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC; }

std::vector<StampedPicture> stampsOf(PacketList const& stream, HostVector<Picture> const& pictures,
                                     std::vector<PacketNote> const& notes, bool stampsMayJump) {
  std::vector<StampedPicture> stamped;
  stamped.reserve(pictures.size());
  for (Picture const& picture : pictures) {
    PacketEntry const& entry = stream.packets[picture.packet];
    stamped.push_back({entry.pts, entry.dts, notes[picture.packet].bidirectional});
    if (stampsMayJump) {
      // presentationRanks works on stamps of one clock whatever the time base; leaps are told in seconds.
      StampedPicture& last = stamped.back();
      last.dts = last.dts == AV_NOPTS_VALUE ? last.pts : last.dts;
      if (last.dts != AV_NOPTS_VALUE) last.dts = stream.to27M(last.dts);
    }
  }
  return stamped;
}

bool hasStamp(StampedPicture const& picture) { return picture.pts != AV_NOPTS_VALUE; }

// In decoding order stamps of presentation go back wherever a picture is shown before one decoded earlier.
bool neverGoBack(std::vector<StampedPicture> const& pictures) {
  return std::is_sorted(pictures.begin(), pictures.end(),
                        [](StampedPicture const& a, StampedPicture const& b) { return a.pts < b.pts; });
}

// Joins packets to pictures.
void groupPackets(std::vector<PacketNote> const& notes, HostVector<Picture>& pictures) {
  pictures.reserve(notes.size());
  for (size_t i = 0; i < notes.size(); ++i) {
    PacketNote const& note = notes[i];
    bool const further = note.continues || note.secondField;
    bool const follows = !pictures.empty() && pictures.back().packet + size_t{pictures.back().packets} == i &&
                         pictures.back().packets < UINT16_MAX;
    if (!note.coded || (note.continues && !follows)) continue;
    if (further && follows)
      ++pictures.back().packets;
    else
      pictures.push_back({static_cast<uint32_t>(i), 1, note.key, note.discard, 0, Picture::kNotShown});
  }
}

int reorderDepthOf(HostVector<Picture> const& pictures) {
  // A picture is held back by those decoded before it and shown after it.
  int depth = 0;
  std::vector<uint32_t> ahead;  // ranks decoded so far that exceed the ranks shown so far
  uint32_t shown = 0;
  std::vector<bool> decoded(pictures.size(), false);
  for (Picture const& picture : pictures) {
    decoded[picture.rank] = true;
    auto const above = std::lower_bound(ahead.begin(), ahead.end(), picture.rank);
    depth = std::max(depth, static_cast<int>(ahead.end() - above));
    ahead.insert(above, picture.rank);
    while (shown < decoded.size() && decoded[shown]) ++shown;
    ahead.erase(ahead.begin(), std::lower_bound(ahead.begin(), ahead.end(), shown));
    constexpr size_t kMostPending = 64;
    if (ahead.size() > kMostPending) ahead.erase(ahead.begin());
  }
  return depth;
}

// Gives every picture its rank.
void rankPictures(PacketList const& stream, std::vector<PacketNote> const& notes, bool stampsMayJump,
                  PictureOrder& order) {
  auto& pictures = order.pictures;
  std::vector<StampedPicture> const stamped = stampsOf(stream, pictures, notes, stampsMayJump);
  std::vector<uint32_t> ranks = presentationRanks(stamped, stampsMayJump);
  bool const allStamped = std::all_of(stamped.begin(), stamped.end(), hasStamp);
  bool const reordered =
      std::any_of(stamped.begin(), stamped.end(), [](StampedPicture const& p) { return p.bidirectional; });
  if (!allStamped || (reordered && neverGoBack(stamped))) {
    bool const counted = countsPresentation(stream.codec());
    std::vector<uint32_t> own = counted ? ranksByOrderCount(pictures, notes) : ranksWithoutStamps(stamped);
    bool const noneStamped = std::none_of(stamped.begin(), stamped.end(), hasStamp);
    if (areInReach(own)) {
      order.stampsOfDecoding = allStamped ? own != ranks : noneStamped && counted;
      ranks = std::move(own);
    }
  }
  for (size_t i = 0; i < pictures.size(); ++i) pictures[i].rank = ranks[i];
}

}  // namespace

std::vector<uint32_t> presentationRanks(std::vector<StampedPicture> const& pictures, bool stampsMayJump) {
  if (!std::all_of(pictures.begin(), pictures.end(), hasStamp)) return ranksWithoutStamps(pictures);
  std::vector<uint32_t> stretch(pictures.size(), 0);
  for (size_t i = 1; stampsMayJump && i < pictures.size(); ++i) {
    int64_t const before = pictures[i - 1].dts, now = pictures[i].dts;
    bool const known = before != AV_NOPTS_VALUE && now != AV_NOPTS_VALUE;
    bool const leap = known && std::llabs(now - before) > kLeapSeconds * kClock27M.den;
    stretch[i] = stretch[i - 1] + (leap ? 1 : 0);
  }
  std::vector<uint32_t> order(pictures.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return stretch[a] != stretch[b] ? stretch[a] < stretch[b] : pictures[a].pts < pictures[b].pts;
  });
  std::vector<uint32_t> ranks(pictures.size());
  for (size_t i = 0; i < order.size(); ++i) ranks[order[i]] = static_cast<uint32_t>(i);
  return ranks;
}

PictureOrder orderPictures(PacketList const& stream, std::vector<PacketNote> const& notes,
                           bool stampsMayJump) {
  PictureOrder order(HostMemory(stream.packets.get_allocator().memory()));
  groupPackets(notes, order.pictures);
  if (order.pictures.empty()) return order;
  rankPictures(stream, notes, stampsMayJump, order);
  while (order.firstKey < order.pictures.size() && !order.pictures[order.firstKey].key) ++order.firstKey;
  if (order.firstKey == order.pictures.size())
    order.firstKey = 0;  // no marks: any picture may be a beginning
  order.reorderDepth = reorderDepthOf(order.pictures);
  return order;
}

PictureOrder withoutLast(PictureOrder order) {
  uint32_t const rank = order.pictures.back().rank;
  order.pictures.pop_back();
  for (Picture& picture : order.pictures)
    if (picture.rank > rank) --picture.rank;
  return order;
}

bool takesLongToDecode(StreamFacts const& stream, size_t pictures) {
  constexpr int64_t kMostPixels = int64_t{128} * 1920 * 1088;
  int64_t const pixels = int64_t{stream.parameters->width} * stream.parameters->height;
  return static_cast<int64_t>(pictures) * pixels > kMostPixels;
}

bool stampsMayBeOfDecoding(PacketList const& stream) {
  switch (stream.codec()) {
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_VC1:
    case AV_CODEC_ID_WMV3:
      break;
    default:
      return false;
  }
  int64_t before = AV_NOPTS_VALUE;
  for (PacketEntry const& entry : stream.packets) {
    if (entry.pts == AV_NOPTS_VALUE) return true;
    if (before != AV_NOPTS_VALUE && entry.pts < before) return false;
    before = entry.pts;
  }
  return true;
}

}  // namespace mfimport
