#include "host/any.h"

#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cwchar>
#include <limits>
#include <type_traits>

#include "host/text.h"
#include "host/vformat.h"

namespace {

template <class... Functions>
struct Cases : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
Cases(Functions...) -> Cases<Functions...>;

template <class Integer>
Integer clampTo(double value) {
  using Limits = std::numeric_limits<Integer>;
  if (std::isnan(value)) return 0;
  // The upper limit of 64 bits is no double; 2^63 is, and is already outside.
  if (value >= -static_cast<double>(Limits::min())) return Limits::max();
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  return static_cast<Integer>(value);
}

int32_t clamp32(int64_t value) {
  if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

template <class Number>
bool parse(std::string_view text, Number& number) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

double parseDouble(std::string_view text) {
  double value = 0.0;
  return parse(text, value) && std::isfinite(value) ? value : 0.0;
}

int64_t parseInt64(std::string_view text) {
  int64_t value = 0;
  return parse(text, value) ? value : clampTo<int64_t>(parseDouble(text));
}

bool parseBool(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower == "true" || lower == "yes" || lower == "on" || parseDouble(text) != 0.0;
}

template <class Number>
std::string print(Number value) {
  char text[64];
  auto const [end, error] = std::to_chars(text, text + sizeof text, value);
  return error == std::errc() ? std::string(text, end) : std::string();
}

template <class Character>
std::basic_string<Character> copied(Character const* text, int length) {
  if (!text) return {};
  return length > 0 ? std::basic_string<Character>(text, static_cast<size_t>(length))
                    : std::basic_string<Character>(text);
}

constexpr bool isNumber(Any::Kind kind) {
  return kind == Any::kInt32 || kind == Any::kInt64 || kind == Any::kDouble || kind == Any::kFloat;
}

AnyDict const& emptyDict() {
  static AnyDict const* const dict = new AnyDict;
  return *dict;
}

}  // namespace

Any::Any() noexcept = default;
Any::Any(Any const& other) : value_(clone(other.value_)) {}
Any::Any(Any&& other) noexcept : value_(std::exchange(other.value_, Value())) {}
Any::Any(AnyVector const& value) : value_(std::make_unique<AnyVector>(value)) {}
Any::Any(AnyDict const& value) : value_(std::make_unique<AnyDict>(value)) {}
Any::Any(KyFramerate const& value) : value_(value) {}
Any::Any(Pair const& value) : value_(std::make_unique<Pair>(value)) {}
Any::Any(char const* text, int length) : value_(copied(text, length)) {}
Any::Any(wchar_t const* text, int length) : value_(copied(text, length)) {}
Any::Any(std::string const& text) : value_(text) {}
Any::Any(std::wstring const& text) : value_(text) {}
Any::Any(double value) : value_(value) {}
Any::Any(float value) : value_(value) {}
Any::Any(int value) : value_(std::in_place_type<int32_t>, value) {}
Any::Any(long value) : value_(std::in_place_type<int64_t>, value) {}
Any::Any(long long value) : value_(std::in_place_type<int64_t>, value) {}
Any::Any(bool value) : value_(std::in_place_type<int32_t>, value ? 1 : 0) {}

Any::Any(void const* data, int length) {
  if (data && length > 0) {
    auto const* const bytes = static_cast<unsigned char const*>(data);
    value_ = Bytes{{bytes, bytes + length}};
  } else {
    value_ = data;
  }
}

Any::~Any() = default;

// Every assignment completes the new value before the old one goes: it may be part of it.
Any& Any::operator=(Any const& other) {
  value_ = clone(other.value_);
  return *this;
}

Any& Any::operator=(Any&& other) noexcept {
  Value taken = std::exchange(other.value_, Value());
  value_.swap(taken);
  return *this;
}

Any& Any::operator=(AnyDict const& value) { return *this = Any(value); }
Any& Any::operator=(AnyVector const& value) { return *this = Any(value); }
Any& Any::operator=(char const* text) { return *this = Any(text); }
Any& Any::operator=(int value) { return *this = Any(value); }
void Any::set(long value) { *this = Any(value); }
void Any::set(void const* data, int length) { *this = Any(data, length); }
void Any::invalidate() { *this = Any(); }

void Any::sprintf(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  try {
    *this = Any(kyVformat(format, arguments));
  } catch (...) {
    va_end(arguments);
    throw;
  }
  va_end(arguments);
}

Any::Value Any::clone(Value const& value) {
  return std::visit(
      Cases{[](std::unique_ptr<AnyVector> const& v) { return Value(std::make_unique<AnyVector>(*v)); },
            [](std::unique_ptr<AnyDict> const& v) { return Value(std::make_unique<AnyDict>(*v)); },
            [](std::unique_ptr<Pair> const& v) { return Value(std::make_unique<Pair>(*v)); },
            [](auto const& v) { return Value(v); }},
      value);
}

Any::Kind Any::kind() const {
  return std::visit(
      Cases{[](std::monostate) { return kInvalid; }, [](int32_t) { return kInt32; },
            [](int64_t) { return kInt64; }, [](std::string const&) { return kString; },
            [](std::wstring const&) { return kWString; }, [](double) { return kDouble; },
            [](std::unique_ptr<AnyVector> const&) { return kVector; }, [](float) { return kFloat; },
            [](std::unique_ptr<AnyDict> const&) { return kDict; }, [](void const*) { return kGeneric; },
            [](Bytes const&) { return kGeneric; }, [](KyFramerate const&) { return kFramerate; },
            [](std::unique_ptr<Pair> const&) { return kPair; }},
      value_);
}

int32_t Any::asInt32() const { return clamp32(asInt64()); }

int64_t Any::asInt64() const {
  return std::visit(Cases{[](int32_t v) { return static_cast<int64_t>(v); }, [](int64_t v) { return v; },
                          [](double v) { return clampTo<int64_t>(v); },
                          [](float v) { return clampTo<int64_t>(static_cast<double>(v)); },
                          [](KyFramerate const& v) { return clampTo<int64_t>(v.rate()); },
                          [](std::string const& v) { return parseInt64(v); },
                          [](std::wstring const& v) { return parseInt64(KyText::toUtf8(v)); },
                          [](auto const&) { return int64_t{0}; }},
                    value_);
}

double Any::asDouble() const {
  return std::visit(
      Cases{[](int32_t v) { return static_cast<double>(v); },
            [](int64_t v) { return static_cast<double>(v); }, [](double v) { return v; },
            [](float v) { return static_cast<double>(v); }, [](KyFramerate const& v) { return v.rate(); },
            [](std::string const& v) { return parseDouble(v); },
            [](std::wstring const& v) { return parseDouble(KyText::toUtf8(v)); },
            [](auto const&) { return 0.0; }},
      value_);
}

std::string Any::asString() const {
  if (auto const* const narrow = std::get_if<std::string>(&value_)) return *narrow;
  if (auto const* const wide = std::get_if<std::wstring>(&value_)) return KyText::toUtf8(*wide);
  return {};
}

std::wstring Any::asWString() const {
  if (auto const* const wide = std::get_if<std::wstring>(&value_)) return *wide;
  if (auto const* const narrow = std::get_if<std::string>(&value_)) return KyText::toWide(*narrow);
  return {};
}

KyFramerate Any::asFramerate() const {
  if (auto const* const rate = std::get_if<KyFramerate>(&value_)) return *rate;
  return isNumber(kind()) ? KyFramerate(asDouble(), 0, false, 0) : KyFramerate();
}

Pair Any::asPair() const {
  auto const* const pair = std::get_if<std::unique_ptr<Pair>>(&value_);
  return pair ? **pair : Pair();
}

AnyVector const& Any::asVector() const {
  auto const* const vector = std::get_if<std::unique_ptr<AnyVector>>(&value_);
  return vector ? **vector : AnyVector::null();
}

AnyDict const& Any::asDict() const {
  auto const* const dict = std::get_if<std::unique_ptr<AnyDict>>(&value_);
  return dict ? **dict : emptyDict();
}

void const* Any::asGeneric() const {
  if (auto const* const pointer = std::get_if<void const*>(&value_)) return *pointer;
  auto const* const bytes = std::get_if<Bytes>(&value_);
  return bytes ? bytes->data.data() : nullptr;
}

int Any::genericSize() const {
  auto const* const bytes = std::get_if<Bytes>(&value_);
  return bytes ? static_cast<int>(bytes->data.size()) : 0;
}

Any::operator bool() const {
  return std::visit(Cases{[](int32_t v) { return v != 0; }, [](int64_t v) { return v != 0; },
                          [](double v) { return v != 0.0; }, [](float v) { return v != 0.0F; },
                          [](std::string const& v) { return parseBool(v); },
                          [](std::wstring const& v) { return parseBool(KyText::toUtf8(v)); },
                          [](auto const&) { return false; }},
                    value_);
}

Any::operator char*() const {
  auto const* const text = std::get_if<std::string>(&value_);
  return const_cast<char*>(text ? text->c_str() : "");
}

Any::operator wchar_t*() const {
  auto const* const text = std::get_if<std::wstring>(&value_);
  return const_cast<wchar_t*>(text ? text->c_str() : L"");
}

Any::operator AnyDict&() {
  if (kind() != kDict) *this = AnyDict();
  return *std::get<std::unique_ptr<AnyDict>>(value_);
}

Any::operator AnyVector&() {
  if (kind() != kVector) *this = AnyVector();
  return *std::get<std::unique_ptr<AnyVector>>(value_);
}

Any Any::toString() const {
  return std::visit(
      Cases{[](std::monostate) { return std::string(); }, [](int32_t v) { return print(v); },
            [](int64_t v) { return print(v); }, [](double v) { return print(v); },
            [](float v) { return print(v); }, [](std::string const& v) { return v; },
            [](std::wstring const& v) { return KyText::toUtf8(v); },
            [](std::unique_ptr<AnyVector> const& v) { return "[" + v->join(", ").asString() + "]"; },
            [](std::unique_ptr<AnyDict> const& v) {
              std::string text = "{";
              for (int i = 0; i < v->size(); ++i) {
                AnyDict::Entry const& entry = v->getEntry(i);
                text += (i ? ", " : "") + entry.key + ": " + entry.value.toString().asString();
              }
              return text + "}";
            },
            [](void const* v) {
              char text[32];
              std::snprintf(text, sizeof text, "%p", v);
              return std::string(text);
            },
            [](Bytes const& v) { return print(v.data.size()) + " bytes"; },
            [](KyFramerate const& v) { return print(v.rate()); },
            [](std::unique_ptr<Pair> const& v) {
              return "(" + v->first.toString().asString() + ", " + v->second.toString().asString() + ")";
            }},
      value_);
}

Any Any::toWString() const {
  auto const* const wide = std::get_if<std::wstring>(&value_);
  return wide ? *wide : KyText::toWide(toString().asString());
}

bool Any::operator==(Any const& other) const {
  Kind const left = kind();
  Kind const right = other.kind();
  if (isNumber(left) && isNumber(right)) {
    bool const whole = (isInt32() || isInt64()) && (other.isInt32() || other.isInt64());
    if (whole) return asInt64() == other.asInt64();
    // Extended precision holds every 64-bit integer and every double, so 2^53 + 1 differs from 2^53.
    auto const exact = [](Any const& v) {
      return v.isInt64() ? static_cast<long double>(v.asInt64()) : static_cast<long double>(v.asDouble());
    };
    return exact(*this) == exact(other);
  }
  if (isText() && other.isText()) {
    if (left == right) return value_ == other.value_;
    return left == kString ? KyText::toWide(asString()) == other.asWString()
                           : asWString() == KyText::toWide(other.asString());
  }
  if (left != right) return false;
  switch (left) {
    case kVector:
      return asVector() == other.asVector();
    case kDict:
      return asDict() == other.asDict();
    case kPair:
      return *std::get<std::unique_ptr<Pair>>(value_) == *std::get<std::unique_ptr<Pair>>(other.value_);
    default:
      return value_ == other.value_;
  }
}

bool Pair::operator==(Pair const& other) const { return first == other.first && second == other.second; }
