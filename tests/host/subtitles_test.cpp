#include "host/subtitles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/host/tempfolder.h"

namespace {

int write(KyStreamInput* input, std::string const& text) {
  return input->write(input->user, text.data(), static_cast<int>(text.size()));
}

std::string content(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(SubtitleWriter, WritesWhatItIsGivenIntoAPrivateFile) {
  TempFolder const folder;
  std::string const path = folder.in("sub.txt");
  KySubtitleBufStreamWrite writer(nullptr);
  int block = 0;
  ASSERT_EQ(writer.init(AnyDict("outfilename", path, "format", Any(&block, 0))), 0);
  EXPECT_EQ(write(writer.input(), "one "), 4);
  EXPECT_EQ(write(writer.input(), "two"), 3);
  EXPECT_EQ(writer.input()->event(writer.input()->user, 1, nullptr), 0);
  writer.destroy();
  EXPECT_EQ(content(path), "one two");
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_EQ(write(writer.input(), "late"), 0);
}

TEST(SubtitleWriter, RefusesFilesThatCannotBeCreated) {
  TempFolder const folder;
  KySubtitleBufStreamWrite writer(nullptr);
  EXPECT_EQ(writer.init(AnyDict()), -1);
  EXPECT_EQ(writer.init(AnyDict("outfilename", folder.in("absent/x"))), -1);
  EXPECT_EQ(writer.init(AnyDict("outfilename", folder.write("there", "old"))), -1);
  EXPECT_EQ(content(folder.in("there")), "old");
  std::filesystem::create_symlink(folder.in("target"), folder.in("link"));
  EXPECT_EQ(writer.init(AnyDict("outfilename", folder.in("link"))), -1);
  EXPECT_FALSE(std::filesystem::exists(folder.in("target")));
  EXPECT_EQ(write(writer.input(), "x"), 0);
}

class Observer : public KyAuxInfoObserver {
 public:
  explicit Observer(KyBufStreamFifo* fifo) : fifo_(fifo) {}
  int notify(void* source, int event, void* data) override {
    EXPECT_EQ(source, fifo_->input());
    events.push_back(event);
    lastData = data;
    std::string text(static_cast<size_t>(fifo_->reader()->available()), '\0');
    fifo_->reader()->read(text.data(), static_cast<int>(text.size()));
    images.push_back(text);
    return event == 99 ? throw std::runtime_error("observer") : result;
  }
  std::vector<int> events;
  std::vector<std::string> images;
  void* lastData = nullptr;
  int result = 0;

 private:
  KyBufStreamFifo* fifo_;
};

TEST(Fifo, GivesBytesInTheOrderOfArrival) {
  KyBufStreamFifo fifo(nullptr);
  ASSERT_EQ(fifo.init(AnyDict()), 0);
  EXPECT_EQ(write(fifo.input(), "abc"), 3);
  EXPECT_EQ(write(fifo.input(), "def"), 3);
  KyBufStreamFifo::Reader* const reader = fifo.reader();
  EXPECT_EQ(reader->available(), 6);
  char buffer[10] = {};
  EXPECT_EQ(reader->peek(buffer, 2), 2);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(reader->available(), 6);
  EXPECT_EQ(reader->skip(1), 1);
  EXPECT_EQ(reader->read(buffer, 3), 3);
  EXPECT_STREQ(buffer, "bcd");
  EXPECT_EQ(write(fifo.input(), "gh"), 2);
  EXPECT_EQ(reader->read(buffer, 10), 4);
  EXPECT_EQ(std::string(buffer, 4), "efgh");
  EXPECT_EQ(reader->read(buffer, 10), 0);
  EXPECT_EQ(reader->skip(5), 0);
}

TEST(Fifo, OddRequestsGiveNothing) {
  KyBufStreamFifo fifo(nullptr);
  EXPECT_EQ(fifo.input()->write(fifo.input()->user, nullptr, 5), 0);
  EXPECT_EQ(fifo.input()->write(fifo.input()->user, "abc", -5), 0);
  write(fifo.input(), "abc");
  char buffer[4];
  EXPECT_EQ(fifo.reader()->peek(buffer, -1), 0);
  EXPECT_EQ(fifo.reader()->peek(nullptr, 2), 0);
  EXPECT_EQ(fifo.reader()->read(nullptr, 2), 0);
  EXPECT_EQ(fifo.reader()->skip(-2), 0);
  EXPECT_EQ(fifo.reader()->available(), 3);
  fifo.init(AnyDict());
  EXPECT_EQ(fifo.reader()->available(), 0);
}

TEST(Fifo, TellsObserversOfEventsAtOnce) {
  KyBufStreamFifo fifo(nullptr);
  Observer observer(&fifo);
  fifo.addObserver(&observer);
  fifo.addObserver(nullptr);
  int64_t times[2] = {1, 2};
  write(fifo.input(), "first");
  EXPECT_EQ(fifo.input()->event(fifo.input()->user, 0xF001000, times), 0);
  write(fifo.input(), "second");
  fifo.input()->event(fifo.input()->user, 7, nullptr);
  EXPECT_EQ(observer.events, (std::vector<int>{251662336, 7}));
  EXPECT_EQ(observer.images, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(observer.lastData, nullptr);
}

TEST(Fifo, EventGivesTheFirstResultAndTellsTheRest) {
  KyBufStreamFifo fifo(nullptr);
  Observer first(&fifo);
  Observer second(&fifo);
  first.result = 5;
  second.result = 6;
  fifo.addObserver(&first);
  fifo.addObserver(&second);
  EXPECT_EQ(fifo.input()->event(fifo.input()->user, 1, nullptr), 5);
  EXPECT_EQ(second.events.size(), 1U);
  EXPECT_EQ(fifo.input()->event(fifo.input()->user, 99, nullptr), -1) << "what observers throw stays inside";
}

}  // namespace
