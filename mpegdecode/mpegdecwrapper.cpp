#include "mpegdecode/mpegdecwrapper.h"

#include <algorithm>

#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/mpegindec.h"

MpegDecWrapper::MpegDecWrapper(KyModule const* module)
    : KyDecodePipe(module), inner_(std::make_unique<MpegInDec>(module)) {}

MpegDecWrapper::~MpegDecWrapper() {
  if (state_ == kStateOpened) MpegDecWrapper::close();
}

int MpegDecWrapper::init() {
  joinMonoStreams_ = getAttr("joinMonoStreams").asInt32() != 0;
  streamMap.clear();
  joinedInfo.clear();
  state_ = kStateInitialised;
  if (int const result = forwarded([&] { return inner_->init(); })) return result;
  for (char const* key : {"removeIMXTopBlanking", "estimateMemory", "smpMode", "numThreads"})
    inner_->setParam(key, getAttr(key));
  return 0;
}

int MpegDecWrapper::open() {
  if (state_ == kStateOpened) close();
  if (state_ != kStateInitialised) return setError(kResultNotOpened, "Codec not initialized");
  forgetInnerError();
  if (int const result = inner_->open(); result != 0) return setError(result, "%s", inner_->errorDesc());
  state_ = kStateOpened;
  if (shouldJoinMonoStreams()) joinMonoStreams();
  return KyDecodePipe::open();
}

int MpegDecWrapper::close() {
  if (state_ != kStateOpened) return 0;
  joinedPcm.destroy();
  silencePcm.destroy();
  streamMap.clear();
  joinedInfo.clear();
  inner_->close();
  state_ = kStateInitialised;
  return KyDecodePipe::close();
}

bool MpegDecWrapper::shouldJoinMonoStreams() const {
  int const count = inner_->countStreams(kKindAudio);
  if (!joinMonoStreams_ || count < 2) return false;
  int mono = 0;
  for (int i = 0; i < count; ++i) {
    AnyDict info;
    inner_->streamInfo(kKindAudio, i, info);
    if (info.get("codec") == Any("Dolby")) return false;
    if (info.get("channels").asInt32() == 1) ++mono;
  }
  return mono > 1;
}

void MpegDecWrapper::joinMonoStreams() {
  int const count = inner_->countStreams(kKindAudio);
  // Parameters of audio streams can be read of selected ones.
  for (int i = 0; i < count; ++i) inner_->selectStream(kKindAudio, i);

  AnyDict description;
  AnyVector map;
  AnyVector joined;
  int64_t longest = 0;
  for (int i = 0; i < count; ++i) {
    Any channels;
    inner_->getStreamParam(kKindAudio, i, "channels", channels);
    if (channels.asInt32() != 1) {
      map.append(i);
      continue;
    }
    if (description.empty()) {
      inner_->streamInfo(kKindAudio, i, description);
      map.append(kJoinedStream);
    }
    joined.append(i);
    Any samples;
    inner_->getStreamParam(kKindAudio, i, "samples", samples);
    longest = std::max(longest, samples.asInt64());
  }
  for (int i = 0; i < count; ++i) inner_->deselectStream(kKindAudio, i);

  if (joined.empty()) kyExceptionFail("./mpegdecode/mpegdecwrapper(193)", nullptr);
  if (map.size() + joined.size() - 1 != count) kyExceptionFail("./mpegdecode/mpegdecwrapper(194)", nullptr);

  description.set("_joined", joined);
  description.set("channels", joined.size());
  description.set("samples", longest);

  int const rate = description.get("samplerate").asInt32();
  int const bytes = description.get("bytesPerSample").asInt32();
  for (Any const& stream : joined) {
    Any value;
    inner_->getStreamParam(kKindAudio, stream.asInt32(), "bytesPerSample", value);
    if (value.asInt32() == bytes) continue;
    ky_log()->warning(
        "Audio stream %d has %d bytes per sample, not %d as the stream it is joined to: it is silent",
        stream.asInt32(), value.asInt32(), bytes);
  }
  joinedPcm.init(rate, joined.size(), bytes, rate);
  silencePcm.init(rate, 1, bytes, rate);
  joinedInfo = std::move(description);
  streamMap = std::move(map);
}

