#include "tests/scripted_dmf/scripted_dmf.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <utility>

#include "host/subtitles.h"

test::ScriptedDmf& test::scriptedDmf() {
  static ScriptedDmf state;
  return state;
}

void test::ScriptedDmf::reset(ScriptedFile next) {
  file = std::move(next);
  calls.clear();
  formats.clear();
  writerSettings.clear();
  fifoSettings.clear();
}

using test::ScriptedStream;

struct DmfDemux {
  struct Parser {
    int title = 0;
    ScriptedStream const* stream = nullptr;
    DmfSink sink{};
    size_t next = 0;
  };
  struct Block {
    DmfVideoFormat video{};
    DmfAudioFormat audio{};
    DmfSubtitleFormat subtitle{};
  };
  std::map<int, Parser> parsers;
  std::deque<Block> blocks;
};

namespace {

template <size_t size>
void copy(std::u16string const& text, uint16_t (&out)[size]) {
  for (size_t i = 0; i < std::min(size, text.size()); ++i) out[i] = text[i];
}

void call(std::string const& text) { test::scriptedDmf().calls.push_back(text); }

test::ScriptedFile& file() { return test::scriptedDmf().file; }

// Identifiers run over all titles.
ScriptedStream const* streamOf(int title, int id) {
  auto const& streams = file().titles.at(static_cast<size_t>(title)).streams;
  auto const number = static_cast<size_t>(id - file().firstId);
  return number < streams.size() ? &streams[number] : nullptr;
}

}  // namespace

// The host's own do the work of these two.
int KySubtitleBufStreamWrite::init(AnyDict const& settings) {
  test::scriptedDmf().writerSettings = settings;
  using Init = int (*)(KySubtitleBufStreamWrite*, AnyDict const&);
  static auto const original =
      reinterpret_cast<Init>(::dlsym(RTLD_NEXT, "_ZN24KySubtitleBufStreamWrite4initERK7AnyDict"));
  return original(this, settings);
}

int KyBufStreamFifo::init(AnyDict const& settings) {
  test::scriptedDmf().fifoSettings.push_back(settings);
  using Init = int (*)(KyBufStreamFifo*, AnyDict const&);
  static auto const original =
      reinterpret_cast<Init>(::dlsym(RTLD_NEXT, "_ZN15KyBufStreamFifo4initERK7AnyDict"));
  return original(this, settings);
}

DmfDemux* dmfDemuxNew(DmfResourceGetter getter, void* context) {
  if (!file().isMade) return nullptr;
  ++test::scriptedDmf().alive;
  call(getter && getter(context, "malloc") ? "new" : "new without resources");
  return new DmfDemux;
}

int dmfDemuxOpen(DmfDemux*, char const* name) {
  call(std::string("open ") + name);
  if (!file().opens) return -1;
  ++test::scriptedDmf().open;
  return 0;
}

int dmfDemuxGetFileInfo(DmfDemux*, DmfFileInfo* info) {
  if (!file().hasInfo) return -1;
  info->titles = static_cast<int16_t>(file().titles.size());
  return 0;
}

int dmfDemuxGetTitleInfo(DmfDemux*, int number, DmfTitleInfo* info) {
  auto& title = file().titles.at(static_cast<size_t>(number));
  if (!title.readable || title.readableTimes-- <= 0) return -1;
  for (auto const& stream : title.streams)
    ++(stream.kind == kDmfAudio   ? info->audioStreams
       : stream.kind == kDmfVideo ? info->videoStreams
                                  : info->subtitleStreams);
  return 0;
}

int dmfDemuxGetStreamInfo(DmfDemux* demux, int title, int number, DmfStreamInfo* info) {
  ScriptedStream const& stream =
      file().titles.at(static_cast<size_t>(title)).streams.at(static_cast<size_t>(number));
  DmfDemux::Block& block = demux->blocks.emplace_back();
  block.video.width = stream.width;
  copy(stream.language, block.audio.language);
  copy(stream.language, block.subtitle.language);
  copy(stream.country, block.subtitle.countryCode);
  copy(stream.description, block.subtitle.mediaDesc);
  info->kind = stream.kind;
  info->codec = stream.codec;
  info->id = static_cast<uint16_t>(file().firstId + number);
  if (stream.noFormat) return -1;
  info->format = stream.kind == kDmfAudio   ? static_cast<void const*>(&block.audio)
                 : stream.kind == kDmfVideo ? static_cast<void const*>(&block.video)
                                            : &block.subtitle;
  if (stream.kind == kDmfSubtitle) test::scriptedDmf().formats.push_back(info->format);
  return 0;
}

int dmfDemuxNewParser(DmfDemux* demux, DmfParserSettings const* settings) {
  if (file().parsers-- <= 0) return 0;
  int const number = static_cast<int>(demux->parsers.size()) + 1;
  demux->parsers[number].title = settings->title;
  return number;
}

int dmfDemuxAddStream(DmfDemux* demux, int parser, DmfStreamSettings const* settings) {
  call("add " + std::to_string(settings->stream) + " to " + std::to_string(parser) +
       (settings->asText == 1 ? " as text"
        : settings->asText    ? " with an odd flag"
                              : ""));
  if (!file().adds || !demux->parsers.count(parser)) return -1;
  DmfDemux::Parser& to = demux->parsers[parser];
  to.stream = streamOf(to.title, settings->stream);
  to.sink = settings->sink;
  return 0;
}

int dmfDemuxSeek(DmfDemux*, DmfSeekSettings const* settings) {
  call("seek " + std::to_string(settings->stream) + " of " + std::to_string(settings->parser) + " to " +
       std::to_string(settings->position));
  return file().seeks ? 0 : -1;
}

int dmfDemuxPush(DmfDemux* demux, int number) {
  call("push " + std::to_string(number));
  if (file().onPush) file().onPush();
  auto const found = demux->parsers.find(number);
  if (found == demux->parsers.end()) return -1;
  DmfDemux::Parser& parser = found->second;
  if (!parser.stream || parser.next == parser.stream->deliveries.size()) return 0;
  ScriptedStream::Delivery const& delivery = parser.stream->deliveries[parser.next++];
  int const size = static_cast<int>(delivery.bytes.size());
  int const taken = parser.sink.write(parser.sink.user, delivery.bytes.data(), size);
  int64_t times[2] = {delivery.begin, delivery.end};
  parser.sink.event(parser.sink.user, delivery.event, times);
  return taken;
}

void dmfDemuxClose(DmfDemux*) {
  call("close");
  --test::scriptedDmf().open;
}

void dmfDemuxFree(DmfDemux* demux) {
  call("free");
  --test::scriptedDmf().alive;
  delete demux;
}
