#include "mfimport/index/cache.h"

#include <map>
#include <mutex>
#include <utility>

#include "mfimport/index/build.h"

namespace mfimport {
namespace {

// One entry per file content. The slot's own lock lets a second opener of a file wait for the first instead
// of indexing it again, without holding up those of other files.
struct Slot {
  std::mutex mutex;
  std::weak_ptr<MediaIndex const> index;
};

class IndexCache {
 public:
  std::shared_ptr<Slot> slot(std::string const& identity) {
    std::lock_guard const lock(mutex_);
    std::erase_if(slots_, [](auto const& entry) {
      if (entry.second.use_count() != 1) return false;
      std::unique_lock const idle(entry.second->mutex, std::try_to_lock);
      return idle && entry.second->index.expired();
    });
    std::shared_ptr<Slot>& slot = slots_[identity];
    if (!slot) slot = std::make_shared<Slot>();
    return slot;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Slot>> slots_;
};

IndexCache& cache() {
  static IndexCache instance;
  return instance;
}

// Empty when the file cannot be examined.
std::string keyOf(mediafile::FileAccess const& access, std::string const& name, int searchLimitMiB) {
  std::string const identity = access.identity(name);
  return identity.empty() ? identity : identity + " " + std::to_string(searchLimitMiB);
}

}  // namespace

std::shared_ptr<MediaIndex const> knownIndex(mediafile::FileAccess const& access, std::string const& name,
                                             int searchLimitMiB) {
  std::string const key = keyOf(access, name, searchLimitMiB);
  if (key.empty()) return nullptr;
  std::shared_ptr<Slot> const slot = cache().slot(key);
  std::lock_guard const lock(slot->mutex);
  return slot->index.lock();
}

Result<std::shared_ptr<MediaIndex const>> acquireIndex(mediafile::FileAccess const& access,
                                                       std::string const& name, int searchLimitMiB,
                                                       HostCallbacks const& host,
                                                       std::optional<OpenedFile> opened) {
  std::string const key = keyOf(access, name, searchLimitMiB);
  std::shared_ptr<Slot> const slot = key.empty() ? std::make_shared<Slot>() : cache().slot(key);
  std::lock_guard const lock(slot->mutex);
  if (auto known = slot->index.lock()) return known;
  if (!opened) {
    auto file = openFile(access, name);
    if (!file) return file.error();
    opened = file.take();
  }
  auto built = buildIndex(std::move(*opened), name, searchLimitMiB, host.memory());
  if (!built) return built.error();
  auto const index = std::make_shared<MediaIndex const>(built.take());
  slot->index = index;
  return {index};
}

}  // namespace mfimport
