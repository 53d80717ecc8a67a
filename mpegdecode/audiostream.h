// One audio stream of an opened file: its decoder, its samples, its description.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/pcm.h"
#include "mpegdecode/audioblockbuffer.h"
#include "mpegdecode/dolbychannels.h"
#include "mpegdecode/pipeview.h"
#include "mpegdecode/stream.h"

class DolbyMetadataTracker;

// Results that are no counts are 0, or a code whose error the pipe was told.
class MpegInAudioStream : public MpegInStream {
 public:
  MpegInAudioStream(MpegIn const& file, int streamIndex);
  ~MpegInAudioStream() override;
  void store() override;

  // Gives the stream a decoder of its own; Dolby and DTS that cannot be decoded pass through.
  int open(StreamSource const& source);
  void close();
  // Of an open stream: selects it, at its first sample. Else the library's result, of which the pipe knows
  // nothing.
  int select();
  // The next samples read are those from `sample` on, leading silence included.
  int seekTo(int64_t sample, StreamSource const& source);
  // Up to `count` samples, and no more than it has room for, into pcm(). The number of them, or
  // kResultEndOfStream plus the silence among them.
  int read(int count, PipeView const& pipe);
  // Silence in front of a stream that has none yet.
  void delay(int32_t samples);

  // By its name, which opening may change: among Dolby streams an instance may find MPEG audio.
  bool isDolby() const;
  KyPcm* pcm() const { return pcm_.get(); }  // null while the stream is closed
  int32_t syncDelaySamples() const { return syncDelaySamples_; }
  // Of a Dolby stream that is decoded; what passes through has no output channels to name.
  NamedChannels namedChannels() const;
  Any channelName(int channel) const;
  // False for a key that names no record of a Dolby stream.
  bool getDolbyRecord(char const* key, Any& value) const;
  // False for a key that is no setting of the stream.
  bool setParam(char const* key, Any const& value);

 private:
  void refreshIdentity();

  // Opening (audiostream_open.cpp).
  bool canPassThrough() const;
  void configure(MpegIn& instance, StreamSource const& source, bool withVideo) const;
  int start(MpegIn& instance, PipeView const& pipe);
  int passThrough(MpegIn& instance, PipeView const& pipe) const;
  int prepareDecoding(MpegIn& instance, PipeView const& pipe);
  int createPcm(MpegIn const& instance, KyCodec const& pipe);
  void trackDolby(KyCodec const& pipe);

  // Reading (audiostream_read.cpp).
  int reopenForBackwardSeek(StreamSource const& source);
  void rewind(int64_t sample);
  int addLeadingSilence(int want);
  int readDecoded(int count);
  template <class Convert>
  int readWords(int count, Convert convert);
  int readPaired(int count);
  int takeDelivered(int delivered, int want, int silence, KyCodec const& pipe);

  std::unique_ptr<KyPcm> pcm_;      // output
  std::unique_ptr<KyPcm> scratch_;  // source of conversions
  std::unique_ptr<AudioBlockBuffer> blocks_;
  std::unique_ptr<DolbyMetadataTracker> tracker_;
  int32_t format_ = -1;       // MpegAudioFormat of the run of streams that it was listed in
  int32_t formatIndex_ = -1;  // number within the audio format
  int64_t sampleCount_ = 0;   // leading silence included
  int32_t syncDelaySamples_ = 0;
  uint32_t use32BitSamples_ = 0;
  // The one sample that an odd request of paired 24-bit samples left over.
  std::vector<uint8_t> carry_;
  int carrySamples_ = 0;
};

// Sets the selection of host audio stream `streamIndex` in `settings`, by the counts of `counts`.
void selectAudioStream(MpegSettings& settings, MpegIn const& counts, int streamIndex);
