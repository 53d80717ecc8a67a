#include <cmath>
#include <limits>

#include "host/codec.h"

namespace {

// Number of the picture or sample that a time falls into. A thousandth of one is granted, since times that
// went through another scale are rounded.
int64_t unitAt(MediaTime const& time, double rate) {
  long double const position = static_cast<long double>(time.units()) * static_cast<long double>(rate) /
                               static_cast<long double>(time.scale());
  long double const number = std::floor(position + 0.001L);
  if (number >= 0x1p63L) return std::numeric_limits<int64_t>::max();
  if (number <= -0x1p63L) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(number);
}

}  // namespace

KyDecodePipe::KyDecodePipe(KyModule const* module) : KyCodec(module) {}
KyDecodePipe::~KyDecodePipe() = default;

int KyDecodePipe::countStreams(int) const { return 0; }

int KyDecodePipe::elementaryStream(int, int, KyElementaryStream*) const {
  return setError(kResultError, "Elementary streams are not supported");
}

int KyDecodePipe::getStreamParam(int, int, char const* key, Any& value) const {
  value.invalidate();
  return _raiseInvalidParam(key);
}

int KyDecodePipe::streamInfo(int, int, AnyDict& info) const {
  info.clear();
  return setError(kResultInvalidStream, "Invalid stream number");
}

int KyDecodePipe::setStreamParam(int, int, char const* key, Any const&) { return _raiseInvalidParam(key); }

int KyDecodePipe::seekToSample(int64_t, int) {
  return setError(kResultInvalidStream, "Invalid stream number");
}

int KyDecodePipe::seekToFrame(int64_t, int) {
  return setError(kResultInvalidStream, "Invalid stream number");
}

int KyDecodePipe::readFrame(int) { return setError(kResultInvalidStream, "Invalid stream number"); }

int KyDecodePipe::readSamples(int, int) { return setError(kResultInvalidStream, "Invalid stream number"); }

int KyDecodePipe::frameCount(int) const { return -1; }

int64_t KyDecodePipe::sampleCount(int) const { return -1; }

int KyDecodePipe::readCcData(int, int, AnyDict& out) {
  out.clear();
  return setError(kResultInvalidStream, "Invalid stream number");
}

int KyDecodePipe::seek(MediaTime const& time, int kind, int index) {
  if (kind != kKindVideo && kind != kKindAudio) {
    return setError(kResultInvalidStream, "Cannot seek a stream of kind %d", kind);
  }
  AnyDict info;
  if (int const result = streamInfo(kind, index, info); result != 0) return result;
  double const rate = kind == kKindVideo ? info["framerate"].asDouble() : info["samplerate"].asDouble();
  if (!(rate > 0.0) || !std::isfinite(rate)) {
    return setError(kResultInvalidStream, "Cannot seek %s stream %d, its rate is unknown",
                    kind == kKindVideo ? "video" : "audio", index);
  }
  int64_t const unit = unitAt(time, rate);
  return kind == kKindVideo ? seekToFrame(unit, index) : seekToSample(unit, index);
}

int KyDecodePipe::seekAll(MediaTime const& time) {
  int first = 0;
  for (int const kind : {kKindVideo, kKindAudio}) {
    int const count = countStreams(kind);
    for (int i = 0; i < count; ++i) {
      if (!isSelected(kind, i)) continue;
      int const result = seek(time, kind, i);
      if (first == 0) first = result;
    }
  }
  return first;
}

MediaTime KyDecodePipe::duration(int kind, int index) const {
  AnyDict info;
  return streamInfo(kind, index, info) == 0 ? MediaTime(info["duration"].asDouble()) : MediaTime();
}

KyFrame* KyDecodePipe::videoFrame(int) { return nullptr; }

KyPcm* KyDecodePipe::audioPcm(int) { return nullptr; }

int KyDecodePipe::selectStream(int, int) { return setError(kResultInvalidStream, "Invalid stream number"); }

int KyDecodePipe::deselectStream(int, int) { return setError(kResultInvalidStream, "Invalid stream number"); }

int KyDecodePipe::selected(AnyDict& out) const {
  auto const indices = [this](int kind) {
    AnyVector selectedStreams;
    for (int i = 0, count = countStreams(kind); i < count; ++i) {
      if (isSelected(kind, i)) selectedStreams.append(i);
    }
    return selectedStreams;
  };
  out.set("video", indices(kKindVideo));
  out.set("audio", indices(kKindAudio));
  return 0;
}

bool KyDecodePipe::isSelected(int, int) const { return false; }

AnyVector KyDecodePipe::overrideKeys(int) const { return {}; }

int KyDecodePipe::setOverride(int kind, int index, char const* key, Any const& value) {
  auto const place = std::make_tuple(kind, index, std::string(key ? key : ""));
  if (value.valid()) {
    overrides_[place] = Any(value);
  } else {
    overrides_.erase(place);
  }
  return 0;
}

Any const& KyDecodePipe::override(int kind, int index, char const* key) const {
  auto const found = overrides_.find(std::make_tuple(kind, index, std::string(key ? key : "")));
  return found == overrides_.end() ? AnyVector::null().at(0) : found->second;
}

AnyVector KyDecodePipe::overrides(int kind) const {
  AnyVector all;
  for (auto const& [place, value] : overrides_) {
    auto const& [ofKind, index, key] = place;
    if (ofKind == kind) all.append(AnyDict("index", index, "key", key, "value", value));
  }
  return all;
}

int KyDecodePipe::encodedFrameSize(int) { return setError(kResultError, "Encoded frames are not supported"); }

int KyDecodePipe::readEncodedFrame(int, unsigned char*) {
  return setError(kResultError, "Encoded frames are not supported");
}

int KyDecodePipe::setUserDataEnabled(int, int, int) {
  return setError(kResultError, "User data is not supported");
}

int KyDecodePipe::readUserData(int, int) const {
  return setError(kResultError, "User data is not supported");
}

KyStreamTimestamps* KyDecodePipe::frameTimestamps(int) { return nullptr; }
