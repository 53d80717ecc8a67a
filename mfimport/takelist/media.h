// A file or take list as one medium: clips in a row, each with its index.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mfimport/clip/media_index.h"

namespace mfimport {

struct Media {
  std::vector<std::shared_ptr<MediaIndex const>> clips;  // at least one
  int containerType = kContainerOther;
  int64_t fileSize = 0;

  MediaIndex const& first() const { return *clips.front(); }
};

// One stream over all clips. Parts are in playing order and leave no gap.
struct VideoTrack {
  struct Part {
    MediaIndex const* index;
    StreamIndex const* stream;
    int64_t first, frames;  // display numbers of the whole
  };

  VideoTrack(std::shared_ptr<Media const> media, size_t streamNumber);
  StreamIndex const& stream() const { return *parts.front().stream; }
  // The part that shows `frame`, which must be in range.
  size_t partOf(int64_t frame) const;

  std::shared_ptr<Media const> media;
  std::vector<Part> parts;
  int64_t frames = 0;
};

struct AudioTrack {
  struct Part {
    MediaIndex const* index;
    StreamIndex const* stream;
    int64_t first;    // sample number of the whole
    int64_t samples;  // delivered from the clip
    int64_t silence;  // added behind them
  };

  // The samples of a clip follow those of the clip before. Where that would leave sound and picture apart by
  // a picture or more, silence is added at the joint or samples are left out, and `warn`, which may be null,
  // is told.
  AudioTrack(std::shared_ptr<Media const> media, size_t streamNumber, HostCallbacks const* warn);
  StreamIndex const& stream() const { return *parts.front().stream; }
  size_t partOf(int64_t sample) const;

  std::shared_ptr<Media const> media;
  std::vector<Part> parts;
  int64_t samples = 0;
};

// What a clip of a take list must have in common with the first one; empty when they fit together, else what
// differs.
std::string differenceOf(MediaIndex const& first, MediaIndex const& clip);

}  // namespace mfimport
