// Where this library meets its caller: records of the public interface become ours, and our failures its
// codes and messages.
#pragma once

#include <string>

#include "mediafile/source.h"
#include "mfimport/caller/host_callbacks.h"
#include "mfimport/caller/result.h"
#include "mfimport/mfimport.h"

namespace mfimport {

// The file functions of the public interface as an access; from the file system when they are off.
mediafile::FileAccess accessOf(MpegExternalIo const& io, std::string const& name);

// MpegResult of a failure while a file is opened, and of one while pictures or samples are read. The latter
// tells no more than that: what cannot be read now may be readable later.
int openingCode(Fault fault);
int decodingCode(Fault fault);

// Tells the caller that `name` cannot be opened. The code.
int reportOpening(HostCallbacks const& host, std::string const& name, Error const& error);

}  // namespace mfimport
