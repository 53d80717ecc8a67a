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
  if (int const result = inner_->init(); result != 0) return result;
  for (char const* key : {"removeIMXTopBlanking", "estimateMemory", "smpMode", "numThreads"})
    inner_->setParam(key, getAttr(key));
  return 0;
}

int MpegDecWrapper::open() {
  if (state_ == kStateOpened) close();
  if (state_ != kStateInitialised) return setError(kResultNotOpened, "Codec not initialized");
  // File names in the inner text may hold percent signs: it is an argument, not a format.
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

int MpegDecWrapper::withInnerError(int result) {
  // The end of a stream is no error, but a seek that ends there has a text.
  bool const failed =
      result < 0 && (result != kResultEndOfStream || inner_->errorCode() == kResultEndOfStream);
  if (failed && inner_->errorCode() != 0) {
    setError(inner_->errorCode(), "%s", inner_->errorDesc());
    // The next failure may come without a text.
    inner_->setError(0, "%s", "");
  }
  return result;
}

int MpegDecWrapper::countStreams(int kindMask) const {
  if (!joining()) return inner_->countStreams(kindMask);
  int const joined = (kindMask & kKindAudio) ? streamMap.size() : 0;
  return inner_->countStreams(kindMask & ~kKindAudio) + joined;
}

int MpegDecWrapper::selectStream(int kind, int index) {
  if (!joining()) return withInnerError(inner_->selectStream(kind, index));
  if (kind == kKindAudio && validateAudioStream(index) != 0) return errorCode();
  if (!isJoined(kind, index)) return withInnerError(inner_->selectStream(kind, innerIndex(kind, index)));
  int result = 0;
  for (Any const& stream : joinedStreams()) result |= inner_->selectStream(kKindAudio, stream.asInt32());
  if (result != 0) result |= deselectJoined();
  return withInnerError(result);
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
  if (!joining()) return withInnerError(inner_->seekToSample(sample, audioIndex));
  if (validateAudioStream(audioIndex) != 0) return errorCode();
  if (mapped(audioIndex) != kJoinedStream)
    return withInnerError(inner_->seekToSample(sample, mapped(audioIndex)));
  int result = 0;
  for (Any const& stream : joinedStreams()) result |= inner_->seekToSample(sample, stream.asInt32());
  joinedPcm.nSamples = 0;
  joinedPcm.position = 0;
  return result;
}

int MpegDecWrapper::readSamples(int count, int audioIndex) {
  if (state_ != kStateOpened) {
    kyAssertFail("./mpegdecode/mpegdecwrapper(308)", "readSamples: Stream not opened");
    return setError(kResultNotOpened, "Stream not opened");
  }
  if (!joining()) return withInnerError(inner_->readSamples(count, audioIndex));
  if (validateAudioStream(audioIndex) != 0) return errorCode();
  if (count == 0) return 0;
  int const stream = mapped(audioIndex);
  return stream == kJoinedStream ? readJoined(count) : withInnerError(inner_->readSamples(count, stream));
}

int MpegDecWrapper::readJoined(int count) {
  AnyVector const& streams = joinedStreams();
  results_.assign(static_cast<size_t>(streams.size()), 0);
  int result = 0;
  int64_t position = 0;
  bool anyRead = false;
  for (int i = 0; i < streams.size(); ++i) {
    int const stream = streams.at(i).asInt32();
    int const read = inner_->readSamples(count, stream);
    results_[static_cast<size_t>(i)] = read;
    if (read < 0 && read != kResultEndOfStream) continue;
    anyRead = true;
    if (KyPcm const* const pcm = inner_->audioPcm(stream)) position = pcm->position;
    result = std::max(result, read);
  }

  joinedPcm.nSamples = 0;
  joinedPcm.position = 0;
  if (!anyRead) return kResultError;
  if (result == 0) return kResultEndOfStream;

  // By what was delivered, not by what was asked for: a request may be far larger than any block.
  if (silencePcm.capacity - silencePcm.nSamples < result) silencePcm.grow(result);
  void const* const silence = silencePcm.capacity >= result ? silencePcm.ptr() : nullptr;
  channelBuffers_.clear();
  for (int i = 0; i < streams.size(); ++i) {
    void const* samples = silence;
    if (results_[static_cast<size_t>(i)] == result) {
      KyPcm const* const pcm = inner_->audioPcm(streams.at(i).asInt32());
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
  if (!joining()) return inner_->sampleCount(audioIndex);
  int const stream = mapped(audioIndex);
  return stream == kJoinedStream ? joinedInfo.get("samples").asInt64() : inner_->sampleCount(stream);
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
  return withInnerError(inner_->seekToFrame(frame, videoIndex));
}

int MpegDecWrapper::readFrame(int videoIndex) { return withInnerError(inner_->readFrame(videoIndex)); }

int MpegDecWrapper::frameCount(int videoIndex) const { return inner_->frameCount(videoIndex); }

int MpegDecWrapper::readCcData(int subpicIndex, int reserved, AnyDict& out) {
  return inner_->readCcData(subpicIndex, reserved, out);
}

KyFrame* MpegDecWrapper::videoFrame(int videoIndex) { return inner_->videoFrame(videoIndex); }

int MpegDecWrapper::setUserDataEnabled(int kind, int index, int on) {
  return inner_->setUserDataEnabled(kind, index, on);
}

KyStreamTimestamps* MpegDecWrapper::frameTimestamps(int videoIndex) {
  return inner_->frameTimestamps(videoIndex);
}
