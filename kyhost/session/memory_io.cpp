#include "kyhost/session/memory_io.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>

#include "host/registry.h"
#include "host/text.h"

namespace kyhost {
namespace {

std::string narrow(wchar_t const* name) {
  char utf8[4096];
  KyText::utf32ToUtf8(name, utf8, sizeof utf8);
  return utf8;
}

}  // namespace

MemoryIo::MemoryIo() {
  KyExternalDecoderIO io{};
  io.externalOpen = &open;
  io.externalOpenW = &openWide;
  io.externalSeek = &seek;
  io.externalRead = &read;
  io.externalClose = &close;
  io.externalFileSize = &fileSize;
  io.externalFileSizeW = &fileSizeWide;
  io.userData = this;
  io.enabled = 1;
  ky_registry()->setExternalDecoderIO(&io);
}

MemoryIo::~MemoryIo() { ky_registry()->setExternalDecoderIO(nullptr); }

std::shared_ptr<MemoryIo::Bytes const> MemoryIo::load(std::string const& name) {
  std::lock_guard const guard(lock_);
  if (auto loaded = files_[name].lock()) return loaded;
  std::error_code failed;
  auto const size = std::filesystem::file_size(name, failed);
  std::ifstream file(name, std::ios::binary);
  if (failed || !file) return nullptr;
  auto bytes = std::make_shared<Bytes>(size);
  if (!file.read(reinterpret_cast<char*>(bytes->data()), static_cast<std::streamsize>(size))) return nullptr;
  files_[name] = bytes;
  return bytes;
}

// The functions below are called from the decoder's library: nothing may be thrown through it.

void* MemoryIo::open(void* self, char const* name, int) {
  try {
    auto bytes = static_cast<MemoryIo*>(self)->load(name);
    return bytes ? new Handle{std::move(bytes)} : nullptr;
  } catch (std::exception const&) {
    return nullptr;
  }
}

void* MemoryIo::openWide(void* self, wchar_t const* name, int mode) {
  return open(self, narrow(name).c_str(), mode);
}

int64_t MemoryIo::seek(void*, void* handle, int64_t position, int whence) {
  auto& file = *static_cast<Handle*>(handle);
  int64_t const base = whence == SEEK_CUR   ? file.position
                       : whence == SEEK_END ? static_cast<int64_t>(file.bytes->size())
                                            : 0;
  if (position < -base) return -1;
  return file.position = base + position;
}

int MemoryIo::read(void*, void* handle, void* buffer, int bytes) {
  auto& file = *static_cast<Handle*>(handle);
  int64_t const left = static_cast<int64_t>(file.bytes->size()) - file.position;
  auto const count = static_cast<int>(std::clamp<int64_t>(left, 0, std::max(bytes, 0)));
  if (count == 0) return 0;
  std::memcpy(buffer, file.bytes->data() + file.position, static_cast<size_t>(count));
  file.position += count;
  return count;
}

int MemoryIo::close(void*, void* handle) {
  delete static_cast<Handle*>(handle);
  return 0;
}

int64_t MemoryIo::fileSize(void*, char const* name) {
  std::error_code failed;
  auto const size = std::filesystem::file_size(name, failed);
  return failed ? -1 : static_cast<int64_t>(size);
}

int64_t MemoryIo::fileSizeWide(void* self, wchar_t const* name) {
  return fileSize(self, narrow(name).c_str());
}

}  // namespace kyhost
