#include <algorithm>
#include <cmath>
#include <cstdarg>

#include "host/any.h"

namespace {

Any const& invalid() {
  // Never destroyed: destructors of static objects elsewhere may still read values.
  static Any const* const value = new Any;
  return *value;
}

struct SortKey {
  int group;  // 0 numbers, 1 text, 2 others
  long double number;
  std::string text;
  Any value;
};

SortKey sortKey(Any const& value) {
  switch (value.kind()) {
    case Any::kInt32:
    case Any::kInt64:
      return {0, static_cast<long double>(value.asInt64()), {}, value};
    case Any::kDouble:
    case Any::kFloat:
      return {0, static_cast<long double>(value.asDouble()), {}, value};
    case Any::kString:
    case Any::kWString:
      return {1, 0.0L, value.asString(), value};  // UTF-8 sorts as its code points do
    default:
      return {2, 0.0L, {}, value};
  }
}

// A strict weak order even where not-a-numbers are among them.
bool numberLess(long double a, long double b) {
  if (std::isnan(a) || std::isnan(b)) return !std::isnan(a) && std::isnan(b);
  return a < b;
}

bool keyLess(SortKey const& a, SortKey const& b, bool ascending) {
  if (a.group != b.group) return a.group < b.group;
  SortKey const& low = ascending ? a : b;
  SortKey const& high = ascending ? b : a;
  if (a.group == 0) return numberLess(low.number, high.number);
  return a.group == 1 && low.text < high.text;
}

}  // namespace

void AnyVector::append(Any const& value) { values_.push_back(value); }

void AnyVector::append(Any&& value) { values_.push_back(std::move(value)); }

void AnyVector::append(AnyDict const& value) { values_.push_back(Any(value)); }

Any const& AnyVector::at(int i) const {
  return i >= 0 && i < size() ? values_[static_cast<size_t>(i)] : invalid();
}

void AnyVector::remove(int i) {
  if (i >= 0 && i < size()) values_.erase(values_.begin() + i);
}

Any AnyVector::join(Any const& separator) const {
  std::string const between = separator.toString().asString();
  std::string text;
  for (size_t i = 0; i < values_.size(); ++i) {
    if (i > 0) text += between;
    text += values_[i].toString().asString();
  }
  return text;
}

void AnyVector::sort(bool ascending) {
  std::vector<SortKey> keys;
  keys.reserve(values_.size());
  for (Any const& value : values_) keys.push_back(sortKey(value));
  std::stable_sort(keys.begin(), keys.end(),
                   [ascending](SortKey const& a, SortKey const& b) { return keyLess(a, b, ascending); });
  for (size_t i = 0; i < keys.size(); ++i) values_[i] = std::move(keys[i].value);
}

int AnyVector::indexOf(Any const& value, int from) const {
  for (int i = std::max(from, 0); i < size(); ++i) {
    if (at(i) == value) return i;
  }
  return -1;
}

AnyVector const& AnyVector::null() {
  static AnyVector const* const vector = new AnyVector;
  return *vector;
}

AnyDict::AnyDict(char const* k1, Any const& v1) { set(k1, v1); }

AnyDict::AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2) : AnyDict(k1, v1) {
  set(k2, v2);
}

AnyDict::AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2, char const* k3, Any const& v3)
    : AnyDict(k1, v1, k2, v2) {
  set(k3, v3);
}

AnyDict::AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2, char const* k3, Any const& v3,
                 char const* k4, Any const& v4)
    : AnyDict(k1, v1, k2, v2, k3, v3) {
  set(k4, v4);
}

Any const* AnyDict::find(std::string_view key) const {
  for (Entry const& entry : entries_) {
    if (entry.key == key) return &entry.value;
  }
  return nullptr;
}

Any const& AnyDict::get(char const* key) const {
  Any const* const value = find(key ? key : "");
  return value ? *value : invalid();
}

bool AnyDict::contains(char const* key) const { return find(key ? key : "") != nullptr; }

Any& AnyDict::slot(char const* key) {
  std::string_view const name = key ? key : "";
  if (Any const* const value = find(name)) return const_cast<Any&>(*value);
  return entries_.emplace_back(Entry{std::string(name), Any()}).value;
}

void AnyDict::set(char const* key, Any const& value) {
  // The copy comes first: the value may be an entry of this dictionary, or hold all of it.
  Any copy(value);
  slot(key) = std::move(copy);
}

void AnyDict::set(char const* key, AnyDict const& value) {
  Any copy(value);
  slot(key) = std::move(copy);
}

void AnyDict::set(char const* key, AnyVector const& value) {
  Any copy(value);
  slot(key) = std::move(copy);
}

void AnyDict::remove(char const* key) {
  std::string const name = key ? key : "";
  std::erase_if(entries_, [&](Entry const& entry) { return entry.key == name; });
}

AnyDict& AnyDict::child(char const* key) { return static_cast<AnyDict&>(slot(key)); }

AnyVector& AnyDict::childVector(char const* key) { return static_cast<AnyVector&>(slot(key)); }

Any const* AnyDict::findPath(std::string_view path) const {
  if (Any const* const value = find(path)) return value;
  for (size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.', dot + 1)) {
    Any const* const inner = find(path.substr(0, dot));
    if (!inner || inner->kind() != Any::kDict) continue;
    if (Any const* const value = inner->asDict().findPath(path.substr(dot + 1))) return value;
  }
  return nullptr;
}

Any const& AnyDict::descendant(char const* key, ...) const {
  if (!key) return invalid();
  Any const* value = findPath(key);
  std::va_list keys;
  va_start(keys, key);
  while (value) {
    char const* const next = va_arg(keys, char const*);
    if (!next) break;
    value = value->asDict().findPath(next);
  }
  va_end(keys);
  return value ? *value : invalid();
}

AnyDict::Entry const& AnyDict::getEntry(int i) const {
  static Entry const* const none = new Entry;
  return i >= 0 && i < size() ? entries_[static_cast<size_t>(i)] : *none;
}
