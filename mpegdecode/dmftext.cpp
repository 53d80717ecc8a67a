#include "mpegdecode/dmftext.h"

#include "host/text.h"

std::string dmfCode(std::span<uint16_t const> characters) {
  std::string code;
  for (uint16_t const character : characters) {
    auto const low = static_cast<char>(character & 0xFF);
    if (low == 0) break;
    code.push_back(low);
  }
  return code;
}

std::string dmfText(std::span<uint16_t const> characters) {
  std::wstring text;
  for (size_t i = 0; i < characters.size() && characters[i] != 0; ++i) {
    uint32_t code = characters[i];
    bool const high = code >= 0xD800 && code <= 0xDBFF;
    if (high && i + 1 < characters.size() && characters[i + 1] >= 0xDC00 && characters[i + 1] <= 0xDFFF)
      code = 0x10000 + ((code - 0xD800) << 10) + (characters[++i] - 0xDC00U);
    text.push_back(static_cast<wchar_t>(code));
  }
  return KyText::toUtf8(text);
}
