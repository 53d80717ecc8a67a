#pragma once

#include "host/api.h"

enum class KyFailureKind { Assertion, Exception };

// Called for every failed check, on the thread that found it. It may throw: that exception passes through the
// plug-in to the host's call. Null restores the default, which does nothing beyond the log line.
using KyFailureHandler = void (*)(void* user, KyFailureKind kind, char const* where, char const* text);
KY_API void kySetFailureHandler(KyFailureHandler handler, void* user);
KY_API long kyFailureCount();  // since the process started

// Reports a failed internal check: logs at level 2, counts, calls the handler and returns (unless the handler
// throws). `where`: source path followed by the line in parentheses; `text` may be null.
KY_API void kyAssertFail(char const* where, char const* text);
KY_API void kyExceptionFail(char const* where, char const* text);
