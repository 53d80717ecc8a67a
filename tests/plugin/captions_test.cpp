// Closed captions: which streams are found to carry them, and the bytes of every picture against
// libavcodec's.
#include "tests/support/captions.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "host/userdata.h"
#include "mfimport/mfimport.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

using test::captioned;
using test::CaptionKind;
using test::PipePtr;

// The list that the library is made to answer with, for pictures of H.264; none: its own.
MpegSeiList const* answeredSei = nullptr;

}  // namespace

// Symbols of this program come before those of the library.
int mpegInVideoAuxinfo(MpegIn* instance, int reserved, int request, void* record, int value) {
  if (request == kAuxUserDataH264 && answeredSei) {
    *static_cast<MpegSeiList const**>(record) = answeredSei;
    return 0;
  }
  static auto const library =
      reinterpret_cast<decltype(&mpegInVideoAuxinfo)>(::dlsym(RTLD_NEXT, "mpegInVideoAuxinfo"));
  return library(instance, reserved, request, record, value);
}

namespace {

std::string hex(void const* data, int size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (int i = 0; i < size; ++i) {
    uint8_t const byte = static_cast<uint8_t const*>(data)[i];
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// Without the marker bits of each triplet's first byte, which only one of the forms has.
std::string bare(std::string text) {
  for (size_t i = 0; text != "-" && i < text.size(); i += 6) {
    text[i] = '0';
    text[i + 1] =
        static_cast<char>('0' + (text[i + 1] <= '9' ? text[i + 1] - '0' : text[i + 1] - 'a' + 10) % 8);
  }
  return text;
}

// Of the current picture; "-" when it has none.
std::string triplets(KyDecodePipe& pipe, int entry = 0) {
  AnyDict out("old", 1);
  int const result = pipe.readCcData(entry, 0, out);
  EXPECT_TRUE(result == 0 || result == -1) << result;
  EXPECT_FALSE(out.contains("old"));
  EXPECT_EQ(result == 0, !out.empty());
  return result == 0 ? bare(hex(out["data"].asGeneric(), out["data"].genericSize())) : "-";
}

int captionEntries(KyDecodePipe const& pipe) {
  int count = 0;
  for (int i = 0; i < pipe.countStreams(kKindSubpic); ++i)
    count += test::info(pipe, kKindSubpic, i)["type"].asInt32() == 4;
  return count;
}

int captionEntriesOf(std::filesystem::path const& file) {
  PipePtr const pipe = test::opened(file);
  return pipe ? captionEntries(*pipe) : -1;
}

// Bytes that show nothing, in one picture of a stream.
std::filesystem::path only(int picture, int pictures) {
  std::string const range = std::to_string(picture) + ":" + std::to_string(picture + 1);
  return captioned("only" + range + "of" + std::to_string(pictures) + ".ts", "mpeg2", pictures,
                   "--pictures " + range, CaptionKind::Silent);
}

TEST(CaptionSearch, AStreamWithCaptions_HasAnEntryOfType4) {
  test::LogLines log;
  PipePtr const pipe = test::opened(captioned("a53.ts", "mpeg2"));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(test::info(*pipe, kKindSubpic, 0), AnyDict("type", 4));
  EXPECT_TRUE(log.has("parsing frames for cc data"));
  EXPECT_TRUE(log.has("Found cc in frame nr 0"));
  EXPECT_TRUE(log.has("parsing frames for cc data done"));
}

TEST(CaptionSearch, AStreamWithoutCaptions_IsSearchedAndHasNoEntry) {
  test::LogLines log;
  EXPECT_EQ(captionEntriesOf(test::plainStream("mpeg2", 30)), 0);
  EXPECT_TRUE(log.has("parsing frames for cc data"));
  EXPECT_FALSE(log.contains("Found cc in frame nr"));
  EXPECT_FALSE(log.has("parsing frames for cc data done"));
}

TEST(CaptionSearch, WithDisableCc_NothingIsSearched) {
  test::LogLines log;
  PipePtr const pipe =
      test::opened(captioned("a53.ts", "mpeg2"), AnyDict("openParameters", AnyDict("disableCC", 1)));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_FALSE(log.contains("cc data"));
}

TEST(CaptionSearch, CaptionsOnlyInFrame9_AreFound_InFrame10_AreNot) {
  test::LogLines log;
  EXPECT_EQ(captionEntriesOf(only(9, 60)), 1);
  EXPECT_TRUE(log.has("Found cc in frame nr 9"));
  EXPECT_EQ(captionEntriesOf(only(10, 60)), 0);
}

TEST(CaptionSearch, AStreamOf11Frames_IsSearchedInItsFirst10) {
  EXPECT_EQ(captionEntriesOf(only(9, 11)), 1);
  EXPECT_EQ(captionEntriesOf(only(10, 11)), 0);
}

TEST(CaptionSearch, AStreamOf5Frames_IsSearchedInItsFirst4) {
  EXPECT_EQ(captionEntriesOf(only(3, 5)), 1);
  EXPECT_EQ(captionEntriesOf(only(4, 5)), 0);
}

TEST(CaptionSearch, AStreamOf1Frame_IsNotSearched) { EXPECT_EQ(captionEntriesOf(only(0, 1)), 0); }

TEST(CaptionSearch, PalRates_AreNeverSearched) {
  for (std::string const rate : {"25", "50"}) {
    auto const plain = test::made("plain" + rate + ".m2v", "-f lavfi -i testsrc2=s=96x64:r=" + rate +
                                                               ":d=1 -c:v mpeg2video -f mpeg2video");
    auto const file = test::scratchDir() / ("pal" + rate + ".m2v");
    test::run("python3 -B " KY_SAMPLES_DIR "/captions.py " + test::quoted(plain) + " " + test::quoted(file) +
              " /dev/null");
    ASSERT_NE(test::captionBytes(file).at(0), "-");
    test::LogLines log;
    EXPECT_EQ(captionEntriesOf(file), 0) << rate;
    EXPECT_FALSE(log.contains("cc data")) << rate;
  }
}

TEST(CaptionSearch, OtherCodecs_AreNeverSearched) {
  test::LogLines log;
  EXPECT_EQ(captionEntriesOf(test::made("plain.mp4", "-f lavfi -i testsrc2=s=96x64:r=30:d=1 -c:v mpeg4")), 0);
  EXPECT_FALSE(log.contains("cc data"));
}

TEST(CaptionSearch, LeavesTheStreamAtItsFirstPicture) {
  for (auto const& file : {captioned("a53.ts", "mpeg2"), only(7, 60), test::plainStream("mpeg2", 30)}) {
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    auto const expected = test::frameHashes(file);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    for (std::string const& hash : expected) {
      ASSERT_EQ(pipe->readFrame(0), 0);
      ASSERT_EQ(test::md5(*pipe->videoFrame(0)), hash) << file;
    }
  }
}

TEST(CaptionSearch, AfterClosing_FindsThemAgain) {
  PipePtr const pipe = test::opened(captioned("a53.ts", "mpeg2"));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->close(), 0);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(captionEntries(*pipe), 1);
}

TEST(CaptionSearch, OfTwoVideoStreams_TheSecondAloneCanHaveAnEntry) {
  auto const captions = captioned("a53.ts", "mpeg2");
  auto const file = test::made(
      "second.ts",
      "-i " + test::quoted(captioned("none.ts", "mpeg2", 30, "--pictures 0:0", CaptionKind::Silent)) +
          " -i " + test::quoted(captions) + " -map 0 -map 1 -c copy");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindVideo), 2);
  ASSERT_EQ(captionEntries(*pipe), 1);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 1), 0);
  ASSERT_EQ(pipe->seekToFrame(40, 1), 0);
  AnyDict out;
  ASSERT_EQ(pipe->readCcData(0, 0, out), 0);
  EXPECT_DOUBLE_EQ(out["time"].asDouble(), 40 * 1001.0 / 30000.0);
  EXPECT_EQ(hex(out["data"].asGeneric(), out["data"].genericSize()), test::captionBytes(captions).at(40));
}

