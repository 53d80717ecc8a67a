#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Folder of the card that a path lies in, up to and with its last "BPAV/" in letters of either case, and the
/// rest of the path behind it. Nothing where no folder of the path has that name.
struct CardPath {
  std::string root;
  std::string file;
};
std::optional<CardPath> splitCardPath(std::string_view path);

/// `file`, relative to `folder`, as its folders and itself are really spelled there: names of cards change
/// their case when they are copied. The spelling asked for goes first. Where nothing fits, `file` as it is.
std::string spelledAsThere(std::string const& folder, std::string_view file);
