// The variant value that crosses the boundary between host and plug-in, with its two containers.
//
// All three are values: copies are deep, moves cheap, self-assignment and storing a container in itself
// are safe. A value may be read by several threads while none changes it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "host/api.h"
#include "host/framerate.h"

class Any;
class AnyDict;
class AnyVector;
struct Pair;

class KY_API Any {
 public:
  enum Kind : int {
    kInt32 = 0,
    kInt64 = 1,
    kString = 2,
    kWString = 3,
    kDouble = 4,
    kVector = 5,
    kFloat = 6,
    kDict = 7,
    kGeneric = 8,
    kFramerate = 9,
    kPair = 10,
    kInvalid = 255
  };

  Any() noexcept;
  Any(Any const& other);
  Any(Any&& other) noexcept;
  Any(AnyVector const& value);
  Any(AnyDict const& value);
  Any(KyFramerate const& value);
  Any(Pair const& value);
  Any(char const* text, int length = 0);     // length 0: up to the terminator; null: an empty text
  Any(wchar_t const* text, int length = 0);  // likewise
  Any(std::string const& text);
  Any(std::wstring const& text);
  Any(double value);
  Any(float value);
  Any(int value);
  Any(long value);
  Any(long long value);
  Any(bool value);                    // an int32 of 0 or 1
  Any(void const* data, int length);  // length 0: the pointer itself; above 0: an owned copy of the bytes
  // A pointer without its length would become a bool.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char> &&
                                              !std::is_same_v<std::remove_cv_t<T>, wchar_t>>>
  Any(T* pointer) = delete;
  ~Any();

  Any& operator=(Any const& other);
  Any& operator=(Any&& other) noexcept;
  Any& operator=(AnyDict const& value);
  Any& operator=(AnyVector const& value);
  Any& operator=(char const* text);
  Any& operator=(int value);

  void set(Any const& value) { *this = value; }
  void set(AnyDict const& value) { *this = value; }
  void set(AnyVector const& value) { *this = value; }
  void set(char const* text) { *this = text; }
  void set(int value) { *this = value; }
  void set(long value);
  void set(void const* data, int length);
  void invalidate();
  // Formats like printf into a narrow string value of any length.
  void sprintf(char const* format, ...) KY_PRINTF(2, 3);

  Kind kind() const;
  bool valid() const { return kind() != kInvalid; }
  bool isInt32() const { return kind() == kInt32; }
  bool isInt64() const { return kind() == kInt64; }
  bool isText() const { return kind() == kString || kind() == kWString; }

  // Conversions. A kind that does not fit gives the neutral value: 0, "", an empty container. Numbers
  // convert among each other (out of range clamps, NaN is 0, fractions are cut), text to a number only where
  // it parses whole as a decimal one. A frame rate reads as the number rate(), a number as a progressive
  // rate. Narrow text is UTF-8.
  int32_t asInt32() const;
  int64_t asInt64() const;
  double asDouble() const;
  std::string asString() const;    // of text; of other kinds ""
  std::wstring asWString() const;  // likewise
  KyFramerate asFramerate() const;
  Pair asPair() const;
  AnyVector const& asVector() const;
  AnyDict const& asDict() const;
  void const* asGeneric() const;  // the pointer, or the address of the owned bytes
  int genericSize() const;        // owned bytes; 0 for a pointer

  explicit operator int() const { return asInt32(); }
  explicit operator long() const { return asInt64(); }
  explicit operator bool() const;   // numbers: not 0; text: "true", "yes", "on" (any case) or a number not 0
  explicit operator char*() const;  // characters of narrow text, else ""; valid until the value changes
  explicit operator wchar_t*() const;  // likewise of wide text
  explicit operator AnyDict&();        // a value of another kind becomes an empty dictionary first
  explicit operator AnyVector&();      // likewise an empty vector

  Any toString() const;  // the value as narrow text; containers as "{key: value, ..}" and "[a, b]"
  Any toWString() const;

