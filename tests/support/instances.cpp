#include "tests/support/instances.h"

#include <dlfcn.h>

#include <mutex>
#include <set>

#include "mfimport/mfimport.h"

namespace {

std::mutex lock;
std::set<MpegIn*> alive;
long made = 0;
long wronglyFreed = 0;

template <class Function>
Function library(char const* name, Function) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

MpegIn* mpegInNew(MpegResourceGetter getter, int reserved) {
  MpegIn* const instance = library("mpegInNew", &mpegInNew)(getter, reserved);
  std::lock_guard const guard(lock);
  ++made;
  if (instance) alive.insert(instance);
  return instance;
}

void mpegInFree(MpegIn* instance) {
  {
    std::lock_guard const guard(lock);
    if (instance && alive.erase(instance) == 0) {
      ++wronglyFreed;
      return;
    }
  }
  library("mpegInFree", &mpegInFree)(instance);
}

test::Instances test::instances() {
  std::lock_guard const guard(lock);
  return {made, static_cast<long>(alive.size()), wronglyFreed};
}
