// Pipes in different threads at the same time, without locks of the caller.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

struct Reading {
  std::vector<std::string> frames;
  std::vector<unsigned char> samples;
  bool operator==(Reading const&) const = default;
};

AnyDict settings() { return AnyDict("estimateMemory", true, "numThreads", 2); }

Reading readWhole(fs::path const& file) {
  Reading reading;
  PipePtr const pipe = test::opened(file, settings());
  if (!pipe) return reading;
  if (pipe->countStreams(kKindVideo) > 0) reading.frames = test::readAllFrames(*pipe, 0);
  if (pipe->countStreams(kKindAudio) > 0)
    reading.samples = test::readAllSamples<unsigned char>(*pipe, 0, 5000);
  Any estimate;
  pipe->getParam("memoryEstimateKB", estimate);
  pipe->close();
  return reading;
}

// Opens, seeks at random and closes, and tells whether every picture was the one of the whole reading.
bool seeksAreRight(fs::path const& file, Reading const& whole, unsigned seed) {
  PipePtr const pipe = test::opened(file, settings());
  if (!pipe || pipe->selectStream(kKindVideo, 0) != 0) return false;
  std::mt19937 random(seed);
  for (int i = 0; i < 12; ++i) {
    size_t const frame = random() % whole.frames.size();
    if (pipe->seekToFrame(static_cast<int64_t>(frame), 0) != 0) return false;
    if (test::md5(*pipe->videoFrame(0)) != whole.frames[frame]) return false;
  }
  return true;
}

TEST(EightPipesInEightThreads, GiveWhatEachGivesAlone) {
  std::vector<fs::path> const files = {
      test::made("threads.mp4",
                 "-f lavfi -i testsrc2=s=160x120:r=25:d=2 -f lavfi -i sine=d=2:r=48000 -c:v libx264 -preset "
                 "ultrafast -bf 2 -g 12 -pix_fmt yuv420p -c:a aac"),
      test::made(
          "threads.ts",
          "-f lavfi -i testsrc2=s=160x120:r=25:d=2 -f lavfi -i sine=d=2:r=48000 -c:v mpeg2video -g 12 -bf 2 "
          "-c:a mp2"),
      test::made("threads.mxf",
                 "-f lavfi -i testsrc2=s=160x120:r=25:d=2 -f lavfi -i sine=d=2:r=48000 -c:v mpeg2video -c:a "
                 "pcm_s16le"),
      test::spannedTake(true).description};
  std::vector<Reading> alone;
  for (fs::path const& file : files) alone.push_back(readWhole(file));
  for (Reading const& reading : alone) {
    ASSERT_FALSE(reading.frames.empty());
    ASSERT_FALSE(reading.samples.empty());
  }
  constexpr size_t kThreads = 8;
  std::vector<int> right(kThreads, 0);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i)
    threads.emplace_back([&, i] {
      for (size_t round = 0; round < 2; ++round) {
        size_t const which = (i + round) % files.size();
        right[i] += readWhole(files[which]) == alone[which];
        right[i] += seeksAreRight(files[which], alone[which], static_cast<unsigned>(i));
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < kThreads; ++i) EXPECT_EQ(right[i], 4) << "thread " << i;
}

}  // namespace
