#include "mpegdecode/externalio.h"

#include <cstdint>
#include <string>

#include "host/codec.h"
#include "host/file.h"
#include "host/log.h"
#include "host/registry.h"
#include "host/text.h"
#include "mpegdecode/parameters.h"

namespace {

// The name of the first function that a host's record lacks, or null.
char const* missingFunction(KyExternalDecoderIO const& external) {
  if (!external.externalOpen) return "externalOpen";
  if (!external.externalOpenW) return "externalOpenW";
  if (!external.externalSeek) return "externalSeek";
  if (!external.externalRead) return "externalRead";
  if (!external.externalClose) return "externalClose";
  if (!external.externalFileSize) return "externalFileSize";
  return external.externalFileSizeW ? nullptr : "externalFileSizeW";
}

int64_t fileSize(KyExternalDecoderIO const& external, void* user, Any const& fileName) {
  if (fileName.kind() == Any::kString) return external.externalFileSize(user, fileName.asString().c_str());
  char utf8[4096];
  KyText::utf32ToUtf8(fileName.asWString().c_str(), utf8, sizeof utf8);
  return external.externalFileSize(user, utf8);
}

}  // namespace

bool externalIoWanted(MpegInParameters const& params) {
  auto const external = ky_registry()->externalDecoderIO();
  return params.useExternalIo || (external && external->enabled);
}

int setupExternalIo(KyCodec const& pipe, MpegInParameters const& params, MpegExternalIo& io) {
  auto const external = ky_registry()->externalDecoderIO();
  if (!external) {
    if (!params.useExternalIo) return 0;
    ky_dbg()->error("Canb not use external IO, none set.");
    return pipe._setErr(kResultError, "External IO error.");
  }
  if (!params.useExternalIo && !external->enabled) return 0;
  if (char const* const missing = missingFunction(*external))
    return pipe._setErr(kResultError, "[mpegindec] %s not set.", missing);

  ky_dbg()->info("[mpegindec]Opening %s using external file IO",
                 KyFile::osFname(params.fileName).asString().c_str());
  io.on = 1;
  io.user = params.appData ? params.appData : external->userData;
  ky_dbg()->info("[mpegindec] user data set to %x",
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(io.user)));
  io.size = fileSize(*external, io.user, params.fileName);
  ky_dbg()->info("[mpegindec] file size is %ld bytes", static_cast<long>(io.size));
  io.open = external->externalOpen;
  io.openW = external->externalOpenW;
  io.seek = external->externalSeek;
  io.read = external->externalRead;
  io.close = external->externalClose;
  return 0;
}

MpegExternalIo streamIo(MpegIn const& file) {
  MpegExternalIo io = file.io;
  if (io.on && file.fileSize >= 1) io.size = file.fileSize;
  return io;
}
