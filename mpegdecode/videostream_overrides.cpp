// Values of a video description that the host replaces.
#include <string_view>

#include "host/colour.h"
#include "host/failure.h"
#include "host/log.h"
#include "host/util.h"
#include "mpegdecode/mpegindec.h"

AnyVector MpegInDec::overrideKeys(int kind) const {
  if (kind != kKindVideo) return {};
  return {"frameAspect", "framerate", "colorimetry", "inColorRange"};
}

int MpegInDec::setOverride(int kind, int index, char const* key, Any const& value) {
  if (int const result = KyDecodePipe::setOverride(kind, index, key, value)) return result;
  Any const stored = override(kind, index, key);
  if (!stored.valid()) return kResultError;
  if (kind != kKindVideo) return _setErr(kResultError, "Can not set override for non video streams");
  MpegInVideoStream* const stream = video_.at(index);
  if (!stream) {
    kyAssertFail("./mpegdecode/mpegindec(2940)", nullptr);
    return kResultError;
  }
  return applyOverride(*stream, key, stored);
}

int MpegInDec::applyOverride(MpegInVideoStream& stream, char const* key, Any const& value) {
  std::string_view const wanted = key;
  AnyDict& info = stream.info();
  KyFrame* const frame = stream.frame.get();
  if (wanted == "FOURCC") {
    if (!KyUtil::exchengeableFOURCC(info["FOURCC"].asInt32(), value.asInt32())) {
      ky_dbg()->error("[mpegdec] FOURCC codes not compatble.");
      return kResultError;
    }
    info.set("FOURCC", value);
    if (frame) frame->changeFOURCC(static_cast<unsigned>(value.asInt32()));
  } else if (wanted == "frameAspect") {
    double const aspect = value.asDouble();
    double pixelAspect = info["height"].asDouble() * aspect / info["width"].asDouble();
    if (pixelAspect > 0.995 && pixelAspect < 1.005) pixelAspect = 1.0;
    info.set("pixelAspect", pixelAspect);
    info.set("frameAspect", aspect);
  } else if (wanted == "framerate") {
    double const seconds = info["frames"].asInt32() / value.asFramerate().rate();
    info.set("framerate", value);
    info.set("duration", seconds);
    info.set("vDuration", seconds);
    if (frame) frame->setFramerate(value.asFramerate());
  } else if (wanted == "colorimetry") {
    KyColourDesc const colour(value);
    info.set("colorimetry", colour.toAny());
    if (frame) frame->setYUVMatrix(colour.toYUVMatrix());
  } else if (wanted == "inColorRange") {
    info.set("inColorRange", value);
  } else {
    return _setErr(kResultError, "Unknown override parameter %s", key);
  }
  return 0;
}
