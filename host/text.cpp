#include "host/text.h"

#include <cstring>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

char32_t scalar(wchar_t c) {
  auto const code = static_cast<char32_t>(c);
  return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) ? kReplacement : code;
}

// Writes 1 to 4 bytes and returns their number.
int encode(char32_t c, char* out) {
  auto const byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (c < 0x80) {
    out[0] = byte(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = byte(0xC0 | c >> 6);
    out[1] = byte(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = byte(0xE0 | c >> 12);
    out[1] = byte(0x80 | (c >> 6 & 0x3F));
    out[2] = byte(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = byte(0xF0 | c >> 18);
  out[1] = byte(0x80 | (c >> 12 & 0x3F));
  out[2] = byte(0x80 | (c >> 6 & 0x3F));
  out[3] = byte(0x80 | (c & 0x3F));
  return 4;
}

// Decodes one character at the start of non-empty `text` and removes it. Ill-formed input: one replacement
// for every maximal part of a sequence (Unicode, chapter 3.9, table 3-7).
char32_t decode(std::string_view& text) {
  auto const at = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char const lead = at(0);
  size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  char32_t c = 0;
  if (lead < 0x80) {
    text.remove_prefix(1);
    return lead;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    c = lead & 0x1FU;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    c = lead & 0x0FU;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    c = lead & 0x07U;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    text.remove_prefix(1);
    return kReplacement;
  }
  for (size_t i = 1; i < length; ++i) {
    if (i >= text.size() || at(i) < low || at(i) > high) {
      text.remove_prefix(i);
      return kReplacement;
    }
    c = c << 6 | (at(i) & 0x3FU);
    low = 0x80;
    high = 0xBF;
  }
  text.remove_prefix(length);
  return c;
}

}  // namespace

int KyText::utf32ToUtf8(wchar_t const* text, char* out, int size) {
  if (!out || size < 1) return 0;
  int written = 0;
  for (; text && *text; ++text) {
    char bytes[4];
    int const length = encode(scalar(*text), bytes);
    if (length >= size - written) break;
    std::memcpy(out + written, bytes, static_cast<size_t>(length));
    written += length;
  }
  out[written] = '\0';
  return written;
}

std::string KyText::toUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t const c : text) {
    char bytes[4];
    out.append(bytes, static_cast<size_t>(encode(scalar(c), bytes)));
  }
  return out;
}

std::wstring KyText::toWide(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  while (!utf8.empty()) out.push_back(static_cast<wchar_t>(decode(utf8)));
  return out;
}
