#include <algorithm>
#include <cstring>
#include <utility>

#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"
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

int MpegInDec::readFrame(int videoIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  MpegInVideoStream* const stream = video_.selected(videoIndex);
  if (!stream) {
    kyAssertFail("./mpegdecode/mpegindec(1146)",
                 "mpegdec.seekToFrame: invalid stream no or stream not selected");
    return kResultError;
  }
  KyFrame& frame = *stream->frame;
  if (stream->framePending) {
    stream->framePending = false;
    if (trace_)
      ky_dbg()->log(kLogProgress, "mpegdec.readFrame: read not needed frame_nr=%d",
                    static_cast<int>(frame.frameNumber()));
    return 0;
  }
  if (static_cast<bool>(stream->info()["_displaySubpics"])) stream->decoder()->set.displaySubpictures = 1;
  frame.setFramerate(stream->info()["framerate"].asFramerate());
  int result = 0;
  switch (guardedNextFrame(stream->decoder())) {
    case kMpegOk:
      frame.setFrameNumber(frame.frameNumber() + 1 + std::exchange(stream->passedPictures, 0));
      if (stream->userDataEnabled) attachUserData(*stream);
      correctSwing(*stream);
      break;
    case kMpegEndOfStream:
      result = kResultEndOfStream;
      break;
    default:
      // The frame keeps its picture and that picture's number; the library goes on behind the one that
      // failed.
      ++stream->passedPictures;
      result = _setErr(kResultError, "Error in readFrame");
  }
  if (trace_)
    ky_dbg()->log(kLogProgress, "mpegdec.readFrame: result=%d, frame_nr=%d", result,
                  static_cast<int>(frame.frameNumber()));
  return result;
}

int MpegInDec::readSamples(int count, int audioIndex) {
  if (count == 0) return 0;
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  MpegInAudioStream* const stream = audio_.selected(audioIndex);
  if (!stream) {
    kyAssertFail("./mpegdecode/mpegindec(1356)",
                 "mpegdec.readSamples: invalid stream no or stream not selected");
    return kResultError;
  }
  if (stream->decoder()->smartRenderOnly)
    return _setErr(kResultError, "[%s] Cannot read audio samples, for stream %d. Smart rendering only mode",
                   name(), stream->index());

  KyPcm& pcm = *stream->pcm;
  int64_t const total = stream->sampleCount;
  pcm.nSamples = 0;
  if (total <= pcm.position) {
    if (trace_)
      ky_dbg()->log(kLogProgress, "mpegdec.readSamples: no more samples pos=%lld, nsamples=%lld",
                    static_cast<long long>(pcm.position), static_cast<long long>(total));
    stream->endOfStream_ = true;
    return kResultEndOfStream;
  }
  int want = static_cast<int>(std::min<int64_t>(std::min(count, pcm.capacity), total - pcm.position));
  if (!pcm.metadata().empty()) pcm.metadata().clear();
  int const silence = want > 0 ? addLeadingSilence(*stream, want) : 0;
  want -= silence;
  if (silence > 0 && want == 0) return silence;

  int result = 0;
  int const delivered = readDecoded(*stream, want);
  if (delivered >= 1) {
    pcm.nSamples += delivered;
    pcm.position += delivered;
    if (delivered < want) {
      // A short read counts as the end although the samples stay in the buffer.
      stream->endOfStream_ = true;
      result = kResultEndOfStream + silence;
    } else {
      result = delivered + silence;
    }
  } else if (delivered == 0 || (stream->endOfStream_ && want > 0)) {
    // Behind the early end of a file the library may fail; that is the end still.
    stream->endOfStream_ = true;
    pcm.nSamples = 0;
    result = kResultEndOfStream;
  } else {
    pcm.nSamples = 0;
    result = _setErr(kResultError, "Read sample failed");
  }
  if (trace_)
    ky_dbg()->log(kLogProgress, "mpegdec.readSamples: result=%d, pos=%lld", result,
                  static_cast<long long>(pcm.position));
  return result;
}

int MpegInDec::addLeadingSilence(MpegInAudioStream& stream, int want) {
  KyPcm& pcm = *stream.pcm;
  if (pcm.position >= stream.syncDelaySamples) return 0;
  if (pcm.position == 0 && stream.tracker) {
    Any const meta = stream.info().descendant("codecParams", "dolbyMeta0", nullptr);
    pcm.metadata().append(AnyDict("offset", 0, "meta", meta));
    stream.tracker->remember(meta);
  }
  int const silence = static_cast<int>(std::min<int64_t>(stream.syncDelaySamples - pcm.position, want));
  pcm.addSilence(silence);
  pcm.position += silence;
  return silence;
}

int MpegInDec::readDecoded(MpegInAudioStream& stream, int count) {
  if (count < 0) {
    kyExceptionFail("./mpegdecode/mpegindec(1266)", "Invalid sample count requested");
    return kResultError;
  }
  if (count == 0) return 0;
  if (stream.tracker) return DolbyMetadataTracker::read();

  KyPcm& pcm = *stream.pcm;
  MpegAudioInfo const& audio = stream.decoder()->audio;
  bool const words = audio.bits == 32;
  if (words && (audio.isFloat || stream.isDolby()))
    return readWords(stream, count, [](void const* in, int32_t* out, int64_t n) {
      floatToInt24(static_cast<float const*>(in), out, n);
    });
  if (words)
    return readWords(stream, count, [](void const* in, int32_t* out, int64_t n) {
      int32ToInt24(static_cast<int32_t const*>(in), out, n);
    });
  if (stream.format == kAudioLpcm && audio.bits >= 17) return readPaired(stream, count);
  return nextSamples(stream.decoder(), pcm.ptr(pcm.nSamples), count);
}

template <class Convert>
int MpegInDec::readWords(MpegInAudioStream& stream, int count, Convert convert) {
  KyPcm& pcm = *stream.pcm;
  int const delivered = nextSamples(stream.decoder(), stream.scratch->ptr(), count);
  if (delivered >= 1)
    convert(stream.scratch->ptr(), reinterpret_cast<int32_t*>(pcm.ptr(pcm.nSamples)),
            static_cast<int64_t>(delivered) * pcm.channels());
  return delivered;
}

int MpegInDec::readPaired(MpegInAudioStream& stream, int count) {
  KyPcm& pcm = *stream.pcm;
  int const carried = std::exchange(stream.carrySamples, 0);
  if (carried) std::memcpy(pcm.ptr(pcm.nSamples), stream.carry.data(), stream.carry.size());
  int const wanted = count - carried;
  // The format stores two samples of a channel together, so requests are even.
  int const paired = wanted + (wanted & 1);
  int const delivered = nextSamples(stream.decoder(), pcm.ptr(pcm.nSamples + carried), paired);
  if (delivered < 0) return delivered;
  int const available = delivered + carried;
  if (available <= count) return available;
  unsigned char const* const extra = pcm.ptr(pcm.nSamples + count);
  stream.carrySamples = available - count;
  stream.carry.assign(extra, extra + pcm.samples2bytes(stream.carrySamples));
  return count;
}
