// Samples as a sound file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

namespace kyhost {

// How samples arrive: interleaved, native byte order.
struct SoundFormat {
  int rate;  // Hz
  int channels;
  int bytesPerSample;  // 1 unsigned, 2, 3 packed little-endian, 4 words that hold 24-bit values
  bool discrete;       // channels are separate tracks, not loudspeakers
};

// WAV of 8, 16 or 24 bits; beyond 4 GB the same file becomes RF64 (EBU Tech 3306). A name that ends in .w64
// makes Sony Wave64. Words of 32 bits are written as 24 bits; full scale, 8388608, is clipped to 8388607.
// Throws Failure (write). One thread.
class WavWriter {
 public:
  WavWriter(std::filesystem::path const& output, SoundFormat const& format);
  ~WavWriter();
  WavWriter(WavWriter const&) = delete;
  WavWriter& operator=(WavWriter const&) = delete;

  void write(unsigned char const* data, int samples);
  // Completes the header and gives the file its name.
  void finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kyhost
