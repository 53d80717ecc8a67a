// What stream objects keep to themselves, for tests of what must hold there and for states that no file leads
// to.
#pragma once

#include "mpegdecode/audiostream.h"
#include "mpegdecode/videostream.h"

namespace test {

struct StreamState {
  DecoderHandle& decoder;
  bool& selected;
  bool& endOfStream;
};

struct VideoState : StreamState {
  std::unique_ptr<KyFrame>& frame;
  std::unique_ptr<KyFrame>& scratch;
  bool& framePending;
  int64_t& passedPictures;
  bool& userDataEnabled;
  uint32_t& colorRange;
  MpegColour& headerColour;
};

struct AudioState : StreamState {
  std::unique_ptr<KyPcm>& pcm;
  std::unique_ptr<KyPcm>& scratch;
  std::unique_ptr<AudioBlockBuffer>& blocks;
  std::unique_ptr<DolbyMetadataTracker>& tracker;
  int32_t& format;
  int32_t& formatIndex;
  int64_t& sampleCount;
  int32_t& syncDelaySamples;
  uint32_t& use32BitSamples;
  std::vector<uint8_t>& carry;
  int& carrySamples;
};

inline StreamState stateOf(MpegInStream const& stream) {
  auto& s = const_cast<MpegInStream&>(stream);
  return {s.decoder_, s.selected_, s.endOfStream_};
}

inline VideoState stateOf(MpegInVideoStream const& stream) {
  auto& s = const_cast<MpegInVideoStream&>(stream);
  return {{s.decoder_, s.selected_, s.endOfStream_},
          s.frame,
          s.scratch,
          s.framePending,
          s.passedPictures,
          s.userDataEnabled,
          s.colorRange,
          s.headerColour};
}

inline AudioState stateOf(MpegInAudioStream const& stream) {
  auto& s = const_cast<MpegInAudioStream&>(stream);
  return {{s.decoder_, s.selected_, s.endOfStream_},
          s.pcm,
          s.scratch,
          s.blocks,
          s.tracker,
          s.format,
          s.formatIndex,
          s.sampleCount,
          s.syncDelaySamples,
          s.use32BitSamples,
          s.carry,
          s.carrySamples};
}

}  // namespace test
