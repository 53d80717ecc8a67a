#include "host/log.h"

#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <utility>

#include "host/vformat.h"

std::string kyVformat(char const* format, std::va_list arguments) {
  if (!format) return {};
  std::va_list again;
  va_copy(again, arguments);
  char small[512];
  int const length = std::vsnprintf(small, sizeof small, format, arguments);
  std::string text;
  try {
    if (length < 0) {
      text = format;
    } else if (static_cast<size_t>(length) < sizeof small) {
      text.assign(small, static_cast<size_t>(length));
    } else {
      text.resize(static_cast<size_t>(length));
      std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
  } catch (...) {
    va_end(again);
    throw;
  }
  va_end(again);
  return text;
}

namespace {

constexpr size_t kMessagesKept = 1000;

struct LevelName {
  std::string_view name;
  int level;
};
constexpr LevelName kLevelNames[] = {{"error", kLogError},
                                     {"warn", kLogWarning},
                                     {"info", kLogInfo},
                                     {"trace", kLogTrace},
                                     {"progress", kLogProgress}};

int maskOf(char const* setting) {
  if (!setting || !*setting) return kLogError;
  std::string_view rest(setting);
  bool const hexadecimal = rest.starts_with("0x") || rest.starts_with("0X");
  std::string_view const digits = hexadecimal ? rest.substr(2) : rest;
  int number = 0;
  auto const [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
  if (error == std::errc() && end == digits.data() + digits.size()) return number;

  int mask = 0;
  while (!rest.empty()) {
    size_t const comma = rest.find(',');
    std::string_view name = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    while (name.starts_with(' ')) name.remove_prefix(1);
    while (name.ends_with(' ')) name.remove_suffix(1);
    for (LevelName const& known : kLevelNames) {
      if (known.name == name) mask |= known.level;
    }
  }
  return mask;
}

// One call per line, so that lines of several processes on one terminal stay whole too.
void writeToStderr(int level, std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  std::string line;
  for (LevelName const& known : kLevelNames) {
    if (known.level == level) line.append(known.name).append(": ");
  }
  line.append(text).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

struct KyDbgLog::State {
  std::mutex mutex;
  std::atomic<int> levels = maskOf(std::getenv("KY_DEBUG"));
  Sink sink;

  bool wants(int level) const { return level == 0 || (levels.load(std::memory_order_relaxed) & level) != 0; }

  // A sink that throws and a line that finds no memory are dropped: nobody checks whether logging works.
  void put(int level, std::string_view text) noexcept {
    try {
      std::lock_guard const lock(mutex);
      if (sink) {
        sink(level, text);
      } else {
        writeToStderr(level, text);
      }
    } catch (...) {
    }
  }

  void format(int level, char const* text, std::va_list arguments) noexcept {
    if (!wants(level)) return;
    try {
      put(level, kyVformat(text, arguments));
    } catch (...) {
    }
  }
};

KyDbgLog::KyDbgLog() : state_(std::make_unique<State>()) {}
KyDbgLog::~KyDbgLog() = default;

void KyDbgLog::write(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(0, format, arguments);
  va_end(arguments);
}

void KyDbgLog::info(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(kLogInfo, format, arguments);
  va_end(arguments);
}

void KyDbgLog::warning(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(kLogWarning, format, arguments);
  va_end(arguments);
}

void KyDbgLog::error(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(kLogError, format, arguments);
  va_end(arguments);
}

void KyDbgLog::log(int level, char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(level, format, arguments);
  va_end(arguments);
}

void KyDbgLog::logs(int level, char const* text) {
  if (state_->wants(level)) state_->put(level, text ? text : "");
}

void KyDbgLog::setMask(int mask) { state_->levels.store(mask, std::memory_order_relaxed); }

int KyDbgLog::mask() const { return state_->levels.load(std::memory_order_relaxed); }

void KyDbgLog::setSink(Sink sink) {
  std::lock_guard const lock(state_->mutex);
  state_->sink.swap(sink);
}

KyDbgLog* ky_dbg() {
  // Never destroyed: destructors of static objects elsewhere may still log.
  static KyDbgLog* const log = new KyDbgLog;
  return log;
}

struct KyLogBuffer::State {
  std::mutex mutex;
  std::deque<Message> messages;

  void format(int level, char const* text, std::va_list arguments) noexcept {
    try {
      Message message{level, kyVformat(text, arguments)};
      std::lock_guard const lock(mutex);
      if (messages.size() == kMessagesKept) messages.pop_front();
      messages.push_back(std::move(message));
    } catch (...) {
    }
  }
};

KyLogBuffer::KyLogBuffer() : state_(std::make_unique<State>()) {}
KyLogBuffer::~KyLogBuffer() = default;

void KyLogBuffer::error(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(kLogError, format, arguments);
  va_end(arguments);
}

void KyLogBuffer::warning(char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(kLogWarning, format, arguments);
  va_end(arguments);
}

void KyLogBuffer::log(int level, char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  state_->format(level, format, arguments);
  va_end(arguments);
}

std::vector<KyLogBuffer::Message> KyLogBuffer::take() {
  std::deque<Message> taken;
  {
    std::lock_guard const lock(state_->mutex);
    taken.swap(state_->messages);
  }
  return {std::make_move_iterator(taken.begin()), std::make_move_iterator(taken.end())};
}

KyLogBuffer* ky_log() {
  static KyLogBuffer* const log = new KyLogBuffer;
  return log;
}
