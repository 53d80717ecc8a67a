// A host that keeps its files in memory and hands them to the decoder through its own functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/registry.h"
#include "host/text.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

// Serves what `put` was given, under names that no file system has, a few bytes at a time.
class MemoryHost {
 public:
  MemoryHost() {
    KyExternalDecoderIO io{};
    io.externalOpen = &open;
    io.externalOpenW = [](void*, wchar_t const*, int) -> void* { return nullptr; };
    io.externalSeek = &seek;
    io.externalRead = &read;
    io.externalClose = &close;
    io.externalFileSize = &size;
    io.externalFileSizeW = [](void*, wchar_t const*) -> int64_t { return -1; };
    io.userData = this;
    io.enabled = 1;
    ky_registry()->setExternalDecoderIO(&io);
  }
  ~MemoryHost() {
    ky_registry()->setExternalDecoderIO(nullptr);
    EXPECT_EQ(opened_, closed_) << "handles";
  }
  MemoryHost(MemoryHost const&) = delete;
  MemoryHost& operator=(MemoryHost const&) = delete;

  void put(std::string const& name, fs::path const& from) {
    std::ifstream file(from, std::ios::binary);
    files_[name].assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  void putText(std::string const& name, std::string const& text) {
    files_[name].assign(text.begin(), text.end());
  }
  std::vector<char>& bytes(std::string const& name) { return files_[name]; }

  int mostBytesAtOnce = 65536;
  int64_t failFrom = INT64_MAX;  // reads that reach this byte fail
  std::vector<std::string> sizesAsked;
  int64_t readBytes = 0;

 private:
  struct Handle {
    std::vector<char> const* bytes;
    int64_t position;
  };

  static void* open(void* self, char const* name, int) {
    auto& host = *static_cast<MemoryHost*>(self);
    std::lock_guard const guard(host.lock_);
    auto const found = host.files_.find(name);
    if (found == host.files_.end()) return nullptr;
    ++host.opened_;
    return new Handle{&found->second, 0};
  }
  static int64_t seek(void*, void* handle, int64_t position, int whence) {
    auto& file = *static_cast<Handle*>(handle);
    if (whence == SEEK_CUR) position += file.position;
    if (whence == SEEK_END) position += static_cast<int64_t>(file.bytes->size());
    return position < 0 ? -1 : file.position = position;
  }
  static int read(void* self, void* handle, void* buffer, int bytes) {
    auto& host = *static_cast<MemoryHost*>(self);
    auto& file = *static_cast<Handle*>(handle);
    int64_t const left = static_cast<int64_t>(file.bytes->size()) - file.position;
    int64_t const count =
        std::clamp<int64_t>(std::min(bytes, host.mostBytesAtOnce), 0, std::max<int64_t>(left, 0));
    if (file.position + count > host.failFrom) return -1;
    std::copy_n(
        file.bytes->data() + std::min<int64_t>(file.position, static_cast<int64_t>(file.bytes->size())),
        count, static_cast<char*>(buffer));
    file.position += count;
    std::lock_guard const guard(host.lock_);
    host.readBytes += count;
    return static_cast<int>(count);
  }
  static int close(void* self, void* handle) {
    auto& host = *static_cast<MemoryHost*>(self);
    delete static_cast<Handle*>(handle);
    std::lock_guard const guard(host.lock_);
    ++host.closed_;
    return 0;
  }
  static int64_t size(void* self, char const* name) {
    auto& host = *static_cast<MemoryHost*>(self);
    std::lock_guard const guard(host.lock_);
    host.sizesAsked.emplace_back(name);
    auto const found = host.files_.find(name);
    return found == host.files_.end() ? -1 : static_cast<int64_t>(found->second.size());
  }

  std::mutex lock_;
  std::map<std::string, std::vector<char>> files_;
  int opened_ = 0, closed_ = 0;
};

// MD5 of everything that a pipe delivers, stream by stream.
std::vector<std::string> hashes(KyDecodePipe& pipe) {
  std::vector<std::string> all;
  for (int i = 0; i < pipe.countStreams(kKindVideo); ++i) {
    auto const frames = test::readAllFrames(pipe, i);
    all.insert(all.end(), frames.begin(), frames.end());
  }
  for (int i = 0; i < pipe.countStreams(kKindAudio); ++i)
    all.push_back(test::md5(test::readAllSamples<unsigned char>(pipe, i, 48000)));
  return all;
}

std::vector<std::string> hashesOf(fs::path const& file) {
  PipePtr const pipe = test::makePipe();
  pipe->setParam("filename", Any(file.string()));
  if (pipe->open() != 0) return {std::to_string(pipe->errorCode()) + " " + pipe->errorDesc()};
  return hashes(*pipe);
}

fs::path clip() {
  return test::made(
      "memory.mov",
      "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -f lavfi -i sine=d=4:r=48000 -c:v mpeg4 -g 10 -c:a "
      "pcm_s16le ");
}

TEST(MemoryIo, ServesAFileThatIsNowhereElse) {
  auto const expected = hashesOf(clip());
  MemoryHost host;
  host.put("clip in memory.mov", clip());
  test::LogLines lines;
  EXPECT_EQ(hashesOf("clip in memory.mov"), expected);
  EXPECT_GT(host.readBytes, 0);
  EXPECT_TRUE(lines.has("[mpegindec]Opening clip in memory.mov using external file IO"));
  EXPECT_TRUE(lines.has("[mpegindec] file size is " + std::to_string(fs::file_size(clip())) + " bytes"));
}

TEST(MemoryIo, ShortReadsAreReadOn) {
  auto const expected = hashesOf(clip());
  MemoryHost host;
  host.put("a.mov", clip());
  host.mostBytesAtOnce = 333;
  EXPECT_EQ(hashesOf("a.mov"), expected);
}

TEST(MemoryIo, AnErrorInTheMiddleFailsWhatLiesThereAndNothingElse) {
  MemoryHost host;
  host.put("a.mov", clip());
  PipePtr const pipe = test::opened("a.mov");
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  host.failFrom = 0;
  EXPECT_EQ(pipe->seekToFrame(90, 0), kResultError);
  EXPECT_STREQ(pipe->errorDesc(), "seekToFrame failed");
  host.failFrom = INT64_MAX;
  EXPECT_EQ(pipe->seekToFrame(90, 0), 0);
}

TEST(MemoryIo, AFileThatEndsEarlyGivesWhatItHas) {
  auto const expected = hashesOf(clip());
  auto const whole =
      test::made("memory.ts", "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -c:v mpeg2video -g 10 ");
  auto const pictures = hashesOf(whole);
  MemoryHost host;
  host.put("cut.ts", whole);
  host.bytes("cut.ts").resize(host.bytes("cut.ts").size() / 2);
  auto const got = hashesOf("cut.ts");
  ASSERT_GT(got.size(), 20U);
  ASSERT_LT(got.size(), pictures.size());
  EXPECT_TRUE(std::equal(got.begin(), got.end() - 1, pictures.begin())) << "all but the picture that is cut";
}

TEST(MemoryIo, AFileThatTheHostDoesNotHaveFailsToParse) {
  MemoryHost host;
  PipePtr const pipe = test::makePipe();
  pipe->setParam("filename", Any("absent.mov"));
  EXPECT_NE(pipe->open(), 0);
  EXPECT_STREQ(pipe->errorDesc(), "Failed to parse 'absent.mov'");
}

TEST(MemoryIo, WideNamesAreAskedInUtf8) {
  auto const expected = hashesOf(clip());
  MemoryHost host;
  host.put("film \xC3\xBC.mov", clip());
  PipePtr const pipe = test::makePipe();
  pipe->setParam("filename", Any(L"film \u00FC.mov"));
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(hashes(*pipe), expected);
  EXPECT_EQ(host.sizesAsked.front(), "film \xC3\xBC.mov");
}

TEST(MemoryIo, AKnownSizeIsNotAskedAgain) {
  MemoryHost host;
  host.put("a.mov", clip());
  PipePtr const pipe = test::opened("a.mov");
  ASSERT_TRUE(pipe);
  EXPECT_EQ(host.sizesAsked.size(), 1U) << "once for the parsing; the streams know it then";
}

TEST(MemoryIo, ATakeListAndItsClipsComeFromTheHost) {
  test::SampleTake const take = test::spannedTake(true);
  std::string list = "XMP4\r\n";
  int number = 0;
  std::vector<std::pair<std::string, fs::path>> clips;
  for (fs::path const& file : take.clips) {
    clips.emplace_back("clip" + std::to_string(number++) + ".MP4", file);
    list += clips.back().first + ";  " + std::to_string(fs::file_size(file)) + "\r\n";
  }
  auto const expected = hashesOf(take.description);
  MemoryHost host;
  for (auto const& [name, file] : clips) host.put(name, file);
  host.putText("take.mzl", list);
  EXPECT_EQ(hashesOf("take.mzl"), expected);
}

TEST(MemoryIo, IsUsedOnRequestOnlyWhereTheHostDoesNotAskForIt) {
  MemoryHost host;
  host.put("a.mov", clip());
  KyExternalDecoderIO io = *ky_registry()->externalDecoderIO();
  io.enabled = 0;
  ky_registry()->setExternalDecoderIO(&io);
  PipePtr const pipe = test::makePipe();
  pipe->setParam("filename", Any("a.mov"));
  EXPECT_EQ(pipe->open(), -9) << "no such file";
  EXPECT_EQ(pipe->setParam("decoderParameters", AnyDict("useExternalIO", 1)), 0);
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
}

fs::path mediaDir() { return KY_MEDIA_DIR; }

std::vector<std::string> mediaFiles() {
  std::vector<std::string> names;
  std::error_code absent;
  for (auto const& entry : fs::directory_iterator(mediaDir(), absent))
    if (entry.path().extension() != ".json" && entry.path().extension() != ".md")
      names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

class PublicFile : public testing::TestWithParam<std::string> {};

TEST_P(PublicFile, GivesTheSameFromMemory) {
  test::ScopedAttribute const heard("dolbyMetadataTracker", Any(0));
  fs::path const file = mediaDir() / GetParam();
  auto const expected = hashesOf(file);
  ASSERT_FALSE(expected.empty());
  MemoryHost host;
  host.put(file.string(), file);
  EXPECT_EQ(hashesOf(file), expected);
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PublicFile);
INSTANTIATE_TEST_SUITE_P(Files, PublicFile, testing::ValuesIn(mediaFiles()), [](auto const& parameter) {
  std::string name = parameter.param;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
});

TEST(PublicFiles, AreAllRead) {
  if (mediaFiles().empty()) GTEST_SKIP() << "the public media files are not at " << mediaDir();
  EXPECT_EQ(mediaFiles().size(), 52U);
}

}  // namespace