TEST(CaptionEntry, SelectsTheVideoStreamOfItsNumber) {
  PipePtr const pipe = test::opened(captioned("a53.ts", "mpeg2"));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->selectStream(kKindSubpic, 0), 0);
  EXPECT_TRUE(pipe->isSelected(kKindVideo, 0));
  EXPECT_FALSE(pipe->isSelected(kKindSubpic, 0));
}

TEST(CaptionEntry, GivesTimeFormatAndBytesOfThePicture) {
  struct {
    char const *name, *options;
    int format;
  } const forms[] = {{"a53.ts", "", 0}, {"scte20.ts", "--form scte20", 1}, {"dvd.ts", "--form dvd", 2}};
  for (auto const& form : forms) {
    PipePtr const pipe = test::opened(captioned(form.name, "mpeg2", 180, form.options));
    ASSERT_TRUE(pipe);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    AnyDict out;
    ASSERT_EQ(pipe->readCcData(0, 0, out), 0);
    EXPECT_EQ(out["format"], Any(form.format)) << form.name;
    EXPECT_EQ(out["time"], Any(0.0));
    EXPECT_GT(out["data"].genericSize(), 0);
  }
}

TEST(CaptionEntry, APictureWithoutCaptions_GivesNothing) {
  PipePtr const pipe = test::opened(only(3, 60));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  AnyDict out("old", 1);
  EXPECT_EQ(pipe->readCcData(0, 0, out), -1);
  EXPECT_TRUE(out.empty());
}

// SEI messages that all hold captions, of which only those of payload type 4 count.
class SeiList {
 public:
  explicit SeiList(std::vector<int> const& types) {
    for (int type : types) entries_.push_back({bytes_, type, static_cast<int32_t>(sizeof bytes_)});
    list_ = {entries_.data(), static_cast<int32_t>(entries_.size())};
    answeredSei = &list_;
  }
  ~SeiList() { answeredSei = nullptr; }
  SeiList(SeiList const&) = delete;
  SeiList& operator=(SeiList const&) = delete;

  void empty(size_t entry) { entries_[entry].size = 0; }
  void clear(size_t entry) { entries_[entry].data = nullptr; }

