#pragma once

#include <string>
#include <string_view>

#include "host/api.h"

class KY_API KyText {
 public:
  // Writes the UTF-8 form with a terminator into `out` of `size` bytes, cut before a character that does not
  // fit. Bytes without the terminator. Code points outside Unicode become U+FFFD.
  static int utf32ToUtf8(wchar_t const* text, char* out, int size);
  static std::string toUtf8(std::wstring_view text);
  static std::wstring toWide(std::string_view utf8);  // ill-formed bytes become U+FFFD
};
