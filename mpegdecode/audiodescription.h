// The description of an audio stream from its facts.
#pragma once

#include <cstdint>
#include <optional>

#include "host/any.h"
#include "mfimport/mfimport.h"

struct AudioFacts {
  Any codec;
  MpegStreamId identity{};
  int64_t firstPts = 0;  // 27 MHz
  int rate = 0;          // Hz
  int bits = 0;          // of a delivered sample
  int bytesPerSample = 0;
  std::optional<int> actualBits;  // of the source, where they are told
  int channels = 0;
  int bitRate = 0;      // bits per second
  int64_t samples = 0;  // per channel
};

// Sets the keys of an audio description; others stay. Without a rate the durations are infinite or undefined.
void describe(AudioFacts const& facts, AnyDict& info);
// Those among them that tell the length.
void describeSamples(int64_t samples, int rate, AnyDict& info);
