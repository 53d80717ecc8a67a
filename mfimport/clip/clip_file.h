// A clip's file and its demultiplexer, which readers use in turn.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "mediafile/container.h"
#include "mediafile/source.h"
#include "mfimport/caller/result.h"
#include "mfimport/clip/media_index.h"

namespace mfimport {

// A file that is open, and where its reads may fail one by one who is told of it.
struct OpenedFile {
  std::unique_ptr<mediafile::ByteSource> source;
  std::shared_ptr<mediafile::ReadWatch> watch;
};
Result<OpenedFile> openFile(mediafile::FileAccess const& access, std::string const& name);

// One handle, one demultiplexer. One thread at a time; readers of several streams may share it, each going on
// where it needs to.
class ClipFile {
 public:
  // The demultiplexer may read `probeBytes` to find out what the streams are.
  ClipFile(OpenedFile file, std::string name, int64_t probeBytes);

  mediafile::ByteSource& source() { return *source_; }
  std::string const& name() const { return name_; }
  int64_t probeBytes() const { return options_.probeBytes; }

  // The demultiplexer: opened by the first call, the same one then until it is closed. Fails with what went
  // wrong in reading, where that is why it cannot be opened.
  Result<mediafile::Container*> container();
  // How long opening it may make no progress in reading.
  void setPatience(std::chrono::milliseconds patience) { options_.patience = patience; }
  // What it has buffered is not what the file holds: the next call of container() opens it anew.
  void closeContainer() { container_.reset(); }

  // Makes `reader` the one that moves the demultiplexer. False when it was not so already: then it stands
  // anywhere, or where it has not been read from since its opening, at the beginning.
  bool claim(void const* reader);
  bool untouched() const { return user_ == nullptr; }

  // The first read that failed, if one has: whatever was made of the file then is that of a shorter one.
  Result<void> health() const;

 private:
  std::shared_ptr<mediafile::ByteSource> source_;
  std::shared_ptr<mediafile::ReadWatch> watch_;
  std::string name_;
  mediafile::ContainerOptions options_;
  std::unique_ptr<mediafile::Container> container_;
  void const* user_ = nullptr;
};

// How the readers of a clip come by its file: each opens its own, so that they may be used in different
// threads, or all of them share one.
class ClipAccess {
 public:
  ClipAccess(mediafile::FileAccess access) : access_(std::move(access)) {}
  ClipAccess(std::shared_ptr<ClipFile> shared) : shared_(std::move(shared)) {}

  Result<std::shared_ptr<ClipFile>> open(ClipFacts const& clip) const;

 private:
  mediafile::FileAccess access_;
  std::shared_ptr<ClipFile> shared_;
};

}  // namespace mfimport
