// The DMF demultiplexer: what the streams of a DMF file are, and its subtitle streams packet by packet. DMF
// files are AVI and Matroska files; libavformat reads them.
//
// Plain functions and records; an instance belongs to one thread at a time. No function throws. Functions
// return 0 for success and a negative number otherwise, where nothing else is said; records are filled only
// on success. All times are microseconds from the beginning of the file.
#pragma once

#include <cstdint>

#define DMFDEMUX_API __attribute__((visibility("default")))

struct DmfDemux;

// Hands out callbacks by name, null for an unknown one; `context` is passed back. Asked for, in
// dmfDemuxNew: "wrn_printf" (const char* format, ...), which takes the library's messages.
extern "C" typedef void* (*DmfResourceGetter)(void* context, char const* name);

struct DmfFileInfo {
  int16_t titles;  // always 1: neither container has titles
};

// Streams are numbered from 0 across the three kinds, in file order. Data streams, attachments and cover art
// have no number. The import library numbers alike: its identifiers of DMF streams are these numbers.
struct DmfTitleInfo {
  int16_t videoStreams, audioStreams, subtitleStreams;
};

enum DmfStreamKind : int32_t { kDmfAudio = 1, kDmfVideo = 2, kDmfSubtitle = 3 };

enum DmfSubtitleCodec : int32_t {
  kDmfDxsb = 281,  // XSUB pictures
  kDmfText = 282,  // UTF-8: SubRip, plain text, WebVTT
  kDmfSsa = 283,
  kDmfAss = 284,
  kDmfDxsa = 291  // XSUB pictures with an alpha value for each colour
};

struct DmfVideoFormat {
  uint32_t width, height;  // pixels
};

// Texts are UTF-16, cut where they fill their array, else ended by 0; all 0 where the file tells nothing. The
// language is what the file has, in practice three letters of ISO 639-2; "und" counts as nothing.
struct DmfAudioFormat {
  uint32_t sampleRate;  // Hz
  uint16_t channels;
  uint16_t language[4];
};

struct DmfSubtitleFormat {
  uint32_t forced;  // 1: to be shown always
  uint16_t language[4];
  uint16_t reserved[2];
  uint16_t countryCode[4];  // neither container tells it
  uint16_t mediaDesc[8];    // begin of the stream's title
};

struct DmfStreamInfo {
  int32_t kind;   // DmfStreamKind
  int32_t codec;  // DmfSubtitleCodec, 0 for everything else
  uint16_t id;    // the stream's number, as the settings below take it
  // The block of the kind above; the demultiplexer's, valid until it is closed.
  void const* format;
};

// Receives a stream: first the bytes of one delivery, then the event that goes with them.
struct DmfSink {
  int (*write)(void* user, void const* bytes, int size);  // bytes taken
  // `data` points to two int64_t, begin and end of the picture or text just written. The result is ignored.
  int (*event)(void* user, int event, void* data);
  void* user;
};
constexpr int kDmfDataEvent = 0xF001000;

struct DmfParserSettings {
  int32_t title;
};

struct DmfStreamSettings {
  uint16_t stream;  // DmfStreamInfo::id
  DmfSink sink;     // copied; both functions must be there
  // 0: packets unchanged. 1: text streams as a script that is complete when all is delivered: SubRip blocks
  // numbered from 1, or the header of an SSA or ASS script with its "Dialogue:" lines in the script's order.
  uint8_t asText;
};

struct DmfSeekSettings {
  int32_t parser;
  uint16_t stream;
  int64_t position;  // 0, the beginning, is the only one
};

extern "C" {
// A new demultiplexer, or null without memory. `getter` may be null. To be released with dmfDemuxFree.
DMFDEMUX_API DmfDemux* dmfDemuxNew(DmfResourceGetter getter, void* context);
// By the operating system's file name. Fails for files that are neither AVI nor Matroska, and when a file is
// open already.
DMFDEMUX_API int dmfDemuxOpen(DmfDemux* demux, char const* fileName);
DMFDEMUX_API int dmfDemuxGetFileInfo(DmfDemux* demux, DmfFileInfo* info);
DMFDEMUX_API int dmfDemuxGetTitleInfo(DmfDemux* demux, int title, DmfTitleInfo* info);
DMFDEMUX_API int dmfDemuxGetStreamInfo(DmfDemux* demux, int title, int stream, DmfStreamInfo* info);

// Parsers read the file independently of each other. The parser's number, from 1; 0 on failure.
DMFDEMUX_API int dmfDemuxNewParser(DmfDemux* demux, DmfParserSettings const* settings);
// Subtitle streams with a codec of the above only, each once for a parser and before its first push.
DMFDEMUX_API int dmfDemuxAddStream(DmfDemux* demux, int parser, DmfStreamSettings const* settings);
// Positions the parser at the beginning of the file, where a new one stands.
DMFDEMUX_API int dmfDemuxSeek(DmfDemux* demux, DmfSeekSettings const* settings);
// Delivers the next packet or finished piece of text to its sink. The bytes that the sink took; 0 at the end,
// negative on failure. Empty packets are passed over; unreadable parts of a damaged file too.
DMFDEMUX_API int dmfDemuxPush(DmfDemux* demux, int parser);

// Ends all parsers; another file can be opened.
DMFDEMUX_API void dmfDemuxClose(DmfDemux* demux);
// Closes too. Null is ignored.
DMFDEMUX_API void dmfDemuxFree(DmfDemux* demux);
}
