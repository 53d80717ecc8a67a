#include "mpegdecode/decoderhandle.h"

#include <cstdlib>
#include <utility>

DecoderHandle::DecoderHandle(DecoderHandle&& other) noexcept
    : ownsDecoderMemory(std::exchange(other.ownsDecoderMemory, false)),
      instance_(std::exchange(other.instance_, nullptr)),
      shared_(std::exchange(other.shared_, false)) {}

DecoderHandle& DecoderHandle::operator=(DecoderHandle&& other) noexcept {
  DecoderHandle taken(std::move(other));
  std::swap(ownsDecoderMemory, taken.ownsDecoderMemory);
  std::swap(instance_, taken.instance_);
  std::swap(shared_, taken.shared_);
  return *this;
}

void DecoderHandle::own(MpegInPtr instance) {
  reset();
  instance_ = instance.release();
}

void DecoderHandle::share(MpegIn& instance) {
  reset();
  instance_ = &instance;
  shared_ = true;
}

void DecoderHandle::reset() {
  MpegIn* const instance = std::exchange(instance_, nullptr);
  if (!instance || std::exchange(shared_, false)) return;
  bool const ownsMemory = std::exchange(ownsDecoderMemory, false);
  mpegInClose(instance);
  mpegInFree(instance);
  if (ownsMemory) std::free(instance);
}
