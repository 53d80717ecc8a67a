#include "parser_xdcam_ex/source/xmltext.h"

#include "parser_xdcam_ex/source/xdcamexparser.h"

namespace {
constexpr auto kNotFound = std::string::npos;
}

void replaceAll(std::string& text, std::string const& from, std::string const& to) {
  if (from.empty()) return;
  std::size_t hit = text.find(from);
  if (hit == kNotFound) return;

  // One pass into a new string: replacing in place is quadratic on a text full of entities.
  std::string replaced;
  replaced.reserve(text.size());
  std::size_t copied = 0;
  for (; hit != kNotFound; hit = text.find(from, copied)) {
    replaced.append(text, copied, hit - copied).append(to);
    copied = hit + from.size();
  }
  replaced.append(text, copied);
  text = std::move(replaced);
}

std::size_t XDCamExParser::getTextBetween(std::string const& text, std::string const& fromText,
                                          std::string const& toText, std::string& out) {
  std::size_t const from = text.find(fromText);
  if (from == kNotFound) {
    error_text = "getTextBetween() fromText not found!";
    return kNotFound;
  }
  std::size_t const to = text.find(toText, from + 1);
  if (to == kNotFound) {
    error_text = "getTextBetween() toText not found!";
    return kNotFound;
  }
  out = text.substr(from, to - from);
  return from;
}

std::size_t XDCamExParser::FindTextPartBetween(std::string const& text, std::string const& key,
                                               std::size_t start, std::string const& fromText,
                                               std::string const& toText, std::string& out) {
  std::size_t const hit = key.empty() ? 0 : text.find(key, start);
  if (hit == kNotFound) return kNotFound;

  std::size_t const from = text.rfind(fromText, hit);
  if (from == kNotFound) {
    error_text = "FindTextPartBetween() fromText not found!";
    return kNotFound;
  }
  // `from` never lies behind the key, so the end is searched from the key on.
  std::size_t const to = text.find(toText, hit);
  if (to == kNotFound) {
    error_text = "FindTextPartBetween() toText not found!";
    return kNotFound;
  }
  out = text.substr(from, to - from);
  return hit;
}

std::size_t XDCamExParser::getAttributeValue(std::string const& text, std::string const& attributeName,
                                             std::string& out) {
  std::size_t const name = text.find(attributeName + "=");
  if (name == kNotFound) {
    error_text = "getAttributeValue() attributeName not found!";
    return kNotFound;
  }
  std::size_t const opening = text.find('"', name);
  if (opening == kNotFound) {
    error_text = "getAttributeValue() fromText not found!";
    return kNotFound;
  }
  std::size_t const closing = text.find('"', opening + 1);
  if (closing == kNotFound) {
    error_text = "getAttributeValue() toText not found!";
    return kNotFound;
  }
  out = text.substr(opening + 1, closing - opening - 1);
  return name;
}
