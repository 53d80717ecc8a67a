// What the user asks of plug-in, decoder and program whatever the command.
#pragma once

#include <filesystem>
#include <optional>

#include "host/any.h"

namespace kyhost {

struct Settings {
  std::filesystem::path plugin;  // empty: looked for beside the program
  AnyDict module;                // module attributes, set before a decoder is made
  AnyDict pipe;                  // decoder parameters, set before the file is opened
  int threads = 0;               // of the decoder; 0: one for each processor
  std::optional<int> debug;      // mask of debug levels to be shown
  bool stats = false;
  bool quiet = false;
};

}  // namespace kyhost
