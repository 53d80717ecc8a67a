// Decoders opened on files whose subtitle pass meets the scripted demultiplexer.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/scripted_dmf/scripted_dmf.h"
#include "tests/support/dmf_files.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/tempfolder.h"

namespace test {

// A real DMF file with one picture and two sound streams, whose identifiers are 0, 1 and 2.
inline std::filesystem::path dmfFile() {
  return made("scripted.mkv", pictureInput + soundInput + "-i " +
                                  quoted(scratchText("s.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n")) +
                                  " -map 0 -map 1 -map 1 -map 2 -c:v mpeg4 -c:a ac3 -c:s copy");
}

inline ScriptedStream audio(std::u16string const& language) {
  ScriptedStream stream;
  stream.kind = kDmfAudio;
  stream.language = language;
  return stream;
}

inline ScriptedStream video(uint32_t width) {
  ScriptedStream stream;
  stream.kind = kDmfVideo;
  stream.width = width;
  return stream;
}

inline ScriptedStream subtitle(int32_t codec, std::vector<ScriptedStream::Delivery> deliveries) {
  ScriptedStream stream;
  stream.kind = kDmfSubtitle;
  stream.codec = codec;
  stream.language = u"eng";
  stream.deliveries = std::move(deliveries);
  return stream;
}

inline ScriptedFile titles(std::vector<std::vector<ScriptedStream>> const& all) {
  ScriptedFile file;
  for (auto const& streams : all) file.titles.push_back({true, 1000, streams});
  return file;
}

// What a suite about the pass has beside its own base of GoogleTest.
class DmfPass {
 protected:
  explicit DmfPass(Failures::Reaction reaction = Failures::kReturn) : failures(reaction) { ky_log()->take(); }
  virtual ~DmfPass() {
    EXPECT_TRUE(failures.seen.empty()) << "no check fails in the pass";
    EXPECT_EQ(scriptedDmf().alive, 0);
    EXPECT_EQ(scriptedDmf().open, 0);
  }

  PipePtr open(ScriptedFile file) {
    scriptedDmf().reset(std::move(file));
    return opened(dmfFile());
  }
  std::vector<std::string> warnings() {
    std::vector<std::string> texts;
    for (auto const& message : ky_log()->take()) {
      EXPECT_EQ(message.level, kLogWarning);
      texts.push_back(message.text);
    }
    return texts;
  }
  static std::string name() { return dmfFile().string(); }
  static AnyDict subpic(PipePtr const& pipe, int index) { return info(*pipe, kKindSubpic, index); }
  static std::string folder(PipePtr const& pipe, int index) {
    return subpic(pipe, index)["subtitles"].asString();
  }
  static std::vector<std::string> calls() { return scriptedDmf().calls; }

  TempFolder temp;
  LogLines log;
  Failures failures;
};

}  // namespace test
