// A DMF demultiplexer that does what a test says: this program's dmfDemux functions come before the
// library's.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "dmfdemux/dmfdemux.h"
#include "host/any.h"

namespace test {

struct ScriptedStream {
  int32_t kind = 0;
  int32_t codec = 0;
  std::u16string language, country, description;
  uint32_t width = 0;
  bool noFormat = false;  // the format block is missing

  // What pushes deliver: bytes, and for pictures the event's times.
  struct Delivery {
    std::string bytes;
    int64_t begin = 0, end = 0;
    int event = kDmfDataEvent;
  };
  std::vector<Delivery> deliveries;
};

struct ScriptedFile {
  bool isMade = true;  // the demultiplexer
  bool opens = true;
  bool hasInfo = true;
  struct Title {
    bool readable = true;
    int readableTimes = 1000;  // so often, then no more
    std::vector<ScriptedStream> streams;
  };
  std::vector<Title> titles;
  int parsers = 1000;  // so many can be made
  bool adds = true;
  bool seeks = true;
  uint16_t firstId = 40;  // stream identifiers need not be numbers
  std::function<void()> onPush;
};

// The file that the next opening finds, and the calls since reset(), such as "push 1".
struct ScriptedDmf {
  ScriptedFile file;
  std::vector<std::string> calls;
  int alive = 0;  // demultiplexers not yet freed
  int open = 0;
  std::vector<void const*> formats;  // format blocks of subtitle streams, in the order of their handing out
  AnyDict writerSettings;            // of the last text writer
  std::vector<AnyDict> fifoSettings;
  void reset(ScriptedFile next);
};
ScriptedDmf& scriptedDmf();

}  // namespace test
