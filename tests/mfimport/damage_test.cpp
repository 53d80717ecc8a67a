// Damaged pictures: the same bytes or the same error, whichever way a picture is reached.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <sstream>

#include "clips.h"
#include "player.h"

namespace {

constexpr char kSource[] = "-f lavfi -i testsrc2=s=320x240:r=25:d=3 -pix_fmt yuv420p ";

struct Clip {
  char const *name, *options;
};

Clip const kMpeg2Ts{"mpeg2.ts", "-c:v mpeg2video -b:v 2M -g 12 -bf 2 "};
Clip const kMpeg2Ps{"mpeg2.mpg", "-c:v mpeg2video -b:v 2M -g 12 -bf 2 -f vob "};
Clip const kMpeg2Mov{"mpeg2.mov", "-c:v mpeg2video -b:v 2M -g 12 -bf 2 -flags +ildct+ilme "};
Clip const kH264Ts{"h264.ts",
                   "-c:v libx264 -preset veryfast -x264-params keyint=24:bframes=3:b-pyramid=normal "};
Clip const kH264Open{"h264_open.mp4",
                     "-c:v libx264 -preset veryfast -x264-params keyint=24:bframes=2:open-gop=1 "};
Clip const kH264Refresh{"h264_refresh.ts",
                        "-c:v libx264 -preset veryfast -x264-params keyint=20:intra-refresh=1:bframes=0 "};
Clip const kHevcTs{
    "hevc.ts", "-c:v libx265 -preset ultrafast -x265-params log-level=none:keyint=24:bframes=3:open-gop=0 "};
Clip const kHevcOpen{"hevc_open.mp4",
                     "-c:v libx265 -preset ultrafast -x265-params log-level=none:keyint=24:bframes=3 "};
Clip const kH264Slices{"h264_slices.ts",
                       "-c:v libx264 -preset veryfast -x264-params keyint=24:bframes=2:slices=4 "};
Clip const kMpeg4Mp4{"mpeg4.mp4", "-c:v mpeg4 -b:v 1M -g 12 -bf 2 "};
Clip const kMpeg4Avi{"mpeg4.avi", "-c:v mpeg4 -b:v 1M -g 12 "};

std::string made(Clip const& wanted) {
  return clip(std::string("damage_") + wanted.name, kSource + std::string(wanted.options) + "{out}");
}

struct Place {
  size_t position, size;
};

// Where the video packets lie.
std::vector<Place> packetsOf(std::string const& path) {
  std::vector<Place> places;
  for (std::string line : linesOf(
           "ffprobe -v error -select_streams v -show_entries packet=size,pos -of csv=p=0 '" + path + "'")) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream fields(line);
    Place place{};
    if (fields >> place.size >> place.position) places.push_back(place);
  }
  return places;
}

bool isTransport(std::string const& path) { return path.ends_with(".ts"); }
bool isStream(std::string const& path) { return isTransport(path) || path.ends_with(".mpg"); }

enum Damage { kCut, kZeros, kNoise, kNone };

// The last third is cut off in the middle of a picture; or pieces of pictures are zeros or noise.
std::string damaged(std::string const& path, Damage damage, unsigned seed) {
  std::vector<uint8_t> bytes = fileBytes(path);
  std::mt19937 random(seed);
  if (damage == kCut) {
    bytes.resize(bytes.size() * 2 / 3 + random() % (bytes.size() / 8));
  } else if (damage != kNone) {
    std::vector<Place> const packets = packetsOf(path);
    for (int i = 0; i < 3; ++i) {
      Place const place = packets[3 + random() % (packets.size() - 3)];
      size_t from = place.position + place.size / 4 + random() % std::max<size_t>(place.size / 4, 1);
      size_t count = std::min<size_t>(20 + random() % 200, place.size / 3);
      if (isTransport(path)) {  // leave the headers of its packets alone
        from = from / 188 * 188 + 60;
        count = std::min<size_t>(count, 128);
      }
      for (size_t at = from; at < std::min(from + count, bytes.size()); ++at)
        bytes[at] = damage == kZeros ? uint8_t{0} : static_cast<uint8_t>(random());
    }
  }
  std::string const name = scratch(std::string("hurt_") + path.substr(path.find_last_of('/') + 1));
  writeFile(name, bytes.data(), bytes.size());
  return name;
}

