#include "mpegdecode/libcalls.h"

#include <numeric>
#include <string>

#include "host/codec.h"
#include "host/failure.h"
#include "host/file.h"
#include "host/log.h"
#include "host/timer.h"
#include "mpegdecode/callbacks.h"

namespace {

bool isFileName(Any const& name, char const* where) {
  if (name.isText()) return true;
  kyAssertFail(where, "MpegInDec: invalid filename argument");
  return false;
}

// Result of `call`; after an exception `failure`, with `message` in the log where there is one.
template <class Call>
int guarded(Call call, char const* message, int failure) {
  try {
    return call();
  } catch (...) {
    if (message) ky_dbg()->log(kLogError, "%s", message);
    return failure;
  }
}

int countAudio(MpegIn const& file) {
  return std::accumulate(std::begin(file.nAudio), std::end(file.nAudio), file.nOtherAudio);
}

}  // namespace

MpegIn* guardedNew() {
  try {
    return mpegInNew(&importCallback, 0);
  } catch (...) {
    ky_dbg()->log(kLogError, "Unhandled exception in mpegInNew");
    return nullptr;
  }
}

int guardedOpen(MpegIn* instance, Any const& name) {
  if (!isFileName(name, "./mpegdecode/mpeginutil(838)")) return kResultInvalidStream;
  std::string const path = KyFile::osFname(name).asString();
  KyTimer timer;
  timer.start();
  int const result = guarded([&] { return mpegInOpen(instance, path.c_str()); },
                             "Unhandled exception in mpegInOpen", kResultError);
  ky_dbg()->log(kLogTrace, "mpegInOpen: %f sec, result=%d", timer.stop(), result);
  return result;
}

int guardedGetInfo(MpegIn* instance, Any const& name) {
  if (!isFileName(name, "./mpegdecode/mpeginutil(866)")) return kResultInvalidStream;
  std::string const path = KyFile::osFname(name).asString();
  KyTimer timer;
  timer.start();
  instance->fileName = path.c_str();
  int const result =
      guarded([&] { return mpegInGetInfo(instance); }, "Unhandled exception in mpegInGetInfo", kResultError);
  instance->fileName = nullptr;
  double const seconds = timer.stop();
  if (!instance->video.present) instance->nVideo = 0;
  ky_dbg()->log(kLogTrace, "mpegInGetInfo: %f sec, result=%d, nvids=%d, nauds=%d, nsubs=%d", seconds, result,
                instance->nVideo, countAudio(*instance), instance->nSubpictures);
  return result;
}

int guardedSeekSample(MpegIn* instance, int64_t sample) {
  return guarded([&] { return mpegInSeekSample64(instance, 0, sample, 0); }, nullptr, 1);
}

int guardedSeekFrame(MpegIn* instance, int frame) {
  return guarded([&] { return mpegInSeekFrame(instance, frame); }, nullptr, kResultError);
}

std::optional<int> guardedVideoAuxinfo(MpegIn* instance, int request, void* record, int value) {
  try {
    return mpegInVideoAuxinfo(instance, 0, request, record, value);
  } catch (...) {
    ky_dbg()->log(kLogError, "Unhandled exception in mpegInVideoAuxinfo");
    return std::nullopt;
  }
}

std::optional<int> guardedAudioAuxinfo(MpegIn* instance, int request, void* record, int size) {
  try {
    return mpegInAudioAuxinfo(instance, 0, request, record, size);
  } catch (...) {
    ky_dbg()->log(kLogError, "Unhandled exception in mpegInAudioAuxinfo");
    return std::nullopt;
  }
}

int guardedNextFrame(MpegIn* instance) {
  return guarded([&] { return mpegInGetNextFrame(instance); }, nullptr, kResultError);
}

int guardedFileOpen(MfHandle* handle, Any const& name, MfSettings const* settings) {
  if (!isFileName(name, "./mpegdecode/mpeginutil(890)")) return kResultInvalidStream;
  std::string const path = KyFile::osFname(name).asString();
  return guarded([&] { return mfimportFileOpen(handle, path.c_str(), settings); },
                 "Unhandled exception in mpegInOpenW", kResultError);
}
