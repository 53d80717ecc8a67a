#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

// A fresh folder that goes with the object.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "host_test_XXXXXX").string();
    path = ::mkdtemp(pattern.data());
  }
  ~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(path, error);
  }
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;

  std::string in(std::string_view name) const { return (path / name).string(); }
  std::string write(std::string_view name, std::string_view text) const {
    std::filesystem::create_directories((path / name).parent_path());
    std::ofstream(path / name, std::ios::binary) << text;
    return in(name);
  }

  std::filesystem::path path;
};
