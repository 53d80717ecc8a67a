// Streams whose packets are no pictures, or come in an order that their stamps do not tell, against the
// `ffmpeg` program's decode of the elementary streams that they were made from.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

constexpr int kThreads[] = {1, 2, 5};

// Runs a script of the samples with `arguments` in front of or behind the name of the file that it makes.
void runScript(std::string const& script, std::string const& arguments) {
  test::run(std::string("python3 -B ") + KY_SAMPLES_DIR + "/" + script + " " + arguments);
}

std::string pattern(std::string const& encoder, int pictures = 60) {
  return "-f lavfi -i testsrc2=s=96x64:r=25 -frames:v " + std::to_string(pictures) + " -pix_fmt yuv420p " +
         encoder;
}

fs::path mpeg4(int bidirectional) {
  std::string const b = std::to_string(bidirectional);
  return test::made("b" + b + ".m4v", pattern("-c:v mpeg4 -g 12 -f m4v -bf " + b));
}
fs::path mpeg2() { return test::made("long.m2v", pattern("-c:v mpeg2video -g 12 -bf 2 -f mpeg2video")); }
fs::path h264() {
  return test::made("long.h264",
                    pattern("-c:v libx264 -threads 1 -x264-params keyint=12:bframes=2:slices=4 -f h264"));
}
fs::path hevc() {
  return test::made("long.hevc",
                    pattern("-c:v libx265 -x265-params log-level=0:keyint=24:bframes=3 -f hevc"));
}
fs::path h264Fields() {
  fs::path const file = test::scratchDir() / "fields.h264";
  if (fs::exists(file)) return file;
  fs::path const stream = test::scratchDir() / "fields_of.ts";
  runScript("h264_fields.py", test::quoted(stream) + " 60 pair");
  return test::made("fields.h264", "-i " + test::quoted(stream) + " -c copy -f h264");
}
fs::path mpeg2Fields() {
  fs::path const file = test::scratchDir() / "fields.m2v";
  if (!fs::exists(file)) runScript("mpeg2_fields.py", test::quoted(file) + " 60");
  return file;
}
fs::path alaw() { return test::made("sound.al", "-f lavfi -i sine=r=8000:d=2.4 -f alaw"); }

fs::path scripted(std::string const& name, std::string const& script, fs::path const& from,
                  std::string const& arguments) {
  fs::path const file = test::scratchDir() / name;
  if (!fs::exists(file)) runScript(script, test::quoted(from) + " " + test::quoted(file) + " " + arguments);
  return file;
}

fs::path clipMxf(std::string const& name, std::string const& codec, fs::path const& from,
                 std::string const& options, std::string const& size = "96 64 25") {
  return scripted(name, "clip_mxf.py", from, codec + " " + size + " " + options);
}

// The same packets with stamps that are those of decoding.
fs::path withStampsOfDecoding(std::string const& name, std::string const& encoder) {
  fs::path const right = test::made("right_" + name + ".mp4", pattern(encoder));
  return test::made(name,
                    "-i " + test::quoted(right) + " -c copy -bsf:v setts=pts=DTS-STARTDTS:dts=DTS-STARTDTS");
}
fs::path rightOf(std::string const& name) { return test::scratchDir() / ("right_" + name + ".mp4"); }

struct Made {
  fs::path file, reference;
};
struct Row {
  char const* title;
  std::function<Made()> make;
};

Made stamped(std::string const& name, std::string const& encoder) {
  fs::path const file = withStampsOfDecoding(name, encoder);
  return {file, rightOf(name)};
}

constexpr char kMpeg4B1[] = "-c:v mpeg4 -g 12 -bf 1", kMpeg4B2[] = "-c:v mpeg4 -g 12 -bf 2";
constexpr char kMpeg2B2[] = "-c:v mpeg2video -g 12 -bf 2";
constexpr char kH264B3[] = "-c:v libx264 -x264-params keyint=12:bframes=3";
constexpr char kHevcB3[] = "-c:v libx265 -x265-params log-level=0:keyint=24:bframes=3";

