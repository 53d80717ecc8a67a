// A container reader of the import library, with RAII.
#pragma once

#include <memory>

#include "mfimport/mfimport.h"

struct MfStreamDeleter {
  void operator()(MfStream* stream) const { mfimportStreamFree(stream); }
};
using MfStreamPtr = std::unique_ptr<MfStream, MfStreamDeleter>;

struct MfHandleDeleter {
  void operator()(MfHandle* handle) const { mfimportFree(handle); }
};
using MfHandlePtr = std::unique_ptr<MfHandle, MfHandleDeleter>;

// Closes the file of a handle that opened one; must end before the handle.
class MfOpenFile {
 public:
  explicit MfOpenFile(MfHandle* handle) : handle_(handle) {}
  ~MfOpenFile() { mfimportFileClose(handle_); }
  MfOpenFile(MfOpenFile const&) = delete;
  MfOpenFile& operator=(MfOpenFile const&) = delete;

 private:
  MfHandle* handle_;
};

constexpr double kMfTicksPerSecond = 2.7e7;
constexpr int kMfDecodingOrder = 2;  // access mode: units as they are stored

// MPEG-1 and MPEG-2 program streams name their streams by `id`, every other container by `pid`.
inline bool identifiedById(int containerType) {
  return containerType == kContainerMpeg1System || containerType == kContainerMpeg2Program;
}
