// What a call of the program takes, as data: the parser of the command line, --help and the manual page read
// the same description.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kyhost {

struct Argument {
  // Where the value goes; it keeps what it holds when the argument is not given. A flag sets a bool, lists
  // are for arguments that may be repeated.
  using Target = std::variant<bool*, int*, unsigned*, std::string*, std::vector<std::string>*>;
  struct Limits {
    int low;
    int high;
  };

  std::string names;  // "-o,--output", "--from"; without dashes it is told by its place: "PATH"
  std::string help;
  Target target;
  std::string kind{};  // of the value, as help shows it: "FILE"; empty: by the target
  bool required = false;
  bool nonNegative = false;
  bool showsDefault = false;
  std::optional<Limits> limits{};
  std::vector<std::string> choices{};

  Argument& called(std::string_view what) { return kind = what, *this; }
  Argument& mandatory() { return required = true, *this; }
  Argument& notBelowZero() { return nonNegative = true, *this; }
  Argument& withDefault() { return showsDefault = true, *this; }
  Argument& between(int low, int high) { return limits = {low, high}, *this; }
  Argument& oneOf(std::vector<std::string> texts) { return choices = std::move(texts), *this; }

  bool byPlace() const { return !names.starts_with('-'); }
  bool isFlag() const { return std::holds_alternative<bool*>(target); }
};

// In the order in which help shows them. Targets outlive the description.
class Arguments {
 public:
  // The reference is good until the next call.
  Argument& add(std::string names, Argument::Target target, std::string help) {
    return all_.emplace_back(Argument{std::move(names), std::move(help), target});
  }
  std::vector<Argument>::const_iterator begin() const { return all_.begin(); }
  std::vector<Argument>::const_iterator end() const { return all_.end(); }

 private:
  std::vector<Argument> all_;
};

}  // namespace kyhost
