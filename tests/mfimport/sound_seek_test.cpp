// Sound after a seek, for every lossy codec that can be made here: linear reading equals the decode of the
// `ffmpeg` program, and what is read after a seek equals linear reading, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <random>

#include "clips.h"
#include "player.h"

namespace {

struct Kind {
  char const* name;
  int seconds, rate;
  char const* coding;  // for the ffmpeg program
  MpegAudioFormat format;
  char const* decoder;  // options before its input when it makes the reference
  char const* words;    // of the reference
};

// Tones that rise, beside noise that comes and goes: something for predictors, coupling and substituted
// noise.
constexpr char kSignal[] =
    "-f lavfi -i aevalsrc=exprs='0.3*sin(2*PI*t*(300+50*t))+0.1*random(0)*mod(t\\,1)|"
    "0.3*sin(2*PI*t*(500+20*t))+0.05*random(1)':s=";

constexpr char kReplicated[] = "replicated.aac";

std::vector<Kind> const& kinds() {
  static std::vector<Kind> const all = {
      {"layer2.mp2", 20, 48000, "-c:a mp2 -b:a 128k", kAudioMpegAac, "-c:a mp2float", "s16le"},
      {"layer2.ts", 20, 48000, "-c:a mp2 -b:a 192k", kAudioMpegAac, "-c:a mp2float", "s16le"},
      {"layer3.mp3", 20, 48000, "-c:a libmp3lame -b:a 64k", kAudioMpegAac, "", "s16le"},
      {"reservoir.mp3", 20, 24000, "-c:a libmp3lame -ac 1 -b:a 8k", kAudioMpegAac, "", "s16le"},
      {"plain.m4a", 20, 48000, "-c:a aac -b:a 96k -aac_pns 0", kAudioMpegAac, "", "s16le"},
      {"noise.m4a", 60, 48000, "-c:a aac -b:a 64k", kAudioMpegAac, "", "s16le"},
      {"noise.ts", 40, 48000, "-c:a aac -b:a 64k", kAudioMpegAac, "", "s16le"},
      {"main.m4a", 30, 48000, "-c:a aac -profile:a aac_main -b:a 96k", kAudioMpegAac, "", "s16le"},
      {"predicted.m4a", 30, 48000, "-c:a aac -profile:a aac_ltp -strict -2 -b:a 96k", kAudioMpegAac, "",
       "s16le"},
      {kReplicated, 60, 24000, "", kAudioMpegAac, "", "s16le"},
      {"dolby.ac3", 20, 48000, "-c:a ac3 -b:a 192k", kAudioDolby, "-cons_noisegen 1", "f32le"},
      {"dolby.eac3", 20, 48000, "-c:a eac3 -b:a 96k", kAudioDolby, "-cons_noisegen 1", "f32le"},
      {"dolby.mkv", 20, 44100, "-c:a ac3 -b:a 128k", kAudioDolby, "-cons_noisegen 1", "f32le"},
      {"version1.wma", 20, 44100, "-c:a wmav1 -b:a 64k", kAudioWma, "-flags2 +skip_manual", "s16le"},
      {"version2.wma", 20, 44100, "-c:a wmav2 -b:a 128k", kAudioWma, "-flags2 +skip_manual", "s16le"},
      {"noise.wma", 40, 44100, "-c:a wmav2 -b:a 32k", kAudioWma, "-flags2 +skip_manual", "s16le"},
      {"plain.dts", 20, 48000, "-c:a dca -b:a 768k -strict -2", kAudioDts, "", "f32le"},
      {"adpcm.dts", 15, 48000, "-c:a dca -b:a 768k -dca_adpcm 1 -strict -2", kAudioDts, "", "f32le"},
      {"adpcm.ts", 8, 48000, "-c:a dca -b:a 768k -dca_adpcm 1 -strict -2", kAudioDts, "", "f32le"},
      {"adpcm.mp4", 8, 48000, "-c:a dca -b:a 768k -dca_adpcm 1 -strict -2", kAudioDts, "", "f32le"},
  };
  return all;
}

// No free encoder replicates bands.
std::string replicated(Kind const& kind) {
  std::string const path = scratch(kind.name);
  if (fileBytes(path).empty()) {
    std::string const plain =
        clip("sound_core.aac", kSignal + std::to_string(kind.rate) + ":d=" + std::to_string(kind.seconds) +
                                   " -c:a aac -aac_pns 0 -b:a 64k {out}");
    linesOf(std::string("python3 -B " KY_SAMPLES_DIR "/aac_sbr.py ") + plain + " " + path + " 10");
  }
  return path;
}

std::string fileOf(Kind const& kind) {
  if (kind.name == kReplicated) return replicated(kind);
  return clip(std::string("sound_") + kind.name, kSignal + std::to_string(kind.rate) +
                                                     ":d=" + std::to_string(kind.seconds) + " " +
                                                     kind.coding + " {out}");
}

// The first byte that differs, -1 when there is none.
int64_t firstDifference(uint8_t const* a, uint8_t const* b, size_t size) {
  auto const [at, other] = std::mismatch(a, a + size, b);
  return at == a + size ? -1 : at - a;
}

void expectSeeksToEqualLinearReading(Player& player, std::vector<uint8_t> const& linear, unsigned seed,
                                     int seeks = 200) {
  constexpr int kRead = 4000;  // more than a packet of any of these
  auto const align = static_cast<size_t>(player->audio.blockAlign);
  std::mt19937 random(seed);
  std::vector<uint8_t> part(kRead * align);
  int wrong = 0;
  int64_t firstWrong = -1;
  for (int i = 0; i < seeks; ++i) {
    auto const sample = static_cast<int64_t>(random() % static_cast<uint64_t>(player->audio.samples));
    auto const count = static_cast<int>(std::min<int64_t>(kRead, player->audio.samples - sample));
    ASSERT_EQ(player.seekSample(sample), 0);
    ASSERT_EQ(mpegInGetNextSample(player.get(), part.data(), count), count) << sample;
    if (std::memcmp(part.data(), linear.data() + static_cast<size_t>(sample) * align,
                    static_cast<size_t>(count) * align) == 0)
      continue;
    ++wrong;
    if (firstWrong < 0) firstWrong = sample;
  }
  EXPECT_EQ(wrong, 0) << "of " << seeks << ", the first at sample " << firstWrong;
}

class LossySound : public testing::TestWithParam<size_t> {};

TEST_P(LossySound, InLinearReading_IsThatOfTheIndependentDecode) {
  Kind const& kind = kinds()[GetParam()];
  std::string const path = fileOf(kind);
  Player player;
  ASSERT_EQ(player.openAudio(path, kind.format), 0);
  std::vector<uint8_t> const linear = player.readAll(4096);
  ASSERT_EQ(linear.size(), static_cast<size_t>(player->audio.samples * player->audio.blockAlign));
  std::vector<uint8_t> const reference =
      decodedByFfmpeg(path, std::string("-map 0:a -f ") + kind.words, kind.decoder);
  // The first block of WMA carries no sound; libavcodec left alone drops the second as well.
  size_t const silent = kind.format == kAudioWma ? 2048 * static_cast<size_t>(player->audio.blockAlign) : 0;
  ASSERT_GT(reference.size(), silent);
  // The end is not trimmed alike for every container.
  size_t const common = std::min(linear.size(), reference.size() - silent);
  ASSERT_GT(common, linear.size() * 9 / 10);
  EXPECT_EQ(firstDifference(linear.data(), reference.data() + silent, common), -1);
}

TEST_P(LossySound, After200RandomSeeks_IsThatOfLinearReading) {
  Kind const& kind = kinds()[GetParam()];
  Player player;
  ASSERT_EQ(player.openAudio(fileOf(kind), kind.format), 0);
  std::vector<uint8_t> const linear = player.readAll(4096);
  expectSeeksToEqualLinearReading(player, linear, 5);
}

std::string nameOf(testing::TestParamInfo<size_t> const& info) {
  std::string name = kinds()[info.param].name;
  for (char& letter : name)
    if (!std::isalnum(static_cast<unsigned char>(letter))) letter = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Codecs, LossySound, testing::Range<size_t>(0, kinds().size()), nameOf);

// Noise that the encoder leaves to the decoder, for longer than a decoder is kept: each run has a decoder of
// its own, and its noise, in linear reading too.
class LongNoise : public testing::Test {
 protected:
  static constexpr int kRate = 48000, kRunSeconds = 120;
  static constexpr int kNoise = 328;  // largest value, 0.01 of full scale

