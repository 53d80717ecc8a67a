#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "host/any.h"
#include "host/api.h"

// Interleaved audio samples; a sample here is one value for every channel. Memory is 64-byte aligned, and one
// sample beyond the capacity is allocated, since paired 24-bit reads may deliver one more than asked for.
// One thread at a time.
class KY_API KyPcm {
 public:
  int nSamples = 0;      // samples held
  int capacity = 0;      // samples that fit
  int64_t position = 0;  // running one in the stream, behind the held samples: that of the next to come

  // `capacitySamples` zeroed samples; nothing held, position 0. 0, or -1 when a value is not positive or
  // there is no memory; then the buffer is empty.
  int init(int sampleRate, int channels, int bytesPerSample, int capacitySamples);
  // Makes room for `samples` beyond those held and zeroes what it adds. Keeps what is held. 0 or -1.
  int grow(int samples);
  // Address of a sample position, 0 .. capacity; null outside or without memory.
  unsigned char* ptr(int sample = 0) const;
  int samples2bytes(int samples) const { return samples * channels_ * bytesPerSample_; }
  // Adds zeroed samples to those held, growing as needed.
  void addSilence(int samples);
  // Interleaves `samples` samples behind those held, channel i from the mono buffer whose address is element
  // i; a missing or null element gives silence. Grows as needed.
  void combineWrite(int samples, AnyVector const& channelBuffers);
  void destroy();  // frees the memory; the format stays

  int sampleRate() const { return sampleRate_; }
  int channels() const { return channels_; }
  int bytesPerSample() const { return bytesPerSample_; }
  // Metadata of the held samples: dictionaries with "offset" (samples) and "meta".
  AnyVector& metadata() { return metadata_; }
  AnyVector const& metadata() const { return metadata_; }

 private:
  struct Free {
    void operator()(unsigned char* p) const { std::free(p); }
  };
  std::unique_ptr<unsigned char, Free> memory_;
  int sampleRate_ = 0;
  int channels_ = 0;
  int bytesPerSample_ = 0;
  AnyVector metadata_;
};
