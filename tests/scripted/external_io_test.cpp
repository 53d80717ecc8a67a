// File access of the host, and what the import library gets from its user.
#include <cstdarg>

#include "mpegdecode/callbacks.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

std::string askedName;
void* askedUser = nullptr;

void* openFile(void*, char const*, int) { return nullptr; }
void* openWideFile(void*, wchar_t const*, int) { return nullptr; }
int64_t seekFile(void*, void*, int64_t, int) { return 0; }
int readFile(void*, void*, void*, int) { return 0; }
int closeFile(void*, void*) { return 0; }
int64_t fileSize(void* user, char const* name) {
  askedUser = user;
  askedName = name;
  return 4711;
}
int64_t wideFileSize(void*, wchar_t const*) {
  ADD_FAILURE() << "sizes are asked for by narrow names";
  return 0;
}

class ExternalIo : public BothHandlers {
 protected:
  ExternalIo() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
    askedName.clear();
    askedUser = nullptr;
  }
  ~ExternalIo() override {
    ky_registry()->setExternalDecoderIO(nullptr);
    expectNoFailure();
  }
  KyExternalDecoderIO io{openFile, openWideFile, seekFile, readFile, closeFile,
                         fileSize, wideFileSize, &library, 0};
  void install() { ky_registry()->setExternalDecoderIO(&io); }
  void want(Any const& appData = {}) {
    ready("/only/the/host/knows.mxf");
    pipe->setParam("decoderParameters", AnyDict("useExternalIO", 1, "appData", appData));
  }
};

TEST_P(ExternalIo, ThatTheHostDoesNotHave_FailsTheOpening) {
  want();
  expectOpenFails(-1, "External IO error.");
  EXPECT_TRUE(log.hasAt(kLogError, "Canb not use external IO, none set."));
}

TEST_P(ExternalIo, WithAMissingFunction_NamesTheFirstOne) {
  struct Row {
    void (*remove)(KyExternalDecoderIO&);
    char const* name;
  };
  // From the last one on: the first that is missing is named.
  for (Row const& row :
       {Row{[](KyExternalDecoderIO& r) { r.externalFileSizeW = nullptr; }, "externalFileSizeW"},
        Row{[](KyExternalDecoderIO& r) { r.externalFileSize = nullptr; }, "externalFileSize"},
        Row{[](KyExternalDecoderIO& r) { r.externalClose = nullptr; }, "externalClose"},
        Row{[](KyExternalDecoderIO& r) { r.externalRead = nullptr; }, "externalRead"},
        Row{[](KyExternalDecoderIO& r) { r.externalSeek = nullptr; }, "externalSeek"},
        Row{[](KyExternalDecoderIO& r) { r.externalOpenW = nullptr; }, "externalOpenW"},
        Row{[](KyExternalDecoderIO& r) { r.externalOpen = nullptr; }, "externalOpen"}}) {
    row.remove(io);
    install();
    want();
    expectOpenFails(-1, std::string("[mpegindec] ") + row.name + " not set.");
  }
}

TEST_P(ExternalIo, WithAMissingFunctionAlone_NamesIt) {
  io.externalFileSizeW = nullptr;
  install();
  want();
  expectOpenFails(-1, "[mpegindec] externalFileSizeW not set.");
}

