// Subtitle scripts rebuilt from the packets of a container. Pure text work.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

namespace dmfdemux {

// Microseconds.
struct Times {
  int64_t begin = 0, end = 0;
};

// A piece of a script. Headers and trailers have no times.
struct Piece {
  std::string text;
  bool isEvent = false;
  Times times;
};

// Puts the pieces that are finished into `out`, in the order of the script. Times before 0 count as 0, what a
// format cannot express as the last time that it can, an end before its begin as the begin.
class ScriptWriter {
 public:
  virtual ~ScriptWriter() = default;
  virtual void begin(std::deque<Piece>& out) = 0;
  // `text` as a packet holds it. Line ends that would break the script's form do not get through.
  virtual void add(std::string_view text, Times times, std::deque<Piece>& out) = 0;
  virtual void end(std::deque<Piece>& out) = 0;
};

// SubRip: blocks numbered from 1, "00:00:01,000 --> 00:00:02,500".
std::unique_ptr<ScriptWriter> makeSubRipWriter();

// Whether the header of a script is one of SSA (v4), not of ASS (v4+).
bool isSsaHeader(std::string_view header);

// SSA or ASS as the header says. Packets are as Matroska has them: number in the script, layer, and the
// fields of a Dialogue line after its times; an event that comes ahead of its number waits for those before
// it.
std::unique_ptr<ScriptWriter> makeSubStationWriter(std::string_view header);

}  // namespace dmfdemux
