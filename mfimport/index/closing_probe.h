// The last picture of a file that was cut.
#pragma once

#include <memory>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// Whether the container tells that the last picture is there with all its bytes: packets are counted in a
// table or have a length of their own. Others a recording may leave, or a copy cut, anywhere.
bool containerVouchesForTheEnd(mediafile::ByteSource& source, ClipFacts const& clip, PacketList const& stream,
                               PictureOrder const& order);

// Whether the picture decoded last is there with all its bytes, found out by decoding the last group of
// pictures; true of groups that take too long, and of streams without a decoder. Fails when the file cannot
// be read.
Result<bool> lastPictureIsWhole(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                PacketList const& stream, PictureOrder const& order);

}  // namespace mfimport
