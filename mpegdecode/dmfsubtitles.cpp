#include "mpegdecode/dmfsubtitles.h"

#include <algorithm>
#include <list>
#include <memory>
#include <string>

#include "host/codec.h"
#include "host/file.h"
#include "host/log.h"
#include "host/subtitles.h"
#include "mpegdecode/dmflanguages.h"
#include "mpegdecode/dmftext.h"
#include "mpegdecode/subobserver.h"
#include "mpegdecode/subpicdescription.h"
#include "mpegdecode/subpicstream.h"

namespace {

struct DemuxDeleter {
  void operator()(DmfDemux* demux) const { dmfDemuxFree(demux); }
};
using DemuxPtr = std::unique_ptr<DmfDemux, DemuxDeleter>;

// Closes what was opened, whatever ends the pass.
class OpenFile {
 public:
  explicit OpenFile(DmfDemux* demux) : demux_(demux) {}
  ~OpenFile() { dmfDemuxClose(demux_); }
  OpenFile(OpenFile const&) = delete;
  OpenFile& operator=(OpenFile const&) = delete;

 private:
  DmfDemux* demux_;
};

class TemporaryFile {
 public:
  explicit TemporaryFile(char const* hint) : name_(KyFile::tempFileName(hint, nullptr)) {}
  ~TemporaryFile() { KyFile::rm(name_); }
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;

  Any const& name() const { return name_; }

