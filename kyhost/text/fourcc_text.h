// Codes of four characters for people.
#pragma once

#include <cstdint>
#include <string>

namespace kyhost {

// "YUYV"; a byte that is no printable ASCII becomes '?'.
inline std::string fourccText(int code) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    char const character = static_cast<char>(static_cast<uint32_t>(code) >> shift);
    text += character >= ' ' && character <= '~' ? character : '?';
  }
  return text;
}

}  // namespace kyhost
