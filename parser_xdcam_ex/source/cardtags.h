#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// A tag as it stands in a document: `<Material uri="..">`, `</Material>`, `<Component uri=".."/>`.
struct CardTag {
  std::string_view name;
  /// Everything between the name and the ">".
  std::string_view attributes;
  bool closing = false;
  /// Ends in "/>".
  bool empty = false;
};

/// An attribute's value, its five predefined entities resolved, and where it ends.
struct CardAttribute {
  std::string value;
  /// Attributes behind it in the tag.
  std::string_view rest;
};

/// Walks the tags of a document, in order. Comments, declarations and processing instructions are passed
/// over; a tag that never ends is the end. The text must live as long as the tags.
class CardTags {
 public:
  explicit CardTags(std::string_view text) : text_(text) {}
  std::optional<CardTag> next();

 private:
  std::string_view text_;
};

/// The attribute of exactly that name. Either kind of quotes, blanks and line breaks around the "=".
std::optional<CardAttribute> findAttribute(CardTag const& tag, std::string_view name);
