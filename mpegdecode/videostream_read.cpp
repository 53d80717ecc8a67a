#include <algorithm>

#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"

int MpegInDec::seekToFrame(int64_t frame, int videoIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  MpegInVideoStream* const stream = video_.selected(videoIndex);
  if (!stream) {
    kyAssertFail("./mpegdecode/mpegindec(1196)",
                 "mpegdec.seekToFrame: invalid stream no or stream not selected");
    return kResultError;
  }
  if (frame < 0 || frame >= stream->info()["frames"].asInt32())
    return _setErr(kResultError, "Position out of range in seekToFrame");
  if (static_cast<bool>(stream->info()["_displaySubpics"])) stream->decoder()->set.displaySubpictures = 1;
  switch (guardedSeekFrame(stream->decoder(), static_cast<int>(frame))) {
    case kMpegOk:
      correctSwing(*stream);
      stream->frame->setFrameNumber(frame);
      stream->passedPictures = 0;
      stream->frame->setFramerate(stream->info()["framerate"].asFramerate());
      stream->framePending = true;
      if (stream->userDataEnabled) attachUserData(*stream);
      return 0;
    case kMpegEndOfStream:
      return setError(kResultEndOfStream, "EOF in SeekToFrame");
    default:
      return _setErr(kResultError, "seekToFrame failed");
  }
}

int MpegInDec::seekToSample(int64_t sample, int audioIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  MpegInAudioStream* const stream = audio_.selected(audioIndex);
  if (!stream) {
    kyAssertFail("./mpegdecode/mpegindec(1437)",
                 "mpegdec.seekToSample: invalid stream no or stream not selected");
    return kResultError;
  }
  if (sample < 0 || sample >= stream->sampleCount)
    return _setErr(kResultError, "Position out of range in seekToSample");
  if (stream->format == kAudioWma && stream->pcm->position != 0 && sample < stream->pcm->position) {
    if (int const result = reopenForBackwardSeek(*stream)) return result;
  }
  if (stream->tracker) stream->tracker->reset();
  if (!stream->decoder()->smartRenderOnly) {
    // The target wraps in 32 bits, computed unsigned so that it is defined.
    int32_t const target =
        static_cast<int32_t>(static_cast<uint32_t>(sample) - static_cast<uint32_t>(stream->syncDelaySamples));
    if (guardedSeekSample(stream->decoder(), std::max(target, 0)) != 0)
      return _setErr(kResultError, "seekToSample failed");
  }
  rewind(*stream, sample);
  return 0;
}

// WMA decoders keep state across seeks that makes a backward one inexact; a new decoder has none.
int MpegInDec::reopenForBackwardSeek(MpegInAudioStream& stream) {
  ky_dbg()->log(kLogTrace, "mpegdec: WMA audio seek workaround activated");
  // What was measured at the opening holds for the new decoder too.
  int32_t const delay = stream.syncDelaySamples;
  Any const firstStamp = stream.info().descendant("codecParams", "firstAPTS", nullptr);
  stream.close();
  if (openAudio(stream, *shared_) != 0) {
    kyAssertFail("./mpegdecode/mpegindec(1469)",
                 "mpegdec: failed to reopen previously opened stream -> can't recover.");
    return errorCode();
  }
  stream.info().child("codecParams").set("firstAPTS", firstStamp);
  delaySound(stream, delay);
  stream.selected_ = true;
  return 0;
}

void MpegInDec::rewind(MpegInAudioStream& stream, int64_t sample) {
  stream.endOfStream_ = false;
  stream.pcm->position = sample;
  stream.pcm->nSamples = 0;
  stream.carrySamples = 0;
}