int MpegDecWrapper::validateAudioStream(int index) const {
  if (index >= 0 && index < countStreams(kKindAudio)) return 0;
  kyAssertFail("./mpegdecode/mpegdecwrapper(571)", "Invalid stream number");
  return setError(kResultInvalidStream, "Invalid stream number");
}

void MpegDecWrapper::forgetInnerError() const { inner_->setError(0, "%s", ""); }

// Texts hold file names and keys, and those may hold percent signs: each is an argument, not a format.
void MpegDecWrapper::takeInnerError() const { setError(inner_->errorCode(), "%s", inner_->errorDesc()); }

int MpegDecWrapper::countStreams(int kindMask) const {
  if (!joining()) return inner_->countStreams(kindMask);
  int const joined = (kindMask & kKindAudio) ? streamMap.size() : 0;
  return inner_->countStreams(kindMask & ~kKindAudio) + joined;
}

int MpegDecWrapper::selectStream(int kind, int index) {
  if (joining() && kind == kKindAudio && validateAudioStream(index) != 0) return errorCode();
  return forwarded([&] {
    if (!joining()) return inner_->selectStream(kind, index);
    if (!isJoined(kind, index)) return inner_->selectStream(kind, innerIndex(kind, index));
    int result = 0;
    for (Any const& stream : joinedStreams()) result |= inner_->selectStream(kKindAudio, stream.asInt32());
    if (result != 0) result |= deselectJoined();
    return result;
  });
}

int MpegDecWrapper::deselectStream(int kind, int index) {
  if (!joining()) return inner_->deselectStream(kind, index);
  if (kind == kKindAudio && validateAudioStream(index) != 0) return errorCode();
  return isJoined(kind, index) ? deselectJoined() : inner_->deselectStream(kind, innerIndex(kind, index));
}

int MpegDecWrapper::deselectJoined() {
  int result = 0;
  for (Any const& stream : joinedStreams()) result |= inner_->deselectStream(kKindAudio, stream.asInt32());
  return result;
}

bool MpegDecWrapper::isSelected(int kind, int index) const {
  if (!joining()) return inner_->isSelected(kind, index);
  if (kind == kKindAudio && validateAudioStream(index) != 0) return errorCode() != 0;
  int const stream = isJoined(kind, index) ? joinedStreams().at(0).asInt32() : innerIndex(kind, index);
  return inner_->isSelected(kind, stream);
}

int MpegDecWrapper::seekToSample(int64_t sample, int audioIndex) {
  if (state_ != kStateOpened) {
    kyAssertFail("./mpegdecode/mpegdecwrapper(254)", "readSamples: Stream not opened");
    return setError(kResultNotOpened, "Stream not opened");
  }
  if (joining() && validateAudioStream(audioIndex) != 0) return errorCode();
  int const stream = joining() ? mapped(audioIndex) : audioIndex;
  if (!joining() || stream != kJoinedStream)
    return forwarded([&] { return inner_->seekToSample(sample, stream); });
  int const result = forwarded([&] {
    int all = 0;
    for (Any const& one : joinedStreams()) all |= inner_->seekToSample(sample, one.asInt32());
    return all;
  });
  joinedPcm.nSamples = 0;
  joinedPcm.position = 0;
  return result;
}

int MpegDecWrapper::readSamples(int count, int audioIndex) {
  if (state_ != kStateOpened) {
    kyAssertFail("./mpegdecode/mpegdecwrapper(308)", "readSamples: Stream not opened");
    return setError(kResultNotOpened, "Stream not opened");
  }
  if (joining() && validateAudioStream(audioIndex) != 0) return errorCode();
  if (joining() && count == 0) return 0;
  int const stream = joining() ? mapped(audioIndex) : audioIndex;
  if (joining() && stream == kJoinedStream) return readJoined(count);
  return forwardedCount([&] { return inner_->readSamples(count, stream); });
}

