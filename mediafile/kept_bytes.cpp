#include "mediafile/kept_bytes.h"

#include <algorithm>
#include <cstdint>

namespace mediafile {

int64_t KeptBytes::readAt(int64_t position, std::span<uint8_t> out) {
  size_t done = 0;
  while (done < out.size()) {
    int64_t const at = position + static_cast<int64_t>(done);
    if (size_t const copied = copyKept(at, out.subspan(done)); copied > 0) {
      done += copied;
      continue;
    }
    auto const wanted =
        static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(out.size() - done), nextKept(at) - at));
    int64_t const got = file_->readAt(at, out.subspan(done, wanted));
    if (got < 0) return got;
    keep(at, out.subspan(done, static_cast<size_t>(got)));
    done += static_cast<size_t>(got);
    if (static_cast<size_t>(got) < wanted) break;
  }
  return static_cast<int64_t>(done);
}

size_t KeptBytes::copyKept(int64_t position, std::span<uint8_t> out) const {
  for (Run const& run : runs_) {
    if (!run.holds(position)) continue;
    size_t const count = std::min(out.size(), static_cast<size_t>(run.end() - position));
    std::copy_n(run.bytes.begin() + (position - run.begin), count, out.begin());
    return count;
  }
  return 0;
}

// Where the next kept byte behind `position` lies, which is not kept itself.
int64_t KeptBytes::nextKept(int64_t position) const {
  int64_t next = INT64_MAX;
  for (Run const& run : runs_)
    if (run.begin > position) next = std::min(next, run.begin);
  return next;
}

void KeptBytes::keep(int64_t position, std::span<uint8_t const> bytes) {
  constexpr size_t kMostRuns = 8;
  bool const atTheEnd = position >= size() - most_;
  if (!atTheEnd && position >= most_) return;
  if (!atTheEnd) bytes = bytes.first(std::min(bytes.size(), static_cast<size_t>(most_ - position)));
  auto run = std::find_if(runs_.begin(), runs_.end(), [&](Run const& at) { return at.end() == position; });
  if (run == runs_.end() && runs_.size() == kMostRuns) return;
  if (run == runs_.end()) run = runs_.insert(run, {position, {}});
  run->bytes.insert(run->bytes.end(), bytes.begin(), bytes.end());
}

}  // namespace mediafile
