// The host's side of a test: loads the built plug-in and makes decoders through it alone.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/codec.h"
#include "host/frame.h"
#include "host/pcm.h"
#include "host/plugin.h"

namespace test {

// The plug-in of the build tree, loaded once per process.
KyPlugin* plugin();
// Calls the entry once more.
KyPlugin* initAgain();
// Its module.
KyModule* module();
std::filesystem::path pluginFile();

using PipePtr = std::unique_ptr<KyDecodePipe>;

// A new decoder after `init`.
PipePtr makePipe();
// One that has the file name set too.
PipePtr pipeFor(std::filesystem::path const& file);
// One that is open; a test failure and null when it does not open.
PipePtr opened(std::filesystem::path const& file, AnyDict const& parameters = {});

// Description of a stream.
AnyDict info(KyDecodePipe const& pipe, int kind, int index);

// Sets a module attribute and restores it at the end.
class ScopedAttribute {
 public:
  ScopedAttribute(char const* key, Any const& value);
  ~ScopedAttribute();
  ScopedAttribute(ScopedAttribute const&) = delete;
  ScopedAttribute& operator=(ScopedAttribute const&) = delete;

 private:
  std::string key_;
  Any before_;
};

}  // namespace test
