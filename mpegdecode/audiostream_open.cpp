// A decoder of its own for one audio stream.
#include <algorithm>
#include <iterator>
#include <string>

#include "host/codec.h"
#include "host/log.h"
#include "mpegdecode/audiorules.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"

namespace {

constexpr int kDecodeSamples = 4;
constexpr int kDecodePackets = 7;
constexpr int kDolbySampleFormat = 13;

bool canPassThrough(MpegInAudioStream const& stream) {
  return stream.isDolby() || stream.format == kAudioDts;
}

}  // namespace

int MpegInDec::openAudio(MpegInAudioStream& stream, MpegIn const& file) {
  if (!file.hasAudioDecoder && !canPassThrough(stream))
    return _setErr(kResultError, "Audio is not available. Decoder is missing.");
  MpegInPtr instance(guardedNew());
  if (!instance) return _setErr(kResultError, "Out of memory");
  instance->io = streamIo(file);

  MpegSettings& set = instance->set;
  set.searchMode = stream.index() != 0 || file.titleIsDvd ? params_.searchMode : 2;
  set.decodingMode = kDecodeSamples;
  instance->fileName = nullptr;
  selectAudioStream(set, file, stream.index());
  bool const withVideo = avSync_ && file.nVideo > 0;
  if (withVideo) ky_dbg()->info("[%s] Opening video in audio decoder instance to maintain AV Sync", name());
  set.decodeVideo[0] = set.decodeVideo[1] = withVideo;
  if (!withVideo) instance->video.fourcc = 0;
  if (stream.isDolby()) guardedGetInfo(instance.get(), params_.fileName);

  if (int const result = startAudio(stream, *instance)) return result;
  // A stream that passes through decodes no pictures.
  if (withVideo && !instance->smartRenderOnly) {
    setSmpMode(*instance, 0);
    setThreads(*instance, 1);
  }
  if (!instance->smartRenderOnly) {
    if (int const result = prepareDecoding(stream, *instance)) {
      mpegInClose(instance.get());
      return result;
    }
  }
  if (int const result = createPcm(stream, *instance)) return result;
  stream.decoder_.own(std::move(instance));
  stream.endOfStream_ = false;
  stream.store();
  if (stream.isDolby() && !stream.decoder()->smartRenderOnly && dolbyTrackerWanted()) {
    stream.tracker = std::make_unique<DolbyMetadataTracker>((stream.decoder()->audio.bits + 7) / 8);
    stream.tracker->remember(stream.info().descendant("codecParams", "dolbyMeta0", nullptr));
  }
  return 0;
}

bool MpegInDec::dolbyTrackerWanted() const {
  Any const wanted = getAttr("dolbyMetadataTracker");
  return !wanted.isInt32() || wanted.asInt32() != 0;
}

int MpegInDec::startAudio(MpegInAudioStream& stream, MpegIn& instance) {
  if (params_.forceAudioSmartRender && canPassThrough(stream)) return passThrough(stream, instance);
  if (guardedOpen(&instance, params_.fileName) == 0) {
    if (instance.audio.decoderReady) return 0;
    mpegInClose(&instance);
  }
  if (canPassThrough(stream)) return passThrough(stream, instance);
  return _setErr(kResultError, "Failed to decode audio stream #%d.", stream.index());
}

int MpegInDec::passThrough(MpegInAudioStream const& stream, MpegIn& instance) {
  MpegSettings& set = instance.set;
  std::fill(std::begin(set.decode), std::end(set.decode), 0);
  set.searchMode = 0;
  if (!params_.transcodeAudioOnly) set.decodingMode = kDecodePackets;
  set.decodeVideo[0] = set.decodeVideo[1] = 0;
  instance.smartRenderOnly = 1;
  if (guardedOpen(&instance, params_.fileName) == 0 && instance.audio.decoderReady == 1) {
    ky_dbg()->logs(kLogTrace, stream.isDolby() ? "Begin audio pass through without Dolby decoder."
                                               : "Begin audio pass through without DTS decoder.");
    return 0;
  }
  return stream.isDolby()
             ? _setErr(kResultError, "Failed to pass audio stream #%d through without Dolby decoder.",
                       stream.index())
             : _setErr(kResultError, "Failed to pass audio stream #%d through without DTS decoder.",
                       stream.index());
}

int MpegInDec::prepareDecoding(MpegInAudioStream& stream, MpegIn& instance) {
  if (instance.audio.mpegAudio != 0) stream.name_ = "MPEG";
  std::string const format = stream.name().asString();
  if (params_.preferredSampleFormat != 0) {
    if (setPreferredSampleFormat(format, instance, params_.preferredSampleFormat) != 0)
      ky_dbg()->log(kLogTrace, "[mpegdec] Failed to set preferred sample format");
  } else if (stream.isDolby()) {
    if (setPreferredSampleFormat(format, instance, kDolbySampleFormat) != 0)
      ky_dbg()->log(kLogTrace, "[mpegdec] Failed to set default sample format for Dolby");
  }
  if (guardedSeekSample(&instance, 0) != 0)
    return _setErr(kResultError, "Failed to decode audio stream %d - mpeginSeekSample64 failed",
                   stream.index());
  if (stream.isDolby() && checkDolbyCodingMode(instance) != 0)
    return setError(kResultError, "Failed to open audio stream #%d: unsupported Dolby stream",
                    stream.index());
  return 0;
}

// Buffers of one second.
int MpegInDec::createPcm(MpegInAudioStream& stream, MpegIn& instance) {
  MpegAudioInfo const& audio = instance.audio;
  auto pcm = std::make_unique<KyPcm>();
  if (pcm->init(audio.rate, audio.channels, bytesPerSample(audio.bits), audio.rate) != 0)
    return _setErr(kResultError, "Out of memory");
  stream.pcm = std::move(pcm);
  if (instance.smartRenderOnly || audio.bits != 32) return 0;
  auto scratch = std::make_unique<KyPcm>();
  if (scratch->init(audio.rate, audio.channels, static_cast<int>(sizeof(int32_t)), audio.rate) != 0)
    return _setErr(kResultError, "Out of memory");
  stream.scratch = std::move(scratch);
  return 0;
}