TEST_P(ExternalIo, OnRequest_ReachesEveryInstance) {
  install();
  want();
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_TRUE(log.hasAt(kLogInfo, "[mpegindec]Opening /only/the/host/knows.mxf using external file IO"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[mpegindec] file size is 4711 bytes"));
  EXPECT_TRUE(log.contains("[mpegindec] user data set to "));
  EXPECT_EQ(askedName, "/only/the/host/knows.mxf");
  EXPECT_EQ(askedUser, &library);
  ASSERT_EQ(library.instances.size(), 3U);
  for (int i = 0; i < 3; ++i) {
    MpegExternalIo const& given = instance(i).io;
    EXPECT_EQ(given.on, 1);
    EXPECT_EQ(given.user, &library);
    EXPECT_EQ(given.size, i == 0 ? 4711 : 123456) << "streams know the size from the parsing";
    EXPECT_EQ(given.open, &openFile);
    EXPECT_EQ(given.openW, &openWideFile);
    EXPECT_EQ(given.seek, &seekFile);
    EXPECT_EQ(given.read, &readFile);
    EXPECT_EQ(given.close, &closeFile);
  }
}

TEST_P(ExternalIo, WithAKnownSizeOfZero_AsksForIt) {
  install();
  for (auto [known, given] : {std::pair{0, 4711}, std::pair{-1, 4711}, std::pair{1, 1}}) {
    library.fileSize = known;
    library.instances.clear();
    want();
    ASSERT_EQ(pipe->open(), 0);
    EXPECT_EQ(instance(1).io.size, given);
    pipe.reset();
  }
}

TEST_P(ExternalIo, OfAWideName_AsksForItInUtf8) {
  install();
  want();
  pipe->setParam("filename", L"/h\u00f6st/\U0001D11E.mxf");
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(askedName,
            "/h\xC3\xB6"
            "st/\xF0\x9D\x84\x9E.mxf");
}

TEST_P(ExternalIo, OfTheDecodersUserData_PassesThatOn) {
  install();
  int own = 0;
  want(Any(&own, 0));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(instance(0).io.user, &own);
  EXPECT_EQ(askedUser, &own);
  char line[64];
  std::snprintf(line, sizeof line, "[mpegindec] user data set to %x",
                static_cast<unsigned>(reinterpret_cast<uintptr_t>(&own)));
  EXPECT_TRUE(log.hasAt(kLogInfo, line));
}

TEST_P(ExternalIo, ThatIsEnabledForEveryOpen_NeedsNoRequest) {
  io.enabled = 1;
  install();
  ready("/only/the/host/knows.mxf");
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(instance(2).io.on, 1);
}

TEST_P(ExternalIo, ThatNobodyWants_IsNotUsed) {
  io.externalRead = nullptr;
  install();
  opened();
  EXPECT_EQ(instance(0).io.on, 0);
  EXPECT_EQ(instance(0).io.open, nullptr);
  ready("/only/the/host/knows.mxf");
  EXPECT_EQ(pipe->open(), -9) << "its files are not known here";
}

TEST_P(ExternalIo, OfDmf_OpensWithoutSubtitlesAndTellsTheUser) {
  install();
  library.containerType = kContainerDmf;
  library.subpictures = 2;
  want();
  ky_log()->take();
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  auto const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].text,
            "No subtitles and languages of /only/the/host/knows.mxf: it is opened through external file "
            "access.");
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0) << "extracted, not overlaid";
  EXPECT_EQ(instance(1).set.decodeSubpictures, 0);
}

TEST_P(ExternalIo, ThatTheHostTakesAway_IsTheReadersStill) {
  library.containerType = kContainerTransport;
  install();
  library.onOpen = [](MpegIn& instance) {
    if (instance.set.videoStream == 0) ky_registry()->setExternalDecoderIO(nullptr);
  };
  want();
  EXPECT_EQ(pipe->open(), 0);
  for (int opened : {1, 2}) {
    EXPECT_EQ(library.calls(kMfFileOpen), opened);
    EXPECT_EQ(library.readerIo.on, 1);
    EXPECT_EQ(library.readerIo.user, &library);
    EXPECT_EQ(library.readerIo.read, &readFile);
    EXPECT_EQ(library.readerIo.size, 123456);
    library.readerIo = {};
    EXPECT_EQ(pipe->frameTimestamps(0), nullptr) << "the file has no titles";
  }
}

UNDER_BOTH_HANDLERS(ExternalIo);

class Callbacks : public ScriptedTest {};

TEST_F(Callbacks, AreFoundByTheirWholeName) {
  for (char const* name : {"malloc", "free", "err_printf", "prg_printf", "wrn_printf", "inf_printf"})
    EXPECT_NE(importCallback(name), nullptr) << name;
  for (char const* name :
       {"mallo", "malloc2", "Malloc", "MALLOC", "", " free", "free ", "err_print", "calloc"})
    EXPECT_EQ(importCallback(name), nullptr) << name;
  EXPECT_EQ(importCallback(nullptr), nullptr);
}