std::vector<Row> const& rows() {
  static std::vector<Row> const all = {
      {"ClipMxf_Mpeg4", [] { return Made{clipMxf("c4.mxf", "mpeg4", mpeg4(2), ""), mpeg4(2)}; }},
      {"ClipMxf_Mpeg4_Index", [] { return Made{clipMxf("c4i.mxf", "mpeg4", mpeg4(2), "index"), mpeg4(2)}; }},
      {"ClipMxf_Mpeg4_Alaw_TwoClips",
       [] {
         return Made{clipMxf("c4a.mxf", "mpeg4", mpeg4(2), "clips=2 alaw=" + test::quoted(alaw())), mpeg4(2)};
       }},
      {"ClipMxf_Mpeg4_Alaw_OneClip",
       [] { return Made{clipMxf("c4b.mxf", "mpeg4", mpeg4(2), "alaw=" + test::quoted(alaw())), mpeg4(2)}; }},
      {"ClipMxf_Mpeg2", [] { return Made{clipMxf("c2.mxf", "mpeg2", mpeg2(), ""), mpeg2()}; }},
      {"ClipMxf_Mpeg2_Index", [] { return Made{clipMxf("c2i.mxf", "mpeg2", mpeg2(), "index"), mpeg2()}; }},
      {"ClipMxf_Mpeg2_ThreeClips",
       [] { return Made{clipMxf("c2c.mxf", "mpeg2", mpeg2(), "clips=3"), mpeg2()}; }},
      {"ClipMxf_H264", [] { return Made{clipMxf("c264.mxf", "h264", h264(), ""), h264()}; }},
      {"ClipMxf_H264_Index", [] { return Made{clipMxf("c264i.mxf", "h264", h264(), "index"), h264()}; }},
      {"ClipMxf_H264_TwoClips", [] { return Made{clipMxf("c264c.mxf", "h264", h264(), "clips=2"), h264()}; }},
      {"ClipMxf_H264Fields",
       [] { return Made{clipMxf("cf.mxf", "h264", h264Fields(), "", "64 64 25"), h264Fields()}; }},
      {"ClipMxf_H264Fields_IndexOfFields",
       [] { return Made{clipMxf("cfi.mxf", "h264", h264Fields(), "index", "64 64 50"), h264Fields()}; }},
      {"ClipMxf_Mpeg2Fields",
       [] { return Made{clipMxf("cf2.mxf", "mpeg2", mpeg2Fields(), "", "64 64 25"), mpeg2Fields()}; }},
      {"ClipMxf_Mpeg2Fields_IndexOfFields",
       [] { return Made{clipMxf("cf2i.mxf", "mpeg2", mpeg2Fields(), "index", "64 64 50"), mpeg2Fields()}; }},
      {"Mxf_Mpeg2Fields",
       [] {
         return Made{test::made("mf2.mxf", "-i " + test::quoted(mpeg2Fields()) + " -c copy"), mpeg2Fields()};
       }},
      {"Mp4_Slices",
       [] { return Made{scripted("sl.mp4", "pieces_mp4.py", h264(), "slices 96 64 25"), h264()}; }},
      {"Mp4_Pictures",
       [] { return Made{scripted("pi.mp4", "pieces_mp4.py", h264(), "pictures 96 64 25"), h264()}; }},
      {"Mp4_Fields",
       [] {
         return Made{scripted("fi.mp4", "pieces_mp4.py", h264Fields(), "fields 64 64 25"), h264Fields()};
       }},
      {"Mp4_PairsOfFields",
       [] {
         return Made{scripted("pa.mp4", "pieces_mp4.py", h264Fields(), "pictures 64 64 25"), h264Fields()};
       }},
      {"Avi_Packed_OneB",
       [] { return Made{scripted("p1.avi", "packed_avi.py", mpeg4(1), "96 64 25"), mpeg4(1)}; }},
      {"Avi_Packed_TwoB",
       [] { return Made{scripted("p2.avi", "packed_avi.py", mpeg4(2), "96 64 25"), mpeg4(2)}; }},
      {"Avi_Packed_EmptyChunks",
       [] { return Made{scripted("pe.avi", "packed_avi.py", mpeg4(1), "96 64 25 empty"), mpeg4(1)}; }},
      {"StampsOfDecoding_Mpeg4_Mp4", [] { return stamped("d4.mp4", kMpeg4B2); }},
      {"StampsOfDecoding_Mpeg4_Mov", [] { return stamped("d4.mov", kMpeg4B1); }},
      {"StampsOfDecoding_Mpeg4_Avi", [] { return stamped("d4.avi", kMpeg4B1); }},
      {"StampsOfDecoding_Mpeg4_Matroska", [] { return stamped("d4.mkv", kMpeg4B2); }},
      {"StampsOfDecoding_Mpeg2_Mp4", [] { return stamped("d2.mp4", kMpeg2B2); }},
      {"StampsOfDecoding_Mpeg2_Matroska", [] { return stamped("d2.mkv", kMpeg2B2); }},
      {"StampsOfDecoding_H264_Mp4", [] { return stamped("dh.mp4", kH264B3); }},
      {"StampsOfDecoding_H264_Avi", [] { return stamped("dh.avi", kH264B3); }},
      {"StampsOfDecoding_H264_Matroska", [] { return stamped("dh.mkv", kH264B3); }},
      {"StampsOfDecoding_Hevc_Mp4", [] { return stamped("dv.mp4", kHevcB3); }},
      {"Whole_H264_Elementary", [] { return Made{h264(), h264()}; }},
      {"Whole_Hevc_Elementary", [] { return Made{hevc(), hevc()}; }},
      {"Whole_Mpeg2_Elementary", [] { return Made{mpeg2(), mpeg2()}; }},
  };
  return all;
}

