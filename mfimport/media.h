// A file or take list as one medium: clips in a row, each with its index.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mfimport/media_index.h"

namespace mfimport {

struct Media {
  std::vector<std::shared_ptr<const MediaIndex>> clips;  // at least one
  int containerType = kContainerOther;
  int64_t fileSize = 0;

  const MediaIndex& first() const { return *clips.front(); }
};

// Opens `name`, a media file or a take list of some. Null on failure, told in `result` and `error`.
std::shared_ptr<const Media> openMedia(const mediafile::FileAccess& access, const std::string& name,
                                       int searchLimitMiB, const HostCallbacks& host, int& result,
                                       std::string& error);

// One stream over all clips. Parts are in playing order and leave no gap.
struct VideoTrack {
  struct Part {
    const MediaIndex* index;
    const StreamIndex* stream;
    int64_t first, frames;  // display numbers of the whole
  };

  VideoTrack(std::shared_ptr<const Media> media, size_t streamNumber);
  const StreamIndex& stream() const { return *parts.front().stream; }
  // The part that shows `frame`, which must be in range.
  size_t partOf(int64_t frame) const;

  std::shared_ptr<const Media> media;
  std::vector<Part> parts;
  int64_t frames = 0;
};

struct AudioTrack {
  struct Part {
    const MediaIndex* index;
    const StreamIndex* stream;
    int64_t first;    // sample number of the whole
    int64_t samples;  // delivered from the clip
    int64_t silence;  // added behind them
  };

  // The samples of a clip follow those of the clip before. Where that would leave sound and picture apart by
  // a picture or more, silence is added at the joint or samples are left out, and `warn`, which may be null,
  // is told.
  AudioTrack(std::shared_ptr<const Media> media, size_t streamNumber, const HostCallbacks* warn);
  const StreamIndex& stream() const { return *parts.front().stream; }
  size_t partOf(int64_t sample) const;

  std::shared_ptr<const Media> media;
  std::vector<Part> parts;
  int64_t samples = 0;
};

// What a clip of a take list must have in common with the first one; empty when they fit together, else what
// differs.
std::string differenceOf(const MediaIndex& first, const MediaIndex& clip);

}  // namespace mfimport
