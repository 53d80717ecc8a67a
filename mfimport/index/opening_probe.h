// What decoding the beginning of a stream tells.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

struct OpeningFacts {
  lav::CodecParameters parameters;  // the stream's, with the colour that the pictures tell
  FirstPicture first;
  HeaderInfo headers;
  std::vector<bool> comesOut;  // by rank: decoding from the first key picture gives the picture
  uint32_t reachedRank = 0;    // of the first picture at or behind the first key that came out; 0 for none
};

// Decodes from the first key picture on. Fails when the file cannot be read; a stream without a decoder gives
// no facts, and is listed all the same.
Result<OpeningFacts> probeOpening(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                  PacketList const& stream, PictureOrder const& order);

}  // namespace mfimport