void expectSeeksGive(fs::path const& file, std::vector<std::string> const& expected, int seeks) {
  for (int threads : kThreads) {
    PipePtr const pipe = test::opened(file, AnyDict("numThreads", threads));
    ASSERT_TRUE(pipe);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    std::mt19937 random(static_cast<unsigned>(threads));
    for (int i = 0; i < seeks; ++i) {
      size_t const n = random() % expected.size();
      ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n << " " << pipe->errorDesc();
      ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected[n]) << n << " with " << threads << " threads";
    }
  }
}

void expectInOrder(fs::path const& file, std::vector<std::string> const& expected) {
  for (int threads : kThreads) {
    PipePtr const pipe = test::opened(file, AnyDict("numThreads", threads));
    ASSERT_TRUE(pipe);
    EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frames"].asInt32(), static_cast<int>(expected.size()));
    EXPECT_EQ(test::readAllFrames(*pipe, 0), expected) << threads << " threads";
  }
}

class PacketsThatAreNoPictures : public testing::TestWithParam<size_t> {
 protected:
  void SetUp() override {
    made_ = rows()[GetParam()].make();
    expected_ = test::frameHashes(made_.reference);
    ASSERT_EQ(expected_.size(), 60U);
  }
  Made made_;
  std::vector<std::string> expected_;
};

TEST_P(PacketsThatAreNoPictures, EveryPictureComesInOrderWithAnyNumberOfThreads) {
  expectInOrder(made_.file, expected_);
}

TEST_P(PacketsThatAreNoPictures, EveryPictureIsFoundByItsNumberWithAnyNumberOfThreads) {
  expectSeeksGive(made_.file, expected_, 200);
}

TEST_P(PacketsThatAreNoPictures, ThePicturesRunAtTheirRate) {
  PipePtr const pipe = test::opened(made_.file);
  ASSERT_TRUE(pipe);
  // The demultiplexer counts H.264 in AVI by fields.
  if (made_.file.filename() == "dh.avi") return;
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["framerate"].asFramerate().rate(), 25.0);
  EXPECT_DOUBLE_EQ(info["vDuration"].asDouble(), 60 / 25.0);
}

INSTANTIATE_TEST_SUITE_P(Files, PacketsThatAreNoPictures, testing::Range<size_t>(0, rows().size()),
                         [](auto const& parameter) { return std::string(rows()[parameter.param].title); });

// A piece of a transport stream, cut between any two of its packets.
struct Stream {
  char const* title;
  std::function<fs::path()> make;
};

std::vector<Stream> const& streams() {
  static std::vector<Stream> const all = {
      {"Mpeg2", [] { return test::made("cut2.ts", pattern("-c:v mpeg2video -g 12 -bf 2", 100)); }},
      {"H264",
       [] { return test::made("cut4.ts", pattern("-c:v libx264 -x264-params keyint=12:bframes=2", 100)); }},
      {"H264_OpenGroups",
       [] {
         return test::made("cuto.ts",
                           pattern("-c:v libx264 -x264-params keyint=20:open-gop=1:bframes=3", 100));
       }},
      {"H264_Interlaced",
       [] {
         return test::made("cuti.ts",
                           pattern("-c:v libx264 -flags +ilme+ildct -x264-params keyint=12:bframes=2", 100));
       }},
      {"H264_Fields",
       [] {
         fs::path const file = test::scratchDir() / "cutf.ts";
         if (!fs::exists(file)) runScript("h264_fields.py", test::quoted(file) + " 60 field");
         return file;
       }},
      {"H264_PairsOfFields",
       [] {
         fs::path const file = test::scratchDir() / "cutp.ts";
         if (!fs::exists(file)) runScript("h264_fields.py", test::quoted(file) + " 60 pair");
         return file;
       }},
      {"Hevc_OpenGroups",
       [] {
         return test::made(
             "cuth.ts", pattern("-c:v libx265 -x265-params log-level=0:keyint=24:bframes=3:open-gop=1", 100));
       }},
  };
  return all;
}

