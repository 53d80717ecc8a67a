// What an opening hands from the host to the library and from one instance to the next, and what it says.
#include <algorithm>

#include "host/mediatime.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

void* openFile(void*, char const*, int) { return nullptr; }
void* openWideFile(void*, wchar_t const*, int) { return nullptr; }
int64_t seekFile(void*, void*, int64_t, int) { return 0; }
int readFile(void*, void*, void*, int) { return 0; }
int closeFile(void*, void*) { return 0; }
int64_t fileSize(void*, char const*) { return 4711; }
int64_t wideFileSize(void*, wchar_t const*) { return 0; }

// File access that the host replaces after the file was parsed.
class SharedAccess : public ScriptedTest {
 protected:
  SharedAccess() {
    library.addVideo();
    library.addAudio(kAudioWma);
    ky_registry()->setExternalDecoderIO(&io_);
    ready("/only/the/host/knows.wma");
    pipe->setParam("decoderParameters", AnyDict("useExternalIO", 1));
  }
  ~SharedAccess() override { ky_registry()->setExternalDecoderIO(nullptr); }
  KyExternalDecoderIO io_{openFile, openWideFile, seekFile, readFile, closeFile,
                          fileSize, wideFileSize, &library, 0};
};

TEST_F(SharedAccess, OfEveryStreamIsThatOfTheParsedFile) {
  library.onInfo = [](MpegIn&) { ky_registry()->setExternalDecoderIO(nullptr); };
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->countStreams(kKindVideo | kKindAudio), 2);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(instance(i).io.on, 1);
    EXPECT_EQ(instance(i).io.user, &library);
    EXPECT_EQ(instance(i).io.read, &readFile);
  }
}

TEST_F(SharedAccess, OfAStreamOpenedAnewIsThatOfTheParsedFile) {
  ASSERT_EQ(pipe->open(), 0);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(500, 0), 0);
  ky_registry()->setExternalDecoderIO(nullptr);
  ASSERT_EQ(pipe->seekToSample(100, 0), 0) << pipe->errorDesc();
  EXPECT_EQ(lastInstance().io.on, 1);
  EXPECT_EQ(lastInstance().io.read, &readFile);
  EXPECT_EQ(lastInstance().io.size, 123456);
}

TEST_F(SharedAccess, ThatTheParsedFileDoesNotHaveReachesNoStream) {
  ky_registry()->setExternalDecoderIO(nullptr);
  library.onInfo = [&](MpegIn&) {
    io_.enabled = 1;
    ky_registry()->setExternalDecoderIO(&io_);
  };
  opened();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(instance(i).io.on, 0);
}

// The host's own pointer for its functions.
class ApplicationData : public ScriptedTest {
 protected:
  void* passed(Any const& data) {
    pipe.reset();
    library.instances.clear();
    ready();
    pipe->setParam("decoderParameters", AnyDict("useExternalIO", 1, "appData", data));
    EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
    return instance(0).io.user;
  }
};

TEST_F(ApplicationData, IsAPointerAlone) {
  int own = 0;
  int hosts = 0;
  KyExternalDecoderIO io{openFile, openWideFile, seekFile, readFile, closeFile,
                         fileSize, wideFileSize, &hosts,   0};
  ky_registry()->setExternalDecoderIO(&io);
  library.addVideo();
  EXPECT_EQ(passed(Any(&own, 0)), &own);
  EXPECT_EQ(passed(Any("bytes", 0)), &hosts) << "text";
  EXPECT_EQ(passed(Any(static_cast<void const*>(&own), sizeof own)), &hosts) << "a copy of bytes";
  EXPECT_EQ(passed(Any(1)), &hosts);
  ky_registry()->setExternalDecoderIO(nullptr);
}

class Opened : public ScriptedTest {};

