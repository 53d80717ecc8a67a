#include "mfimport/caller/host_callbacks.h"

namespace mfimport {
namespace {

template <class Function>
Function lookUp(MpegResourceGetter getter, char const* name) {
  return getter ? reinterpret_cast<Function>(getter(name)) : nullptr;
}

}  // namespace

HostCallbacks::HostCallbacks(MpegResourceGetter getter) {
  auto* allocate = lookUp<void* (*)(size_t)>(getter, "malloc");
  auto* release = lookUp<void (*)(void*)>(getter, "free");
  if (allocate && release) memory_ = {allocate, release};
  error_ = lookUp<Printer>(getter, "err_printf");
  warning_ = lookUp<Printer>(getter, "wrn_printf");
  information_ = lookUp<Printer>(getter, "inf_printf");
}

}  // namespace mfimport
