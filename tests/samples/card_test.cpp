#include <fmt/core.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "parser_xdcam_ex/source/xdcamexparser.h"
#include "samples/card_plan.h"
#include "samples/frame_pattern.h"
#include "samples/phase_signal.h"
#include "tests/samples/programs.h"

namespace fs = std::filesystem;
using samples::Clip;
using samples::Take;

namespace {

struct Parser : XDCamExParser {
  using XDCamExParser::clip_list;
};

/// One card for all tests of a size, made by the program.
class Card : public testing::TestWithParam<bool> {
 protected:
  static void SetUpTestSuite() { scratch_ = std::make_unique<ScratchFolder>(); }
  static void TearDownTestSuite() { scratch_.reset(); }

  void SetUp() override {
    options_.small = GetParam();
    folder_ = scratch_->path() / (GetParam() ? "small" : "full");
    if (!fs::exists(folder_)) {
      Outcome const made =
          run(fmt::format("{} {} --quiet {}", KY_MAKE_CARD, folder_.string(), GetParam() ? "--small" : ""));
      ASSERT_EQ(made.code, 0) << made.errors;
      EXPECT_EQ(made.output, "");
      EXPECT_EQ(made.errors, "");
    }
    takes_ = samples::planCard(options_);
  }

  fs::path clipFile(Clip const& clip, char const* ending) const {
    return folder_ / "BPAV/CLPR" / clip.name / (clip.name + ending);
  }

  template <typename Check>
  void forEachClip(Check check) const {
    for (Take const& take : takes_)
      for (Clip const& clip : take.clips) {
        SCOPED_TRACE(clip.name);
        check(take, clip);
      }
  }

  std::string probe(Clip const& clip, std::string const& what) const {
    Outcome const outcome =
        run(fmt::format("ffprobe -v warning {} -of csv=p=0:s=, {}", what, clipFile(clip, ".MP4").string()));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.errors, "");
    return withoutEmptyFields(outcome.output);
  }

  /// Side data sections leave commas and lines of their own.
  static std::string withoutEmptyFields(std::string const& table) {
    std::istringstream lines(table);
    std::string cleaned;
    for (std::string line; std::getline(lines, line);) {
      line.erase(line.find_last_not_of(',') + 1);
      if (!line.empty()) cleaned += line + "\n";
    }
    return cleaned;
  }

  /// Decodes one stream with the ffmpeg program, which must have nothing to complain about.
  std::string decode(Clip const& clip, std::string const& stream) const {
    Outcome const outcome = run(fmt::format("ffmpeg -nostdin -v warning -xerror -i {} -map 0:{} -",
                                            clipFile(clip, ".MP4").string(), stream));
    EXPECT_EQ(outcome.code, 0);
    // That mono is mono is no complaint.
    std::istringstream lines(outcome.errors);
    for (std::string line; std::getline(lines, line);)
      EXPECT_NE(line.find("Guessed Channel Layout"), std::string::npos) << line;
    return outcome.output;
  }

  /// Opens a description; the clip names that the parser lists, or its error text.
  std::string open(fs::path const& description) const {
    Parser parser;
    if (!parser.ProcessData(description.string(), (scratch_->path() / "take.mzl").string(), 0))
      return parser.error_text;
    std::string names;
    for (std::string const& clip : parser.clip_list) names += clip + " ";
    return names;
  }

  static inline std::unique_ptr<ScratchFolder> scratch_;
  samples::CardOptions options_;
  fs::path folder_;
  std::vector<Take> takes_;
};

TEST_P(Card, EveryPictureDecodesAndCarriesItsNumber) {
  forEachClip([&](Take const& take, Clip const& clip) {
    auto const width = static_cast<std::size_t>(take.format.width),
               height = static_cast<std::size_t>(take.format.height);
    std::string const pictures = decode(clip, "v -f rawvideo -pix_fmt gray -fps_mode passthrough");
    ASSERT_EQ(pictures.size(), width * height * static_cast<std::size_t>(clip.frames));
    for (int frame = 0; frame < clip.frames; ++frame) {
      auto const* luma = reinterpret_cast<std::uint8_t const*>(pictures.data()) +
                         static_cast<std::size_t>(frame) * width * height;
      auto const tag =
          samples::readFrameNumber(luma, take.format.width, take.format.width, take.format.height);
      ASSERT_TRUE(tag.has_value()) << "frame " << frame;
      EXPECT_EQ(tag->frame, static_cast<std::uint32_t>(clip.firstFrame + frame));
      EXPECT_EQ(tag->take, take.number);
      EXPECT_EQ(tag->part, clip.part);
    }
  });
}

