#include "mfimport/video/exact_pictures.h"

namespace mfimport {

ExactPictures::ExactPictures(ClipFacts const& clip, StreamIndex const& stream, ClipAccess const& access,
                             HostMemory const& memory)
    : stream_(stream), source_(clip, stream, access, memory, stats_, Care::exact) {}

Result<std::shared_ptr<DecodedPicture const>> ExactPictures::find(size_t display) {
  if (!open_) {
    if (auto const opened = source_.open({}); !opened) return opened.error();
  }
  open_ = true;
  bool damaged = false;
  VideoIndex const& video = stream_.video();
  size_t start = source_.startFor(display);
  for (int beginning = 0; beginning < kMostBeginnings; ++beginning) {
    std::shared_ptr<DecodedPicture const> found = from(start, static_cast<int64_t>(display));
    if (found && found->whole && source_.beganEarlyEnoughFor(display)) return found;
    damaged = damaged || found;
    if (start == video.firstKey || source_.unreadable()) break;
    start = video.keyBefore(start);
  }
  if (damaged) return failed("it is damaged or refers to pictures that are not there");
  return failed(source_.complaint().empty() ? "it cannot be decoded" : source_.complaint());
}

// Decodes until `display` comes out. Null when it does not.
std::shared_ptr<DecodedPicture const> ExactPictures::from(size_t start, int64_t display) {
  if (auto const first = firstOut_.find(start); first != firstOut_.end() && display < first->second)
    return nullptr;
  if (begunAt_ != start || display <= lastOut_ || source_.unreadable()) {
    held_.reset();
    begunAt_.reset();
    if (!source_.begin(start)) return nullptr;
    begunAt_ = start;
    lastOut_ = source_.passed() - 1;
  }
  for (;;) {
    if (!held_) {
      std::optional<DecodedPicture> decoded = source_.next();
      if (!decoded) return nullptr;
      held_ = std::make_shared<DecodedPicture const>(std::move(*decoded));
      firstOut_.try_emplace(start, held_->frame->pts);
    }
    if (held_->frame->pts > display) return nullptr;
    std::shared_ptr<DecodedPicture const> picture = std::move(held_);
    held_.reset();
    lastOut_ = picture->frame->pts;
    if (lastOut_ == display) return picture;
  }
}

}  // namespace mfimport
