// Samples of a track by number.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "mediafile/source.h"
#include "mfimport/audio/sample_source.h"
#include "mfimport/takelist/media.h"

namespace mfimport {

// One thread at a time. Any split of a run of samples into reads gives the same bytes.
class AudioDecoder {
 public:
  AudioDecoder(std::shared_ptr<Media const> media, size_t streamNumber, mediafile::FileAccess access,
               HostCallbacks const& host);

  int64_t samples() const { return track_.samples; }
  // The sample that the next read begins with.
  int64_t position() const { return next_; }
  bool isAac() const {
    return track_.stream().codec() == AV_CODEC_ID_AAC || track_.stream().codec() == AV_CODEC_ID_AAC_LATM;
  }
  SampleLayout const& layout() const { return layout_; }
  // Takes effect at the next read.
  void setLayout(SampleLayout const& layout);

  // Makes sure that the decoder can be opened.
  Result<void> open();
  // Makes `sample` the next one. False when it is out of range.
  bool seek(int64_t sample);
  // Writes up to `count` samples of all channels. Their number, 0 at the end; fails when nothing could be
  // read.
  Result<int64_t> read(uint8_t* out, int64_t count);

 private:
  Result<void> enterPart(size_t part);
  Result<int64_t> readWithinPart(uint8_t* out, int64_t count);

  HostCallbacks host_;
  AudioTrack track_;
  mediafile::FileAccess access_;
  SampleLayout layout_;
  int64_t frameBytes_ = 0;
  int64_t next_ = 0;
  size_t part_ = SIZE_MAX;  // that source_ reads
  std::unique_ptr<SampleSource> source_;
  int64_t sourceNext_ = 0;  // sample of the clip that source_ gives next
};

}  // namespace mfimport
