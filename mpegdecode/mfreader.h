// A container reader of the import library, with RAII.
#pragma once

#include <memory>
#include <type_traits>

#include "mfimport/mfimport.h"

// The result of a call of the reader. They raise nothing by contract; what one raises all the same counts as
// its failure.
template <class Call>
auto mfCall(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (...) {
    if constexpr (std::is_pointer_v<decltype(call())>)
      return nullptr;
    else
      return kMpegError;
  }
}

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

// System, program and transport streams begin anywhere in a recording: what their headers promise first may
// not be decodable, and sound may begin long behind the pictures.
inline bool hasMeasuredStamps(int containerType) {
  return mpegIsProgramStream(containerType) || mpegIsTransportStream(containerType);
}
