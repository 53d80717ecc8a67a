// A demultiplexer on made files, and what it delivers.
#pragma once

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dmfdemux/dmfdemux.h"
#include "tests/support/dmf_files.h"
#include "tests/support/media.h"

namespace dmftest {

namespace fs = std::filesystem;

struct Free {
  void operator()(DmfDemux* demux) const { dmfDemuxFree(demux); }
};
using DemuxPtr = std::unique_ptr<DmfDemux, Free>;

inline std::string warnings;
inline void warn(char const* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  warnings += text;
}
inline void* resource(void* context, char const* name) {
  EXPECT_EQ(context, &warnings);
  return std::string(name) == "wrn_printf" ? reinterpret_cast<void*>(&warn) : nullptr;
}

inline DemuxPtr opened(fs::path const& file) {
  warnings.clear();
  DemuxPtr demux(dmfDemuxNew(&resource, &warnings));
  EXPECT_EQ(dmfDemuxOpen(demux.get(), file.c_str()), 0) << warnings;
  return demux;
}

inline DmfStreamInfo stream(DemuxPtr const& demux, int number) {
  DmfStreamInfo info{};
  EXPECT_EQ(dmfDemuxGetStreamInfo(demux.get(), 0, number, &info), 0);
  return info;
}

inline std::string text(uint16_t const (&characters)[4]) {
  std::string out;
  for (uint16_t const c : characters)
    if (c) out.push_back(static_cast<char>(c));
  return out;
}

// Keeps what it is given; an event takes the bytes since the last one.
struct Recorder {
  struct Event {
    int64_t begin, end;
    std::string bytes;
    bool operator==(Event const&) const = default;
  };
  std::string all, since;
  std::vector<Event> events;

  DmfSink sink() {
    return {[](void* user, void const* bytes, int size) {
              auto* const self = static_cast<Recorder*>(user);
              self->all.append(static_cast<char const*>(bytes), static_cast<size_t>(size));
              self->since.append(static_cast<char const*>(bytes), static_cast<size_t>(size));
              return size;
            },
            [](void* user, int event, void* data) {
              auto* const self = static_cast<Recorder*>(user);
              EXPECT_EQ(event, 0xF001000);
              auto const* const times = static_cast<int64_t const*>(data);
              self->events.push_back({times[0], times[1], std::exchange(self->since, {})});
              return 0;
            },
            this};
  }
};

inline int parserFor(DemuxPtr const& demux, int number, Recorder& to, bool asText) {
  DmfParserSettings const settings{0};
  int const parser = dmfDemuxNewParser(demux.get(), &settings);
  EXPECT_GT(parser, 0);
  DmfStreamSettings const add{static_cast<uint16_t>(number), to.sink(), asText ? uint8_t{1} : uint8_t{0}};
  EXPECT_EQ(dmfDemuxAddStream(demux.get(), parser, &add), 0);
  return parser;
}

inline long pushAll(DemuxPtr const& demux, int parser) {
  long total = 0;
  for (int bytes; (bytes = dmfDemuxPush(demux.get(), parser)) > 0;) total += bytes;
  return total;
}

inline fs::path threeLanguages() {
  fs::path const script = test::scratchText(
      "three.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n2\n00:00:00,500 --> 00:00:00,900\ntwo\n\n");
  return test::made("three.mkv", test::pictureInput + test::soundInput + "-i " + test::quoted(script) +
                                     " -map 0 -map 1 -map 1 -map 1 -map 2 -c:v mpeg4 -c:a pcm_s16le -c:s copy"
                                     " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fre"
                                     " -metadata:s:a:2 language=und -metadata:s:s:0 language=pt-BR"
                                     " -metadata:s:s:0 title='Descriptions'");
}

}  // namespace dmftest
