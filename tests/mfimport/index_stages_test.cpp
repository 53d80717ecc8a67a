// The stages that make an index of a file, one by one and as a whole: what they read, and how they fail.
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <random>

#include "clips.h"
#include "counting_host.h"
#include "mediafile/kept_bytes.h"
#include "mfimport/api/border.h"
#include "mfimport/api/open_media.h"
#include "mfimport/index/broken_ends.h"
#include "mfimport/index/build.h"
#include "mfimport/index/closing_probe.h"
#include "mfimport/index/describe.h"
#include "mfimport/index/opening_probe.h"
#include "mfimport/index/picture_order.h"
#include "mfimport/index/sample_count.h"
#include "mfimport/index/scan.h"
#include "mfimport/index/video_index.h"

using namespace mfimport;
using mediafile::FileAccess;
using mediafile::KeptBytes;

namespace {

std::string transportStream() {
  return clip(
      "stages.ts",
      "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -f lavfi -i sine=d=4 -c:v mpeg2video -b:v 1500k -g 12 -bf "
      "2 -c:a mp2 {out}");
}

std::string streamWithVaryingSound() {
  return clip("stages.asf",
              "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -f lavfi -i sine=d=4 -c:v msmpeg4 -c:a "
              "wmav2 {out}");
}

FileAccess accessThrough(CountingHost& host, std::string const& path) {
  MpegIn instance{};
  host.install(&instance, path);
  return accessOf(instance.io, path);
}

struct Sample {
  char const* name;
  std::string (*path)();
};

class OpeningAFile : public testing::TestWithParam<Sample> {};

TEST_P(OpeningAFile, OpensItOnceAndReadsItOnce) {
  std::string const path = GetParam().path();
  CountingHost host;
  {
    auto const media = openMedia(accessThrough(host, path), path, 0, HostCallbacks(nullptr));
    ASSERT_TRUE(media) << media.error().text;
    ASSERT_GE((*media)->first().streams.size(), 1U);
  }
  EXPECT_EQ(host.opened, 1);
  EXPECT_EQ(host.closed, 1);
  EXPECT_LE(static_cast<double>(host.bytes), 1.2 * static_cast<double>(fileBytes(path).size()));
}

INSTANTIATE_TEST_SUITE_P(
    Containers, OpeningAFile,
    testing::Values(Sample{"transport_stream", transportStream},
                    Sample{"program_stream",
                           [] {
                             return clip("stages.vob",
                                         "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -f lavfi -i sine=d=4 -c:v "
                                         "mpeg2video -b:v 1500k -g 12 -bf 2 -c:a ac3 {out}");
                           }},
                    Sample{"elementary_stream",
                           [] {
                             return clip("stages.264",
                                         "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -c:v libx264 "
                                         "-preset ultrafast -pix_fmt yuv420p -f h264 {out}");
                           }},
                    Sample{"iso_media", openGopMp4},
                    // Packets of several pictures, which are taken apart.
                    Sample{"packed_pictures",
                           [] {
                             return clip("stages.avi",
                                         "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -c:v mpeg4 -bf 2 "
                                         "-b:v 1500k {out}");
                           }}),
    [](auto const& at) { return std::string(at.param.name); });

// A file that is open, with its demultiplexer, and whose reads can be made to fail.
class Stages : public testing::Test {
 public:
  Stages() { av_log_set_level(AV_LOG_QUIET); }
  ~Stages() override { av_log_set_level(AV_LOG_INFO); }

  void open(std::string const& path) {
    path_ = path;
    auto opened = openFile(accessThrough(host_, path), path);
    ASSERT_TRUE(opened) << opened.error().text;
    file_ = std::make_shared<ClipFile>(opened.take(), path, mediafile::ContainerOptions().probeBytes);
    auto const container = file_->container();
    ASSERT_TRUE(container) << container.error().text;
    clip_ = describeClip(**container, path, file_->probeBytes());
  }

  ScannedStream scanned(AVMediaType type) {
    auto streams = scan();
    EXPECT_TRUE(streams);
    for (ScannedStream& stream : *streams)
      if (stream.list.type() == type) return std::move(stream);
    throw std::runtime_error("no such stream");
  }

  Result<std::vector<ScannedStream>> scan() {
    auto const container = file_->container();
    if (!container) return container.error();
    return scanPackets(*file_, clip_, describeStreams(**container, clip_.containerType), memory_);
  }

