// Settings of a decode pipe: what the host sets before opening, kept as it was given.
#pragma once

#include <cstdint>
#include <optional>

#include "host/any.h"

class KyCodec;

struct MpegInParameters {
  // Those of a pipe that was just initialised: the defaults, and what the attributes of its module say.
  static MpegInParameters of(KyCodec const& pipe);

  // The result of setting `key`; nothing for a key that is no setting. A change takes effect at the next
  // opening.
  std::optional<int> set(char const* key, Any const& value);
  // False for a key that is no setting.
  bool get(char const* key, Any& value) const;

  Any fileName;
  uint32_t fourcc = 0;
  int32_t fastAccess = 1;
  bool removeImxTopBlanking = false;
  int32_t searchLimit = 0;
  int32_t searchMode = 8;
  uint8_t probableError = 0;
  int32_t disableCc = 0;
  int32_t smpMode = -1;
  int32_t numThreads = -1;
  int32_t transcodeAudioOnly = 0;
  int32_t forceAudioSmartRender = 0;
  uint8_t forceFramerate = 0;
  uint8_t ignoreUnknownStreams = 0;
  int32_t preferredSampleFormat = 0;
  int32_t preferredVideoBitDepth = 0;
  bool useExternalIo = false;
  void* appData = nullptr;
  bool estimateMemory = false;
  int32_t avDelayCorrection = 1;
  int64_t fileSize = 0;

 private:
  void setFourcc(Any const& value);
  void setForOpening(AnyDict const& values);
  int setForDecoder(Any const& value);
};
