// Records what goes to the host's channels while it lives.
#pragma once

#include <string>
#include <vector>

#include "host/failure.h"
#include "host/log.h"

namespace test {

// Failed checks, in order. One at a time.
class Failures {
 public:
  struct Failure {
    KyFailureKind kind;
    std::string where;
    std::string text;
    bool operator==(Failure const&) const = default;
  };

  enum Reaction { kReturn, kThrow };
  explicit Failures(Reaction reaction = kReturn);
  ~Failures();
  Failures(Failures const&) = delete;
  Failures& operator=(Failures const&) = delete;

  // What a throwing handler throws.
  struct Thrown {};

  std::vector<Failure> seen;
  bool has(std::string const& where, std::string const& text = "") const;

 private:
  static void record(void* self, KyFailureKind kind, char const* where, char const* text);
  Reaction reaction_;
};

// Lines of the developers' log, all levels. One at a time.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  LogLines(LogLines const&) = delete;
  LogLines& operator=(LogLines const&) = delete;

  struct Line {
    int level;
    std::string text;
  };
  std::vector<Line> lines;
  bool has(std::string const& text) const;  // a whole line
  bool hasAt(int level, std::string const& text) const;
  bool contains(std::string const& part) const;

 private:
  int mask_;
};

}  // namespace test
