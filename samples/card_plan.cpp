#include "samples/card_plan.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <stdexcept>

namespace samples {
namespace {

constexpr PictureFormat k1080i25{1920, 1080, true, 2500, 100, 12, 35'000'000, false};
constexpr PictureFormat k1080i30{1920, 1080, true, 30000, 1001, 15, 35'000'000, true};
constexpr PictureFormat k720p50{1280, 720, false, 5000, 100, 24, 35'000'000, false};
constexpr PictureFormat k1080p24{1920, 1080, false, 24000, 1001, 12, 35'000'000, false};

PictureFormat formatOf(CardRate rate) {
  switch (rate) {
    case CardRate::p23976:
      return k1080p24;
    case CardRate::i50:
      return k1080i25;
    case CardRate::i5994:
      return k1080i30;
    default:
      return k720p50;
  }
}

PictureFormat shrunk(PictureFormat format) {
  if (format.height == 720) {
    format.width = 320;
    format.height = 192;
  } else {
    format.width = 352;
    format.height = format.dropFrame ? 240 : 288;
  }
  format.bitRate = 4'000'000;
  return format;
}

/// Basic UMID after SMPTE 330M as 64 hexadecimal digits: label, length, instance number, material number. The
/// material number ends in a machine node that all clips of a camera share, so UMIDs differ well before their
/// last digit.
std::string umid(int take, int part) {
  return fmt::format("060A2B340101010501010D4313000000{:02X}{:02X}5A0E26{:06X}05080046020117B1", take, part,
                     (take * 64 + part) * 0x1F35 + 0x2C41);
}

/// Whole lengths in the proportion of `parts`, which sum to `total`.
std::vector<int> inProportion(std::span<int const> parts, int total) {
  int const whole = std::accumulate(parts.begin(), parts.end(), 0);
  std::vector<int> lengths;
  int done = 0, seen = 0;
  for (int const part : parts) {
    seen += part;
    auto const end = static_cast<int>(std::int64_t{total} * seen / whole);
    lengths.push_back(end - done);
    done = end;
  }
  return lengths;
}

struct TakeOutline {
  PictureFormat format;
  int audioTracks;
  int startTimecode;
  CatalogueForm form;
  std::vector<int> parts;
};

Take makeTake(int number, TakeOutline const& outline, CardOptions const& options) {
  Take take;
  take.name = fmt::format("632_{:04}", number);
  take.number = number;
  take.audioTracks = outline.audioTracks;
  take.format = options.rate ? formatOf(*options.rate) : outline.format;
  if (options.small) take.format = shrunk(take.format);
  take.startTimecode = outline.startTimecode;
  take.form = options.oneForm ? options.form : outline.form;

  std::vector<int> lengths = outline.parts;
  if (options.seconds > 0) {
    double const frames = options.seconds * take.format.timeScale / take.format.frameDuration;
    lengths = inProportion(outline.parts, static_cast<int>(std::lround(frames)));
  }
  for (int const length : lengths) {
    Clip clip;
    clip.part = static_cast<int>(take.clips.size()) + 1;
    clip.name = fmt::format("{}_{:02}", take.name, clip.part);
    clip.umid = umid(number, clip.part);
    clip.frames = length;
    clip.firstFrame = take.clips.empty() ? 0 : take.frames();
    if (length < 1) throw std::invalid_argument(fmt::format("clip {} would have no frame", clip.name));
    take.clips.push_back(clip);
  }
  take.umid = take.spanned() ? umid(number, 0) : take.clips.front().umid;
  return take;
}

}  // namespace

std::vector<Take> planCard(CardOptions const& options) {
  // The running sample number has 30 bits.
  if (!(options.seconds >= 0 && options.seconds <= 6 * 3600))
    throw std::invalid_argument("a take lasts at most 6 hours");

  // No length is a multiple of its GOP: a joint meets an unfinished one.
  TakeOutline const outlines[] = {
      {k1080i25, 4, 25 * 3600, CatalogueForm::child, {37, 25, 41}},
      {k1080i25, 2, 25 * 7200, CatalogueForm::child, {31}},
      // Begins shortly before a minute, so that two time codes are dropped within the take.
      {k1080i30, 2, 30 * 60 - 10, CatalogueForm::child, {32}},
      {k720p50, 2, 25 * 10800, CatalogueForm::attribute, {50}},
  };
  std::vector<Take> takes;
  for (TakeOutline const& outline : outlines)
    takes.push_back(makeTake(static_cast<int>(takes.size()) + 1, outline, options));
  return takes;
}

std::int64_t samplesBefore(PictureFormat const& format, int frame) {
  std::int64_t const ticks = std::int64_t{frame} * format.frameDuration * kSampleRate;
  return (2 * ticks + format.timeScale) / (2 * format.timeScale);
}

Timecode timecodeAt(Take const& take, int frame) {
  PictureFormat const& format = take.format;
  int const rate = (format.timeScale + format.frameDuration - 1) / format.frameDuration;
  int const base = rate > 30 ? rate / 2 : rate;
  int count = take.startTimecode + (rate > 30 ? frame / 2 : frame);
  if (format.dropFrame) {
    // Numbers 0 and 1 are left out at every minute but each tenth.
    int const perMinute = 60 * base - 2, perTenMinutes = 10 * perMinute + 2;
    int const tens = count / perTenMinutes, rest = count % perTenMinutes;
    count += 18 * tens + (rest < 2 ? 0 : 2 * ((rest - 2) / perMinute));
  }
  return {count / base / 3600 % 24, count / base / 60 % 60, count / base % 60, count % base};
}

}  // namespace samples
