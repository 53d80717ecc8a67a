#include <charconv>
#include <memory>
#include <string>
#include <string_view>

#include "mpegdecode/mpegdecwrapper.h"
#include "mpegdecode/mpegindec.h"

namespace {

constexpr std::string_view kAudioPrefix = "audio";

}  // namespace

int MpegDecWrapper::setParam(char const* key, Any const& value) {
  if (std::string_view(key) == "joinMonoStreams") {
    joinMonoStreams_ = static_cast<bool>(value);
    return 0;
  }
  return forwarded([&] { return inner_->setParam(key, value); });
}

int MpegDecWrapper::getParam(char const* key, Any& value) const {
  std::string_view const name = key;
  if (name == "store") {
    storeParams(value);
    return 0;
  }
  if (name == "joinMonoStreams") {
    value = Any(joinMonoStreams_);
    return 0;
  }
  if (!joining()) return innerParam(key, value);
  if (name == "tsStructure") {
    // That of the file lists streams which the host does not see.
    value.invalidate();
    return 0;
  }
  if (name == "channelName") {
    value = joinedChannelName(value.asInt32());
    return 0;
  }
  return name.starts_with(kAudioPrefix) ? audioParam(key, value) : innerParam(key, value);
}

int MpegDecWrapper::innerParam(char const* key, Any& value) const {
  return forwarded([&] { return inner_->getParam(key, value); });
}

void MpegDecWrapper::storeParams(Any& value) const {
  AnyDict stored("name", Any(name()));
  for (char const* key : {"removeIMXTopBlanking", "estimateMemory", "smpMode", "numThreads"}) {
    Any setting;
    inner_->getParam(key, setting);
    stored.set(key, setting);
  }
  stored.set("joinMonoStreams", static_cast<int>(joinMonoStreams_));
  value = stored;
}

Any MpegDecWrapper::joinedChannelName(int channel) const {
  switch (joinedInfo.get("channels").asInt32()) {
    case 1:
      return "mono";
    case 2:
      return channel == 0 ? "left" : "right";
    default: {
      Any name;
      name.sprintf("channel %d", channel);
      return name;
    }
  }
}

// "audio<number>" gives the description of an audio stream, "audio<number>/<key>" one of its parameters; the
// numbers are outward ones. Text without a number names no stream.
int MpegDecWrapper::audioParam(char const* key, Any& value) const {
  std::string_view const text = std::string_view(key).substr(kAudioPrefix.size());
  int number = -1;  // stays where there is none, or one that an int does not hold
  char const* const end = std::from_chars(text.data(), std::to_address(text.end()), number).ptr;
  if (text.find('/') != std::string_view::npos) {
    // A key ends the text, so it is terminated.
    char const* const parameter = *end == '/' ? end + 1 : "";
    return getStreamParam(kKindAudio, number, parameter, value);
  }
  value = AnyDict();
  return streamInfo(kKindAudio, number, static_cast<AnyDict&>(value));
}

int MpegDecWrapper::getStreamParam(int kind, int index, char const* key, Any& value) const {
  if (!joining()) return inner_->getStreamParam(kind, index, key, value);
  if (kind == kKindAudio && validateAudioStream(index) != 0) return errorCode();
  if (!isJoined(kind, index)) return inner_->getStreamParam(kind, innerIndex(kind, index), key, value);
  value = joinedInfo.get(key);
  return 0;
}

int MpegDecWrapper::streamInfo(int kind, int index, AnyDict& info) const {
  if (!joining()) return inner_->streamInfo(kind, index, info);
  if (kind == kKindAudio && validateAudioStream(index) != 0) return errorCode();
  if (!isJoined(kind, index)) return inner_->streamInfo(kind, innerIndex(kind, index), info);
  info = joinedInfo;
  return 0;
}

int MpegDecWrapper::setStreamParam(int kind, int index, char const* key, Any const& value) {
  // What holds for one of several joined streams cannot be set, and the others keep what they have.
  if (joining() && kind == kKindAudio) return 0;
  return forwarded([&] { return inner_->setStreamParam(kind, index, key, value); });
}

AnyVector MpegDecWrapper::overrideKeys(int kind) const { return inner_->overrideKeys(kind); }

int MpegDecWrapper::setOverride(int kind, int index, char const* key, Any const& value) {
  return forwarded([&] { return inner_->setOverride(kind, index, key, value); });
}

Any const& MpegDecWrapper::override(int kind, int index, char const* key) const {
  return inner_->override(kind, index, key);
}

AnyVector MpegDecWrapper::overrides(int kind) const { return inner_->overrides(kind); }
