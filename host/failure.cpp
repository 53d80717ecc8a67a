#include "host/failure.h"

#include <atomic>
#include <mutex>

#include "host/log.h"

namespace {

struct Handler {
  KyFailureHandler function = nullptr;
  void* user = nullptr;
};

struct Failures {
  std::mutex mutex;
  Handler handler;
  std::atomic<long> count{0};
};

Failures& failures() {
  static Failures* const state = new Failures;
  return *state;
}

void fail(KyFailureKind kind, char const* where, char const* text) {
  if (!where) where = "";
  ky_dbg()->log(kLogError, "%s at %s%s%s",
                kind == KyFailureKind::Assertion ? "Assertion failed" : "Exception", where,
                text && *text ? ": " : "", text ? text : "");
  Failures& state = failures();
  state.count.fetch_add(1);
  Handler handler;
  {
    std::lock_guard const lock(state.mutex);
    handler = state.handler;
  }
  if (handler.function) handler.function(handler.user, kind, where, text);
}

}  // namespace

void kySetFailureHandler(KyFailureHandler handler, void* user) {
  Failures& state = failures();
  std::lock_guard const lock(state.mutex);
  state.handler = {handler, user};
}

long kyFailureCount() { return failures().count.load(); }

void kyAssertFail(char const* where, char const* text) { fail(KyFailureKind::Assertion, where, text); }

void kyExceptionFail(char const* where, char const* text) { fail(KyFailureKind::Exception, where, text); }