 private:
  Any name_;
};

struct WindowSize {
  int width, height;
};

// The windows that subtitle pictures are made for.
WindowSize windowFor(uint32_t pictureWidth) {
  if (pictureWidth > 1280) return {1440, 1080};
  if (pictureWidth > 720) return {960, 720};
  return {640, 480};
}

int streamCount(DmfTitleInfo const& title) {
  return title.videoStreams + title.audioStreams + title.subtitleStreams;
}

char const* textSubType(int32_t codec) {
  switch (codec) {
    case kDmfText:
      return "utf8";
    case kDmfSsa:
      return "ssa";
    case kDmfAss:
      return "ass";
    default:
      return nullptr;
  }
}

char const* bitmapSubType(int32_t codec) {
  if (codec == kDmfDxsb) return "dxsb";
  return codec == kDmfDxsa ? "dxsa" : nullptr;
}

DmfStreamInfo streamInfo(DmfDemux* demux, int title, int stream) {
  DmfStreamInfo info{};
  dmfDemuxGetStreamInfo(demux, title, stream, &info);
  return info;
}

DmfStreamSettings streamSettings(DmfStreamInfo const& stream, KyStreamInput const& input, bool asText) {
  DmfStreamSettings settings{};
  settings.stream = stream.id;
  settings.sink = {input.write, input.event, input.user};
  settings.asText = asText ? 1 : 0;
  return settings;
}

DmfSeekSettings toStart(int parser, DmfStreamInfo const& stream) {
  DmfSeekSettings settings{};
  settings.parser = parser;
  settings.stream = stream.id;
  return settings;
}

// A file as one text: its NUL bytes would end a string early.
std::string textOf(Any const& path) {
  std::string text(static_cast<size_t>(std::max<int64_t>(KyFile::flength(path), 0)), '\0');
  if (std::FILE* const file = KyFile::fopen(path, "rb")) {
    long const bytes = KyFile::fread_(text.data(), static_cast<long>(text.size()), file);
    text.resize(static_cast<size_t>(bytes));
    KyFile::fclose(file);
  }
  std::replace(text.begin(), text.end(), '\0', ' ');
  return text;
}

// Delivers all of a text stream to `writer`. What goes wrong is logged, and the rest is tried all the same.
void readText(DmfDemux* demux, DmfStreamInfo const& stream, int title, KySubtitleBufStreamWrite& writer) {
  DmfParserSettings parserSettings{};
  parserSettings.title = title;
  int const parser = dmfDemuxNewParser(demux, &parserSettings);
  if (parser == 0) ky_dbg()->info("[DMFDemux] Failed to create stream parser for title=%d", title);
  DmfStreamSettings const settings = streamSettings(stream, *writer.input(), true);
  if (dmfDemuxAddStream(demux, parser, &settings) != 0)
    ky_dbg()->info("[DMFDemux] Failed to add stream %d for title=%d", stream.id, title);
  DmfSeekSettings const start = toStart(parser, stream);
  if (dmfDemuxSeek(demux, &start) != 0)
    ky_dbg()->info("[DMFDemux] Failed to seek stream %d / title=%d", stream.id, title);
  unsigned total = 0;
  for (int bytes; (bytes = dmfDemuxPush(demux, parser)) > 0;) total += static_cast<unsigned>(bytes);
  if (total == 0)
    ky_dbg()->info("[DMFDemux] Failed to read subtitle stream %d for title=%d", stream.id, title);
  ky_dbg()->info("[DMFDemux] Read subtitle stream %d for title=%d, %d bytes", stream.id, title,
                 static_cast<int>(total));
}

void addTextStream(DmfDemux* demux, DmfStreamInfo const& stream, int title, MpegInStreamList& subpics) {
  TemporaryFile const file("txt");
  KySubtitleBufStreamWrite writer(nullptr);
  if (writer.init(AnyDict("outfilename", file.name(), "format", Any(stream.format, 0))) != 0) {
    ky_dbg()->info("[DMFDemux] Failed to extract subtitles to=%s", file.name().asString().c_str());
    return;
  }
  readText(demux, stream, title, writer);
  writer.destroy();
  auto const* const format = static_cast<DmfSubtitleFormat const*>(stream.format);
  auto entry = std::make_unique<MpegInSubpicStream>(subpics.size());
  describe(TextSubtitleFacts{format ? dmfCode(format->language) : std::string(), textOf(file.name()), title,
                             textSubType(stream.codec)},
           entry->info());
  subpics.append(entry.release());
}

// The streams of one title: languages and text subtitles.
void parseTitle(DmfDemux* demux, int title, int streams, MpegInStreamList const& known,
                MpegInStreamList& subpics) {
  for (int stream = 0; stream < streams; ++stream) {
    DmfStreamInfo const info = streamInfo(demux, title, stream);
    if (info.kind == kDmfAudio) attachLanguage(info, title, stream, known);
    if (info.kind == kDmfSubtitle && textSubType(info.codec)) addTextStream(demux, info, title, subpics);
  }
}

// A bitmap stream on its way to its folder, which goes again unless an entry of the list takes it.
struct BitmapStream {
  BitmapStream(DmfStreamInfo const& info, int title, int number)
      : observer(info, title, number, bitmapSubType(info.codec), &fifo) {
    fifo.init(AnyDict());
    fifo.addObserver(&observer);
  }
  ~BitmapStream() {
    if (!taken && KyFile::isDir(observer.folder)) KyFile::rmdir(observer.folder);
  }
  BitmapStream(BitmapStream const&) = delete;
  BitmapStream& operator=(BitmapStream const&) = delete;

