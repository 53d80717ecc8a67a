// Samples of one audio stream, and where they are read from.
#include <algorithm>
#include <cstring>
#include <utility>

#include "host/codec.h"
#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/audiostream.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/sampleconvert.h"

namespace {

int nextSamples(MpegIn* instance, void* buffer, int count) {
  try {
    return mpegInGetNextSample(instance, buffer, count);
  } catch (...) {
    return kMpegError;
  }
}

}  // namespace

int MpegInAudioStream::select() {
  if (!decoder_->smartRenderOnly) {
    if (int const result = guardedSeekSample(decoder_.get(), 0)) return result;
  }
  rewind(0);
  selected_ = true;
  return 0;
}

int MpegInAudioStream::seekTo(int64_t sample, StreamSource const& source) {
  KyCodec const& pipe = source.pipe.codec;
  if (sample < 0 || sample >= sampleCount_)
    return pipe._setErr(kResultError, "Position out of range in seekToSample");
  if (format_ == kAudioWma && pcm_->position != 0 && sample < pcm_->position) {
    if (int const result = reopenForBackwardSeek(source)) return result;
  }
  if (tracker_) tracker_->reset();
  if (!decoder_->smartRenderOnly) {
    // The target wraps in 32 bits, computed unsigned so that it is defined.
    int32_t const target =
        static_cast<int32_t>(static_cast<uint32_t>(sample) - static_cast<uint32_t>(syncDelaySamples_));
    if (guardedSeekSample(decoder_.get(), std::max(target, 0)) != 0)
      return pipe._setErr(kResultError, "seekToSample failed");
  }
  rewind(sample);
  return 0;
}

// WMA decoders keep state across seeks that makes a backward one inexact; a new decoder has none.
int MpegInAudioStream::reopenForBackwardSeek(StreamSource const& source) {
  ky_dbg()->log(kLogTrace, "mpegdec: WMA audio seek workaround activated");
  // What was measured at the opening holds for the new decoder too.
  int32_t const silence = syncDelaySamples_;
  Any const firstStamp = codecParam("firstAPTS");
  close();
  if (open(source) != 0) {
    kyAssertFail("./mpegdecode/mpegindec(1469)",
                 "mpegdec: failed to reopen previously opened stream -> can't recover.");
    return source.pipe.codec.errorCode();
  }
  info_.child("codecParams").set("firstAPTS", firstStamp);
  delay(silence);
  selected_ = true;
  return 0;
}

void MpegInAudioStream::rewind(int64_t sample) {
  endOfStream_ = false;
  pcm_->position = sample;
  pcm_->nSamples = 0;
  carrySamples_ = 0;
}

int MpegInAudioStream::read(int count, PipeView const& pipe) {
  if (decoder_->smartRenderOnly)
    return pipe.codec._setErr(kResultError,
                              "[%s] Cannot read audio samples, for stream %d. Smart rendering only mode",
                              pipe.codec.name(), index());
  KyPcm& pcm = *pcm_;
  pcm.nSamples = 0;
  if (sampleCount_ <= pcm.position) {
    if (pipe.trace)
      ky_dbg()->log(kLogProgress, "mpegdec.readSamples: no more samples pos=%lld, nsamples=%lld",
                    static_cast<long long>(pcm.position), static_cast<long long>(sampleCount_));
    endOfStream_ = true;
    return kResultEndOfStream;
  }
  int want = static_cast<int>(std::min<int64_t>(std::min(count, pcm.capacity), sampleCount_ - pcm.position));
  if (!pcm.metadata().empty()) pcm.metadata().clear();
  int const silence = want > 0 ? addLeadingSilence(want) : 0;
  want -= silence;
  if (silence > 0 && want == 0) return silence;

  int const result = takeDelivered(readDecoded(want), want, silence, pipe.codec);
  if (pipe.trace)
    ky_dbg()->log(kLogProgress, "mpegdec.readSamples: result=%d, pos=%lld", result,
                  static_cast<long long>(pcm.position));
  return result;
}

// The result of a read that was to deliver `want` samples behind `silence`.
int MpegInAudioStream::takeDelivered(int delivered, int want, int silence, KyCodec const& pipe) {
  KyPcm& pcm = *pcm_;
  if (delivered >= 1) {
    pcm.nSamples += delivered;
    pcm.position += delivered;
    if (delivered >= want) return delivered + silence;
    // A short read counts as the end although the samples stay in the buffer.
    endOfStream_ = true;
    return kResultEndOfStream + silence;
  }
  pcm.nSamples = 0;
  // Behind the early end of a file the library may fail; that is the end still.
  if (delivered != 0 && !(endOfStream_ && want > 0)) return pipe._setErr(kResultError, "Read sample failed");
  endOfStream_ = true;
  return kResultEndOfStream;
}

int MpegInAudioStream::addLeadingSilence(int want) {
  KyPcm& pcm = *pcm_;
  if (pcm.position >= syncDelaySamples_) return 0;
  if (pcm.position == 0 && tracker_) {
    Any const meta = codecParam("dolbyMeta0");
    pcm.metadata().append(AnyDict("offset", 0, "meta", meta));
    tracker_->remember(meta);
  }
  int const silence = static_cast<int>(std::min<int64_t>(syncDelaySamples_ - pcm.position, want));
  pcm.addSilence(silence);
  pcm.position += silence;
  return silence;
}

int MpegInAudioStream::readDecoded(int count) {
  if (count < 0) {
    kyExceptionFail("./mpegdecode/mpegindec(1266)", "Invalid sample count requested");
    return kResultError;
  }
  if (count == 0) return 0;
  if (tracker_) return DolbyMetadataTracker::read();

  MpegAudioInfo const& audio = decoder_->audio;
  bool const words = audio.bits == 32;
  if (words && (audio.isFloat || isDolby()))
    return readWords(count, [](void const* in, int32_t* out, int64_t n) {
      floatToInt24(static_cast<float const*>(in), out, n);
    });
  if (words)
    return readWords(count, [](void const* in, int32_t* out, int64_t n) {
      int32ToInt24(static_cast<int32_t const*>(in), out, n);
    });
  if (format_ == kAudioLpcm && audio.bits >= 17) return readPaired(count);
  return nextSamples(decoder_.get(), pcm_->ptr(pcm_->nSamples), count);
}

template <class Convert>
int MpegInAudioStream::readWords(int count, Convert convert) {
  int const delivered = nextSamples(decoder_.get(), scratch_->ptr(), count);
  if (delivered >= 1)
    convert(scratch_->ptr(), reinterpret_cast<int32_t*>(pcm_->ptr(pcm_->nSamples)),
            static_cast<int64_t>(delivered) * pcm_->channels());
  return delivered;
}

int MpegInAudioStream::readPaired(int count) {
  KyPcm& pcm = *pcm_;
  int const carried = std::exchange(carrySamples_, 0);
  if (carried) std::memcpy(pcm.ptr(pcm.nSamples), carry_.data(), carry_.size());
  int const wanted = count - carried;
  // The format stores two samples of a channel together, so requests are even.
  int const paired = wanted + (wanted & 1);
  int const delivered = nextSamples(decoder_.get(), pcm.ptr(pcm.nSamples + carried), paired);
  if (delivered < 0) return delivered;
  int const available = delivered + carried;
  if (available <= count) return available;
  unsigned char const* const extra = pcm.ptr(pcm.nSamples + count);
  carrySamples_ = available - count;
  carry_.assign(extra, extra + pcm.samples2bytes(carrySamples_));
  return count;
}
