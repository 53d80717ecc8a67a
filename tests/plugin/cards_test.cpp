// Sample cards in every layout and format, each opened by each of its descriptions, against their clips as
// the `ffmpeg` program decodes them.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "host/log.h"
#include "parser_xdcam_ex/source/xdcamexparser.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"
#include "tests/support/tempfolder.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

struct Layout {
  char const* name;
  char const* options;
};

constexpr Layout kLayouts[] = {
    {"plain", "--form child"},
    {"byte_order_marks", "--form child --bom"},
    {"own_entry_names_clip", "--form attribute"},
    {"followed_umid", "--form child --followed-umid"},
    {"twin_components", "--form child --twin-components"},
    {"relevant_info", "--form child --relevant-info"},
    {"broken_tags", "--form child --broken-tags"},
    {"without_takr", "--form child --without-takr"},
    {"crlf", "--form child --crlf"},
    {"all", "--all-layouts"},
};
constexpr char const* kRates[] = {"23.976", "50i", "59.94i", "720p50"};

std::string contentOf(fs::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

fs::path cardOf(std::string const& rate, Layout const& layout) {
  return test::sampleCard("card-" + rate + "-" + layout.name,
                          "--small --seconds 0.6 --rate " + rate + " " + layout.options) /
         "BPAV";
}

// Files below a folder with one of the extensions, sorted.
std::vector<fs::path> filesBelow(fs::path const& folder, std::vector<std::string> const& extensions) {
  std::vector<fs::path> found;
  for (auto const& entry : fs::recursive_directory_iterator(folder))
    if (std::count(extensions.begin(), extensions.end(), entry.path().extension().string()) > 0 &&
        entry.path().filename() != "MEDIAPRO.XML")
      found.push_back(entry.path());
  std::sort(found.begin(), found.end());
  return found;
}

// "632_0001" of "632_0001_02M01.XML".
std::string takeOf(fs::path const& file) { return file.filename().string().substr(0, 8); }

// What the clips of a take hold, one after another.
struct Sequence {
  std::vector<std::string> frames;
  std::vector<int16_t> samples;  // of all mono tracks, interleaved
};

Sequence decoded(std::vector<fs::path> const& clips) {
  Sequence take;
  for (fs::path const& clip : clips) {
    auto const hashes = test::frameHashes(clip);
    take.frames.insert(take.frames.end(), hashes.begin(), hashes.end());
    int const tracks = takeOf(clip) == "632_0001" ? 4 : 2;
    std::string merged;
    for (int i = 0; i < tracks; ++i) merged += "[0:a:" + std::to_string(i) + "]";
    fs::path const joined = clip.string() + ".s16";
    test::run("ffmpeg -v error -nostdin -y -i " + test::quoted(clip) + " -filter_complex '" + merged +
              "amerge=inputs=" + std::to_string(tracks) + "' -f s16le " + test::quoted(joined));
    std::string const words = contentOf(joined);
    fs::remove(joined);
    auto const* const begin = reinterpret_cast<int16_t const*>(words.data());
    take.samples.insert(take.samples.end(), begin, begin + words.size() / sizeof(int16_t));
  }
  return take;
}

// The takes of all cards of a format: layouts differ in their texts alone.
std::map<std::string, Sequence> const& takesOf(std::string const& rate) {
  static std::map<std::string, std::map<std::string, Sequence>> known;
  auto& takes = known[rate];
  if (takes.empty()) {
    std::map<std::string, std::vector<fs::path>> clips;
    for (fs::path const& clip : filesBelow(cardOf(rate, kLayouts[0]), {".MP4"}))
      clips[takeOf(clip)].push_back(clip);
    for (auto const& [name, files] : clips) takes[name] = decoded(files);
  }
  return takes;
}

std::vector<std::string> userMessages(int level) {
  std::vector<std::string> texts;
  for (KyLogBuffer::Message const& message : ky_log()->take())
    if (message.level == level) texts.push_back(message.text);
  return texts;
}

// What the text scan alone makes of a description.
struct Scan : XDCamExParser {
  using XDCamExParser::clip_list;
  explicit Scan(fs::path const& description) : list(test::scratchDir() / "scan.mzl") {
    opened = ProcessData(description.string(), list.string(), 0);
  }
  fs::path list;
  bool opened = false;
};

class CardLayout : public testing::TestWithParam<std::tuple<char const*, Layout>> {
 protected:
  void SetUp() override {
    rate_ = std::get<0>(GetParam());
    card_ = cardOf(rate_, std::get<1>(GetParam()));
    descriptions_ = filesBelow(card_, {".SMI", ".XML"});
    ky_log()->take();
  }

  std::string rate_;
  fs::path card_;
  std::vector<fs::path> descriptions_;
};

TEST_P(CardLayout, EveryDescriptionPlaysEachClipOfItsTakeOnceInOrder) {
  test::ScopedAttribute const forgiving("forgivingCards", Any(1));
  auto const& takes = takesOf(rate_);
  // Six clips and a take of three, by SMI and by sidecar.
  ASSERT_EQ(descriptions_.size(), fs::exists(card_ / "TAKR") ? 14U : 12U);
  for (fs::path const& description : descriptions_) {
    SCOPED_TRACE(description);
    PipePtr const pipe = test::opened(description);
    ASSERT_TRUE(pipe);
    Sequence const& take = takes.at(takeOf(description));
    EXPECT_EQ(test::readAllFrames(*pipe, 0), take.frames);
    EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, 4096) == take.samples);
  }
}

