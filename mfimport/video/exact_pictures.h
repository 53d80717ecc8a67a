// Pictures of a clip that has damage: each is the same whichever way it is reached, or an error.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "mfimport/video/picture_source.h"

namespace mfimport {

// Decodes with one thread, and every picture from a beginning that the picture alone decides: errors are
// filled in from what has been decoded before, so only the way there makes them the same each time. Slow
// beside a decoder that goes on from picture to picture, and meant for the groups of pictures in which that
// one met damage. One thread at a time; clip and stream must outlive it.
class ExactPictures {
 public:
  ExactPictures(ClipFacts const& clip, StreamIndex const& stream, ClipAccess const& access,
                HostMemory const& memory);

  // The picture shown as number `display`, which must be in range. Fails when it cannot be decoded or is not
  // whole.
  Result<std::shared_ptr<DecodedPicture const>> find(size_t display);

  // Whether there was damage since the beginning that the last picture was decoded from.
  bool metDamage() const { return source_.damagedSince(begunAt_.value_or(0)); }

 private:
  std::shared_ptr<DecodedPicture const> from(size_t start, int64_t display);

  StreamIndex const& stream_;
  MpegDecodeStats stats_{};
  PictureSource source_;
  bool open_ = false;
  std::optional<size_t> begunAt_;
  int64_t lastOut_ = -1;
  std::shared_ptr<DecodedPicture const> held_;  // came out beyond the picture that was looked for
  std::map<size_t, int64_t> firstOut_;          // by beginning, where known
};

}  // namespace mfimport
