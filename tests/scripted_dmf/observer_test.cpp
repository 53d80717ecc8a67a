// The observer that writes pictures into files: what it answers, and what memory it takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "mpegdecode/subobserver.h"
#include "tests/support/dmf_files.h"
#include "tests/support/media.h"
#include "tests/support/tempfolder.h"

namespace {

// Arrays of bytes that a picture's buffer may be, of this many and more.
constexpr size_t kWatched = 8192;

struct Arrays {
  std::vector<size_t> asked;  // in order
  size_t heldWhenAsked = 0;   // most of them held when another one was asked for
  size_t refuse = SIZE_MAX;   // sizes from here on are not given
  bool watching = false;
};
Arrays arrays;
std::vector<void*>& held() {
  static std::vector<void*> blocks;
  return blocks;
}

}  // namespace

void* operator new[](size_t size) {
  bool const watched = arrays.watching && size >= kWatched;
  if (watched) {
    arrays.asked.push_back(size);
    arrays.heldWhenAsked = std::max(arrays.heldWhenAsked, held().size());
    if (size >= arrays.refuse) throw std::bad_alloc();
  }
  void* const block = std::malloc(size);
  if (!block) throw std::bad_alloc();
  if (watched) held().push_back(block);
  return block;
}
void operator delete[](void* block) noexcept {
  if (arrays.watching) std::erase(held(), block);
  std::free(block);
}
void operator delete[](void* block, size_t) noexcept { operator delete[](block); }

namespace {

namespace fs = std::filesystem;

class PictureObserver : public testing::Test {
 protected:
  PictureObserver() {
    arrays = {};
    arrays.watching = true;
    DmfStreamInfo info{};
    info.kind = kDmfSubtitle;
    info.codec = kDmfDxsb;
    fifo_.init(AnyDict());
    observer_ = std::make_unique<SubObserver>(info, 2, 5, "dxsb", &fifo_);
  }
  ~PictureObserver() override {
    observer_.reset();
    EXPECT_TRUE(held().empty());
    arrays.watching = false;
  }
  // What `notify` answers to a picture of so many bytes.
  int show(size_t bytes, int event = kDmfDataEvent) {
    std::string const picture(bytes, 'p');
    EXPECT_EQ(fifo_.input()->write(fifo_.input()->user, picture.data(), static_cast<int>(bytes)),
              static_cast<int>(bytes));
    int64_t times[2] = {40000, 80000};
    return observer_->notify(fifo_.input(), event, times);
  }
  fs::path folder() const { return observer_->folder.asString(); }
  size_t sizeOf(std::string const& name) const { return test::readText(folder() / name).size(); }

  test::TempFolder temp_;
  KyBufStreamFifo fifo_{nullptr};
  std::unique_ptr<SubObserver> observer_;
};

TEST_F(PictureObserver, MakesAFolderNamedAfterTheStream) {
  EXPECT_TRUE(fs::is_directory(folder()));
  EXPECT_EQ(folder().parent_path(), temp_.path());
  EXPECT_TRUE(folder().filename().string().starts_with("2_5_dxsb_")) << folder();
}

TEST_F(PictureObserver, Answers0ToEveryEvent) {
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(show(1, kDmfDataEvent + 1), 0);
  EXPECT_EQ(show(1, 0), 0);
  EXPECT_EQ(observer_->notify(fifo_.input(), kDmfDataEvent, nullptr), 0);
  EXPECT_EQ(sizeOf("0_40000_80000.dxsb"), 1U);
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(sizeOf("1_40000_80000.dxsb"), 3U) << "what came without its event comes with the next";
}

TEST_F(PictureObserver, Answers0WhereItsFolderIsGone) {
  fs::remove_all(folder());
  EXPECT_EQ(show(10), 0);
  EXPECT_FALSE(fs::exists(folder()));
  EXPECT_EQ(fifo_.reader()->available(), 0) << "taken all the same";
}

TEST_F(PictureObserver, NumbersPicturesInTheOrderOfArrival) {
  for (int i = 0; i < 3; ++i) show(static_cast<size_t>(i) + 1);
  EXPECT_EQ(sizeOf("0_40000_80000.dxsb"), 1U);
  EXPECT_EQ(sizeOf("1_40000_80000.dxsb"), 2U);
  EXPECT_EQ(sizeOf("2_40000_80000.dxsb"), 3U);
}

TEST_F(PictureObserver, BufferOf8192BytesGrowsToTheLargestPictureAndNoFurther) {
  for (size_t bytes : {1U, 8191U, 8192U}) show(bytes);
  EXPECT_EQ(arrays.asked, std::vector<size_t>{8192});
  for (size_t bytes : {8193U, 8193U, 8192U, 100000U, 99999U, 100000U, 1U}) show(bytes);
  EXPECT_EQ(arrays.asked, (std::vector<size_t>{8192, 8193, 100000}));
  EXPECT_EQ(arrays.heldWhenAsked, 0U) << "the smaller one goes first";
  EXPECT_EQ(sizeOf("6_40000_80000.dxsb"), 100000U);
}

TEST_F(PictureObserver, AfterAPictureThatMemoryDoesNotHold_TheNextIsWritten) {
  arrays.refuse = 50000;
  EXPECT_THROW(show(50000), std::bad_alloc);
  fifo_.reader()->skip(50000);
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(sizeOf("1_40000_80000.dxsb"), 1U);
}

}  // namespace
