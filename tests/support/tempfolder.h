// The registry's temporary folder for a while: a new, empty one.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/registry.h"
#include "tests/support/media.h"

namespace test {

class TempFolder {
 public:
  TempFolder() : before_(ky_registry()->tempDir()) {
    static int count = 0;
    path_ = scratchDir() / ("temp" + std::to_string(count++));
    std::filesystem::create_directory(path_);
    ky_registry()->setTempDir(path_.string());
  }
  ~TempFolder() {
    ky_registry()->setTempDir(before_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  std::vector<std::filesystem::path> files() const {
    std::vector<std::filesystem::path> found;
    for (auto const& entry : std::filesystem::directory_iterator(path_)) found.push_back(entry.path());
    return found;
  }

 private:
  Any before_;
  std::filesystem::path path_;
};

}  // namespace test