  // Same kind and value; numbers compare across kinds, and so do narrow and wide text.
  bool operator==(Any const& other) const;

 private:
  struct Bytes {
    std::vector<unsigned char> data;
    bool operator==(Bytes const&) const = default;
  };
  using Value = std::variant<std::monostate, int32_t, int64_t, std::string, std::wstring, double,
                             std::unique_ptr<AnyVector>, float, std::unique_ptr<AnyDict>, void const*, Bytes,
                             KyFramerate, std::unique_ptr<Pair>>;
  static Value clone(Value const& value);

  Value value_;
};

struct KY_API Pair {
  Any first;
  Any second;
  bool operator==(Pair const& other) const;
};

class KY_API AnyVector {
 public:
  AnyVector() = default;
  AnyVector(std::initializer_list<Any> values) : values_(values) {}
  AnyVector(Any const& a, Any const& b, Any const& c, Any const& d) : values_{a, b, c, d} {}

  void append(Any const& value);
  void append(Any&& value);
  void append(AnyDict const& value);
  // Element `i`; outside 0 .. size() - 1 a shared invalid value.
  Any const& at(int i) const;
  Any const& operator[](int i) const { return at(i); }
  int size() const { return static_cast<int>(values_.size()); }
  bool empty() const { return values_.empty(); }
  void clear() { values_.clear(); }
  void remove(int i);  // nothing outside the range
  // One narrow string: the elements as text with the separator between them.
  Any join(Any const& separator) const;
  // Numbers by value before text by characters, each of the two up or down; other kinds keep their order
  // behind. Not-a-number counts as the largest number. Stable.
  void sort(bool ascending = true);
  // Index of the first element at or after `from` that equals `value`, or -1.
  int indexOf(Any const& value, int from = 0) const;
  static AnyVector const& null();

  std::vector<Any>::const_iterator begin() const { return values_.begin(); }
  std::vector<Any>::const_iterator end() const { return values_.end(); }
  bool operator==(AnyVector const& other) const { return values_ == other.values_; }

 private:
  std::vector<Any> values_;
};

// Keys in the order of their first insertion; replacing a value keeps its place.
class KY_API AnyDict {
 public:
  struct Entry {
    std::string key;
    Any value;
    bool operator==(Entry const&) const = default;
  };

  AnyDict() = default;
  AnyDict(char const* k1, Any const& v1);
  AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2);
  AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2, char const* k3, Any const& v3);
  AnyDict(char const* k1, Any const& v1, char const* k2, Any const& v2, char const* k3, Any const& v3,
          char const* k4, Any const& v4);

  void clear() { entries_.clear(); }
  bool empty() const { return entries_.empty(); }
  int size() const { return static_cast<int>(entries_.size()); }
  // The value under the key; a shared invalid value when absent. A null key counts as "".
  Any const& get(char const* key) const;
  Any const& operator[](char const* key) const { return get(key); }
  bool contains(char const* key) const;
  void set(char const* key, Any const& value);
  void set(char const* key, AnyDict const& value);
  void set(char const* key, AnyVector const& value);
  void remove(char const* key);
  // The dictionary stored under the key, to be changed in place; created empty when absent or no dictionary.
  AnyDict& child(char const* key);
  AnyVector& childVector(char const* key);  // likewise the vector under the key
  // A value inside nested dictionaries: the keys, ended by a null pointer, and dots inside a key lead down;
  // an entry whose whole key holds the dots is found first. Absent: an invalid value.
  Any const& descendant(char const* key, ...) const __attribute__((sentinel));
  // Entry `i` in order; outside the range an entry with an empty key and an invalid value.
  Entry const& getEntry(int i) const;
  bool operator==(AnyDict const& other) const { return entries_ == other.entries_; }

 private:
  Any const* find(std::string_view key) const;
  Any& slot(char const* key);
  Any const* findPath(std::string_view path) const;

  std::vector<Entry> entries_;
};
