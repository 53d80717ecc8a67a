// Runs the built program as its users do.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace program {

struct Outcome {
  int code = -1;  // 128 + n when a signal ended the shell's child
  std::string output;
  std::string errors;
};

// A folder of one test, empty at its begin and removed at its end.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }
  // Names of what it holds, hidden files too, sorted.
  std::vector<std::string> entries() const;
  std::filesystem::path write(std::string const& name, std::string const& text) const;

 private:
  std::filesystem::path path_;
};

// A shell command with the two outputs taken apart.
Outcome shell(std::string const& command);

// kyhost with the built plug-in, or with the scripted one.
Outcome kyhost(std::string const& arguments);
Outcome scripted(std::string const& arguments);
// Their command lines, for pipes and environments.
std::string kyhostCommand(std::string const& arguments);
std::string scriptedCommand(std::string const& arguments);

std::string fileText(std::filesystem::path const& path);
std::vector<uint8_t> fileBytes(std::filesystem::path const& path);

}  // namespace program