  static std::string path() {
    return clip("sound_long.m4a",
                "-f lavfi -i anoisesrc=d=135:r=48000:a=0.01:seed=7 -f lavfi -i sine=330:d=135:r=48000 "
                "-filter_complex amerge=inputs=2 -c:a aac -b:a 48k {out}");
  }
};

TEST_F(LongNoise, IsExactAfterSeeksInEveryRun) {
  Player player;
  ASSERT_EQ(player.openAudio(path(), kAudioMpegAac), 0);
  ASSERT_GT(player->audio.samples, kRunSeconds * kRate);
  std::vector<uint8_t> const linear = player.readAll(4096);
  expectSeeksToEqualLinearReading(player, linear, 9);
}

TEST_F(LongNoise, IsThatOfTheIndependentDecodeInTheFirstRun_AndAsLoudBehindIt) {
  Player player;
  ASSERT_EQ(player.openAudio(path(), kAudioMpegAac), 0);
  std::vector<uint8_t> const linear = player.readAll(4096);
  std::vector<uint8_t> const reference = decodedByFfmpeg(path(), "-map 0:a -f s16le");
  ASSERT_EQ(linear.size(), reference.size());
  EXPECT_EQ(firstDifference(linear.data(), reference.data(), kRunSeconds * kRate * 4), -1);
  int largest = 0;
  for (size_t at = 0; at + 1 < linear.size(); at += 2) {
    int16_t ours = 0, theirs = 0;
    std::memcpy(&ours, linear.data() + at, 2);
    std::memcpy(&theirs, reference.data() + at, 2);
    largest = std::max(largest, std::abs(ours - theirs));
  }
  EXPECT_GT(largest, 0) << "this stream leaves no noise to the decoder, so it shows nothing";
  EXPECT_LE(largest, 2 * kNoise);
}

std::vector<uint8_t> dvdBytes() {
  return fileBytes(clip("sound_dvd.vob", "-f lavfi -i testsrc2=s=352x288:r=25:d=20 " + std::string(kSignal) +
                                             "48000:d=20 -c:v mpeg2video -c:a ac3 -b:a 192k -f vob {out}"));
}

void expectExactSeeks(std::string const& name, std::vector<uint8_t> const& bytes) {
  SCOPED_TRACE(name);
  std::string const path = scratch(name);
  writeFile(path, bytes.data(), bytes.size());
  Player player;
  ASSERT_EQ(player.openAudio(path, kAudioDolby), 0);
  std::vector<uint8_t> const linear = player.readAll(4096);
  ASSERT_EQ(linear.size(), static_cast<size_t>(player->audio.samples * player->audio.blockAlign));
  expectSeeksToEqualLinearReading(player, linear, 7, 600);
}

TEST(DamagedSound, OfDvdWithPartsCutOut_IsExactAfterSeeks) {
  constexpr size_t kPack = 2048;
  std::vector<uint8_t> const whole = dvdBytes();
  size_t const packs = whole.size() / kPack;
  std::mt19937 random(1);
  for (int round = 0; round < 6; ++round) {
    std::vector<uint8_t> bytes = whole;
    // From the end, so that the places before stay what they are.
    for (size_t part = 8; part-- > 1;) {
      auto const at = static_cast<std::ptrdiff_t>((packs * part / 8 + random() % 20) * kPack);
      bytes.erase(bytes.begin() + at,
                  bytes.begin() + at + static_cast<std::ptrdiff_t>((random() % 9 + 1) * kPack));
    }
    expectExactSeeks("cut_" + std::to_string(round) + ".vob", bytes);
  }
}

TEST(DamagedSound, OfDvdWithBytesThatChanged_IsExactAfterSeeks) {
  std::vector<uint8_t> bytes = dvdBytes();
  std::mt19937 random(2);
  for (int i = 0; i < 60; ++i) bytes[100000 + random() % (bytes.size() - 100000)] ^= 0x5A;
  expectExactSeeks("changed.vob", bytes);
}

// Frames in a row that hold nothing right: what the decoder makes of them comes from the last whole one.
TEST(DamagedSound, OfManyDolbyFramesInARow_IsExactAfterSeeks) {
  std::vector<uint8_t> bytes =
      fileBytes(fileOf(*std::find_if(kinds().begin(), kinds().end(), [](Kind const& kind) {
        return std::string(kind.name) == "dolby.ac3";
      })));
  constexpr size_t kFrame = 768;  // 192 kbit/s at 48 kHz
  std::mt19937 random(3);
  for (size_t const first : {50, 200, 400, 600})
    for (size_t frame = first; frame < first + 12; ++frame)
      for (size_t at = 7; at < kFrame; ++at) bytes[frame * kFrame + at] = static_cast<uint8_t>(random());
  expectExactSeeks("runs.ac3", bytes);
}

}  // namespace
