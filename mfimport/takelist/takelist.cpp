#include "mfimport/takelist/takelist.h"

#include <charconv>

namespace mfimport {
namespace {

constexpr std::string_view kMagic = "XMP4";

std::string_view takeLine(std::string_view& text) {
  size_t const feed = text.find('\n');
  std::string_view line = text.substr(0, feed);
  text.remove_prefix(feed == std::string_view::npos ? text.size() : feed + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string_view trimmed(std::string_view text) {
  while (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1);
  while (text.ends_with(' ') || text.ends_with('\t')) text.remove_suffix(1);
  return text;
}

bool parseClip(std::string_view line, TakeListClip& clip) {
  size_t const semicolon = line.rfind(';');
  if (semicolon == std::string_view::npos || semicolon == 0) return false;
  std::string_view const path = line.substr(0, semicolon);
  if (path.find('\0') != std::string_view::npos) return false;
  std::string_view const size = trimmed(line.substr(semicolon + 1));
  uint64_t bytes = 0;
  auto const [end, failure] = std::from_chars(size.data(), size.data() + size.size(), bytes);
  if (failure != std::errc() || end != size.data() + size.size()) return false;
  clip = {std::string(path), static_cast<uint32_t>(bytes)};
  return true;
}

}  // namespace

bool isTakeList(std::string_view beginning) {
  return beginning.starts_with(kMagic) &&
         (beginning.size() == kMagic.size() || beginning[kMagic.size()] == '\r' ||
          beginning[kMagic.size()] == '\n');
}

Result<TakeList> parseTakeList(std::string_view text) {
  auto const refused = [](std::string why) { return Error{Fault::takeList, std::move(why)}; };
  if (!isTakeList(text)) return refused("not a take list");
  TakeList list;
  takeLine(text);
  for (int number = 2; !text.empty(); ++number) {
    std::string_view const line = takeLine(text);
    if (line.empty()) continue;
    TakeListClip clip;
    if (!parseClip(line, clip))
      return refused("line " + std::to_string(number) + " of the take list is no path and size");
    list.clips.push_back(std::move(clip));
  }
  if (list.clips.empty()) return refused("the take list names no clip");
  return list;
}

}  // namespace mfimport
