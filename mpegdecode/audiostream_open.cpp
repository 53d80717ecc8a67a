// A decoder of its own for one audio stream.
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "host/codec.h"
#include "host/log.h"
#include "mpegdecode/audiorules.h"
#include "mpegdecode/audiostream.h"
#include "mpegdecode/decoderthreads.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/externalio.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/parameters.h"

namespace {

constexpr int kDecodeSamples = 4;
constexpr int kDecodePackets = 7;
constexpr int kDolbySampleFormat = 13;

}  // namespace

bool MpegInAudioStream::canPassThrough() const { return isDolby() || format_ == kAudioDts; }

int MpegInAudioStream::open(StreamSource const& source) {
  KyCodec const& pipe = source.pipe.codec;
  if (!source.file.hasAudioDecoder && !canPassThrough())
    return pipe._setErr(kResultError, "Audio is not available. Decoder is missing.");
  MpegInPtr instance(guardedNew());
  if (!instance) return pipe._setErr(kResultError, "Out of memory");
  bool const withVideo = source.avSync && source.file.nVideo > 0;
  configure(*instance, source, withVideo);
  if (isDolby()) guardedGetInfo(instance.get(), source.pipe.params.fileName);

  if (int const result = start(*instance, source.pipe)) return result;
  // A stream that passes through decodes no pictures.
  if (withVideo && !instance->smartRenderOnly) {
    setSmpMode(pipe, *instance, 0);
    setThreads(pipe, *instance, 1);
  }
  if (!instance->smartRenderOnly) {
    if (int const result = prepareDecoding(*instance, source.pipe)) {
      mpegInClose(instance.get());
      return result;
    }
  }
  if (int const result = createPcm(*instance, pipe)) return result;
  decoder_.own(std::move(instance));
  endOfStream_ = false;
  store();
  trackDolby(pipe);
  return 0;
}

void MpegInAudioStream::configure(MpegIn& instance, StreamSource const& source, bool withVideo) const {
  instance.io = streamIo(source.file);
  MpegSettings& set = instance.set;
  set.searchMode = index() != 0 || source.file.titleIsDvd ? source.pipe.params.searchMode : 2;
  set.decodingMode = kDecodeSamples;
  instance.fileName = nullptr;
  selectAudioStream(set, source.file, index());
  if (withVideo)
    ky_dbg()->info("[%s] Opening video in audio decoder instance to maintain AV Sync",
                   source.pipe.codec.name());
  set.decodeVideo[0] = set.decodeVideo[1] = withVideo;
  if (!withVideo) instance.video.fourcc = 0;
}

int MpegInAudioStream::start(MpegIn& instance, PipeView const& pipe) {
  if (pipe.params.forceAudioSmartRender && canPassThrough()) return passThrough(instance, pipe);
  if (guardedOpen(&instance, pipe.params.fileName) == 0) {
    if (instance.audio.decoderReady) return 0;
    mpegInClose(&instance);
  }
  if (canPassThrough()) return passThrough(instance, pipe);
  return pipe.codec._setErr(kResultError, "Failed to decode audio stream #%d.", index());
}

int MpegInAudioStream::passThrough(MpegIn& instance, PipeView const& pipe) const {
  MpegSettings& set = instance.set;
  std::fill(std::begin(set.decode), std::end(set.decode), 0);
  set.searchMode = 0;
  if (!pipe.params.transcodeAudioOnly) set.decodingMode = kDecodePackets;
  set.decodeVideo[0] = set.decodeVideo[1] = 0;
  instance.smartRenderOnly = 1;
  char const* const format = isDolby() ? "Dolby" : "DTS";
  if (guardedOpen(&instance, pipe.params.fileName) == 0 && instance.audio.decoderReady == 1) {
    ky_dbg()->log(kLogTrace, "Begin audio pass through without %s decoder.", format);
    return 0;
  }
  return pipe.codec._setErr(kResultError, "Failed to pass audio stream #%d through without %s decoder.",
                            index(), format);
}

int MpegInAudioStream::prepareDecoding(MpegIn& instance, PipeView const& pipe) {
  if (instance.audio.mpegAudio != 0) name_ = "MPEG";
  std::string const format = name_.asString();
  if (int const preferred = pipe.params.preferredSampleFormat) {
    if (setPreferredSampleFormat(format, instance, preferred) != 0)
      ky_dbg()->log(kLogTrace, "[mpegdec] Failed to set preferred sample format");
  } else if (isDolby()) {
    if (setPreferredSampleFormat(format, instance, kDolbySampleFormat) != 0)
      ky_dbg()->log(kLogTrace, "[mpegdec] Failed to set default sample format for Dolby");
  }
  if (guardedSeekSample(&instance, 0) != 0)
    return pipe.codec._setErr(kResultError, "Failed to decode audio stream %d - mpeginSeekSample64 failed",
                              index());
  if (isDolby() && checkDolbyCodingMode(instance) != 0)
    return pipe.codec.setError(kResultError, "Failed to open audio stream #%d: unsupported Dolby stream",
                               index());
  return 0;
}

// Buffers of one second.
int MpegInAudioStream::createPcm(MpegIn const& instance, KyCodec const& pipe) {
  MpegAudioInfo const& audio = instance.audio;
  auto pcm = std::make_unique<KyPcm>();
  if (pcm->init(audio.rate, audio.channels, bytesPerSample(audio.bits), audio.rate) != 0)
    return pipe._setErr(kResultError, "Out of memory");
  pcm_ = std::move(pcm);
  if (instance.smartRenderOnly || audio.bits != 32) return 0;
  auto scratch = std::make_unique<KyPcm>();
  if (scratch->init(audio.rate, audio.channels, static_cast<int>(sizeof(int32_t)), audio.rate) != 0)
    return pipe._setErr(kResultError, "Out of memory");
  scratch_ = std::move(scratch);
  return 0;
}

// Unless the host's attribute does without: a tracker's stream cannot be read here.
void MpegInAudioStream::trackDolby(KyCodec const& pipe) {
  if (!isDolby() || decoder_->smartRenderOnly) return;
  Any const wanted = pipe.getAttr("dolbyMetadataTracker");
  if (wanted.isInt32() && wanted.asInt32() == 0) return;
  tracker_ = std::make_unique<DolbyMetadataTracker>((decoder_->audio.bits + 7) / 8);
  tracker_->remember(codecParam("dolbyMeta0"));
}
