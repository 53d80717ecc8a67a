#include "dmfdemux/dmfdemux.h"

#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "dmfdemux/title.h"

using dmfdemux::Parser;
using dmfdemux::StreamFacts;
using dmfdemux::Title;

struct DmfDemux {
  using Printer = void (*)(char const* format, ...);
  Printer warning = nullptr;
  std::unique_ptr<Title> title;
  std::map<int, Parser> parsers;
  int lastParser = 0;

  void warn(char const* function, char const* reason) const {
    if (warning) warning("dmfdemux: %s: %s", function, reason);
  }
  StreamFacts const* stream(int number) const {
    if (!title || number < 0 || static_cast<size_t>(number) >= title->streams().size()) return nullptr;
    return &title->streams()[static_cast<size_t>(number)];
  }
  Parser* parser(int number) {
    auto const found = parsers.find(number);
    return found == parsers.end() ? nullptr : &found->second;
  }
};

namespace {

constexpr int kFailed = -1;

// Nothing is thrown into the caller: lack of memory and the unforeseen become `failure`.
template <class Operation>
int guarded(DmfDemux* demux, char const* name, int failure, Operation operation) noexcept {
  if (!demux) return failure;
  try {
    return operation(*demux);
  } catch (std::exception const& thrown) {
    demux->warn(name, thrown.what());
  } catch (...) {
    demux->warn(name, "unknown failure");
  }
  return failure;
}

}  // namespace

DmfDemux* dmfDemuxNew(DmfResourceGetter getter, void* context) {
  auto* demux = new (std::nothrow) DmfDemux;
  if (demux && getter) demux->warning = reinterpret_cast<DmfDemux::Printer>(getter(context, "wrn_printf"));
  return demux;
}

int dmfDemuxOpen(DmfDemux* demux, char const* fileName) {
  return guarded(demux, "open", kFailed, [&](DmfDemux& self) {
    if (!fileName || self.title) return kFailed;
    auto title = Title::read(fileName);
    if (!title) {
      self.warn(fileName, title.error().text.c_str());
      return kFailed;
    }
    self.title = title.take();
    return 0;
  });
}

int dmfDemuxGetFileInfo(DmfDemux* demux, DmfFileInfo* info) {
  if (!demux || !demux->title || !info) return kFailed;
  *info = {1};
  return 0;
}

int dmfDemuxGetTitleInfo(DmfDemux* demux, int title, DmfTitleInfo* info) {
  if (!demux || !demux->title || title != 0 || !info) return kFailed;
  Title const& of = *demux->title;
  *info = {of.count(kDmfVideo), of.count(kDmfAudio), of.count(kDmfSubtitle)};
  return 0;
}

int dmfDemuxGetStreamInfo(DmfDemux* demux, int title, int stream, DmfStreamInfo* info) {
  StreamFacts const* facts = demux && title == 0 ? demux->stream(stream) : nullptr;
  if (!facts || !info) return kFailed;
  *info = {facts->kind, facts->source.codec, static_cast<uint16_t>(stream), facts->format()};
  return 0;
}

int dmfDemuxNewParser(DmfDemux* demux, DmfParserSettings const* settings) {
  return guarded(demux, "new parser", 0, [&](DmfDemux& self) {
    if (!self.title || !settings || settings->title != 0) return 0;
    self.parsers.emplace(self.lastParser + 1, self.title->parser());
    return ++self.lastParser;
  });
}

int dmfDemuxAddStream(DmfDemux* demux, int parser, DmfStreamSettings const* settings) {
  return guarded(demux, "add stream", kFailed, [&](DmfDemux& self) {
    Parser* const to = self.parser(parser);
    StreamFacts const* const stream = settings ? self.stream(settings->stream) : nullptr;
    if (!to || !stream || stream->source.codec == 0) return kFailed;
    if (!settings->sink.write || !settings->sink.event) return kFailed;
    return to->add(stream->source, settings->sink, settings->asText != 0) ? 0 : kFailed;
  });
}

int dmfDemuxSeek(DmfDemux* demux, DmfSeekSettings const* settings) {
  return guarded(demux, "seek", kFailed, [&](DmfDemux& self) {
    Parser* const parser = settings ? self.parser(settings->parser) : nullptr;
    StreamFacts const* const stream = settings ? self.stream(settings->stream) : nullptr;
    if (!parser || !stream || settings->position != 0 || !parser->has(stream->source.libavIndex))
      return kFailed;
    parser->rewind();
    return 0;
  });
}

int dmfDemuxPush(DmfDemux* demux, int parser) {
  return guarded(demux, "push", kFailed, [&](DmfDemux& self) {
    Parser* const from = self.parser(parser);
    if (!from) return kFailed;
    auto const pushed = from->push();
    if (pushed) return *pushed;
    self.warn("push", pushed.error().text.c_str());
    return kFailed;
  });
}

void dmfDemuxClose(DmfDemux* demux) {
  if (!demux) return;
  demux->parsers.clear();
  demux->title.reset();
}

void dmfDemuxFree(DmfDemux* demux) { delete demux; }
