// What stream objects keep to themselves, for tests of what must hold there and for states that no file leads
// to.
#pragma once

#include "mpegdecode/audiostream.h"
#include "mpegdecode/videostream.h"
#include "tests/support/private_member.h"

namespace test {

namespace stream_member {
KY_PRIVATE_MEMBER(Decoder, MpegInStream::decoder_, DecoderHandle MpegInStream::*);
KY_PRIVATE_MEMBER(Selected, MpegInStream::selected_, bool MpegInStream::*);
KY_PRIVATE_MEMBER(EndOfStream, MpegInStream::endOfStream_, bool MpegInStream::*);
KY_PRIVATE_MEMBER(VideoFrame, MpegInVideoStream::frame_, std::unique_ptr<KyFrame> MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoScratch, MpegInVideoStream::scratch_, std::unique_ptr<KyFrame> MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoFramePending, MpegInVideoStream::framePending_, bool MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoPassedPictures, MpegInVideoStream::passedPictures_, int64_t MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoUserDataEnabled, MpegInVideoStream::userDataEnabled_, bool MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoColorRange, MpegInVideoStream::colorRange_, uint32_t MpegInVideoStream::*);
KY_PRIVATE_MEMBER(VideoHeaderColour, MpegInVideoStream::headerColour_, MpegColour MpegInVideoStream::*);
KY_PRIVATE_MEMBER(AudioPcm, MpegInAudioStream::pcm_, std::unique_ptr<KyPcm> MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioScratch, MpegInAudioStream::scratch_, std::unique_ptr<KyPcm> MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioBlocks, MpegInAudioStream::blocks_,
                  std::unique_ptr<AudioBlockBuffer> MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioTracker, MpegInAudioStream::tracker_,
                  std::unique_ptr<DolbyMetadataTracker> MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioFormat, MpegInAudioStream::format_, int32_t MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioFormatIndex, MpegInAudioStream::formatIndex_, int32_t MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioSampleCount, MpegInAudioStream::sampleCount_, int64_t MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioSyncDelaySamples, MpegInAudioStream::syncDelaySamples_, int32_t MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioUse32BitSamples, MpegInAudioStream::use32BitSamples_, uint32_t MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioCarry, MpegInAudioStream::carry_, std::vector<uint8_t> MpegInAudioStream::*);
KY_PRIVATE_MEMBER(AudioCarrySamples, MpegInAudioStream::carrySamples_, int MpegInAudioStream::*);
}  // namespace stream_member

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
  using namespace stream_member;
  auto& s = const_cast<MpegInStream&>(stream);
  return {s.*memberOf(Decoder{}), s.*memberOf(Selected{}), s.*memberOf(EndOfStream{})};
}

inline VideoState stateOf(MpegInVideoStream const& stream) {
  using namespace stream_member;
  auto& s = const_cast<MpegInVideoStream&>(stream);
  return {stateOf(static_cast<MpegInStream const&>(stream)),
          s.*memberOf(VideoFrame{}),
          s.*memberOf(VideoScratch{}),
          s.*memberOf(VideoFramePending{}),
          s.*memberOf(VideoPassedPictures{}),
          s.*memberOf(VideoUserDataEnabled{}),
          s.*memberOf(VideoColorRange{}),
          s.*memberOf(VideoHeaderColour{})};
}

inline AudioState stateOf(MpegInAudioStream const& stream) {
  using namespace stream_member;
  auto& s = const_cast<MpegInAudioStream&>(stream);
  return {stateOf(static_cast<MpegInStream const&>(stream)),
          s.*memberOf(AudioPcm{}),
          s.*memberOf(AudioScratch{}),
          s.*memberOf(AudioBlocks{}),
          s.*memberOf(AudioTracker{}),
          s.*memberOf(AudioFormat{}),
          s.*memberOf(AudioFormatIndex{}),
          s.*memberOf(AudioSampleCount{}),
          s.*memberOf(AudioSyncDelaySamples{}),
          s.*memberOf(AudioUse32BitSamples{}),
          s.*memberOf(AudioCarry{}),
          s.*memberOf(AudioCarrySamples{})};
}

}  // namespace test
