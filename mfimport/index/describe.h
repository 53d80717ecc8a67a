// What the container says of a file and of its streams, before any packet has been listed.
#pragma once

#include <string>
#include <vector>

#include "mediafile/container.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

ClipFacts describeClip(mediafile::Container& container, std::string const& name, int64_t probeBytes);

// The streams that have a number, in its order.
std::vector<StreamFacts> describeStreams(mediafile::Container const& container, int containerType);

}  // namespace mfimport
