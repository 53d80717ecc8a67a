// H.264 in MXF: intra pictures of 10 bits (AVC-Intra), and groups in files whose index tells no order.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

// Whether parsing gives no extended header, by which alone opening learns that a source is deep before its
// decoder is there.
bool withoutExtendedHeader = false;

class WithoutExtendedHeader {
 public:
  WithoutExtendedHeader() { withoutExtendedHeader = true; }
  ~WithoutExtendedHeader() { withoutExtendedHeader = false; }
  WithoutExtendedHeader(WithoutExtendedHeader const&) = delete;
  WithoutExtendedHeader& operator=(WithoutExtendedHeader const&) = delete;
};

}  // namespace

// Stands before the import library's own.
extern "C" int mpegInVideoAuxinfo(MpegIn* instance, int reserved, int request, void* record, int value) {
  if (request == kAuxExtendedHeader && withoutExtendedHeader) return kMpegError;
  static auto const real =
      reinterpret_cast<decltype(&mpegInVideoAuxinfo)>(::dlsym(RTLD_NEXT, "mpegInVideoAuxinfo"));
  return real(instance, reserved, request, record, value);
}

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

constexpr int kPictures = 5;

int answer(KyDecodePipe const& pipe, char const* key) {
  Any value;
  EXPECT_EQ(pipe.getParam(key, value), 0) << key;
  return value.asInt32();
}

struct IntraFormat {
  char const* title;
  int codingClass, width, height;
  char const* rate;
  bool interlaced;
  int guess;
  bool halfHeightChroma() const { return codingClass == 50; }
  // What 8 and 16 bits per value are delivered in.
  char const* shallow() const { return halfHeightChroma() ? "I420" : "YUYV"; }
  char const* deep() const { return halfHeightChroma() ? "W016" : "Y216"; }
};

class AvcIntra : public testing::TestWithParam<IntraFormat> {
 protected:
  static fs::path file() {
    IntraFormat const& f = GetParam();
    std::string const size = std::to_string(f.width) + "x" + std::to_string(f.height);
    return test::made(std::string(f.title) + ".mxf",
                      "-f lavfi -i testsrc2=s=" + size + ":r=" + f.rate + " -frames:v " +
                          std::to_string(kPictures) + " -c:v libx264 -pix_fmt " +
                          (f.halfHeightChroma() ? "yuv420p10" : "yuv422p10") +
                          " -x264-params avcintra-class=" + std::to_string(f.codingClass) +
                          (f.interlaced ? ":interlaced=1" : "") + " ");
  }
  static uint32_t outputOf(PipePtr const& pipe) {
    if (!pipe || pipe->selectStream(kKindVideo, 0) != 0 || pipe->readFrame(0) != 0) return 0;
    return pipe->videoFrame(0)->fourcc();
  }
  static uint32_t fourcc(char const* name) {
    uint32_t code = 0;
    std::memcpy(&code, name, 4);
    return code;
  }
};

// The words of a deep frame as planes of 10-bit values.
std::vector<uint16_t> planes(KyFrame const& frame) {
  std::vector<uint16_t> values;
  auto const append = [&](uint8_t const* row, int first, int step, int count) {
    auto const* const words = reinterpret_cast<uint16_t const*>(row);
    for (int x = 0; x < count; ++x) {
      EXPECT_EQ(words[first + x * step] & 63, 0);
      values.push_back(static_cast<uint16_t>(words[first + x * step] >> 6));
    }
  };
  if (frame.fourcc() == kyFourcc("W016")) {
    for (int plane = 0; plane < 3; ++plane)
      for (int y = 0; y < frame.height(plane); ++y)
        append(frame.pixelPtr(plane, 0, y), 0, 1, frame.width(plane));
    return values;
  }
  struct {
    int first, step, count;
  } const parts[] = {{0, 2, frame.width()}, {1, 4, frame.width() / 2}, {3, 4, frame.width() / 2}};
  for (auto const& part : parts)
    for (int y = 0; y < frame.height(); ++y)
      append(frame.pixelPtr(0, 0, y), part.first, part.step, part.count);
  return values;
}

TEST_P(AvcIntra, HasAContainerTypeOfItsOwnAndItsProfile) {
  PipePtr const pipe = test::opened(file());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(answer(*pipe, "program_stream_flag"), kContainerMxfAvcIntra);
  EXPECT_EQ(answer(*pipe, "guessProfile"), GetParam().guess);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["codec"].asString(), "H.264");
  EXPECT_EQ(info["frames"].asInt32(), kPictures);
  EXPECT_EQ(info["N"].asInt32(), 1);
  EXPECT_EQ(info["M"].asInt32(), 1);
  EXPECT_EQ(info["width"].asInt32(), GetParam().width);
  EXPECT_EQ(info["height"].asInt32(), GetParam().height);
  EXPECT_EQ(info["frameAspect"].asDouble(), 16.0 / 9);
  EXPECT_EQ(info["framerate"].asFramerate().order(), GetParam().interlaced ? 1 : 0);
}