 private:
  static constexpr uint8_t bytes_[] = {0xB5, 0x00, 0x31, 'G',  'A',  '9',  '4',
                                       0x03, 0x41, 0xFF, 0xFC, 0xC8, 0xE9, 0xFF};
  std::vector<MpegSeiEntry> entries_;
  MpegSeiList list_{};
};

TEST(SeiMessages, OfPayloadType6_AreIgnored) {
  auto const file = test::plainStream("h264", 30);
  {
    SeiList const sei({6});
    EXPECT_EQ(captionEntriesOf(file), 0);
  }
  SeiList const sei({6, 4});
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(captionEntries(*pipe), 1);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
  KyUserData const* const data = pipe->videoFrame(0)->userData();
  ASSERT_TRUE(data);
  EXPECT_EQ(data->countPackets(kUserDataPicture), 1);
}

TEST(SeiMessages, WithoutBytes_AreIgnored_AndThoseOfTypes4And5HaveFormats1And2) {
  SeiList sei({4, 4, 5, 4});
  sei.empty(0);
  sei.clear(1);
  PipePtr const pipe = test::opened(test::plainStream("h264", 30));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
  KyUserData const* const data = pipe->videoFrame(0)->userData();
  ASSERT_TRUE(data);
  ASSERT_EQ(data->countPackets(kUserDataPicture), 2);
  int size = 0, format = 0;
  data->packet(kUserDataPicture, 0, size, format);
  EXPECT_EQ(format, 2);
  data->packet(kUserDataPicture, 1, size, format);
  EXPECT_EQ(format, 1);
}

struct CaptionFile {
  char const *name, *codec, *options;
};

class CaptionBytesOf : public testing::TestWithParam<CaptionFile> {
 protected:
  void SetUp() override {
    auto const& [name, codec, options] = GetParam();
    std::string const kind = codec;
    if (kind == "media") {
      file_ = std::filesystem::path(KY_MEDIA_DIR) / name;
      if (!std::filesystem::exists(file_)) GTEST_SKIP() << file_ << " is absent";
    } else {
      file_ = captioned(name, codec, 180, options);
    }
    for (std::string const& bytes : test::captionBytes(file_)) expected_.push_back(bare(bytes));
    ASSERT_NE(std::count(expected_.begin(), expected_.end(), "-"), static_cast<long>(expected_.size()));
  }
  std::filesystem::path file_;
  std::vector<std::string> expected_;
};

TEST_P(CaptionBytesOf, EveryPicture_AreThoseOfLibavcodec_InOneGo) {
  for (int threads : {1, 3}) {
    PipePtr const pipe = test::opened(file_, AnyDict("numThreads", threads));
    ASSERT_TRUE(pipe);
    ASSERT_EQ(captionEntries(*pipe), 1);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    std::vector<std::string> read;
    while (pipe->readFrame(0) == 0) read.push_back(triplets(*pipe));
    EXPECT_EQ(read, expected_) << threads << " threads";
  }
}

TEST_P(CaptionBytesOf, EveryPicture_AreThoseOfLibavcodec_AfterSeeks) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  std::mt19937 random(29);
  for (int i = 0; i < 50; ++i) {
    size_t const n = random() % expected_.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(triplets(*pipe), expected_[n]) << n;
    ASSERT_EQ(pipe->readFrame(0), 0);
    if (n + 1 == expected_.size()) continue;
    ASSERT_EQ(pipe->readFrame(0), 0);
    ASSERT_EQ(triplets(*pipe), expected_[n + 1]) << n << " + 1";
  }
  for (size_t n = expected_.size(); n-- > expected_.size() / 2;) {
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(triplets(*pipe), expected_[n]) << n << ", backward";
  }
}

std::string nameOf(testing::TestParamInfo<CaptionFile> const& parameter) {
  std::string name = parameter.param.name;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(
    Made, CaptionBytesOf,
    testing::Values(CaptionFile{"a53.ts", "mpeg2", ""}, CaptionFile{"a53.m2v", "mpeg2", ""},
                    CaptionFile{"a53.mpg", "mpeg2", ""}, CaptionFile{"a53.mov", "mpeg2", ""},
                    CaptionFile{"scte20.mpg", "mpeg2", "--form scte20"},
                    CaptionFile{"dvd.mpg", "mpeg2", "--form dvd"},
                    CaptionFile{"dvd.ts", "mpeg2", "--form dvd"},
                    CaptionFile{"rollup.ts", "mpeg2", "--style roll-up --channel 3"},
                    CaptionFile{"sei.ts", "h264", ""}, CaptionFile{"sei.264", "h264", ""},
                    CaptionFile{"sei.mp4", "h264", ""}, CaptionFile{"sei.mkv", "h264", ""}),
    nameOf);
INSTANTIATE_TEST_SUITE_P(Public, CaptionBytesOf,
                         testing::Values(CaptionFile{"mux_sintel-captions.ts", "media", ""},
                                         CaptionFile{"amx_sd-hls0000000000.ts", "media", ""}),
                         nameOf);

}  // namespace