TEST_F(Opened, TracesOnlyWhenTheOptionIsAnInteger) {
  library.addVideo();
  for (auto const& [value, traces] :
       {std::pair{Any(1), true}, std::pair{Any(7), true}, std::pair{Any(-1), true}, std::pair{Any(0), false},
        std::pair{Any("1"), false}, std::pair{Any("7"), false}, std::pair{Any(1.5), false},
        std::pair{Any(1L), false}, std::pair{Any(L"1"), false}, std::pair{Any(), false}}) {
    ky_registry()->setDbgOption("log_progress", value);
    opened();
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    log.lines.clear();
    EXPECT_EQ(pipe->readFrame(0), 0);
    EXPECT_EQ(log.contains("mpegdec.readFrame"), traces) << value.toString().asString();
  }
  ky_registry()->setDbgOption("log_progress", Any());
}

TEST_F(Opened, TakesTheColourOfTheExtendedHeader) {
  library.header.primaries = 9;
  library.header.transfer = 16;
  library.header.matrix = 9;
  library.addVideo();
  opened();
  EXPECT_EQ(instance(1).primaries, 9);
  EXPECT_EQ(instance(1).transfer, 16);
  EXPECT_EQ(instance(1).matrix, 9);
  EXPECT_EQ(info(kKindVideo, 0)["colorimetry"], KyColourDesc(9, 16, 9).toAny());
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->yuvMatrix(), KyColourDesc(9, 16, 9).toYUVMatrix());
}

TEST_F(Opened, KnowsTheColourOfAStreamThatSaysItsOwn) {
  library.header.primaries = library.header.transfer = library.header.matrix = 1;
  MpegVideoInfo& video = library.addVideo().info;
  video.primaries = video.transfer = video.matrix = 6;
  opened();
  EXPECT_EQ(info(kKindVideo, 0)["colorimetry"], KyColourDesc(6, 6, 6).toAny());
}

TEST_F(Opened, GivesTheColourOfTheHeaderToTheStreamThatItDescribes) {
  library.header.primaries = library.header.transfer = library.header.matrix = 1;
  library.addVideo();
  library.addVideo();
  opened();
  EXPECT_EQ(info(kKindVideo, 0)["colorimetry"], KyColourDesc(1, 1, 1).toAny());
  EXPECT_EQ(info(kKindVideo, 1)["colorimetry"], KyColourDesc(2, 2, 2).toAny());
}

TEST_F(Opened, WithoutTheHeaderHasTheColourOfTheFile) {
  library.header.primaries = library.header.transfer = library.header.matrix = 1;
  library.give(kVideoAux, -106);
  library.addVideo();
  opened();
  EXPECT_EQ(info(kKindVideo, 0)["colorimetry"], KyColourDesc(2, 2, 2).toAny());
}

TEST_F(Opened, SaysTheThreadsOfPicturesBesideSound) {
  library.containerType = kContainerTransport;
  library.addVideo().info.mpeg2 = 0;
  library.video[0].info.mpeg4 = 1;
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_EQ(instance(2).videoAux, (std::vector<std::pair<int, int>>{{kAuxSmpMode, 0}, {kAuxThreads, 1}}));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[scripted] SMP_MODE=NONE"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[scripted] SET_NUM_CPU=1"));
}

TEST_F(Opened, SetsNoThreadsOfPicturesBesideSoundThatPassesThrough) {
  library.containerType = kContainerTransport;
  library.addVideo().info.mpeg2 = 0;
  library.video[0].info.mpeg4 = 1;
  library.addAudio(kAudioDts);
  library.give(kOpen, -104, 2);
  opened();
  ASSERT_TRUE(audioOf(*pipe, 0).decoder()->smartRenderOnly);
  EXPECT_TRUE(instance(2).videoAux.empty());
  EXPECT_FALSE(log.contains("SMP_MODE"));
  EXPECT_FALSE(log.contains("SET_NUM_CPU"));
}

