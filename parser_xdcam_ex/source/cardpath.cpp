#include "parser_xdcam_ex/source/cardpath.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCardFolder = "BPAV";

bool alike(std::string_view a, std::string_view b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// The entry of `folder` alike `name`, the first in the order of their names; empty when there is none.
std::string entryAlike(fs::path const& folder, std::string_view name) {
  std::string found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::string spelled = entry->path().filename().string();
    if (alike(spelled, name) && (found.empty() || spelled < found)) found = std::move(spelled);
  }
  return found;
}

}  // namespace

std::optional<CardPath> splitCardPath(std::string_view path) {
  for (std::size_t end = path.rfind('/'); end != std::string_view::npos && end > 0;
       end = path.rfind('/', end - 1)) {
    std::size_t const before = path.rfind('/', end - 1);
    std::size_t const begin = before == std::string_view::npos ? 0 : before + 1;
    if (alike(path.substr(begin, end - begin), kCardFolder))
      return CardPath{std::string(path.substr(0, end + 1)), std::string(path.substr(end + 1))};
  }
  return std::nullopt;
}

std::string spelledAsThere(std::string const& folder, std::string_view file) {
  std::error_code error;
  if (fs::exists(fs::path(folder) / file, error)) return std::string(file);
  fs::path spelled;
  for (fs::path const& name : fs::path(file)) {
    if (fs::exists(folder / spelled / name, error)) {
      spelled /= name;
      continue;
    }
    std::string const entry = entryAlike(folder / spelled, name.native());
    if (entry.empty()) return std::string(file);
    spelled /= entry;
  }
  return spelled.string();
}
