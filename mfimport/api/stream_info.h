// From the index to the records of the public interface.
#pragma once

#include <optional>
#include <vector>

#include "mfimport/takelist/media.h"

namespace mfimport {

// The numbers that streams have in the public interface.
struct StreamTable {
  explicit StreamTable(Media const& media);

  std::vector<size_t> video;  // stream numbers of the index, in order
  std::vector<size_t> audio[kAudioFormats];
  std::vector<size_t> subpictures;
  std::vector<MpegStreamId> videoId, audioId[kAudioFormats], subpictureId;
  int unknownVideo = 0, unknownAudio = 0;

  // The first audio stream in the order of formats.
  std::optional<size_t> firstAudio() const;
};

// Facts of one stream; frame and sample counts are those of the whole medium.
MpegVideoInfo videoInfo(Media const& media, size_t streamNumber);
MpegAudioInfo audioInfo(std::shared_ptr<Media const> const& media, size_t streamNumber);

// True when at least one of `streams` can be decoded.
bool anyDecoder(Media const& media, std::vector<size_t> const& streams);

}  // namespace mfimport
