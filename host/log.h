// The developers' log and the log for the host's user. Both may be used by any thread; lines stay whole.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/api.h"

enum KyLogLevel : int { kLogError = 2, kLogWarning = 4, kLogInfo = 8, kLogTrace = 32, kLogProgress = 64 };

class KY_API KyDbgLog {
 public:
  // Level 0 is an unconditional line. Called under the log's lock: it must not log itself.
  using Sink = std::function<void(int level, std::string_view text)>;

  void write(char const* format, ...) KY_PRINTF(2, 3);
  void info(char const* format, ...) KY_PRINTF(2, 3);
  void warning(char const* format, ...) KY_PRINTF(2, 3);
  void error(char const* format, ...) KY_PRINTF(2, 3);
  void log(int level, char const* format, ...) KY_PRINTF(3, 4);
  void logs(int level, char const* text);

  // Levels let through, OR-ed. By default from the environment variable KY_DEBUG: a number, or names out of
  // error, warn, info, trace, progress with commas between; unset: errors only.
  void setMask(int mask);
  int mask() const;
  // An empty sink restores the default, standard error.
  void setSink(Sink sink);

 private:
  friend KY_API KyDbgLog* ky_dbg();
  KyDbgLog();
  ~KyDbgLog();
  struct State;
  std::unique_ptr<State> state_;
};
KY_API KyDbgLog* ky_dbg();

// Messages meant for the user, kept in order until taken.
class KY_API KyLogBuffer {
 public:
  struct Message {
    int level;
    std::string text;
  };
  void error(char const* format, ...) KY_PRINTF(2, 3);
  void warning(char const* format, ...) KY_PRINTF(2, 3);
  void log(int level, char const* format, ...) KY_PRINTF(3, 4);
  // Removes and returns the messages so far; the newest 1000 are kept.
  std::vector<Message> take();

 private:
  friend KY_API KyLogBuffer* ky_log();
  KyLogBuffer();
  ~KyLogBuffer();
  struct State;
  std::unique_ptr<State> state_;
};
KY_API KyLogBuffer* ky_log();