TEST_P(Card, SoundRunsOnOverTheClipsOfATake) {
  forEachClip([&](Take const& take, Clip const& clip) {
    std::int64_t const from = samples::samplesBefore(take.format, clip.firstFrame);
    std::int64_t const count = samples::samplesBefore(take.format, clip.firstFrame + clip.frames) - from;
    for (int track = 0; track < take.audioTracks; ++track) {
      std::string const bytes = decode(
          clip,
          fmt::format("a:{} -f {}", track, std::endian::native == std::endian::little ? "s16le" : "s16be"));
      ASSERT_EQ(bytes.size(), static_cast<std::size_t>(count) * 2);
      std::vector<std::int16_t> heard(static_cast<std::size_t>(count));
      std::memcpy(heard.data(), bytes.data(), bytes.size());
      samples::Phase const expected{static_cast<std::uint64_t>(from), static_cast<unsigned>(take.number),
                                    static_cast<unsigned>(track) + 1};
      EXPECT_EQ(samples::readPhase(heard), expected);
      EXPECT_EQ(samples::firstMismatch(heard, expected), std::nullopt);
    }
  });
}

TEST_P(Card, PictureTracksAreWhatACameraWrites) {
  forEachClip([&](Take const& take, Clip const& clip) {
    auto const& format = take.format;
    std::string const rate = format.dropFrame ? "30000/1001" : format.interlaced ? "25/1" : "50/1";
    EXPECT_EQ(
        probe(
            clip,
            "-select_streams v -show_entries stream=codec_name,profile,codec_tag_string,width,height,pix_fmt,"
            "level,r_frame_rate,avg_frame_rate,time_base,start_pts,nb_frames"),
        fmt::format("mpeg2video,Main,mp4v,{},{},yuv420p,4,{},{},1/{},0,{}\n", format.width, format.height,
                    rate, rate, format.timeScale, clip.frames));
  });
}

TEST_P(Card, SoundTracksAreMonoPcmOfTheLengthOfThePictures) {
  forEachClip([&](Take const& take, Clip const& clip) {
    std::int64_t const samples = samples::samplesBefore(take.format, clip.firstFrame + clip.frames) -
                                 samples::samplesBefore(take.format, clip.firstFrame);
    std::string const line = fmt::format("pcm_s16be,twos,48000,1,{}\n", samples);
    std::string expected;
    for (int track = 0; track < take.audioTracks; ++track) expected += line;
    EXPECT_EQ(probe(clip,
                    "-select_streams a -show_entries "
                    "stream=codec_name,codec_tag_string,sample_rate,channels,nb_frames"),
              expected);
  });
}

TEST_P(Card, GopsAreLongAndOpenAndBeginWithAnIPictureInDisplayOrder) {
  forEachClip([&](Take const& take, Clip const& clip) {
    std::string const flags = probe(clip, "-select_streams v -show_entries packet=flags");
    std::istringstream lines(flags);
    std::string line;
    for (int packet = 0; std::getline(lines, line); ++packet) {
      // Keys stand N pictures apart in display order. Two B pictures are shown before each but the first and
      // follow it in the file.
      int const shownAt = packet == 0 ? 0 : packet + 2;
      EXPECT_EQ(line[0] == 'K', shownAt % take.format.gopLength == 0) << packet;
    }
    std::string const shown = probe(clip, "-select_streams v -show_entries frame=pict_type");
    std::string types;
    for (char const c : shown)
      if (c == 'I' || c == 'P' || c == 'B') types += c;
    ASSERT_EQ(types.size(), static_cast<std::size_t>(clip.frames));
    std::string const opening = "IBBPBBPBBPBB";
    EXPECT_EQ(types.substr(0, opening.size()), opening);
    for (std::size_t frame = 0; frame < types.size(); ++frame)
      EXPECT_EQ(types[frame] == 'I', frame % static_cast<std::size_t>(take.format.gopLength) == 0) << frame;
  });
}

