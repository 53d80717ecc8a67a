// Parameters of single streams, and values of their descriptions that the host replaces.
#include <string_view>

#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/mpegindec.h"

int MpegInDec::getStreamParam(int kind, int index, char const* key, Any& value) const {
  if (index < 0 || index >= countStreams(kind)) {
    value.invalidate();
    return 0;
  }
  switch (kind) {
    case kKindVideo: {
      MpegInVideoStream const& stream = *file_.video.at(index);
      value = std::string_view(key) == "subpicOverlay" ? Any(stream.overlay()) : stream.info()[key];
      return 0;
    }
    case kKindAudio: {
      MpegInAudioStream const& stream = *file_.audio.at(index);
      if (stream.getDolbyRecord(key, value)) return 0;
      value = stream.info()[key];
      if (!value.valid()) ky_dbg()->warning("[%s] Failed to get %s for stream #%d", name(), key, index);
      return 0;
    }
    case kKindSubpic:
      value = file_.subpic.at(index)->info()[key];
      return 0;
    default:
      value.invalidate();
      kyExceptionFail("./mpegdecode/mpegindec(2611)", nullptr);
      return 0;
  }
}

int MpegInDec::setStreamParam(int kind, int index, char const* key, Any const& value) {
  std::string_view const wanted = key;
  switch (kind) {
    case kKindAudio:
      if (!file_.audio.at(index)) return kResultError;
      if (file_.audio.at(index)->setParam(key, value)) return 0;
      break;
    case kKindVideo:
      if (!file_.video.at(index)) {
        kyExceptionFail("./mpegdecode/mpegindec(2662)", nullptr);
        return kResultError;
      }
      if (wanted == "subpicOverlay") return setOverlay(index, value.isInt32() ? value.asInt32() : -1);
      break;
    case kKindSubpic:
      if (!file_.subpic.at(index)) {
        kyExceptionFail("./mpegdecode/mpegindec(2705)", nullptr);
        return kResultError;
      }
      if (wanted == "palette") return 0;
      break;
    default:
      break;
  }
  return _raiseInvalidParam(key);
}

int MpegInDec::setOverlay(int videoIndex, int overlay) {
  if (overlay < -1 || overlay >= file_.subpic.size()) {
    setError(kResultInvalidOverlay, "Invalid value for %d 'subpicOverlay'", overlay);
    kyExceptionFail("./mpegdecode/mpegindec(2673)", nullptr);
    return kResultInvalidOverlay;
  }
  file_.video.at(videoIndex)->setOverlay(overlay, videoIndex, view_);
  return 0;
}

AnyVector MpegInDec::overrideKeys(int kind) const {
  if (kind != kKindVideo) return {};
  return {"frameAspect", "framerate", "colorimetry", "inColorRange"};
}

int MpegInDec::setOverride(int kind, int index, char const* key, Any const& value) {
  if (int const result = KyDecodePipe::setOverride(kind, index, key, value)) return result;
  Any const stored = override(kind, index, key);
  if (!stored.valid()) return kResultError;
  if (kind != kKindVideo) return _setErr(kResultError, "Can not set override for non video streams");
  if (MpegInVideoStream* const stream = file_.video.at(index))
    return stream->applyOverride(key, stored, *this);
  kyAssertFail("./mpegdecode/mpegindec(2940)", nullptr);
  return kResultError;
}
