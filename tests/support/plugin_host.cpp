#include "tests/support/plugin_host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace test {

std::filesystem::path pluginFile() { return std::filesystem::path(KY_BIN_DIR) / "xdcamdecode.so"; }

KyPlugin* initAgain() {
  static KyPluginInit const entry = [] {
    // Stays loaded until the process ends, as in a host: its objects live as long.
    void* const library = ::dlopen(pluginFile().c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw std::runtime_error(::dlerror());
    auto const found = reinterpret_cast<KyPluginInit>(::dlsym(library, "plugin_init"));
    if (!found) throw std::runtime_error("no plugin_init");
    return found;
  }();
  return entry();
}

KyPlugin* plugin() {
  static KyPlugin* const loaded = initAgain();
  return loaded;
}

KyModule* module() { return plugin()->module(0); }

PipePtr makePipe() {
  PipePtr pipe(module()->createInstance());
  if (!pipe || pipe->init() != 0) throw std::runtime_error("no decoder");
  return pipe;
}

PipePtr pipeFor(std::filesystem::path const& file) {
  PipePtr pipe = makePipe();
  pipe->setParam("filename", Any(file.string()));
  return pipe;
}

PipePtr opened(std::filesystem::path const& file, AnyDict const& parameters) {
  PipePtr pipe = pipeFor(file);
  for (int i = 0; i < parameters.size(); ++i) {
    AnyDict::Entry const& entry = parameters.getEntry(i);
    pipe->setParam(entry.key.c_str(), entry.value);
  }
  int const result = pipe->open();
  if (result == 0) return pipe;
  ADD_FAILURE() << file << " does not open: " << result << " " << pipe->errorDesc();
  return nullptr;
}

AnyDict info(KyDecodePipe const& pipe, int kind, int index) {
  AnyDict description;
  pipe.streamInfo(kind, index, description);
  return description;
}

ScopedAttribute::ScopedAttribute(char const* key, Any const& value)
    : key_(key), before_(module()->getAttr(key)) {
  module()->setAttr(key, value);
}

ScopedAttribute::~ScopedAttribute() { module()->setAttr(key_.c_str(), before_); }

}  // namespace test
