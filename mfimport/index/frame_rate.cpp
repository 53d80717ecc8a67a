#include "mfimport/index/frame_rate.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace mfimport {
namespace {

// Steps of a stream of which as many as these may be gaps: a cut leaves some at either end.
constexpr size_t kFewSteps = 40;

double each(StampStep const& step) { return step.ticks / step.pictures; }

// Rates beyond are those of clocks that headers count in.
bool isPlausible(double rate) { return rate >= 1 && rate <= 300; }

// What the pictures of a stream show.
struct Shown {
  std::vector<int64_t> stamps;
  std::vector<uint8_t> fields;
  double frames = 0, allFields = 0;

  bool repeatsFields() const { return allFields > 2.04 * frames; }
  double framesPerPicture() const {
    // A cut through the cadence of film at video rate (2:3, ISO/IEC 13818-2 6.3.10 repeat_first_field) leaves
    // up to half a field too many or too few.
    if (std::abs(allFields - 2.5 * frames) < 1) return 1.25;
    return allFields / (2 * frames);
  }
  // The stamps span all fields but those of the last picture.
  double spannedPerPicture() const {
    return frames > 1 ? (allFields - fields.back()) / (2 * (frames - 1)) : framesPerPicture();
  }
};

Shown shownBy(StreamIndex const& stream, std::vector<PacketNote> const& notes) {
  Shown shown;
  shown.stamps.reserve(stream.video().frames());
  shown.fields.reserve(stream.video().frames());
  for (uint32_t const at : stream.video().byDisplay) {
    Picture const& picture = stream.video().pictures[at];
    shown.stamps.push_back(stream.packets[picture.packet].pts);
    shown.fields.push_back(picture.packets == 2 ? 2 : notes[picture.packet].fields);
    shown.allFields += shown.fields.back();
  }
  shown.frames = static_cast<double>(shown.stamps.size());
  if (stream.video().stampsOfDecoding) std::sort(shown.stamps.begin(), shown.stamps.end());
  return shown;
}

}  // namespace

std::vector<StampStep> stepsOf(std::vector<int64_t> const& stamps, std::vector<uint8_t> const& fields) {
  std::vector<StampStep> steps;
  steps.reserve(stamps.size());
  std::optional<size_t> before;
  double shown = 0;
  for (size_t i = 0; i < stamps.size(); ++i) {
    if (stamps[i] != AV_NOPTS_VALUE) {
      if (before && stamps[i] > stamps[*before])
        steps.push_back(
            {static_cast<double>(stamps[i] - stamps[*before]), static_cast<double>(i - *before), shown});
      before = i;
      shown = 0;
    }
    shown += i < fields.size() ? fields[i] : 2;
  }
  return steps;
}

double measuredRate(std::vector<StampStep> const& steps, AVRational timeBase) {
  if (steps.empty() || timeBase.num <= 0 || timeBase.den <= 0) return 0;
  std::vector<double> lengths;
  lengths.reserve(steps.size());
  for (StampStep const& step : steps) lengths.push_back(each(step));
  auto const middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
  std::nth_element(lengths.begin(), middle, lengths.end());
  double const usual = *middle;
  // Containers with coarse clocks round every stamp.
  auto const regular = [&](StampStep const& step) {
    return std::abs(each(step) - usual) <= std::max(1.0, usual / 50);
  };
  auto const regulars = std::count_if(steps.begin(), steps.end(), regular);
  bool const steady = static_cast<size_t>(regulars) * 10 >= steps.size() * 9;
  double ticks = 0, pictures = 0;
  for (StampStep const& step : steps) {
    if (steady ? !regular(step) : each(step) > 4 * usual) continue;
    ticks += step.ticks;
    pictures += step.pictures;
  }
  return snappedRate(pictures * timeBase.den / (ticks * timeBase.num));
}

bool keepsCodedRate(std::vector<StampStep> const& steps, AVRational timeBase, double coded) {
  if (steps.empty() || coded <= 0 || timeBase.num <= 0 || timeBase.den <= 0) return false;
  double const frame = timeBase.den / (coded * timeBase.num);  // ticks
  size_t regular = 0, gaps = 0;
  double ticks = 0, frames = 0;
  for (StampStep const& step : steps) {
    double const tolerance = std::max(1.0, step.ticks / 200);
    double const beyond = step.ticks - step.fields / 2 * frame;
    double const missing = std::round(beyond / frame);
    if (missing < 0 || std::abs(beyond - missing * frame) > tolerance) continue;
    ++(missing > 0 ? gaps : regular);
    ticks += step.ticks;
    frames += step.fields / 2 + missing;
  }
  if ((regular + gaps) * 10 < steps.size() * 9) return false;
  // Rates a thousandth apart differ over many steps only.
  if (std::abs(ticks - frames * frame) > std::max(1.0, ticks * 0.0005)) return false;
  if (steps.size() <= 2) return true;
  return steps.size() < kFewSteps ? regular * 2 >= steps.size() : regular * 10 >= steps.size() * 9;
}

double snappedRate(double rate) {
  constexpr double kTolerance = 0.0005;
  for (int whole = 1; whole <= 300; ++whole) {
    double const drop = whole * 1000.0 / 1001.0;
    bool const dropUsual = whole % 24 == 0 || whole % 30 == 0 || whole == 15;
    // Both candidates lie a thousandth apart: the nearer one counts.
    bool const nearWhole = std::abs(rate - whole) < kTolerance * whole;
    bool const nearDrop = dropUsual && std::abs(rate - drop) < kTolerance * drop;
    if (nearWhole && (!nearDrop || std::abs(rate - whole) <= std::abs(rate - drop))) return whole;
    if (nearDrop) return drop;
  }
  return rate;
}

double codedRateOf(VideoIndex const& video) {
  double const rate = codedRate(video.headers);
  return rate > 0 ? rate : video.first.codedRate;
}

FrameRates measureRates(ClipFacts const& clip, StreamIndex const& stream,
                        std::vector<PacketNote> const& notes) {
  Shown const shown = shownBy(stream, notes);
  std::vector<StampStep> const steps = stepsOf(shown.stamps, shown.fields);
  double const told = codedRateOf(stream.video());
  double const coded = isPlausible(told) ? told : 0;
  // An elementary stream has no stamps but those that its reader made up.
  bool const unstamped = steps.empty() && clip.bytePositions;
  bool const kept = clip.bytePositions && keepsCodedRate(steps, stream.timeBase, coded);
  if (coded > 0 && (clip.containerType == kContainerElementary || unstamped || kept))
    return {shown.repeatsFields() ? snappedRate(coded / shown.framesPerPicture()) : coded, coded};
  double rate = measuredRate(steps, stream.timeBase);
  if (rate <= 0) rate = snappedRate(stream.averageRate > 0 ? stream.averageRate : stream.baseRate);
  if (!shown.repeatsFields()) return {rate, rate};
  double const displayed = snappedRate(rate * shown.spannedPerPicture());
  return {snappedRate(displayed / shown.framesPerPicture()), displayed};
}

}  // namespace mfimport
