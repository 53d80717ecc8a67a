#include "tests/plugin/media_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace test {
namespace {

template <class Word>
void appendWords(std::vector<uint8_t>& out, uint8_t const* row, int first, int step, int count, int shift) {
  Word const* words = reinterpret_cast<Word const*>(row) + first;
  for (int i = 0; i < count; ++i, words += step) {
    auto const value = static_cast<Word>(*words >> shift);
    auto const* const bytes = reinterpret_cast<uint8_t const*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof value);
  }
}

// The upper 16 bits: both 3-byte samples and 32-bit words hold 24-bit values.
int16_t upper16(unsigned char const* sample, int bytes) {
  int16_t narrow = 0;
  if (bytes == 2) std::memcpy(&narrow, sample, sizeof narrow);
  if (bytes == 3) narrow = static_cast<int16_t>(sample[1] | sample[2] << 8);
  if (bytes == 4) {
    int32_t wide = 0;
    std::memcpy(&wide, sample, sizeof wide);
    narrow = static_cast<int16_t>(std::clamp(wide >> 8, -32768, 32767));
  }
  return narrow;
}

}  // namespace

std::string planarHash(KyFrame const& frame, int depth) {
  if (frame.is420() && depth == 8) return md5(frame);
  std::vector<uint8_t> bytes;
  if (frame.is420()) {
    for (int plane = 0; plane < 3; ++plane)
      for (int y = 0; y < frame.height(plane); ++y)
        appendWords<uint16_t>(bytes, frame.pixelPtr(plane, 0, y), 0, 1, frame.width(plane), 16 - depth);
    return md5(bytes);
  }
  int const chroma = (frame.width() + 1) / 2;
  struct {
    int first, step, count;
  } const planes[] = {{0, 2, frame.width()}, {1, 4, chroma}, {3, 4, chroma}};
  for (auto const& plane : planes)
    for (int y = 0; y < frame.height(); ++y) {
      uint8_t const* const row = frame.pixelPtr(0, 0, y);
      if (depth == 8)
        appendWords<uint8_t>(bytes, row, plane.first, plane.step, plane.count, 0);
      else
        appendWords<uint16_t>(bytes, row, plane.first, plane.step, plane.count, 16 - depth);
    }
  return md5(bytes);
}

std::vector<std::string> linearHashes(KyDecodePipe& pipe, int stream, int depth) {
  std::vector<std::string> hashes;
  EXPECT_EQ(pipe.selectStream(kKindVideo, stream), 0) << pipe.errorDesc();
  int result = pipe.seekToFrame(0, stream);
  while (result == 0 && (result = pipe.readFrame(stream)) == 0)
    hashes.push_back(planarHash(*pipe.videoFrame(stream), depth));
  EXPECT_EQ(result, kResultEndOfStream) << pipe.errorDesc();
  return hashes;
}

void expectFrameSeeks(KyDecodePipe& pipe, int stream, int depth, std::vector<std::string> const& linear,
                      int seeks, unsigned seed) {
  ASSERT_FALSE(linear.empty());
  std::mt19937 random(seed);
  for (int i = 0; i < seeks; ++i) {
    size_t const n = random() % linear.size();
    ASSERT_EQ(pipe.seekToFrame(static_cast<int64_t>(n), stream), 0) << n << ": " << pipe.errorDesc();
    ASSERT_EQ(planarHash(*pipe.videoFrame(stream), depth), linear[n]) << n;
  }
}

std::vector<int16_t> samples16(KyDecodePipe& pipe, int stream) {
  int const bytes = info(pipe, kKindAudio, stream)["bytesPerSample"].asInt32();
  auto const raw = readAllSamples<uint8_t>(pipe, stream, 4096);
  auto const width = static_cast<size_t>(bytes);
  std::vector<int16_t> words;
  words.reserve(raw.size() / width);
  for (size_t i = 0; i + width <= raw.size(); i += width) words.push_back(upper16(&raw[i], bytes));
  return words;
}

void expectSampleSeeks(KyDecodePipe& pipe, int stream, std::vector<int16_t> const& linear, int seeks,
                       unsigned seed) {
  AnyDict const description = info(pipe, kKindAudio, stream);
  std::string const codec = description["codec"].asString();
  int const channels = description["channels"].asInt32();
  int const bytes = description["bytesPerSample"].asInt32();
  int64_t const total = static_cast<int64_t>(linear.size()) / channels;
  std::mt19937 random(seed);
  for (int i = 0; i < seeks && total > 0; ++i) {
    int64_t const at = static_cast<int64_t>(random()) % total;
    int const want = static_cast<int>(std::min<int64_t>(2000, total - at));
    ASSERT_EQ(pipe.seekToSample(at, stream), 0) << at;
    ASSERT_EQ(pipe.readSamples(want, stream), want) << at;
    KyPcm const& pcm = *pipe.audioPcm(stream);
    for (int k = 0; k < want * channels; ++k)
      ASSERT_EQ(upper16(pcm.ptr() + k * bytes, bytes), linear[static_cast<size_t>(at * channels + k)])
          << codec << " stream " << stream << ", sample " << k / channels << " after a seek to " << at;
  }
}

}  // namespace test