TEST_P(CardLayout, LayoutsDifferInTheirTextsAlone) {
  std::vector<fs::path> const clips = filesBelow(card_, {".MP4"});
  std::vector<fs::path> const plain = filesBelow(cardOf(rate_, kLayouts[0]), {".MP4"});
  ASSERT_EQ(clips.size(), 6U);
  for (size_t i = 0; i < clips.size(); ++i)
    EXPECT_TRUE(contentOf(clips[i]) == contentOf(plain[i])) << clips[i];
}

TEST_P(CardLayout, WhatIsForgivenIsOneWarningAndNothingElseIs) {
  test::ScopedAttribute const forgiving("forgivingCards", Any(1));
  for (fs::path const& description : descriptions_) {
    SCOPED_TRACE(description);
    Scan const scan(description);
    auto clips = scan.clip_list;
    bool const right = scan.opened && std::unique(clips.begin(), clips.end()) == clips.end();
    PipePtr const pipe = test::opened(description);
    auto const warnings = userMessages(kLogWarning);
    ASSERT_EQ(warnings.size(), right ? 0U : 1U);
    if (right) continue;
    EXPECT_NE(warnings[0].find(description.string()), std::string::npos) << warnings[0];
  }
}

TEST_P(CardLayout, WithoutTheAttribute_TheTextScanDecides) {
  test::TempFolder const temp;
  for (fs::path const& description : descriptions_) {
    SCOPED_TRACE(description);
    Scan const scan(description);
    PipePtr const pipe = test::pipeFor(description);
    int const result = pipe->open();
    auto const errors = userMessages(kLogError);
    if (scan.opened) {
      ASSERT_EQ(temp.files().size(), 1U);
      EXPECT_EQ(contentOf(temp.files()[0]), contentOf(scan.list));
    } else {
      EXPECT_EQ(result, -1);
      std::string const reason = scan.error_text.empty() ? "" : " " + scan.error_text;
      EXPECT_EQ(errors, std::vector{"Invalid XDCAM xml file " + description.string() + ":" + reason});
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cards, CardLayout,
                         testing::Combine(testing::ValuesIn(kRates), testing::ValuesIn(kLayouts)),
                         [](auto const& parameter) {
                           std::string name = std::string(std::get<0>(parameter.param)) + "_" +
                                              std::get<1>(parameter.param).name;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

// How many descriptions play what they should with the text scan alone: the rest is what there is to forgive.
TEST(CardScan, FollowsNoneOfTheLayoutsThatItWasNotMadeFor) {
  struct Row {
    char const* layout;
    int right;
  };
  for (Row const& row : {Row{"plain", 14}, Row{"byte_order_marks", 0}, Row{"own_entry_names_clip", 8},
                         Row{"followed_umid", 0}, Row{"twin_components", 0}, Row{"relevant_info", 0},
                         Row{"broken_tags", 0}, Row{"without_takr", 12}, Row{"crlf", 14}, Row{"all", 0}}) {
    Layout const& layout =
        *std::find_if(std::begin(kLayouts), std::end(kLayouts),
                      [&](Layout const& candidate) { return std::string(candidate.name) == row.layout; });
    int right = 0;
    for (fs::path const& description : filesBelow(cardOf("50i", layout), {".SMI", ".XML"})) {
      Scan const scan(description);
      if (!scan.opened) continue;
      PipePtr const pipe = test::pipeFor(description);
      if (pipe->open() != 0 || pipe->selectStream(kKindVideo, 0) != 0) continue;
      auto const frames = static_cast<int>(takesOf("50i").at(takeOf(description)).frames.size());
      right += pipe->frameCount(0) == frames ? 1 : 0;
    }
    EXPECT_EQ(right, row.right) << row.layout;
  }
}

}  // namespace
