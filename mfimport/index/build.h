// From an open file to its index, in stages that each take values and give one:
//
//   describe(container) -> what the clip and its streams are
//   scan(container)     -> packets, and notes about them
//   order(packets)      -> pictures and their ranks
//   probe(pictures)     -> facts that decoding both ends of the stream tells, and the numbers of the pictures
//   count(packets)      -> samples of each packet
//
// One handle and one demultiplexer serve them all. A stage that fails ends the building with its error.
#pragma once

#include <string>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// `searchLimitMiB`: read at most to find out what the streams are; 0 for the default.
Result<MediaIndex> buildIndex(OpenedFile opened, std::string const& name, int searchLimitMiB,
                              HostMemory const& memory);

}  // namespace mfimport
