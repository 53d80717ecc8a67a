// Values of the description that the host replaces.
#include <string_view>

#include "host/codec.h"
#include "host/colour.h"
#include "host/log.h"
#include "host/util.h"
#include "mpegdecode/videostream.h"

int MpegInVideoStream::applyOverride(char const* key, Any const& value, KyCodec const& pipe) {
  std::string_view const wanted = key;
  if (wanted == "FOURCC") {
    if (!KyUtil::exchengeableFOURCC(info_["FOURCC"].asInt32(), value.asInt32())) {
      ky_dbg()->error("[mpegdec] FOURCC codes not compatble.");
      return kResultError;
    }
    info_.set("FOURCC", value);
    if (frame_) frame_->changeFOURCC(static_cast<unsigned>(value.asInt32()));
  } else if (wanted == "frameAspect") {
    double const aspect = value.asDouble();
    double pixelAspect = info_["height"].asDouble() * aspect / info_["width"].asDouble();
    if (pixelAspect > 0.995 && pixelAspect < 1.005) pixelAspect = 1.0;
    info_.set("pixelAspect", pixelAspect);
    info_.set("frameAspect", aspect);
  } else if (wanted == "framerate") {
    double const seconds = info_["frames"].asInt32() / value.asFramerate().rate();
    info_.set("framerate", value);
    info_.set("duration", seconds);
    info_.set("vDuration", seconds);
    if (frame_) frame_->setFramerate(value.asFramerate());
  } else if (wanted == "colorimetry") {
    KyColourDesc const colour(value);
    info_.set("colorimetry", colour.toAny());
    if (frame_) frame_->setYUVMatrix(colour.toYUVMatrix());
  } else if (wanted == "inColorRange") {
    info_.set("inColorRange", value);
  } else {
    return pipe._setErr(kResultError, "Unknown override parameter %s", key);
  }
  return 0;
}