std::vector<char> bytesOf(fs::path const& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class CutTransportStream : public testing::TestWithParam<size_t> {
 protected:
  static constexpr size_t kPacket = 188;

  void SetUp() override {
    whole_ = streams()[GetParam()].make();
    bytes_ = bytesOf(whole_);
    for (std::string const& hash : test::frameHashes(whole_)) numbers_.emplace(hash, numbers_.size());
  }

  fs::path cut(size_t from, size_t to) const {
    fs::path const file = test::scratchDir() / "cut.ts";
    std::ofstream(file, std::ios::binary)
        .write(bytes_.data() + from * kPacket, static_cast<std::streamsize>((to - from) * kPacket));
    return file;
  }

  // What the program decodes of the piece, without pictures that it does not decode like that of the whole
  // stream: the damaged ones.
  std::vector<std::string> wholePicturesOf(fs::path const& piece) const {
    std::vector<std::string> hashes;
    int64_t last = -1;
    for (std::string const& hash : test::frameHashes(piece, "")) {
      auto const found = numbers_.find(hash);
      if (found == numbers_.end() || static_cast<int64_t>(found->second) <= last) continue;
      last = static_cast<int64_t>(found->second);
      hashes.push_back(hash);
    }
    return hashes;
  }

  size_t packets() const { return bytes_.size() / kPacket; }

  fs::path whole_;
  std::vector<char> bytes_;
  std::map<std::string, size_t> numbers_;  // of pictures, by their hash
};

TEST_P(CutTransportStream, HasEveryWholePictureAndNoOther) {
  std::mt19937 random(3);
  for (int i = 0; i < 12; ++i) {
    size_t const from = random() % (packets() / 2);
    size_t const to = from + packets() / 3 + random() % (packets() - from - packets() / 3) + 1;
    SCOPED_TRACE("packets " + std::to_string(from) + " to " + std::to_string(to));
    fs::path const piece = cut(from, to);
    auto const expected = wholePicturesOf(piece);
    ASSERT_FALSE(expected.empty());
    expectInOrder(piece, expected);
    expectSeeksGive(piece, expected, 200);
    fs::remove(piece);
  }
}

INSTANTIATE_TEST_SUITE_P(Streams, CutTransportStream, testing::Range<size_t>(0, streams().size()),
                         [](auto const& parameter) { return std::string(streams()[parameter.param].title); });

// No encoder makes VC-1: what there is is cut and moved to other containers.
TEST(Vc1OfAPublicFile, CutOrInAnotherContainer_HasEveryPicture) {
  fs::path const whole = fs::path(KY_MEDIA_DIR) / "tika_testWMV.wmv";
  if (!fs::exists(whole)) GTEST_SKIP() << "the public media files are not at " << KY_MEDIA_DIR;
  std::string const copied = "-i " + test::quoted(whole) + " -map 0:v -c copy";
  for (fs::path const& file :
       {test::made("vc1_begin.wmv", copied + " -t 0.6"), test::made("vc1_end.wmv", "-ss 0.9 " + copied),
        test::made("vc1.mkv", copied), test::made("vc1.avi", copied)}) {
    SCOPED_TRACE(file);
    auto const expected = test::frameHashes(file);
    ASSERT_GE(expected.size(), 3U);
    expectInOrder(file, expected);
    expectSeeksGive(file, expected, 200);
  }
}

fs::path withSound() {
  return test::made("with_sound.ts",
                    "-f lavfi -i testsrc2=s=96x64:r=25:d=2 -f lavfi -i sine=d=2 -c:v libx264 -bf 2 "
                    "-pix_fmt yuv420p -c:a aac");
}

TEST(AStreamWithoutAnyPacket, IsLeftOutAndTheOthersOpen) {
  fs::path const silent = scripted("silent.ts", "without_pid.py", withSound(), "0x101");
  PipePtr const pictures = test::opened(silent);
  ASSERT_TRUE(pictures);
  EXPECT_EQ(pictures->countStreams(kKindVideo), 1);
  EXPECT_EQ(pictures->countStreams(kKindAudio), 0);
  EXPECT_EQ(test::readAllFrames(*pictures, 0), test::frameHashes(withSound()));

  fs::path const blind = scripted("blind.ts", "without_pid.py", withSound(), "0x100");
  PipePtr const sound = test::opened(blind);
  ASSERT_TRUE(sound);
  EXPECT_EQ(sound->countStreams(kKindVideo), 0);
  EXPECT_EQ(sound->countStreams(kKindAudio), 1);
}

}  // namespace