TEST_P(AvcIntra, IsDeliveredDeepUnlessTheHostPrefers8Bits) {
  WithoutExtendedHeader const none;
  EXPECT_EQ(outputOf(test::opened(file())), fourcc(GetParam().deep()));
  test::ScopedAttribute const shallow("preferredVideoBitDepth", Any(1));
  EXPECT_EQ(outputOf(test::opened(file())), fourcc(GetParam().shallow()));
  test::ScopedAttribute const deep("preferredVideoBitDepth", Any(2));
  EXPECT_EQ(outputOf(test::opened(file())), fourcc(GetParam().deep()));
}

TEST_P(AvcIntra, IsDeliveredDeepWhateverTheHostPrefersOnceParsingHasAskedForIt) {
  for (int preferred : {0, 1, 2}) {
    test::ScopedAttribute const attribute("preferredVideoBitDepth", Any(preferred));
    EXPECT_EQ(outputOf(test::opened(file())), fourcc(GetParam().deep())) << preferred;
  }
}

TEST_P(AvcIntra, GivesExactPicturesByTheirNumbers) {
  auto const bytes = test::rawPictures(file(), GetParam().halfHeightChroma() ? "yuv420p10le" : "yuv422p10le");
  PipePtr const pipe = test::opened(file());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  size_t const size = bytes.size() / kPictures;
  for (int number : {0, 1, 2, 3, 4, 2, 0, 4}) {
    ASSERT_EQ(pipe->seekToFrame(number, 0), 0) << pipe->errorDesc();
    auto const values = planes(*pipe->videoFrame(0));
    ASSERT_EQ(values.size() * sizeof(uint16_t), size);
    EXPECT_EQ(std::memcmp(values.data(), bytes.data() + static_cast<size_t>(number) * size, size), 0)
        << number;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AvcIntra,
    testing::Values(IntraFormat{"class50_1080i", 50, 1440, 1080, "25", true, 0x2100001},
                    IntraFormat{"class100_1080i", 100, 1920, 1080, "25", true, 0x2100002},
                    IntraFormat{"class50_720p", 50, 960, 720, "50", false, 0x2100001},
                    IntraFormat{"class100_720p", 100, 1280, 720, "50", false, 0x2100002}),
    [](auto const& parameter) { return std::string(parameter.param.title); });

TEST(DeepVideoElsewhere, IsDeliveredIn8BitsUnlessTheHostPrefersMore) {
  fs::path const file =
      test::made("deep.mp4", "-f lavfi -i testsrc2=s=64x64:r=25:d=0.2 -c:v libx264 -pix_fmt yuv420p10le ");
  WithoutExtendedHeader const none;
  for (int preferred : {0, 1, 2}) {
    test::ScopedAttribute const attribute("preferredVideoBitDepth", Any(preferred));
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->videoFrame(0)->fourcc(), kyFourcc(preferred == 2 ? "W016" : "I420")) << preferred;
  }
}

TEST(ShallowVideo, StaysShallowWhateverTheHostPrefers) {
  fs::path const file =
      test::made("shallow.mp4", "-f lavfi -i testsrc2=s=64x64:r=25:d=0.2 -c:v libx264 -pix_fmt yuv420p ");
  test::ScopedAttribute const attribute("preferredVideoBitDepth", Any(2));
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->fourcc(), kyFourcc("I420"));
}

// The muxer writes an index table without temporal offsets: every picture is stamped as it is decoded, and
// the demultiplexer marks no key pictures.
TEST(LongGroupsInMxf, ComeInOrderAndAreFoundByTheirNumbers) {
  fs::path const file = test::made(
      "groups.mxf", "-f lavfi -i testsrc2=s=96x64:r=25:d=2 -c:v libx264 -g 10 -bf 3 -pix_fmt yuv420p ");
  auto const expected = test::frameHashes(file);
  ASSERT_EQ(expected.size(), 50U);
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(answer(*pipe, "program_stream_flag"), kContainerMxf);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["frames"].asInt32(), 50);
  EXPECT_EQ(info["N"].asInt32(), 10);
  EXPECT_EQ(info["framerate"].asFramerate().rate(), 25.0);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), expected);
  std::mt19937 random(5);
  for (int i = 0; i < 60; ++i) {
    size_t const n = random() % expected.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected[n]) << n;
  }
}

}  // namespace
