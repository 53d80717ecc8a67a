// Reads streams of a file from its beginning and gives them to their sinks.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "dmfdemux/dmfdemux.h"
#include "dmfdemux/packets.h"
#include "dmfdemux/script.h"

namespace dmfdemux {

// A subtitle stream as the file's header describes it.
struct SubtitleStream {
  int libavIndex = 0;
  int32_t codec = 0;   // DmfSubtitleCodec, 0 for others
  std::string header;  // of an SSA or ASS script
};

// One thread. Functions throw std::bad_alloc.
class Parser {
 public:
  explicit Parser(SubtitlePackets& packets) : packets_(&packets) {}

  // False after the first push and for a stream that is there already.
  bool add(SubtitleStream const& stream, DmfSink const& sink, bool asText);
  bool has(int libavIndex) const;
  void rewind();
  // Bytes that the sink took, 0 at the end. Fails when the file cannot be opened.
  mediafile::Result<int> push();

 private:
  struct Stream {
    SubtitleStream source;
    DmfSink sink;
    bool asText;
    std::unique_ptr<ScriptWriter> script;
    std::deque<Piece> finished;
  };

  mediafile::Result<void> start();
  void finish();
  int deliverFinished(bool& delivered);
  int deliver(DmfSink const& sink, std::span<uint8_t const> bytes, Times const* times);
  Stream& streamOf(int libavIndex);

  SubtitlePackets* packets_;
  std::vector<Stream> streams_;
  std::unique_ptr<PacketReader> reader_;  // from the first push to the end
  bool atEnd_ = false;
};

}  // namespace dmfdemux
