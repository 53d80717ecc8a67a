#include "parser_xdcam_ex/source/cardtags.h"

#include <algorithm>

#include "parser_xdcam_ex/source/xmltext.h"

namespace {

constexpr auto kNotFound = std::string_view::npos;
constexpr std::string_view kBlanks = " \t\r\n";

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

/// Cuts off and returns the characters before the first of `ends`.
std::string_view takeUntil(std::string_view& text, std::string_view ends) {
  std::string_view const head = text.substr(0, text.find_first_of(ends));
  text.remove_prefix(head.size());
  return head;
}

/// Position of the ">" that ends a tag: not one within quotes.
std::size_t tagEnd(std::string_view text) {
  for (std::size_t at = text.find_first_of("\"'>"); at != kNotFound;
       at = text.find_first_of("\"'>", at + 1)) {
    if (text[at] == '>') return at;
    at = text.find(text[at], at + 1);
    if (at == kNotFound) return at;
  }
  return kNotFound;
}

std::string unescaped(std::string_view value) {
  std::string text(value);
  replaceAll(text, "&quot;", "\"");
  replaceAll(text, "&apos;", "'");
  replaceAll(text, "&lt;", "<");
  replaceAll(text, "&gt;", ">");
  // Last: what it produces is not escaped any more.
  replaceAll(text, "&amp;", "&");
  return text;
}

struct NamedAttribute {
  std::string_view name, value;
};

/// Cuts the first attribute off `text`; nothing at the end and where no attribute stands.
std::optional<NamedAttribute> takeAttribute(std::string_view& text) {
  skipBlanks(text);
  NamedAttribute found;
  found.name = takeUntil(text, " \t\r\n=\"'");
  skipBlanks(text);
  if (found.name.empty() || !text.starts_with('=')) return std::nullopt;
  text.remove_prefix(1);
  skipBlanks(text);
  if (text.empty() || (text[0] != '"' && text[0] != '\'')) return std::nullopt;
  std::size_t const closing = text.find(text[0], 1);
  if (closing == kNotFound) return std::nullopt;
  found.value = text.substr(1, closing - 1);
  text.remove_prefix(closing + 1);
  return found;
}

}  // namespace

std::optional<CardTag> CardTags::next() {
  for (;;) {
    text_.remove_prefix(std::min(text_.find('<'), text_.size()));
    bool const comment = text_.starts_with("<!--");
    std::size_t const end = comment ? text_.find("-->", 4) : tagEnd(text_);
    if (end == kNotFound) return std::nullopt;
    std::string_view body = text_.substr(1, end - 1);
    text_.remove_prefix(end + (comment ? 3 : 1));
    if (body.starts_with('!') || body.starts_with('?')) continue;

    CardTag tag;
    tag.closing = body.starts_with('/');
    if (tag.closing) body.remove_prefix(1);
    tag.empty = body.ends_with('/');
    if (tag.empty) body.remove_suffix(1);
    tag.name = takeUntil(body, kBlanks);
    tag.attributes = body;
    return tag;
  }
}

std::optional<CardAttribute> findAttribute(CardTag const& tag, std::string_view name) {
  std::string_view rest = tag.attributes;
  while (auto const attribute = takeAttribute(rest))
    if (attribute->name == name) return CardAttribute{unescaped(attribute->value), rest};
  return std::nullopt;
}
