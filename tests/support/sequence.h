// Whole streams read through a pipe.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/codec.h"
#include "host/frame.h"
#include "host/pcm.h"
#include "tests/support/media.h"

namespace test {

// MD5 of every picture from the first on, until the end of the stream.
inline std::vector<std::string> readAllFrames(KyDecodePipe& pipe, int stream) {
  std::vector<std::string> hashes;
  EXPECT_EQ(pipe.selectStream(kKindVideo, stream), 0) << pipe.errorDesc();
  int result = pipe.seekToFrame(0, stream);
  while (result == 0 && (result = pipe.readFrame(stream)) == 0) {
    EXPECT_EQ(pipe.videoFrame(stream)->frameNumber(), static_cast<int64_t>(hashes.size()));
    hashes.push_back(md5(*pipe.videoFrame(stream)));
  }
  EXPECT_EQ(result, kResultEndOfStream) << pipe.errorDesc();
  return hashes;
}

// Every sample of all channels, interleaved, read from the start in blocks. A host trusts the count that the
// buffer holds, not the result: a short read is reported as the end with samples in the buffer.
template <class Word>
std::vector<Word> readAllSamples(KyDecodePipe& pipe, int stream, int block) {
  std::vector<Word> words;
  EXPECT_EQ(pipe.selectStream(kKindAudio, stream), 0) << pipe.errorDesc();
  EXPECT_EQ(pipe.seekToSample(0, stream), 0) << pipe.errorDesc();
  for (;;) {
    int const result = pipe.readSamples(block, stream);
    KyPcm const& pcm = *pipe.audioPcm(stream);
    auto const* const bytes = pcm.ptr();
    if (pcm.nSamples > 0) {
      EXPECT_EQ(pcm.samples2bytes(1) % static_cast<int>(sizeof(Word)), 0);
      auto const* const begin = reinterpret_cast<Word const*>(bytes);
      words.insert(words.end(), begin,
                   begin + pcm.samples2bytes(pcm.nSamples) / static_cast<int>(sizeof(Word)));
    }
    if (result > 0) continue;
    EXPECT_EQ(result, kResultEndOfStream) << pipe.errorDesc();
    return words;
  }
}

}  // namespace test
