// Real files that fail while they are read: what comes behind keeps its place.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

struct Span {
  long position;
  long bytes;
};

// The packets of the first video stream, as the `ffprobe` program finds them.
std::vector<Span> packets(fs::path const& file) {
  std::istringstream lines(
      test::run("ffprobe -v error -select_streams v:0 -show_entries packet=size,pos -of csv=p=0 " +
                test::quoted(file)));
  std::vector<Span> found;
  Span span{};
  char comma = 0;
  while (lines >> span.bytes >> comma >> span.position) found.push_back(span);
  return found;
}

// A copy of the file that a test may spoil.
fs::path copyOf(fs::path const& whole, std::string const& name) {
  fs::path const file = test::scratchDir() / name;
  fs::copy_file(whole, file, fs::copy_options::overwrite_existing);
  return file;
}

void blank(fs::path const& file, Span const& span) {
  std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
  out.seekp(span.position);
  out << std::string(static_cast<size_t>(span.bytes), '\0');
}

TEST(Pictures, BehindThoseThatCannotBeDecoded_HaveTheirOwnNumbers) {
  fs::path const whole =
      test::made("large_intra.mov", "-f lavfi -i testsrc2=s=320x240:r=25:d=1 -c:v mpeg4 -g 1 -qscale:v 2 ");
  auto const hashes = test::frameHashes(whole);
  auto const spans = packets(whole);
  ASSERT_EQ(spans.size(), 25U);
  fs::path const file = copyOf(whole, "spoilt.mov");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  // Spoilt after the opening, so that the file has promised them.
  std::vector<size_t> const spoilt = {15, 16, 20};
  for (size_t picture : spoilt) blank(file, spans[picture]);

  std::vector<size_t> failed;
  for (size_t picture = 0; picture < spans.size(); ++picture) {
    if (pipe->readFrame(0) != 0) {
      EXPECT_STREQ(pipe->errorDesc(), "Error in readFrame");
      failed.push_back(picture);
      continue;
    }
    EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), static_cast<int64_t>(picture));
    EXPECT_EQ(test::md5(*pipe->videoFrame(0)), hashes[picture]) << picture;
  }
  EXPECT_EQ(failed, spoilt);
  EXPECT_EQ(pipe->readFrame(0), -4);
}

TEST(Samples, OfAFileThatEndsEarly_AreTheEndAndStayIt) {
  fs::path const whole = test::made("second.wav", "-f lavfi -i sine=f=440:r=48000:d=1 -c:a pcm_s16le ");
  fs::path const file = copyOf(whole, "short.wav");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  auto const expected = test::samples(whole, 0, "s16le");
  // Within a block of those that follow, and without all that may be read ahead.
  fs::resize_file(file, fs::file_size(file) - 48000 + 333 * 2);

  std::vector<uint8_t> got(expected.begin(), expected.begin() + 200);
  int result = 0;
  KyPcm const& pcm = *pipe->audioPcm(0);
  do {
    result = pipe->readSamples(1000, 0);
    got.insert(got.end(), pcm.ptr(), pcm.ptr() + pcm.samples2bytes(pcm.nSamples));
  } while (result > 0);
  EXPECT_EQ(result, -4);
  EXPECT_GT(pcm.nSamples, 0) << "the last block is a short one";
  ASSERT_LT(got.size(), expected.size());
  EXPECT_TRUE(std::equal(got.begin(), got.end(), expected.begin()));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(pipe->readSamples(1000, 0), -4) << pipe->errorDesc();
    EXPECT_EQ(pcm.nSamples, 0);
  }
  EXPECT_STREQ(pipe->errorDesc(), "");
}

}  // namespace
