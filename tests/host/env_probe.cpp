#include <cstdio>

#include "host/log.h"
#include "host/registry.h"

namespace {

// Destroyed after everything that main() touched first.
struct LastWords {
  ~LastWords() {
    ky_dbg()->error("last words in %s", ky_registry()->tempDir().asString().c_str());
    ky_log()->error("and to the user");
  }
} lastWords;

}  // namespace

int main(int count, char** names) {
  std::printf("mask=%d temp=%s", ky_dbg()->mask(), ky_registry()->tempDir().asString().c_str());
  for (int i = 1; i < count; ++i) {
    Any const option = ky_registry()->getDbgOption(names[i]);
    std::printf(" %s=%d:%s", names[i], static_cast<int>(option.kind()), option.toString().asString().c_str());
  }
  std::printf("\n");
  return 0;
}
