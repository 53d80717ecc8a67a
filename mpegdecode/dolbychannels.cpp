// Channels of Dolby streams by name and place.
#include <iterator>
#include <utility>
#include <vector>

#include "host/log.h"
#include "mpegdecode/mpegindec.h"

namespace {

using NamedChannels = std::vector<std::pair<char const*, int>>;

// Channels in bitstream order (ATSC A/52 table 5.8) with their place in the delivered samples, which follow
// WAVE order: front left, front right, front centre, LFE, surround.
NamedChannels dolbyChannels(MpegAudioInfo const& audio) {
  int const lfe = audio.lfeon ? 1 : 0;
  NamedChannels channels;
  switch (audio.acmod) {
    case 0:
      channels = {{"Ch1", 0}, {"Ch2", 1}};
      break;
    case 1:
      channels = {{"C", 0}};
      break;
    case 2:
      channels = {{"L", 0}, {"R", 1}};
      break;
    case 3:
      channels = {{"L", 0}, {"C", 2}, {"R", 1}};
      break;
    case 4:
      channels = {{"L", 0}, {"R", 1}, {"S", 2 + lfe}};
      break;
    case 5:
      channels = {{"L", 0}, {"C", 2}, {"R", 1}, {"S", 3 + lfe}};
      break;
    case 6:
      channels = {{"L", 0}, {"R", 1}, {"Ls", 2 + lfe}, {"Rs", 3 + lfe}};
      break;
    case 7:
      channels = {{"L", 0}, {"C", 2}, {"R", 1}, {"Ls", 3 + lfe}, {"Rs", 4 + lfe}};
      break;
    default:
      return {};
  }
  if (lfe) {
    // Behind the front channels.
    static constexpr int kFront[] = {2, 1, 2, 3, 2, 3, 2, 3};
    channels.emplace_back("LFE", kFront[audio.acmod]);
  }
  return channels;
}

}  // namespace

// The Dolby stream that a query names, or null.
MpegInAudioStream const* MpegInDec::dolbyStream(Any const& argument) const {
  int const index = argument.isInt32() ? argument.asInt32() : 0;
  if (index < 0) {
    ky_dbg()->log(kLogError, "[mpegdec] get 'dolby' - invalid stream number %d", index);
    return nullptr;
  }
  MpegInAudioStream const* const stream = audio(index);
  if (!stream || stream->format != kAudioDolby || !stream->decoder) return nullptr;
  // What passes through undecoded has no output channels to name.
  return stream->decoder->smartRenderOnly ? nullptr : stream;
}

void MpegInDec::getDolbyParam(Any const& argument, Any& value) const {
  MpegInAudioStream const* const stream = dolbyStream(argument);
  if (!stream) return;
  AnyDict names;
  for (auto const& [channelName, place] : dolbyChannels(stream->decoder->audio))
    names.set(channelName, place);
  if (!names.empty()) value = names;
}

void MpegInDec::getChannelMapping(Any const& argument, Any& value) const {
  MpegInAudioStream const* const stream = dolbyStream(argument);
  if (!stream) return;
  AnyVector places;
  for (auto const& [channelName, place] : dolbyChannels(stream->decoder->audio)) places.append(place);
  if (!places.empty()) value = places;
}
