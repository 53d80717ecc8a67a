// A file whose beginning and end stay in memory once they have been read.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "mediafile/source.h"

namespace mediafile {

// Reads through `file`. What lies within the first or the last `most` bytes is read from it once; anything
// else every time. For whoever comes back to both ends of a file that is read from beginning to end in
// between.
class KeptBytes final : public ByteSource {
 public:
  KeptBytes(std::unique_ptr<ByteSource> file, int64_t most) : file_(std::move(file)), most_(most) {}

  int64_t size() const override { return file_->size(); }
  int64_t readAt(int64_t position, std::span<uint8_t> out) override;
  void abandon(std::string const& reason) override { file_->abandon(reason); }

 private:
  // Bytes without a gap.
  struct Run {
    int64_t begin = 0;
    std::vector<uint8_t> bytes;

    int64_t end() const { return begin + static_cast<int64_t>(bytes.size()); }
    bool holds(int64_t position) const { return position >= begin && position < end(); }
  };

  size_t copyKept(int64_t position, std::span<uint8_t> out) const;
  int64_t nextKept(int64_t position) const;
  void keep(int64_t position, std::span<uint8_t const> bytes);

  std::unique_ptr<ByteSource> file_;
  int64_t most_;
  std::vector<Run> runs_;  // without overlap, at most kMostRuns
};

}  // namespace mediafile
