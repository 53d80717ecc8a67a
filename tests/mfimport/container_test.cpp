#include "mediafile/container.h"

#include <gtest/gtest.h>

#include <cstring>

#include "clips.h"

using namespace mediafile;

namespace {

// A file in memory whose reads fail on demand.
class FailingSource final : public ByteSource {
 public:
  FailingSource(std::vector<uint8_t> bytes, int64_t const* failFrom, std::string* abandoned)
      : bytes_(std::move(bytes)), failFrom_(failFrom), abandoned_(abandoned) {}

  int64_t size() const override { return static_cast<int64_t>(bytes_.size()); }

  int64_t readAt(int64_t position, std::span<uint8_t> out) override {
    if (position >= *failFrom_) return -1;
    int64_t const got = std::min(size() - position, static_cast<int64_t>(out.size()));
    std::memcpy(out.data(), bytes_.data() + position, static_cast<size_t>(got));
    return got;
  }

  void abandon(std::string const& reason) override { *abandoned_ = reason; }

 private:
  std::vector<uint8_t> bytes_;
  int64_t const* failFrom_;
  std::string* abandoned_;
};

class ContainerFailures : public testing::Test {
 protected:
  Result<std::unique_ptr<Container>> tried(ContainerOptions const& options = {}) {
    std::string const path =
        clip("container.ts", "-f lavfi -i testsrc2=s=320x240:r=25:d=4 -c:v mpeg2video -b:v 3M {out}");
    size_ = static_cast<int64_t>(fileBytes(path).size());
    return Container::open(std::make_unique<FailingSource>(fileBytes(path), &failFrom_, &abandoned_), path,
                           options);
  }

  // What reading ends with.
  static int lastOf(Container& container) {
    lav::Packet const packet = lav::newPacket();
    int result = 0;
    while ((result = container.read(*packet)) >= 0) av_packet_unref(packet.get());
    return result;
  }

  int64_t size_ = 0, failFrom_ = INT64_MAX;
  std::string abandoned_;
};

TEST_F(ContainerFailures, ReadsThatFail_AreAnErrorAndNotTheEnd) {
  auto const opened = tried();
  ASSERT_TRUE(opened);
  Container* const container = opened->get();
  failFrom_ = size_ * 6 / 10;
  // libavformat alone calls this the end of the file.
  EXPECT_EQ(lastOf(*container), AVERROR(EIO));
  EXPECT_TRUE(container->broken());
  failFrom_ = INT64_MAX;
  ASSERT_GE(container->seekToByte(0), 0);
  EXPECT_FALSE(container->broken());
  EXPECT_EQ(lastOf(*container), AVERROR_EOF);
}

TEST_F(ContainerFailures, ReadThatFailsWhileStreamsAreExamined_FailsTheOpening) {
  failFrom_ = 100 << 10;
  auto const opened = tried();
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().fault, Fault::unreadable);
}

TEST_F(ContainerFailures, OpeningThatTakesTooLong_FailsAndSaysSo) {
  ContainerOptions options;
  options.patience = std::chrono::milliseconds(-1);
  auto const opened = tried(options);
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().fault, Fault::unreadable);
  EXPECT_NE(abandoned_, "");
}

TEST(WatchedAccess, RemembersTheFirstReadThatFailed) {
  auto const watch = std::make_shared<ReadWatch>();
  int handle = 0;
  ExternalFunctions functions;
  functions.user = &handle;
  functions.open = [](void* user, char const*, int) { return user; };
  functions.close = [](void*, void*) { return 0; };
  functions.seek = [](void*, void*, int64_t position, int whence) -> int64_t {
    return whence == SEEK_END ? 100 : position;
  };
  functions.read = [](void*, void*, void*, int bytes) { return bytes > 10 ? -1 : bytes; };
  auto const source = FileAccess(functions).watchedBy(watch).open("any");
  ASSERT_TRUE(source);
  std::vector<uint8_t> bytes(20);
  EXPECT_EQ((*source)->readAt(0, std::span(bytes).first(10)), 10);
  EXPECT_FALSE(watch->failed());
  EXPECT_LT((*source)->readAt(40, bytes), 0);
  EXPECT_LT((*source)->readAt(60, bytes), 0);
  EXPECT_TRUE(watch->failed());
  EXPECT_EQ(watch->reason(), "reading failed at byte 40");
}

}  // namespace