  KyBufStreamFifo fifo{nullptr};
  SubObserver observer;
  bool taken = false;
};

struct BitmapPass {
  std::list<int> parsers;
  std::list<BitmapStream> streams;
  WindowSize window{1440, 1080};  // of files without pictures
};

// Prepares the streams of one title; false gives up the pass.
bool prepareTitle(DmfDemux* demux, int title, BitmapPass& pass) {
  DmfTitleInfo titleInfo{};
  if (dmfDemuxGetTitleInfo(demux, title, &titleInfo) != 0) return false;
  for (int number = 0; number < streamCount(titleInfo); ++number) {
    DmfStreamInfo const info = streamInfo(demux, title, number);
    if (info.kind == kDmfVideo && info.format)
      pass.window = windowFor(static_cast<DmfVideoFormat const*>(info.format)->width);
    if (info.kind != kDmfSubtitle || !bitmapSubType(info.codec)) continue;
    DmfParserSettings settings{};
    settings.title = title;
    int const parser = dmfDemuxNewParser(demux, &settings);
    if (parser == 0) return false;
    pass.parsers.push_back(parser);
    BitmapStream& stream = pass.streams.emplace_back(info, title, number);
    DmfStreamSettings const sink = streamSettings(info, *stream.fifo.input(), false);
    dmfDemuxAddStream(demux, parser, &sink);
    DmfSeekSettings const start = toStart(parser, info);
    dmfDemuxSeek(demux, &start);
  }
  return true;
}

// Pushes the parsers in turn; one that ends makes the turn begin anew.
void pushAll(DmfDemux* demux, std::list<int>& parsers) {
  while (!parsers.empty()) {
    auto const ended = std::find_if(parsers.begin(), parsers.end(),
                                    [demux](int parser) { return dmfDemuxPush(demux, parser) <= 0; });
    if (ended != parsers.end()) parsers.erase(ended);
  }
}

void writeWindow(BitmapStream const& stream, WindowSize window) {
  int32_t const values[] = {window.width, window.height, stream.observer.subType == "dxsa" ? 1 : 0};
  if (std::FILE* const file = KyFile::fopen(KyFile::joinPath(stream.observer.folder, "meta.fil"), "wb")) {
    KyFile::fwrite_(values, sizeof values, file);
    KyFile::fclose(file);
  }
}

void addBitmapStream(BitmapStream& stream, WindowSize window, MpegInStreamList& subpics) {
  SubObserver const& observer = stream.observer;
  auto entry = std::make_unique<MpegInSubpicStream>(subpics.size());
  describe(BitmapSubtitleFacts{observer.language, observer.countryCode, observer.mediaDesc, observer.titleNr,
                               observer.folder, observer.subType, window.width, window.height},
           entry->info());
  subpics.append(entry.get());
  static_cast<void>(entry.release());  // the list's now
  stream.taken = true;
  writeWindow(stream, window);
}

}  // namespace

int parseDmfFile(MpegInStreamList const& streams, MpegInStreamList& subpics, Any const& fileName) {
  std::string const name = KyFile::osFname(fileName).asString();
  DemuxPtr const demux(dmfDemuxNew(&KyCodec::get_rc_ex, nullptr));
  if (!demux || dmfDemuxOpen(demux.get(), name.c_str()) != 0) {
    ky_log()->warning("DMF demuxer can not open %s, cannot parse for language descriptors.", name.c_str());
    return -1;
  }
  OpenFile const open(demux.get());
  DmfFileInfo file{};
  if (dmfDemuxGetFileInfo(demux.get(), &file) != 0) {
    ky_log()->warning("DMF demuxer can not get info for %s, cannot parse for language descriptors.",
                      name.c_str());
    return -1;
  }
  for (int title = 0; title < file.titles; ++title) {
    DmfTitleInfo info{};
    if (dmfDemuxGetTitleInfo(demux.get(), title, &info) != 0)
      ky_log()->warning("DMF demuxer can not get title info for %s, cannot parse for language descriptors.",
                        name.c_str());
    parseTitle(demux.get(), title, streamCount(info), streams, subpics);
  }
  extractBitmapSubtitles(demux.get(), subpics, file);
  return 0;
}

void extractBitmapSubtitles(DmfDemux* demux, MpegInStreamList& subpics, DmfFileInfo const& file) {
  BitmapPass pass;
  for (int title = 0; title < file.titles; ++title)
    if (!prepareTitle(demux, title, pass)) return;
  pushAll(demux, pass.parsers);
  for (BitmapStream& stream : pass.streams) addBitmapStream(stream, pass.window, subpics);
}
