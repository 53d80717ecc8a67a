// Indexes of the files that are open in this process.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// The index of `name` while somebody holds it; null when nobody does. Safe in any thread.
std::shared_ptr<MediaIndex const> knownIndex(mediafile::FileAccess const& access, std::string const& name,
                                             int searchLimitMiB);

// The same, built now where there is none, from `opened` where that is given. A second opener of a file waits
// for the first. Safe in any thread.
Result<std::shared_ptr<MediaIndex const>> acquireIndex(mediafile::FileAccess const& access,
                                                       std::string const& name, int searchLimitMiB,
                                                       HostCallbacks const& host,
                                                       std::optional<OpenedFile> opened = std::nullopt);

}  // namespace mfimport