int MpegDecWrapper::readJoined(int count) {
  deliveries_.clear();
  int result = 0;
  int64_t position = 0;
  bool anyRead = false;
  for (Any const& number : joinedStreams()) {
    int const stream = number.asInt32();
    int const read = inner_->readSamples(count, stream);
    deliveries_.push_back({stream, read});
    if (read < 0 && read != kResultEndOfStream) continue;
    anyRead = true;
    if (KyPcm const* const pcm = inner_->audioPcm(stream)) position = pcm->position;
    result = std::max(result, read);
  }

  joinedPcm.nSamples = 0;
  joinedPcm.position = 0;
  // Failures of single streams are none of the joined one.
  if (result == 0) setError(0, "%s", "");
  if (!anyRead) return kResultError;
  if (result == 0) return kResultEndOfStream;

  // By what was delivered, not by what was asked for: a request may be far larger than any block.
  void const* const silence = silencePcm.grow(result) == 0 ? silencePcm.ptr() : nullptr;
  channelBuffers_.clear();
  for (auto const& [stream, read] : deliveries_) {
    void const* samples = silence;
    if (read == result) {
      KyPcm const* const pcm = inner_->audioPcm(stream);
      // A stream of another sample size cannot be interleaved as it is.
      if (pcm && pcm->samples2bytes(1) == silencePcm.samples2bytes(1)) samples = pcm->ptr();
    }
    channelBuffers_.append(Any(samples, 0));
  }
  joinedPcm.position = position;
  joinedPcm.combineWrite(result, channelBuffers_);
  return result;
}

int64_t MpegDecWrapper::sampleCount(int audioIndex) const {
  if (validateAudioStream(audioIndex) != 0) return errorCode();
  int const stream = joining() ? mapped(audioIndex) : audioIndex;
  if (joining() && stream == kJoinedStream) return joinedInfo.get("samples").asInt64();
  return forwardedCount([&] { return inner_->sampleCount(stream); });
}

KyPcm* MpegDecWrapper::audioPcm(int audioIndex) {
  if (state_ != kStateOpened) {
    setError(kResultNotOpened, "Stream not opened");
    kyAssertFail("./mpegdecode/mpegdecwrapper(379)", nullptr);
    return nullptr;
  }
  if (!joining()) return inner_->audioPcm(audioIndex);
  if (validateAudioStream(audioIndex) != 0) return nullptr;
  int const stream = mapped(audioIndex);
  return stream == kJoinedStream ? &joinedPcm : inner_->audioPcm(stream);
}

int MpegDecWrapper::seekToFrame(int64_t frame, int videoIndex) {
  return forwarded([&] { return inner_->seekToFrame(frame, videoIndex); });
}

int MpegDecWrapper::readFrame(int videoIndex) {
  return forwarded([&] { return inner_->readFrame(videoIndex); });
}

int MpegDecWrapper::frameCount(int videoIndex) const {
  return forwardedCount([&] { return inner_->frameCount(videoIndex); });
}

int MpegDecWrapper::readCcData(int subpicIndex, int reserved, AnyDict& out) {
  return forwarded([&] { return inner_->readCcData(subpicIndex, reserved, out); });
}

KyFrame* MpegDecWrapper::videoFrame(int videoIndex) { return inner_->videoFrame(videoIndex); }

int MpegDecWrapper::setUserDataEnabled(int kind, int index, int on) {
  return forwarded([&] { return inner_->setUserDataEnabled(kind, index, on); });
}

KyStreamTimestamps* MpegDecWrapper::frameTimestamps(int videoIndex) {
  return forwarded([&] { return inner_->frameTimestamps(videoIndex); },
                   [](KyStreamTimestamps const* table) { return !table; });
}
