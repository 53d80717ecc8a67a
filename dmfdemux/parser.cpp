#include "dmfdemux/parser.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace dmfdemux {

using mediafile::Result;

bool Parser::add(SubtitleStream const& stream, DmfSink const& sink, bool asText) {
  if (reader_ || atEnd_ || has(stream.libavIndex)) return false;
  streams_.push_back({stream, sink, asText, nullptr, {}});
  return true;
}

bool Parser::has(int libavIndex) const {
  return std::any_of(streams_.begin(), streams_.end(),
                     [&](Stream const& stream) { return stream.source.libavIndex == libavIndex; });
}

// Beginning anew finds the first packet in every file; seeking needs an index, which files may lack.
void Parser::rewind() {
  reader_.reset();
  atEnd_ = false;
}

Result<void> Parser::start() {
  std::vector<int> indexes;
  for (Stream const& stream : streams_) indexes.push_back(stream.source.libavIndex);
  auto reader = packets_->reader(std::move(indexes));
  if (!reader) return reader.error();
  reader_ = reader.take();
  for (Stream& stream : streams_) {
    stream.finished.clear();
    stream.script.reset();
    if (!stream.asText) continue;
    if (stream.source.codec == kDmfText) stream.script = makeSubRipWriter();
    if (stream.source.codec == kDmfSsa || stream.source.codec == kDmfAss)
      stream.script = makeSubStationWriter(stream.source.header);
    if (stream.script) stream.script->begin(stream.finished);
  }
  return {};
}

void Parser::finish() {
  atEnd_ = true;
  reader_.reset();
  for (Stream& stream : streams_)
    if (stream.script) stream.script->end(stream.finished);
}

Result<int> Parser::push() {
  if (streams_.empty()) return 0;
  if (!reader_ && !atEnd_) {
    if (auto const started = start(); !started) return started.error();
  }
  for (;;) {
    bool delivered = false;
    int const bytes = deliverFinished(delivered);
    if (delivered) return bytes;
    if (atEnd_) return 0;
    SubtitlePacket packet;
    if (!reader_->next(packet)) {
      finish();
      continue;
    }
    Stream& stream = streamOf(packet.libavIndex);
    if (!stream.script) return deliver(stream.sink, packet.bytes, &packet.times);
    stream.script->add({reinterpret_cast<char const*>(packet.bytes.data()), packet.bytes.size()},
                       packet.times, stream.finished);
  }
}

int Parser::deliverFinished(bool& delivered) {
  for (Stream& stream : streams_) {
    if (stream.finished.empty()) continue;
    delivered = true;
    Piece const piece = std::move(stream.finished.front());
    stream.finished.pop_front();
    auto const* bytes = reinterpret_cast<uint8_t const*>(piece.text.data());
    return deliver(stream.sink, {bytes, piece.text.size()}, piece.isEvent ? &piece.times : nullptr);
  }
  return 0;
}

int Parser::deliver(DmfSink const& sink, std::span<uint8_t const> bytes, Times const* times) {
  int const size = static_cast<int>(std::min<size_t>(bytes.size(), std::numeric_limits<int>::max()));
  int const taken = sink.write(sink.user, bytes.data(), size);
  if (times) {
    int64_t data[2] = {times->begin, times->end};
    sink.event(sink.user, kDmfDataEvent, data);
  }
  return taken;
}

// The reader gives packets of these streams only.
Parser::Stream& Parser::streamOf(int libavIndex) {
  return *std::find_if(streams_.begin(), streams_.end(),
                       [&](Stream const& stream) { return stream.source.libavIndex == libavIndex; });
}

}  // namespace dmfdemux
