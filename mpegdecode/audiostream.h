// One audio stream of an opened file.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/pcm.h"
#include "mpegdecode/audioblockbuffer.h"
#include "mpegdecode/stream.h"

class DolbyMetadataTracker;

class MpegInAudioStream : public MpegInStream {
 public:
  MpegInAudioStream(MpegIn const& file, int streamIndex);
  ~MpegInAudioStream() override;
  void store() override;
  void close();
  // By its name, which opening may change: among Dolby streams an instance may find MPEG audio.
  bool isDolby() const;

  std::unique_ptr<KyPcm> pcm;      // output
  std::unique_ptr<KyPcm> scratch;  // source of conversions
  std::unique_ptr<AudioBlockBuffer> blocks;
  std::unique_ptr<DolbyMetadataTracker> tracker;
  int32_t format = -1;       // MpegAudioFormat of the run of streams that it was listed in
  int32_t formatIndex = -1;  // number within the audio format
  int64_t sampleCount = 0;   // leading silence included
  int32_t syncDelaySamples = 0;
  uint32_t use32BitSamples = 0;
  // The one sample that an odd request of paired 24-bit samples left over.
  std::vector<uint8_t> carry;
  int carrySamples = 0;

 private:
  void refreshIdentity();
};

// Sets the selection of host audio stream `streamIndex` in `settings`, by the counts of `counts`.
void selectAudioStream(MpegSettings& settings, MpegIn const& counts, int streamIndex);
