// The small slots: counting, selecting, looking up.
#include "host/failure.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"

MpegInStreamList const* MpegInDec::listOf(int kind) const {
  switch (kind) {
    case kKindVideo:
      return &video_.list();
    case kKindAudio:
      return &audio_.list();
    case kKindSubpic:
      return &subpic_.list();
    default:
      return nullptr;
  }
}

int MpegInDec::countStreams(int kindMask) const {
  int count = 0;
  for (int kind : {kKindVideo, kKindAudio, kKindSubpic})
    if (kindMask & kind) count += listOf(kind)->size();
  return count;
}

bool MpegInDec::isSelected(int kind, int index) const {
  MpegInStreamList const* const list = listOf(kind);
  return list && selectedStream(*list, index);
}

int MpegInDec::selectStream(int kind, int index) {
  if (isSelected(kind, index)) return 0;
  switch (kind) {
    case kKindVideo:
      return selectVideo(index);
    case kKindAudio:
      return selectAudio(index);
    case kKindSubpic:
      return selectSubpic(index);
    default:
      return 0;
  }
}

int MpegInDec::selectVideo(int index) {
  MpegInVideoStream* const stream = video_.at(index);
  if (!stream) return _setErr(kResultError, "wrong stream number %d", index);
  if (stream->selected()) return _setErr(kResultError, "Already selected");
  int const result =
      stream->decoder() ? guardedSeekFrame(stream->decoder(), 0) : openVideo(*stream, *shared_);
  if (result != 0) return result;
  correctSwing(*stream);
  stream->framePending = true;
  stream->selected_ = true;
  stream->frame->setFrameNumber(0);
  stream->passedPictures = 0;
  if (stream->userDataEnabled) attachUserData(*stream);
  return 0;
}

int MpegInDec::selectAudio(int index) {
  MpegInAudioStream* const stream = audio_.at(index);
  if (!stream) return _setErr(kResultError, "wrong stream number %d", index);
  if (!stream->decoder()) return _setErr(kResultError, "stream %d was closed", index);
  if (!stream->decoder()->smartRenderOnly) {
    if (int const result = guardedSeekSample(stream->decoder(), 0)) return result;
  }
  rewind(*stream, 0);
  stream->selected_ = true;
  return 0;
}

int MpegInDec::selectSubpic(int index) {
  if (index >= subpic_.size()) {
    kyExceptionFail("./mpegdecode/mpegindec(1548)", nullptr);
    return kResultError;
  }
  if (index < 0) return _setErr(kResultError, "wrong stream number %d", index);
  if (!subpic_.at(index)->isCaptions()) return 0;
  return selectStream(kKindVideo, index);
}

int MpegInDec::deselectStream(int kind, int index) {
  if (isSelected(kind, index)) listOf(kind)->at(index)->selected_ = false;
  return 0;
}

int MpegInDec::selected(AnyDict& out) const {
  auto const indices = [](MpegInStreamList const& list) {
    AnyVector numbers;
    for (int i = 0; i < list.size(); ++i)
      if (list.at(i)->selected()) numbers.append(i);
    return numbers;
  };
  out.set("video", indices(video_.list()));
  out.set("audio", indices(audio_.list()));
  return 0;
}

int MpegInDec::frameCount(int videoIndex) const {
  MpegInVideoStream const* const stream = video_.selected(videoIndex);
  return stream ? stream->info()["frames"].asInt32() : -1;
}

int64_t MpegInDec::sampleCount(int audioIndex) const {
  MpegInAudioStream const* const stream = audio_.selected(audioIndex);
  if (stream) return stream->info()["samples"].asInt64();
  kyAssertFail("./mpegdecode/mpegindec(1532)", nullptr);
  return -1;
}

KyFrame* MpegInDec::videoFrame(int videoIndex) {
  MpegInVideoStream* const stream = video_.selected(videoIndex);
  if (!stream || !stream->frame) return nullptr;
  stream->frame->setFramerate(stream->info()["framerate"].asFramerate());
  return stream->frame.get();
}

KyPcm* MpegInDec::audioPcm(int audioIndex) {
  MpegInAudioStream* const stream = audio_.selected(audioIndex);
  if (stream) return stream->pcm.get();
  kyAssertFail("./mpegdecode/mpegindec(1512)", nullptr);
  return nullptr;
}

int MpegInDec::streamInfo(int kind, int index, AnyDict& info) const {
  if (index < 0 || index >= countStreams(kind)) return 0;
  MpegInStreamList const* const list = listOf(kind);
  if (!list) {
    kyExceptionFail("./mpegdecode/mpegindec(787)", nullptr);
    return 0;
  }
  info = list->at(index)->info();
  if (kind == kKindVideo) {
    Any overlay;
    getStreamParam(kKindVideo, index, "subpicOverlay", overlay);
    info.set("subpicOverlay", overlay);
  }
  return 0;
}

int MpegInDec::setUserDataEnabled(int kind, int index, int on) {
  MpegInVideoStream* const stream = kind == kKindVideo ? video_.at(index) : nullptr;
  if (!stream) return kResultError;
  stream->userDataEnabled = on != 0;
  if (on && stream->selected()) attachUserData(*stream);
  return 0;
}

int MpegInDec::userDataEnabled(int kind, int index) const {
  MpegInVideoStream const* const stream = kind == kKindVideo ? video_.at(index) : nullptr;
  return stream && stream->userDataEnabled ? 1 : 0;
}
