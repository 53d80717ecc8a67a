// The streams of an open file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dmfdemux/dmfdemux.h"
#include "dmfdemux/parser.h"

namespace dmfdemux {

struct StreamFacts {
  int32_t kind = 0;
  DmfVideoFormat video{};
  DmfAudioFormat audio{};
  DmfSubtitleFormat subtitle{};
  SubtitleStream source;

  void const* format() const;
};

// What a file holds, read once and closed again: the one title of a file. It outlives its parsers.
class Title {
 public:
  // Fails as Fault::format for what is no AVI or Matroska file.
  static mediafile::Result<std::unique_ptr<Title>> read(std::string const& fileName);

  std::vector<StreamFacts> const& streams() const { return streams_; }
  int16_t count(int32_t kind) const;
  Parser parser() const { return Parser(*packets_); }

 private:
  std::vector<StreamFacts> streams_;
  std::unique_ptr<SubtitlePackets> packets_;
};

// UTF-16 of UTF-8 `text`, as much of it as fits; what is left of `out` becomes 0. Ill-formed bytes give
// U+FFFD.
void toUtf16(std::string_view text, std::span<uint16_t> out);

}  // namespace dmfdemux
