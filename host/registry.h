#pragma once

#include <cstdint>
#include <memory>

#include "host/any.h"
#include "host/api.h"

// File access that a host supplies in place of the system's. All functions get `userData` first; `mode` is 0
// for reading; `whence` as fseek has it; read gives bytes, 0 at the end, negative on error; sizes are bytes,
// negative on error. The functions may be called from any thread that drives a decoder.
struct KyExternalDecoderIO {
  void* (*externalOpen)(void* userData, char const* name, int mode);
  void* (*externalOpenW)(void* userData, wchar_t const* name, int mode);
  int64_t (*externalSeek)(void* userData, void* handle, int64_t position, int whence);
  int (*externalRead)(void* userData, void* handle, void* buffer, int bytes);
  int (*externalClose)(void* userData, void* handle);
  int64_t (*externalFileSize)(void* userData, char const* name);
  int64_t (*externalFileSizeW)(void* userData, wchar_t const* name);
  void* userData;
  int enabled;  // 1: every open uses these functions, 0: only decoders that ask for them
};

// Settings of the host program. Any thread may use it.
class KY_API KyRegistry {
 public:
  // Folder for temporary files. Default: KY_TEMP_DIR, else TMPDIR, else "/tmp".
  Any tempDir() const;
  void setTempDir(Any const& path);
  // A debug option's value, invalid when unset. Defaults come from KY_DEBUG_OPTIONS, as "log_progress=1,..";
  // a name alone counts as 1, whole numbers are int32.
  Any getDbgOption(char const* name) const;
  void setDbgOption(char const* name, Any const& value);
  // Null when the host has none. What is handed out stays as it is, also when another record replaces it.
  std::shared_ptr<KyExternalDecoderIO const> externalDecoderIO() const;
  // Copies the record; null removes it.
  void setExternalDecoderIO(KyExternalDecoderIO const* io);

 private:
  friend KY_API KyRegistry* ky_registry();
  KyRegistry();
  ~KyRegistry();
  struct State;
  std::unique_ptr<State> state_;
};
KY_API KyRegistry* ky_registry();
