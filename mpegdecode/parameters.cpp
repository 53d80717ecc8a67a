#include "mpegdecode/parameters.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "host/codec.h"
#include "host/log.h"
#include "mpegdecode/callbacks.h"

namespace {

int integerOr(Any const& value, int otherwise) { return value.isInt32() ? value.asInt32() : otherwise; }

}  // namespace

MpegInParameters MpegInParameters::of(KyCodec const& pipe) {
  MpegInParameters params;
  if (Any const rate = pipe.getAttr("forceFramerate"); rate.isInt32()) {
    params.forceFramerate = static_cast<uint8_t>(rate.asInt32());
    ky_dbg()->info("[%s] Force framerate set to %d", pipe.name(), rate.asInt32());
  }
  auto const take = [&pipe](char const* key, int32_t& field) {
    if (Any const value = pipe.getAttr(key); value.isInt32()) field = value.asInt32();
  };
  take("preferredSampleFormat", params.preferredSampleFormat);
  take("preferredVideoBitDepth", params.preferredVideoBitDepth);
  take("avDelayCorrection", params.avDelayCorrection);
  return params;
}

std::optional<int> MpegInParameters::set(char const* key, Any const& value) {
  std::string_view const wanted = key;
  if (wanted == "FOURCC") {
    setFourcc(value);
  } else if (wanted == "openParameters") {
    if (value.kind() == Any::kDict) setForOpening(value.asDict());
  } else if (wanted == "fastAccess") {
    fastAccess = integerOr(value, fastAccess);
  } else if (wanted == "removeIMXTopBlanking") {
    removeImxTopBlanking = static_cast<bool>(value);
  } else if (wanted == "searchLimit") {
    searchLimit = integerOr(value, 0);
  } else if (wanted == "searchMode") {
    searchMode = integerOr(value, searchMode);
  } else if (wanted == "decoderParameters") {
    return setForDecoder(value);
  } else if (wanted == "estimateMemory") {
    estimateMemory = static_cast<bool>(value);
  } else if (wanted == "smpMode") {
    smpMode = integerOr(value, -1);
  } else if (wanted == "numThreads") {
    numThreads = integerOr(value, -1);
  } else if (wanted == "avDelayCorrection") {
    avDelayCorrection = integerOr(value, 0);
  } else {
    return std::nullopt;
  }
  return 0;
}

void MpegInParameters::setFourcc(Any const& value) {
  if (value.isInt32()) fourcc = static_cast<uint32_t>(value.asInt32());
  if (value.kind() != Any::kString) return;
  std::string const text = value.asString();
  fourcc = 0;
  std::memcpy(&fourcc, text.data(), std::min(text.size(), sizeof fourcc));
}

void MpegInParameters::setForOpening(AnyDict const& values) {
  if (Any const& value = values["disableCC"]; value.isInt32()) {
    disableCc = value.asInt32();
    ky_dbg()->info("[mpegindec]Disable CC parse set to %d", disableCc);
  }
  if (Any const& value = values["transcodeAudioOnly"]; value.isInt32()) transcodeAudioOnly = value.asInt32();
  if (Any const& value = values["forceAudioSmartRender"]; value.isInt32()) {
    forceAudioSmartRender = value.asInt32();
    ky_dbg()->info("[mpegindec]Force audio smart render set to %d", forceAudioSmartRender);
  }
  if (Any const& value = values["forceFramerate"]; value.isInt32()) {
    forceFramerate = static_cast<uint8_t>(value.asInt32());
    ky_dbg()->info("[mpegindec]Force video frame rate set to %d", forceFramerate);
  }
  if (Any const& value = values["ignoreUnknownStreams"]; value.isInt32()) {
    ignoreUnknownStreams = static_cast<uint8_t>(value.asInt32());
    ky_dbg()->info("[mpegindec]Ignore unknown streams set to %d", ignoreUnknownStreams);
  }
}

int MpegInParameters::setForDecoder(Any const& value) {
  if (value.kind() != Any::kDict) return kResultError;
  AnyDict const& values = value.asDict();
  if (Any const& use = values["useExternalIO"]; use.isInt32()) useExternalIo = use.asInt32() != 0;
  Any const& data = values["appData"];
  // Bytes are the value's own and go with it.
  bool const isPointer = data.kind() == Any::kGeneric && data.genericSize() == 0;
  appData = isPointer ? const_cast<void*>(data.asGeneric()) : nullptr;
  return 0;
}

bool MpegInParameters::get(char const* key, Any& value) const {
  std::string_view const wanted = key;
  if (wanted == "filename") {
    value = fileName;
  } else if (wanted == "removeIMXTopBlanking") {
    value = static_cast<int>(removeImxTopBlanking);
  } else if (wanted == "filesize") {
    value.set(static_cast<long>(fileSize));
  } else if (wanted == "instantSeek") {
    value = 0;
  } else if (wanted == "fastAccess") {
    value = fastAccess;
  } else if (wanted == "probableError") {
    value = static_cast<int>(probableError);
  } else if (wanted == "displayName") {
    value = "MPEG decoder";
  } else if (wanted == "searchLimit") {
    value = searchLimit;
  } else if (wanted == "searchMode") {
    value = searchMode;
  } else if (wanted == "estimateMemory") {
    value = static_cast<int>(estimateMemory);
  } else if (wanted == "memoryEstimateKB") {
    value = MemoryRegistry::instance().estimateKB();
  } else if (wanted == "smpMode") {
    value = smpMode;
  } else if (wanted == "numThreads") {
    value = numThreads;
  } else if (wanted == "avDelayCorrection") {
    value = avDelayCorrection;
  } else {
    return false;
  }
  return true;
}