using Shown = std::optional<size_t>;  // hash of a picture, none where it fails

size_t hashOf(std::vector<uint8_t> const& picture) {
  return std::hash<std::string_view>()({reinterpret_cast<char const*>(picture.data()), picture.size()});
}

Shown seen(Player& player, int result) {
  return result == 0 ? Shown(hashOf(player.picture())) : std::nullopt;
}

std::vector<Shown> linear(Player& player) {
  std::vector<Shown> pictures;
  for (int i = 0; i < player->video.frames; ++i) pictures.push_back(seen(player, player.next()));
  EXPECT_EQ(player.next(), kMpegEndOfStream);
  return pictures;
}

void setThreads(Player& player, int mode, int threads) {
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxSmpMode, nullptr, mode), 0);
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxThreads, nullptr, threads), 0);
}

class DamagedClip : public testing::TestWithParam<std::tuple<Clip, Damage>> {};

TEST_P(DamagedClip, GivesTheSamePicturesAndErrorsWhicheverWay) {
  auto const& [wanted, damage] = GetParam();
  for (unsigned seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::string const path = damaged(made(wanted), damage, seed);
    Player first;
    ASSERT_EQ(first.openVideo(path), 0);
    std::vector<Shown> const expected = linear(first);
    ASSERT_GT(expected.size(), 20U);
    ASSERT_TRUE(expected.front());
    ASSERT_TRUE(!isStream(path) || damage != kCut || expected.back())
        << "a picture that never comes out is counted";
    for (auto const& [mode, threads] :
         {std::pair(0, 1), std::pair(1, 2), std::pair(1, 5), std::pair(2, 5), std::pair(1, 8)}) {
      SCOPED_TRACE(testing::Message() << "mode " << mode << ", " << threads << " threads");
      Player player;
      ASSERT_EQ(player.openVideo(path), 0);
      setThreads(player, mode, threads);
      std::vector<Shown> const again = linear(player);
      ASSERT_EQ(again.size(), expected.size());
      for (size_t i = 0; i < again.size(); ++i)
        EXPECT_EQ(again[i], expected[i]) << "picture " << i << ", one after another";
      std::mt19937 random(seed);
      for (int i = 0; i < 60; ++i) {
        size_t const at = random() % expected.size();
        EXPECT_EQ(seen(player, player.seek(static_cast<int>(at))), expected[at])
            << "picture " << at << ", after a seek";
      }
      for (size_t at = expected.size(); at-- > 0;)
        EXPECT_EQ(seen(player, player.seek(static_cast<int>(at))), expected[at])
            << "picture " << at << ", backward";
    }
  }
}

std::string nameOf(testing::TestParamInfo<std::tuple<Clip, Damage>> const& test) {
  std::string name = std::get<0>(test.param).name;
  std::replace(name.begin(), name.end(), '.', '_');
  char const* const kinds[] = {"Cut", "Zeros", "Noise", "None"};
  return name + kinds[std::get<1>(test.param)];
}

INSTANTIATE_TEST_SUITE_P(Cut, DamagedClip,
                         testing::Combine(testing::Values(kMpeg2Ts, kMpeg2Ps, kH264Ts, kH264Refresh,
                                                          kH264Slices, kHevcTs, kMpeg4Avi),
                                          testing::Values(kCut)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Hit, DamagedClip,
                         testing::Combine(testing::Values(kMpeg2Ts, kMpeg2Ps, kMpeg2Mov, kH264Ts, kH264Open,
                                                          kH264Refresh, kH264Slices, kHevcTs, kHevcOpen,
                                                          kMpeg4Mp4, kMpeg4Avi),
                                          testing::Values(kZeros, kNoise)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(NotHit, DamagedClip,
                         testing::Combine(testing::Values(kH264Refresh), testing::Values(kNone)), nameOf);

}  // namespace