TEST_P(Card, InterlacedPicturesBeginWithTheTopField) {
  forEachClip([&](Take const& take, Clip const& clip) {
    std::string const shown =
        probe(clip, "-select_streams v -show_entries frame=interlaced_frame,top_field_first");
    EXPECT_EQ(shown.substr(0, 3), take.format.interlaced ? "1,1" : "0,0");
    EXPECT_EQ(shown.find(take.format.interlaced ? "0," : "1,"), std::string::npos);
  });
}

TEST_P(Card, StampsOfPicturesStandAFrameApart) {
  forEachClip([&](Take const& take, Clip const& clip) {
    std::istringstream lines(probe(clip, "-select_streams v -show_entries frame=pts"));
    std::int64_t expected = 0;
    for (std::string line; std::getline(lines, line); expected += take.format.frameDuration)
      EXPECT_EQ(std::stoll(line), expected);
    EXPECT_EQ(expected, std::int64_t{clip.frames} * take.format.frameDuration);
  });
}

TEST_P(Card, TimeCodeRunsOnOverTheClipsOfATake) {
  for (Take const& take : takes_)
    for (Clip const& clip : take.clips) {
      std::string const bytes = readFile(clipFile(clip, ".MP4"));
      std::size_t const group = bytes.find(std::string("\0\0\1\xB8", 4));
      ASSERT_NE(group, std::string::npos);
      // ISO/IEC 13818-2, 6.2.2.6: drop flag, hours (5), minutes (6), marker, seconds (6), pictures (6).
      std::uint32_t code = 0;
      for (std::size_t byte = 4; byte < 8; ++byte)
        code = code << 8 | static_cast<std::uint8_t>(bytes[group + byte]);
      samples::Timecode const expected = samples::timecodeAt(take, clip.firstFrame);
      EXPECT_EQ(code >> 31, take.format.dropFrame ? 1u : 0u) << clip.name;
      EXPECT_EQ(code >> 26 & 31, static_cast<unsigned>(expected.hours)) << clip.name;
      EXPECT_EQ(code >> 20 & 63, static_cast<unsigned>(expected.minutes)) << clip.name;
      EXPECT_EQ(code >> 13 & 63, static_cast<unsigned>(expected.seconds)) << clip.name;
      EXPECT_EQ(code >> 7 & 63, static_cast<unsigned>(expected.frames)) << clip.name;
    }
}

TEST_P(Card, EveryDescriptionOfASpannedTakeOpensTheWholeTake) {
  Take const& take = takes_[0];
  std::string const whole =
      "CLPR/632_0001_01/632_0001_01.MP4 CLPR/632_0001_02/632_0001_02.MP4 CLPR/632_0001_03/632_0001_03.MP4 ";
  for (Clip const& clip : take.clips) {
    EXPECT_EQ(open(clipFile(clip, ".SMI")), whole);
    EXPECT_EQ(open(clipFile(clip, "M01.XML")), whole);
  }
  EXPECT_EQ(open(folder_ / "BPAV/TAKR/632_0001/632_0001.SMI"), whole);
  EXPECT_EQ(open(folder_ / "BPAV/TAKR/632_0001/632_0001M01.XML"), whole);
}

TEST_P(Card, ASingleClipNamedByItsComponentOpens) {
  for (int const index : {1, 2}) {
    Clip const& clip = takes_[static_cast<std::size_t>(index)].clips[0];
    std::string const file = fmt::format("CLPR/{0}/{0}.MP4 ", clip.name);
    EXPECT_EQ(open(clipFile(clip, ".SMI")), file);
    EXPECT_EQ(open(clipFile(clip, "M01.XML")), file);
  }
}

TEST_P(Card, ASingleClipNamedByItsMaterialTagIsRefused) {
  Clip const& clip = takes_[3].clips[0];
  EXPECT_EQ(open(clipFile(clip, ".SMI")), "No mp4 file found");
  EXPECT_EQ(open(clipFile(clip, "M01.XML")), "No mp4 file found");
}

TEST_P(Card, NothingIsLeftBesideTheCard) {
  std::set<std::string> names;
  for (auto const& entry : fs::directory_iterator(folder_)) names.insert(entry.path().filename());
  EXPECT_EQ(names, std::set<std::string>{"BPAV"});
}

INSTANTIATE_TEST_SUITE_P(Sizes, Card, testing::Values(true, false),
                         [](auto const& size) { return size.param ? "Small" : "Full"; });

}  // namespace