TEST_F(Callbacks, PrintersLogAtTheirLevels) {
  using Printer = void (*)(char const*, ...);
  for (auto [name, level] :
       {std::pair{"err_printf", 2}, std::pair{"wrn_printf", 4}, std::pair{"inf_printf", 8}}) {
    reinterpret_cast<Printer>(importCallback(name))("%s %d", name, level);
    EXPECT_TRUE(log.hasAt(level, std::string(name) + " " + std::to_string(level)));
  }
  reinterpret_cast<void (*)(int, char const*, ...)>(importCallback("prg_printf"))(50, "half of %s", "it");
  EXPECT_TRUE(log.hasAt(64, "half of it"));
}

TEST_F(Callbacks, PrintersTakeArgumentsOfEveryKind) {
  char const* const format = "%s %d %.2f %d %d %lld %d %.1f %d %d";
  constexpr long long kBig = 1LL << 40;
  for (char const* first : {"one", "two", "three"}) {
    std::string const expected = std::string(first) + " 1 2.50 3 4 1099511627776 5 6.5 7 8";
    reinterpret_cast<void (*)(int, char const*, ...)>(importCallback("prg_printf"))(99, format, first, 1, 2.5,
                                                                                    3, 4, kBig, 5, 6.5, 7, 8);
    EXPECT_TRUE(log.hasAt(64, expected));
    for (auto [name, level] :
         {std::pair{"err_printf", 2}, std::pair{"wrn_printf", 4}, std::pair{"inf_printf", 8}}) {
      reinterpret_cast<void (*)(char const*, ...)>(importCallback(name))(format, first, 1, 2.5, 3, 4, kBig, 5,
                                                                         6.5, 7, 8);
      EXPECT_TRUE(log.hasAt(level, expected)) << name;
    }
  }
}

TEST_F(Callbacks, LinesAreCutTo1023Characters) {
  using Printer = void (*)(char const*, ...);
  auto const print = reinterpret_cast<Printer>(importCallback("wrn_printf"));
  for (size_t length : {1022U, 1023U, 1024U, 5000U}) {
    log.lines.clear();
    print("%s", std::string(length, 'x').c_str());
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(log.lines[0].text.size(), std::min<size_t>(length, 1023));
  }
}

// The memory that the library holds.
class Memory : public ScriptedTest {
 protected:
  ~Memory() override { MemoryRegistry::instance().disable(); }
  void* take(size_t bytes) { return reinterpret_cast<void* (*)(size_t)>(importCallback("malloc"))(bytes); }
  void release(void* block) { reinterpret_cast<void (*)(void*)>(importCallback("free"))(block); }
  int estimate() {
    if (!pipe) ready();
    return get("memoryEstimateKB").asInt32();
  }
};

TEST_F(Memory, OfTwoBlocksOfWhichOneIsFreedIsOneKilobyte) {
  MemoryRegistry::instance().enable(true);
  void* const first = take(3000);
  void* const second = take(2000);
  EXPECT_EQ(estimate(), 4);
  release(first);
  EXPECT_EQ(estimate(), 1);
  release(nullptr);
  EXPECT_EQ(estimate(), 1);
  release(second);
  EXPECT_EQ(estimate(), 0);
}

TEST_F(Memory, IsNotCountedWithoutTheRequest) {
  MemoryRegistry::instance().enable(false);
  void* const block = take(9000);
  EXPECT_EQ(estimate(), 0);
  release(block);
}

TEST_F(Memory, ThatCannotBeHadIsNotCounted) {
  MemoryRegistry::instance().enable(true);
  EXPECT_EQ(take(SIZE_MAX / 2), nullptr);
  EXPECT_EQ(estimate(), 0);
}

TEST_F(Memory, IsCountedFromOpenToClose) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  library.blockBytes = 10240;
  ready();
  pipe->setParam("estimateMemory", true);
  EXPECT_EQ(get("estimateMemory"), Any(1));
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(get("memoryEstimateKB"), Any(20));
  pipe->close();
  void* const later = take(5000);
  EXPECT_EQ(get("memoryEstimateKB"), Any(0)) << "switched off";
  release(later);
}

TEST_F(Memory, OfAnOpeningThatDidNotAskIsForgotten) {
  MemoryRegistry::instance().enable(true);
  void* const block = take(5000);
  library.addVideo();
  library.blockBytes = 10240;
  opened();
  EXPECT_EQ(get("memoryEstimateKB"), Any(0));
  release(block);
}

}  // namespace
