// A value, or why there is none: the one way in which operations below the public interfaces fail. Exceptions
// are left for lack of memory, which no caller on the way can do anything about.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace mediafile {

// The kind of a failure. The public interfaces make their codes of it; the text is for people.
enum class Fault {
  failed,      // none of the kinds below
  unopenable,  // a file is not there, or cannot be opened
  unreadable,  // a read failed, or made no progress for too long
  format,      // of no known format, or not as the format has it
  takeList,    // clips that are missing or do not fit together, or a text that is no list
  noStream,
  noDecoder,
  unsupported,
  end  // beyond the last one; has no text
};

struct Error {
  Fault fault = Fault::failed;
  std::string text;
};

// Holds either. REQUIRES: value access (*, ->, take) with a value, error() without one.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : held_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const { return held_.index() == 0; }

  T& operator*() { return *std::get_if<0>(&held_); }
  T const& operator*() const { return *std::get_if<0>(&held_); }
  T* operator->() { return std::get_if<0>(&held_); }
  T const* operator->() const { return std::get_if<0>(&held_); }
  T take() { return std::move(**this); }

  Error const& error() const { return *std::get_if<1>(&held_); }

 private:
  std::variant<T, Error> held_;
};

// Success has no value.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const { return held_.index() == 0; }
  Error const& error() const { return *std::get_if<1>(&held_); }

 private:
  std::variant<std::monostate, Error> held_;
};

}  // namespace mediafile
