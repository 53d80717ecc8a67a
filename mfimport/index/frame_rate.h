// Frame rates of video streams, from what their stamps, coded headers and containers say.
#pragma once

#include <cstdint>
#include <vector>

#include "mfimport/clip/media_index.h"
#include "mfimport/index/packet_note.h"

namespace mfimport {

// From one picture that has a stamp to the next one that has.
struct StampStep {
  double ticks;     // of the time base
  double pictures;  // in between, the first one counted
  double fields;    // that those show
};

// `stamps` of all pictures in the order they are shown, AV_NOPTS_VALUE where a picture has none. `fields`
// that each shows; empty where all show two. Stamps that do not ascend make no step.
std::vector<StampStep> stepsOf(std::vector<int64_t> const& stamps, std::vector<uint8_t> const& fields = {});

// Pictures per second by these steps; 0 when there is none. Gaps are left out, and among regular steps those
// over the few pictures that a recording dropped; a result close to a usual rate becomes that rate.
double measuredRate(std::vector<StampStep> const& steps, AVRational timeBase);

// True when pictures come at `coded` frames per second, but for gaps of whole frames: those of a recording
// that dropped some, and where a stream was cut, of pictures that refer to what is not there. In a stream of
// a few pictures every other step may be such a gap.
bool keepsCodedRate(std::vector<StampStep> const& steps, AVRational timeBase, double coded);

// The usual rate that `rate` lies within 0.05 % of, else `rate`.
double snappedRate(double rate);

// As the coded headers of the stream say, frames with all fields that are shown; 0 when they do not.
double codedRateOf(VideoIndex const& video);

struct FrameRates {
  double rate = 0;       // pictures per second; 0 unknown
  double displayed = 0;  // with repeated fields
};
// Of a stream whose display numbers, headers and first picture are known.
FrameRates measureRates(ClipFacts const& clip, StreamIndex const& stream,
                        std::vector<PacketNote> const& notes);

}  // namespace mfimport
