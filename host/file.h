// Files by name. Paths are values that hold narrow (UTF-8 or raw bytes) or wide text.
#pragma once

#include <cstdint>
#include <cstdio>

#include "host/any.h"
#include "host/api.h"

class KY_API KyFile {
 public:
  // Null on failure. `mode` as fopen has it.
  static std::FILE* fopen(Any const& path, char const* mode);
  static int fclose(std::FILE* file);
  // Bytes read or written.
  static long fread_(void* buffer, long bytes, std::FILE* file);
  static long fwrite_(void const* buffer, long bytes, std::FILE* file);
  static int64_t flength(Any const& path);  // bytes, -1 on failure
  // Extension of the last path component without the dot, "" when there is none (a leading dot starts no
  // extension); lower-cased (ASCII) when `lower`.
  static Any getExt(Any const& path, bool lower);
  static bool isDir(Any const& path);
  static Any joinPath(Any const& folder, Any const& name);
  static int mkdir(Any const& path);  // 0700; fails when it exists
  static int rm(Any const& path);     // one file
  static int rmdir(Any const& path);  // a folder with all it holds; symbolic links are removed, not followed
  static Any osFname(Any const& path);  // the name as the operating system takes it, narrow
  // A name in the temporary folder that nobody can guess and that did not exist: "<prefix>_<random>.<ext>",
  // without the dot when `ext` is null or empty. Nothing is created.
  static Any tempFileName(char const* prefix, char const* ext);
};

// Null on failure. The caller closes it with std::fclose.
KY_API std::FILE* kyfopen(Any const& path, char const* mode);
KY_API char const* path_separator();
