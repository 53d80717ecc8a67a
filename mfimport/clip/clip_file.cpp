#include "mfimport/clip/clip_file.h"

#include <utility>

namespace mfimport {

Result<OpenedFile> openFile(mediafile::FileAccess const& access, std::string const& name) {
  auto watch = std::make_shared<mediafile::ReadWatch>();
  auto source = access.watchedBy(watch).open(name);
  if (!source) return source.error();
  return OpenedFile{source.take(), std::move(watch)};
}

ClipFile::ClipFile(OpenedFile file, std::string name, int64_t probeBytes)
    : source_(std::move(file.source)), watch_(std::move(file.watch)), name_(std::move(name)) {
  options_.probeBytes = probeBytes;
}

Result<mediafile::Container*> ClipFile::container() {
  if (!container_) {
    auto opened = mediafile::Container::open(source_, name_, options_);
    if (auto const read = health(); !read) return read.error();
    if (!opened) return opened.error();
    container_ = opened.take();
    user_ = nullptr;
  }
  return container_.get();
}

bool ClipFile::claim(void const* reader) {
  bool const had = user_ == reader;
  user_ = reader;
  return had;
}

Result<void> ClipFile::health() const {
  if (watch_ && watch_->failed()) return Error{Fault::unreadable, watch_->reason()};
  return {};
}

Result<std::shared_ptr<ClipFile>> ClipAccess::open(ClipFacts const& clip) const {
  if (shared_) return shared_;
  auto file = openFile(access_, clip.name);
  if (!file) return file.error();
  return {std::make_shared<ClipFile>(file.take(), clip.name, clip.probeBytes)};
}

}  // namespace mfimport
