// The take list of a camera card: a text file that names clips to be played as one.
//
//   XMP4<CR><LF>
//   /path/of/first.MP4;  123456<CR><LF>
//   ...
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mfimport/caller/result.h"

namespace mfimport {

struct TakeListClip {
  std::string path;   // as written
  uint32_t sizeHint;  // bytes modulo 2^32
};

struct TakeList {
  std::vector<TakeListClip> clips;
};

// Larger files are no take lists.
constexpr int64_t kTakeListMostBytes = 4 << 20;

// True when `beginning`, some first bytes of a file, is that of a take list.
bool isTakeList(std::string_view beginning);

// Reads a whole list; fails as Fault::takeList. The last semicolon of a line divides path from size,
// so that paths may hold semicolons; line feeds alone end lines too, and empty lines are skipped.
Result<TakeList> parseTakeList(std::string_view text);

}  // namespace mfimport
