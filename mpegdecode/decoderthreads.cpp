#include "mpegdecode/decoderthreads.h"

#include "host/codec.h"
#include "host/log.h"
#include "mpegdecode/libcalls.h"

namespace {

char const* smpModeName(int mode) {
  static constexpr char const* kNames[] = {"NONE", "SMP by pictures", "SMP by slices"};
  return mode >= 0 && mode <= 2 ? kNames[mode] : "UNKNOWN";
}

}  // namespace

void setSmpMode(KyCodec const& pipe, MpegIn& instance, int mode) {
  guardedVideoAuxinfo(&instance, kAuxSmpMode, nullptr, mode);
  ky_dbg()->info("[%s] SMP_MODE=%s", pipe.name(), smpModeName(mode));
}

void setThreads(KyCodec const& pipe, MpegIn& instance, int threads) {
  guardedVideoAuxinfo(&instance, kAuxThreads, nullptr, threads);
  ky_dbg()->info("[%s] SET_NUM_CPU=%d", pipe.name(), threads);
}
