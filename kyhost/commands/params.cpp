#include "kyhost/commands/params.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "host/log.h"
#include "kyhost/session/failure.h"

namespace kyhost {
namespace {

template <class Number>
std::optional<Number> wholeText(std::string_view text) {
  Number value{};
  char const* const end = text.data() + text.size();
  auto const [rest, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || rest != end) return std::nullopt;
  return value;
}

// Only digits, a point, an exponent: words that strtod takes ("nan", "inf") stay text.
std::optional<double> decimalText(std::string_view text) {
  if (text.find_first_not_of("+-.0123456789eE") != std::string_view::npos) return std::nullopt;
  if (text.starts_with('+')) text.remove_prefix(1);
  return wholeText<double>(text);
}

void setNested(AnyDict& into, std::string_view key, Any const& value) {
  size_t const dot = key.find('.');
  std::string const first(key.substr(0, dot));
  if (dot == std::string_view::npos) {
    into.set(first.c_str(), value);
  } else {
    setNested(into.child(first.c_str()), key.substr(dot + 1), value);
  }
}

}  // namespace

Any valueFromText(std::string_view text) {
  if (text == "true") return Any(true);
  if (text == "false") return Any(false);
  std::string_view digits = text;
  if (digits.size() > 1 && digits.starts_with('+')) digits.remove_prefix(1);
  if (auto const number = wholeText<int64_t>(digits)) {
    if (*number >= std::numeric_limits<int32_t>::min() && *number <= std::numeric_limits<int32_t>::max())
      return Any(static_cast<int>(*number));
    return Any(static_cast<long>(*number));
  }
  if (auto const number = decimalText(text)) return Any(*number);
  return Any(std::string(text));
}

Parameters parseParameters(std::vector<std::string> const& assignments) {
  constexpr std::string_view kModule = "module.";
  Parameters out;
  for (std::string const& assignment : assignments) {
    size_t const equals = assignment.find('=');
    std::string_view key = std::string_view(assignment).substr(0, equals);
    bool const ofModule = key.starts_with(kModule);
    if (ofModule) key.remove_prefix(kModule.size());
    if (equals == std::string::npos || key.empty() || key.starts_with('.') || key.ends_with('.') ||
        key.find("..") != std::string_view::npos) {
      throw Failure(ExitCode::Usage, fmt::format("--set {}: is not of the form key=value", assignment),
                    "for example --set joinMonoStreams=0 or --set openParameters.ignoreUnknownStreams=1");
    }
    setNested(ofModule ? out.module : out.pipe, key,
              valueFromText(std::string_view(assignment).substr(equals + 1)));
  }
  return out;
}

int parseDebugMask(std::string_view text) {
  struct Level {
    std::string_view name;
    int mask;
  };
  constexpr int kAll = kLogError | kLogWarning | kLogInfo | kLogTrace | kLogProgress;
  static constexpr Level kLevels[] = {
      {"error", kLogError}, {"warn", kLogWarning},    {"info", kLogInfo},         {"trace", kLogTrace},
      {"all", kAll},        {"warning", kLogWarning}, {"progress", kLogProgress}, {"none", 0}};
  if (auto const number = wholeText<int>(text); number && *number >= 0) return *number;
  int mask = 0;
  for (size_t at = 0; at <= text.size();) {
    size_t const comma = std::min(text.find(',', at), text.size());
    std::string_view const name = text.substr(at, comma - at);
    at = comma + 1;
    bool known = false;
    for (Level const& level : kLevels) {
      if (level.name != name) continue;
      mask |= level.mask;
      known = true;
    }
    if (!known) {
      throw Failure(ExitCode::Usage, fmt::format("--debug {}: \"{}\" is no level", text, name),
                    "levels are error, warn, info, trace, progress and all");
    }
  }
  return mask;
}

int64_t Position::resolve(double rate) const {
  if (seconds < 0.0) return number;
  // A time that decimal digits cannot hit, like a third of a second, still means the frame that starts there.
  double const exact = seconds * rate;
  double const nearest = std::nearbyint(exact);
  double const at = std::abs(exact - nearest) < 1e-3 ? nearest : std::floor(exact);
  return at >= 9e18 ? std::numeric_limits<int64_t>::max() : static_cast<int64_t>(at);
}

Position parsePosition(std::string_view text, std::string_view option) {
  if (auto const number = wholeText<int64_t>(text); number && *number >= 0) return {*number, -1.0};
  if (text.ends_with('s')) {
    if (auto const value = decimalText(text.substr(0, text.size() - 1)); value && *value >= 0.0)
      return {0, *value};
  }
  if (text.find(':') != std::string_view::npos) {
    double total = 0.0;
    bool valid = true;
    int fields = 0;
    for (size_t at = 0; at <= text.size() && valid;) {
      size_t const colon = std::min(text.find(':', at), text.size());
      bool const last = colon == text.size();
      std::string_view const field = text.substr(at, colon - at);
      auto const whole = wholeText<int64_t>(field);
      auto const value = last ? decimalText(field) : whole ? std::optional<double>(*whole) : std::nullopt;
      valid = value && *value >= 0.0 && (fields == 0 || *value < 60.0) && ++fields <= 3;
      if (valid) total = total * 60.0 + *value;
      at = colon + 1;
    }
    if (valid) return {0, total};
  }
  throw Failure(ExitCode::Usage, fmt::format("{} {}: is no position", option, text),
                "a number (250), seconds (10.5s) or a time (1:02:03.5) is");
}

Range parseRange(std::string const& from, std::string const& to, int64_t count, double rate,
                 std::string_view unit) {
  Range range{0, count};
  if (!from.empty()) range.from = parsePosition(from, "--from").resolve(rate);
  if (!to.empty()) range.to = std::min(parsePosition(to, "--to").resolve(rate), count);
  if (range.from >= count) {
    throw Failure(ExitCode::Usage, fmt::format("--from {}: the stream has {} {}", from, count, unit),
                  fmt::format("{} are numbered from 0", unit));
  }
  if (range.size() <= 0) {
    throw Failure(ExitCode::Usage, fmt::format("--from {} --to {}: no {} lie between", from, to, unit),
                  "--to names the first one that is left out");
  }
  return range;
}

}  // namespace kyhost