  // Where reading is to fail, and how.
  void failReads() { host_.failFrom = 0; }
  void loseReads() {
    file_->closeContainer();
    file_->setPatience(std::chrono::milliseconds(-1));
  }

  CountingHost host_;
  HostMemory memory_;
  std::string path_;
  std::shared_ptr<ClipFile> file_;
  ClipFacts clip_;
};

struct Stage {
  char const* name;
  std::string (*path)();
  // Prepares the stage while all is well; the result runs it and tells how it failed.
  std::function<std::function<Result<void>()>(Stages&)> prepare;
};

template <class T>
Result<void> outcome(Result<T> const& result) {
  if (result) return {};
  return result.error();
}

std::vector<Stage> const& stages() {
  static std::vector<Stage> const all = {
      {"Scan", transportStream, [](Stages& at) { return [&at] { return outcome(at.scan()); }; }},
      {"ClosingProbe", transportStream,
       [](Stages& at) {
         auto stream = std::make_shared<ScannedStream>(at.scanned(AVMEDIA_TYPE_VIDEO));
         return [&at, stream] {
           return outcome(lastPictureIsWhole(at.file_, at.clip_, stream->list,
                                             orderPictures(stream->list, stream->notes, true)));
         };
       }},
      {"OpeningProbe", transportStream,
       [](Stages& at) {
         auto stream = std::make_shared<ScannedStream>(at.scanned(AVMEDIA_TYPE_VIDEO));
         return [&at, stream] {
           return outcome(probeOpening(at.file_, at.clip_, stream->list,
                                       orderPictures(stream->list, stream->notes, true)));
         };
       }},
      {"BrokenEnds", transportStream,
       [](Stages& at) {
         ScannedStream scanned = at.scanned(AVMEDIA_TYPE_VIDEO);
         auto indexed = indexVideo(at.file_, at.clip_, std::move(scanned.list), scanned.notes);
         EXPECT_TRUE(indexed);
         auto stream = std::make_shared<StreamIndex>(indexed.take());
         return [&at, stream] { return outcome(findBrokenEnds(at.file_, at.clip_, *stream, true)); };
       }},
      {"Count", streamWithVaryingSound,
       [](Stages& at) {
         auto stream = std::make_shared<ScannedStream>(at.scanned(AVMEDIA_TYPE_AUDIO));
         return
             [&at, stream] { return outcome(countSamples(at.file_, at.clip_, stream->list, stream->notes)); };
       }},
  };
  return all;
}

class StageOfTheIndex : public Stages, public testing::WithParamInterface<size_t> {
 protected:
  std::function<Result<void>()> prepared() {
    Stage const& stage = stages()[GetParam()];
    open(stage.path());
    return stage.prepare(*this);
  }
};

TEST_P(StageOfTheIndex, WhereAllIsWell_Succeeds) {
  auto const run = prepared();
  auto const result = run();
  EXPECT_TRUE(result) << result.error().text;
}

TEST_P(StageOfTheIndex, ThatCannotRead_FailsWithThePlaceInTheFile) {
  auto const run = prepared();
  failReads();
  auto const result = run();
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().fault, Fault::unreadable);
  EXPECT_EQ(result.error().text.find("reading failed at byte "), 0U) << result.error().text;
  EXPECT_EQ(openingCode(result.error().fault), kMpegErrorOpen);
}

TEST_P(StageOfTheIndex, WhoseReadsTakeTooLong_FailsAndSaysSo) {
  auto const run = prepared();
  loseReads();
  auto const result = run();
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().fault, Fault::unreadable);
  EXPECT_EQ(result.error().text, "reading made no progress for too long");
}

INSTANTIATE_TEST_SUITE_P(All, StageOfTheIndex, testing::Range(size_t{0}, stages().size()),
                         [](auto const& at) { return std::string(stages()[at.param].name); });

// Memory of the caller that ends after so many blocks; process-wide, since the functions know no instance.
int64_t blocksLeft = INT64_MAX;
void* allocateScarcely(size_t bytes) { return blocksLeft-- > 0 ? std::malloc(bytes) : nullptr; }

