#include "tests/samples/programs.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

ScratchFolder::ScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "samples-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch folder");
  path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Outcome run(std::string const& command) {
  ScratchFolder const scratch;
  std::filesystem::path const errors = scratch.path() / "errors";
  Outcome outcome;
  std::FILE* pipe = ::popen(("{ " + command + "\n} 2>" + errors.string()).c_str(), "r");
  if (pipe == nullptr) return outcome;
  std::array<char, 1 << 16> piece{};
  while (std::size_t const count = std::fread(piece.data(), 1, piece.size(), pipe))
    outcome.output.append(piece.data(), count);
  int const status = ::pclose(pipe);
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.errors = readFile(errors);
  return outcome;
}
