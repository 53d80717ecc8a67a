#include "host/pcm.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {

constexpr size_t kAlignment = 64;

// Copies one channel's samples of a fixed width into the interleaved ones.
template <size_t Width>
void spread(unsigned char const* from, unsigned char* to, size_t step, int samples) {
  for (int i = 0; i < samples; ++i, from += Width, to += step) std::memcpy(to, from, Width);
}

void spread(unsigned char const* from, unsigned char* to, size_t step, int samples, size_t width) {
  for (int i = 0; i < samples; ++i, from += width, to += step) std::memcpy(to, from, width);
}

unsigned char* allocateZeroed(int64_t bytes) {
  size_t const rounded = (static_cast<size_t>(bytes) + kAlignment - 1) / kAlignment * kAlignment;
  auto* const memory = static_cast<unsigned char*>(std::aligned_alloc(kAlignment, rounded));
  if (memory) std::memset(memory, 0, rounded);
  return memory;
}

// Bytes of `samples` samples and the one beyond; -1 where a byte position would not fit an int.
int64_t sizeFor(int64_t samples, int channels, int bytesPerSample) {
  int64_t const frame = int64_t{channels} * bytesPerSample;
  if (frame <= 0 || samples < 0 || samples + 1 > INT_MAX / frame) return -1;
  return (samples + 1) * frame;
}

}  // namespace

int KyPcm::init(int sampleRate, int channels, int bytesPerSample, int capacitySamples) {
  destroy();
  metadata_.clear();
  sampleRate_ = sampleRate;
  channels_ = channels;
  bytesPerSample_ = bytesPerSample;
  if (sampleRate < 1 || channels < 1 || bytesPerSample < 1 || capacitySamples < 1) return -1;
  int64_t const bytes = sizeFor(capacitySamples, channels, bytesPerSample);
  if (bytes < 0) return -1;
  memory_.reset(allocateZeroed(bytes));
  if (!memory_) return -1;
  capacity = capacitySamples;
  return 0;
}

int KyPcm::grow(int samples) {
  if (channels_ < 1 || bytesPerSample_ < 1) return -1;
  int const held = std::clamp(nSamples, 0, capacity);
  int64_t const wanted = int64_t{held} + std::max(samples, 0);
  if (wanted <= capacity) return 0;
  int64_t const bytes = sizeFor(wanted, channels_, bytesPerSample_);
  if (bytes < 0) return -1;
  unsigned char* const larger = allocateZeroed(bytes);
  if (!larger) return -1;
  if (held > 0) std::memcpy(larger, memory_.get(), static_cast<size_t>(samples2bytes(held)));
  memory_.reset(larger);
  capacity = static_cast<int>(wanted);
  return 0;
}

unsigned char* KyPcm::ptr(int sample) const {
  if (!memory_ || sample < 0 || sample > capacity) return nullptr;
  return memory_.get() + samples2bytes(sample);
}

void KyPcm::addSilence(int samples) {
  nSamples = std::clamp(nSamples, 0, capacity);
  if (samples < 1 || grow(samples) != 0) return;
  std::memset(ptr(nSamples), 0, static_cast<size_t>(samples2bytes(samples)));
  nSamples += samples;
}

void KyPcm::combineWrite(int samples, AnyVector const& channelBuffers) {
  if (samples < 1) return;
  int const start = std::clamp(nSamples, 0, capacity);
  addSilence(samples);
  if (nSamples - start != samples) return;
  auto const width = static_cast<size_t>(bytesPerSample_);
  size_t const step = width * static_cast<size_t>(channels_);
  for (int channel = 0; channel < channels_; ++channel) {
    auto const* const from = static_cast<unsigned char const*>(channelBuffers.at(channel).asGeneric());
    if (!from) continue;
    unsigned char* const to = ptr(start) + width * static_cast<size_t>(channel);
    switch (width) {
      case 2:
        spread<2>(from, to, step, samples);
        break;
      case 3:
        spread<3>(from, to, step, samples);
        break;
      case 4:
        spread<4>(from, to, step, samples);
        break;
      default:
        spread(from, to, step, samples, width);
    }
  }
}

void KyPcm::destroy() {
  memory_.reset();
  nSamples = 0;
  capacity = 0;
  position = 0;
}
