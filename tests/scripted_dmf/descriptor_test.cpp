// A language that a stream has already.
#include <gtest/gtest.h>

#include "mpegdecode/dmflanguages.h"
#include "mpegdecode/subpicstream.h"

namespace {

TEST(LanguageDescriptor, ReplacesAnEarlierOneAsAWhole) {
  MpegInSubpicStream stream(0);
  stream.info().set("codecParams", AnyDict("pid", 3, "program_number", 0));
  stream.info().set("languageDescriptor", AnyDict("ISO_639_language_code", "deu", "audio_type", 1));
  MpegInStreamList list;
  list.append(&stream);
  DmfAudioFormat format{};
  for (size_t i = 0; i < 3; ++i) format.language[i] = static_cast<uint16_t>("eng"[i]);
  DmfStreamInfo info{};
  info.kind = kDmfAudio;
  info.format = &format;
  attachLanguage(info, 0, 3, list);
  EXPECT_EQ(stream.info()["languageDescriptor"], Any(AnyDict("ISO_639_language_code", "eng")));
}

}  // namespace
