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
Outcome run(const std::string& command);

/// A folder of its own, removed with the object.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);