TEST_F(Opened, SaysTheParsedRateOfMatroskaBeforeItFails) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  library.containerType = kContainerMatroska;
  library.onOpening = [](MpegIn& instance) {
    instance.containerType = kContainerMatroska;
    instance.video.rate = 50.0;
  };
  library.give(kOpen, -104);
  opened();
  EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
  EXPECT_TRUE(log.hasAt(kLogInfo,
                        "[mpegindec] using mpegInGetInfo framerate 25.000000, mpegInOpen returned "
                        "50.000000 "));
}

TEST_F(Opened, SaysWhyAForcedFormatIsRefused) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  ready();
  pipe->setParam("FOURCC", "NV12");
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
  expectError(-1, "Failed to decode video stream #0.");
  EXPECT_TRUE(log.hasAt(kLogError,
                        "[mpegindec] 'NV12' is no output format: I420, YUYV, BGR4, Y216, W016 and b64a are"));
  auto const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].text,
            "Video stream #0 cannot be decoded as 'NV12', which is no output format: I420, "
            "YUYV, BGR4, Y216, W016 and b64a are");
}

TEST_F(Opened, SaysTheBytesOfARefusedFormatThatCannotBePrintedAsDots) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  auto const refused = [&](Any const& format) {
    pipe->setParam("FOURCC", format);
    EXPECT_EQ(pipe->open(), 0);
    auto const messages = ky_log()->take();
    return messages.size() == 1 ? messages[0].text.substr(0, messages[0].text.find(',')) : "";
  };
  ready();
  EXPECT_EQ(refused(0x7F7E201F), "Video stream #0 cannot be decoded as '. ~.'");
  EXPECT_EQ(refused("YU"), "Video stream #0 cannot be decoded as 'YU..'") << "nothing of the one before";
}

TEST_F(Opened, SaysNothingOfAFormatThatIsOne) {
  library.addVideo();
  for (char const* format : {"I420", "YUYV", "BGR4", "Y216", "W016", "b64a"}) {
    ready();
    pipe->setParam("FOURCC", format);
    ASSERT_EQ(pipe->open(), 0) << format;
    EXPECT_TRUE(ky_log()->take().empty()) << format;
  }
}

// A search for tables that goes on where one cannot be made.
class TableSearch : public ScriptedTest {
 protected:
  TableSearch() {
    library.addVideo();
    opened();
  }
  static Track frames(int count, int units, int64_t time) {
    Track made{};
    made.info.typeCode = 3;
    made.info.frames = count;
    for (int i = 0; i < units; ++i) made.units.push_back({0, 0, i, time, 10});
    return made;
  }
  // Time of the first picture of the table, -1 without one.
  double first() {
    std::unique_ptr<KyStreamTimestamps> const times(pipe->frameTimestamps(0));
    return times ? times->at(0).seconds() : -1;
  }
};

TEST_F(TableSearch, GoesOnWithTheNextStreamAndTheNextTitle) {
  constexpr int64_t kSecond = 27000000;
  Track const good = frames(2, 2, 5 * kSecond);
  for (Track const& bad : {frames(0, 0, 0), frames(-3, 0, 0), frames(3, 2, kSecond), frames(1, 0, 0)}) {
    library.titles = {{bad, good}};
    EXPECT_DOUBLE_EQ(first(), 5) << "of the next stream";
    library.titles = {{bad}, {good}};
    EXPECT_DOUBLE_EQ(first(), 5) << "of the next title";
    library.titles = {{bad}, {bad}};
    EXPECT_DOUBLE_EQ(first(), -1);
  }
  library.titles = {{good, frames(2, 2, kSecond)}};
  EXPECT_DOUBLE_EQ(first(), 5) << "the first that can be made";
}

TEST_F(TableSearch, SurvivesACountThatNoMemoryHolds) {
  library.titles = {{frames(0x7fffffff, 3, 0)}, {frames(1, 1, 27000000)}};
  EXPECT_DOUBLE_EQ(first(), 1);
  library.titles = {{frames(0x7fffffff, 3, 0)}};
  EXPECT_DOUBLE_EQ(first(), -1);
  EXPECT_TRUE(library.readers.empty());
}

}  // namespace
