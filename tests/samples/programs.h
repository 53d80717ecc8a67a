#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// What a program left: exit code, standard output and standard error.
struct Outcome {
  int code = -1;
  std::string output;
  std::string errors;
};

/// Runs a shell command.
Outcome run(std::string const& command);

/// A folder of its own, removed with the object.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(ScratchFolder const&) = delete;
  ScratchFolder& operator=(ScratchFolder const&) = delete;

  std::filesystem::path const& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::string readFile(std::filesystem::path const& path);
