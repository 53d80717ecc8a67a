// The spanned take of the sample card, through the plug-in, against the clips decoded one after another by
// the `ffmpeg` program.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "tests/support/allocations.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

using test::PipePtr;

// What the clips hold, decoded once per process.
struct Reference {
  explicit Reference(bool small) : take(test::spannedTake(small)) {
    for (auto const& clip : take.clips) {
      auto const hashes = test::frameHashes(clip);
      clipFrames.push_back(static_cast<int>(hashes.size()));
      frames.insert(frames.end(), hashes.begin(), hashes.end());
      for (int track = 0; track < kTracks; ++track) {
        auto const bytes = test::samples(clip, track, "s16le");
        auto const* words = reinterpret_cast<int16_t const*>(bytes.data());
        tracks[track].insert(tracks[track].end(), words, words + bytes.size() / sizeof(int16_t));
      }
    }
  }
  static constexpr int kTracks = 4;
  test::SampleTake take;
  std::vector<int> clipFrames;
  std::vector<std::string> frames;
  std::vector<int16_t> tracks[kTracks];

  std::vector<int16_t> interleaved() const {
    std::vector<int16_t> joined;
    joined.reserve(tracks[0].size() * kTracks);
    for (size_t i = 0; i < tracks[0].size(); ++i)
      for (auto const& track : tracks) joined.push_back(track[i]);
    return joined;
  }
};

class SpannedTake : public testing::TestWithParam<bool> {
 protected:
  static Reference const& reference() {
    if (GetParam()) {
      static Reference const small(true);
      return small;
    }
    static Reference const full(false);
    return full;
  }
  static PipePtr open(int joinMonoStreams = 1) {
    return test::opened(reference().take.description, AnyDict("joinMonoStreams", joinMonoStreams));
  }
};

TEST_P(SpannedTake, FrameCountIsTheSumOfTheClips) {
  ASSERT_GT(reference().take.clips.size(), 2u);
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->frameCount(0), static_cast<int>(reference().frames.size()));
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frames"].asInt32(),
            static_cast<int>(reference().frames.size()));
}

TEST_P(SpannedTake, EveryFrameInOrderEqualsTheClipsOneAfterAnother) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), reference().frames);
}

TEST_P(SpannedTake, TwoHundredRandomSeeksGiveTheFramesAskedFor) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  auto const& frames = reference().frames;
  std::mt19937 random(20);
  for (int i = 0; i < 200; ++i) {
    size_t const n = random() % frames.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(pipe->readFrame(0), 0) << n;
    EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), static_cast<int64_t>(n));
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), frames[n]) << n;
  }
}

TEST_P(SpannedTake, FramesOnBothSidesOfAJointAreRightInBothDirections) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  auto const& frames = reference().frames;
  int joint = 0;
  for (size_t clip = 0; clip + 1 < reference().clipFrames.size(); ++clip) {
    joint += reference().clipFrames[clip];
    ASSERT_EQ(pipe->seekToFrame(joint - 2, 0), 0);
    for (int n = joint - 2; n < joint + 3; ++n) {
      ASSERT_EQ(pipe->readFrame(0), 0);
      ASSERT_EQ(test::md5(*pipe->videoFrame(0)), frames[static_cast<size_t>(n)]) << n;
    }
    for (int n = joint + 2; n >= joint - 3; --n) {
      ASSERT_EQ(pipe->seekToFrame(n, 0), 0);
      ASSERT_EQ(test::md5(*pipe->videoFrame(0)), frames[static_cast<size_t>(n)]) << n;
    }
  }
}

TEST_P(SpannedTake, SeekPastTheEnd_FailsTellsTheHostWhyAndKeepsTheFramePending) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(7, 0), 0);
  EXPECT_EQ(pipe->seekToFrame(static_cast<int64_t>(reference().frames.size()), 0), -1);
  EXPECT_STREQ(pipe->errorDesc(), "Position out of range in seekToFrame");
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 7);
  EXPECT_EQ(test::md5(*pipe->videoFrame(0)), reference().frames[7]);
}

TEST_P(SpannedTake, JoinedSamplesAreEqualForEveryBlockSize) {
  auto const expected = reference().interleaved();
  ASSERT_FALSE(expected.empty());
  PipePtr const pipe = open(1);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 1);
  AnyDict const description = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(description["channels"].asInt32(), Reference::kTracks);
  EXPECT_EQ(description["samples"].asInt64(), static_cast<int64_t>(reference().tracks[0].size()));
  for (int block : {1, 17, 1024, 48000}) {
    ASSERT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, block) == expected) << "blocks of " << block;
  }
}

TEST_P(SpannedTake, SeparateTracksAreEqualForEveryBlockSize) {
  PipePtr const pipe = open(0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), Reference::kTracks);
  for (int track = 0; track < Reference::kTracks; ++track)
    for (int block : {1, 17, 1024, 48000})
      ASSERT_TRUE(test::readAllSamples<int16_t>(*pipe, track, block) == reference().tracks[track])
          << "track " << track << ", blocks of " << block;
}

TEST_P(SpannedTake, RandomSampleSeeksContinueExactly) {
  auto const expected = reference().interleaved();
  PipePtr const pipe = open(1);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  int64_t const total = static_cast<int64_t>(expected.size()) / Reference::kTracks;
  std::mt19937 random(21);
  for (int i = 0; i < 200; ++i) {
    int64_t const at = static_cast<int64_t>(random()) % total;
    int const want = static_cast<int>(std::min<int64_t>(1 + random() % 5000, total - at));
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    ASSERT_EQ(pipe->readSamples(want, 0), want) << at;
    KyPcm const& pcm = *pipe->audioPcm(0);
    auto const* words = reinterpret_cast<int16_t const*>(pcm.ptr());
    ASSERT_TRUE(
        std::equal(words, words + want * Reference::kTracks, expected.begin() + at * Reference::kTracks))
        << want << " samples at " << at;
  }
}

INSTANTIATE_TEST_SUITE_P(Card, SpannedTake, testing::Bool(),
                         [](auto const& parameter) { return parameter.param ? "small" : "full"; });

TEST(OpenAndClose, AHundredTimes_KeepsNoMemoryThreadsOrDescriptors) {
  auto const description = test::spannedTake(true).description;
  auto const openAndClose = [&](int times) {
    for (int i = 0; i < times; ++i) {
      PipePtr const pipe = test::opened(description);
      ASSERT_TRUE(pipe);
      ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
      ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
      ASSERT_EQ(pipe->readFrame(0), 0);
      ASSERT_GT(pipe->readSamples(1024, 0), 0);
      ASSERT_EQ(pipe->close(), 0);
    }
  };
  // What is made once for the process is made by then.
  openAndClose(3);
  test::Allocations const before = test::allocations();
  int64_t const threads = test::startedThreads();
  auto const descriptors = test::openDescriptors();
  openAndClose(100);
  EXPECT_EQ(test::allocations().blocks, before.blocks);
  // An allocator may give a block a few bytes more than were asked for.
  EXPECT_LE(test::allocations().bytes, before.bytes + 16 * before.blocks);
  EXPECT_EQ(test::startedThreads(), threads);
  EXPECT_EQ(test::openDescriptors(), descriptors);
}

}  // namespace
