#include "tests/kyhost/program.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace program {

Folder::Folder() {
  std::string pattern = (fs::temp_directory_path() / "kyhost-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::vector<std::string> Folder::entries() const {
  std::vector<std::string> names;
  for (auto const& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

fs::path Folder::write(std::string const& name, std::string const& text) const {
  std::ofstream(path_ / name, std::ios::binary) << text;
  return path_ / name;
}

Outcome shell(std::string const& command) {
  Folder const scratch;
  fs::path const errors = scratch / "errors";
  Outcome outcome;
  std::FILE* const pipe = ::popen(("{ " + command + "\n} 2>" + errors.string()).c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::array<char, 65536> buffer;
  while (size_t const bytes = std::fread(buffer.data(), 1, buffer.size(), pipe))
    outcome.output.append(buffer.data(), bytes);
  int const status = ::pclose(pipe);
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  outcome.errors = fileText(errors);
  return outcome;
}

std::string kyhostCommand(std::string const& arguments) { return KY_BIN_DIR "/kyhost " + arguments; }

std::string scriptedCommand(std::string const& arguments) {
  return kyhostCommand(arguments + " --plugin " KY_SCRIPTED_PLUGIN);
}

Outcome kyhost(std::string const& arguments) { return shell(kyhostCommand(arguments)); }
Outcome scripted(std::string const& arguments) { return shell(scriptedCommand(arguments)); }

std::string fileText(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<uint8_t> fileBytes(fs::path const& path) {
  std::string const text = fileText(path);
  return {text.begin(), text.end()};
}

}  // namespace program
