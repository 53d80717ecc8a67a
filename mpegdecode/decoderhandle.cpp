#include "mpegdecode/decoderhandle.h"

#include <cstdlib>
#include <utility>

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
