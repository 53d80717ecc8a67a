// From a file name to the medium behind it.
#pragma once

#include <memory>
#include <string>

#include "mediafile/source.h"
#include "mfimport/caller/host_callbacks.h"
#include "mfimport/caller/result.h"
#include "mfimport/takelist/media.h"

namespace mfimport {

// `name` is a media file or a take list of some. A file that is open in this process already is not read
// again.
Result<std::shared_ptr<Media const>> openMedia(mediafile::FileAccess const& access, std::string const& name,
                                               int searchLimitMiB, HostCallbacks const& host);

}  // namespace mfimport