TEST_F(Stages, WithoutMemory_EndWithThatAndLeaveNothingBehind) {
  memory_ = {allocateScarcely, std::free};
  blocksLeft = INT64_MAX;
  open(transportStream());
  blocksLeft = 0;
  EXPECT_THROW(static_cast<void>(scan()), std::bad_alloc);
  blocksLeft = INT64_MAX;
  open(transportStream());
  ScannedStream video = scanned(AVMEDIA_TYPE_VIDEO);
  blocksLeft = 0;
  EXPECT_THROW(orderPictures(video.list, video.notes, true), std::bad_alloc);
  blocksLeft = 1;  // the pictures have room, their numbers none
  EXPECT_THROW(static_cast<void>(indexVideo(file_, clip_, std::move(video.list), video.notes)),
               std::bad_alloc);
  blocksLeft = INT64_MAX;
  open(streamWithVaryingSound());
  ScannedStream const sound = scanned(AVMEDIA_TYPE_AUDIO);
  blocksLeft = 0;
  EXPECT_THROW(static_cast<void>(countSamples(file_, clip_, sound.list, sound.notes)), std::bad_alloc);
  blocksLeft = INT64_MAX;
}

TEST(FailuresAtTheBorder, HaveOneCodeEach) {
  struct {
    Fault fault;
    int opening, decoding;
  } const rows[] = {
      {Fault::failed, kMpegError, kMpegError},
      {Fault::unopenable, kMpegErrorOpen, kMpegError},
      {Fault::unreadable, kMpegErrorOpen, kMpegError},
      {Fault::format, kMpegErrorFormat, kMpegError},
      {Fault::takeList, kMpegErrorTakeList, kMpegError},
      {Fault::noStream, kMpegErrorNoStream, kMpegError},
      {Fault::noDecoder, kMpegErrorNoDecoder, kMpegError},
      {Fault::unsupported, kMpegErrorUnsupported, kMpegErrorUnsupported},
      {Fault::end, kMpegEndOfStream, kMpegEndOfStream},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(openingCode(row.fault), row.opening) << static_cast<int>(row.fault);
    EXPECT_EQ(decodingCode(row.fault), row.decoding) << static_cast<int>(row.fault);
  }
}

// A file of bytes that tell where they lie, and that counts what is read of it.
class NumberedBytes final : public mediafile::ByteSource {
 public:
  NumberedBytes(int64_t size, int64_t& read) : size_(size), read_(read) {}
  static uint8_t at(int64_t position) { return static_cast<uint8_t>(position * 7 + (position >> 8)); }

  int64_t size() const override { return size_; }
  int64_t readAt(int64_t position, std::span<uint8_t> out) override {
    auto const count = std::clamp<int64_t>(size_ - position, 0, static_cast<int64_t>(out.size()));
    for (int64_t i = 0; i < count; ++i) out[static_cast<size_t>(i)] = at(position + i);
    read_ += count;
    return count;
  }

 private:
  int64_t size_;
  int64_t& read_;
};

TEST(KeptBytes, GiveTheBytesOfTheFile_WhateverIsReadInWhichOrder) {
  constexpr int64_t kSize = 10000;
  std::mt19937 random(1);
  for (int64_t const most : {int64_t{0}, int64_t{1}, int64_t{700}, int64_t{5000}, kSize}) {
    int64_t read = 0;
    KeptBytes kept(std::make_unique<NumberedBytes>(kSize, read), most);
    ASSERT_EQ(kept.size(), kSize);
    for (int i = 0; i < 2000; ++i) {
      auto const position = static_cast<int64_t>(random() % (kSize + 100));
      std::vector<uint8_t> out(random() % 900);
      int64_t const expected = std::clamp<int64_t>(kSize - position, 0, static_cast<int64_t>(out.size()));
      ASSERT_EQ(kept.readAt(position, out), expected) << position << " of " << most;
      for (int64_t at = 0; at < expected; ++at)
        ASSERT_EQ(out[static_cast<size_t>(at)], NumberedBytes::at(position + at));
    }
  }
}

TEST(KeptBytes, OfBothEnds_AreReadOnce) {
  constexpr int64_t kSize = 100000, kMost = 20000, kBlock = 1000;
  int64_t read = 0;
  KeptBytes kept(std::make_unique<NumberedBytes>(kSize, read), kMost);
  std::vector<uint8_t> block(kBlock);
  auto const pass = [&](int64_t from, int64_t to) {
    for (int64_t at = from; at < to; at += kBlock) ASSERT_EQ(kept.readAt(at, block), kBlock);
  };
  pass(kSize - 5000, kSize);  // a look at the end first, as demultiplexers take it
  pass(0, kSize);
  EXPECT_EQ(read, kSize);
  pass(0, kMost);
  pass(kSize - kMost, kSize);
  EXPECT_EQ(read, kSize);
  pass(kMost, kMost + kBlock);
  EXPECT_EQ(read, kSize + kBlock);
}

}  // namespace
