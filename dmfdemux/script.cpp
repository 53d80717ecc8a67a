#include "dmfdemux/script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <map>

namespace dmfdemux {
namespace {

// Counts of `unit` microseconds, rounded, from 0 to `most`.
int64_t units(int64_t time, int64_t unit, int64_t most) {
  if (time <= 0) return 0;
  return std::min(time / unit + (time % unit * 2 >= unit ? 1 : 0), most);
}

std::string_view withoutLineEnds(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

// Removes the first line with its end, "\n", "\r\n" or "\r".
std::string_view takeLine(std::string_view& text) {
  size_t const length = std::min(text.find_first_of("\r\n"), text.size());
  std::string_view const line = text.substr(0, length);
  bool const two = text.substr(length).starts_with("\r\n");
  text.remove_prefix(std::min(text.size(), length + (two ? 2 : 1)));
  return line;
}

class SubRipWriter final : public ScriptWriter {
 public:
  void begin(std::deque<Piece>&) override {}

  void add(std::string_view text, Times times, std::deque<Piece>& out) override {
    std::string lines;
    while (!text.empty()) {
      // An empty line would end the block.
      if (std::string_view const line = takeLine(text); !line.empty()) lines.append(line).append("\n");
    }
    if (lines.empty()) return;
    std::string block = std::to_string(++count_) + "\n" + timeText(times.begin) + " --> " +
                        timeText(std::max(times.begin, times.end)) + "\n";
    block.append(lines).append("\n");
    out.push_back({std::move(block), true, times});
  }

  void end(std::deque<Piece>&) override {}

 private:
  static std::string timeText(int64_t time) {
    constexpr int64_t kMost = 359999999;  // 99:59:59,999
    auto const ms = static_cast<int>(units(time, 1000, kMost));
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d,%03d", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                  ms % 1000);
    return text;
  }

  int count_ = 0;
};

// Begin of the line that starts with `text`, none: npos.
size_t findLine(std::string_view script, std::string_view text, size_t from = 0) {
  if (from == 0 && script.starts_with(text)) return 0;
  for (size_t at = script.find(text, from); at != std::string_view::npos; at = script.find(text, at + 1))
    if (at > 0 && (script[at - 1] == '\n' || script[at - 1] == '\r')) return at;
  return std::string_view::npos;
}

class SubStationWriter final : public ScriptWriter {
 public:
  explicit SubStationWriter(std::string_view header)
      : ssa_(isSsaHeader(header)), lineEnd_(header.find("\r\n") != std::string_view::npos ? "\r\n" : "\n") {
    size_t const events = findLine(header, "[Events]");
    size_t const format = events == std::string_view::npos ? events : findLine(header, "Format:", events + 1);
    if (format == std::string_view::npos) {
      header_ = withoutLineEnds(header);
      return;
    }
    size_t const end = std::min(header.find('\n', format), header.size());
    header_ = withoutLineEnds(header.substr(0, end));
    trailer_ = withoutLineEnds(header.substr(std::min(end + 1, header.size())));
    complete_ = true;
  }

  void begin(std::deque<Piece>& out) override {
    std::string text = header_;
    auto const add = [&](std::string_view line) { text.append(line).append(lineEnd_); };
    if (text.empty())
      add("[Script Info]\nScriptType: v4.00+\n");
    else
      add("");
    if (!complete_) {
      if (findLine(text, "[Events]") == std::string_view::npos) {
        add("");
        add("[Events]");
      }
      add(std::string("Format: ") + (ssa_ ? "Marked" : "Layer") +
          ", Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text");
    }
    out.push_back({std::move(text), false, {}});
  }

  void add(std::string_view text, Times times, std::deque<Piece>& out) override {
    int64_t order = expected_;
    takeNumber(text, order);
    if (text.starts_with("Marked=")) text.remove_prefix(7);
    int64_t layer = 0;
    takeNumber(text, layer);
    Piece piece{ssa_ ? "Dialogue: Marked=" : "Dialogue: ", true, times};
    piece.text += std::to_string(layer) + "," + timeText(times.begin) + "," +
                  timeText(std::max(times.begin, times.end)) + ",";
    appendText(withoutLineEnds(text), piece.text);
    piece.text += lineEnd_;
    waiting_.emplace(order, std::move(piece));
    while (!waiting_.empty() && waiting_.begin()->first <= expected_) {
      if (waiting_.begin()->first == expected_) ++expected_;
      out.push_back(std::move(waiting_.extract(waiting_.begin()).mapped()));
    }
  }

  void end(std::deque<Piece>& out) override {
    for (auto& [order, piece] : waiting_) out.push_back(std::move(piece));
    waiting_.clear();
    if (!trailer_.empty()) out.push_back({trailer_ + lineEnd_, false, {}});
  }

 private:
  // Removes a number and the comma behind it; without a number `value` stays.
  static void takeNumber(std::string_view& text, int64_t& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument) return;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    if (text.starts_with(',')) text.remove_prefix(1);
  }

  // An event is one line; "\N" is the script's own line end.
  static void appendText(std::string_view text, std::string& out) {
    while (true) {
      size_t const before = text.size();
      std::string_view const line = takeLine(text);
      out.append(line);
      if (line.size() == before) return;
      out.append("\\N");
    }
  }

  static std::string timeText(int64_t time) {
    constexpr int64_t kMost = 3599999;  // 9:59:59.99
    auto const cs = static_cast<int>(units(time, 10000, kMost));
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d:%02d.%02d", cs / 360000, cs / 6000 % 60, cs / 100 % 60,
                  cs % 100);
    return text;
  }

  bool ssa_;
  std::string lineEnd_;
  std::string header_, trailer_;  // before and behind the events
  bool complete_ = false;         // the header says how events are written
  int64_t expected_ = 0;
  std::multimap<int64_t, Piece> waiting_;
};

}  // namespace

std::unique_ptr<ScriptWriter> makeSubRipWriter() { return std::make_unique<SubRipWriter>(); }

bool isSsaHeader(std::string_view header) {
  return findLine(header, "[V4 Styles]") != std::string_view::npos &&
         findLine(header, "[V4+ Styles]") == std::string_view::npos;
}

std::unique_ptr<ScriptWriter> makeSubStationWriter(std::string_view header) {
  return std::make_unique<SubStationWriter>(header);
}

}  // namespace dmfdemux
