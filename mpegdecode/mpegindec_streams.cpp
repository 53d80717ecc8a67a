// The small slots: counting, selecting, looking up.
#include "host/failure.h"
#include "mpegdecode/mpegindec.h"

MpegInStreamList const* MpegInDec::listOf(int kind) const {
  switch (kind) {
    case kKindVideo:
      return &file_.video.list();
    case kKindAudio:
      return &file_.audio.list();
    case kKindSubpic:
      return &file_.subpic.list();
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
  MpegInVideoStream* const stream = file_.video.at(index);
  if (!stream) return _setErr(kResultError, "wrong stream number %d", index);
  if (stream->selected()) return _setErr(kResultError, "Already selected");
  return stream->select(source());
}

int MpegInDec::selectAudio(int index) {
  MpegInAudioStream* const stream = file_.audio.at(index);
  if (!stream) return _setErr(kResultError, "wrong stream number %d", index);
  if (!stream->decoder()) return _setErr(kResultError, "stream %d was closed", index);
  return stream->select();
}

int MpegInDec::selectSubpic(int index) {
  if (index >= file_.subpic.size()) {
    kyExceptionFail("./mpegdecode/mpegindec(1548)", nullptr);
    return kResultError;
  }
  if (index < 0) return _setErr(kResultError, "wrong stream number %d", index);
  if (!file_.subpic.at(index)->isCaptions()) return 0;
  return selectStream(kKindVideo, index);
}

int MpegInDec::deselectStream(int kind, int index) {
  if (isSelected(kind, index)) listOf(kind)->at(index)->deselect();
  return 0;
}

int MpegInDec::selected(AnyDict& out) const {
  auto const indices = [](MpegInStreamList const& list) {
    AnyVector numbers;
    for (int i = 0; i < list.size(); ++i)
      if (list.at(i)->selected()) numbers.append(i);
    return numbers;
  };
  out.set("video", indices(file_.video.list()));
  out.set("audio", indices(file_.audio.list()));
  return 0;
}

int MpegInDec::frameCount(int videoIndex) const {
  MpegInVideoStream const* const stream = file_.video.selected(videoIndex);
  return stream ? stream->frames() : -1;
}

int64_t MpegInDec::sampleCount(int audioIndex) const {
  MpegInAudioStream const* const stream = file_.audio.selected(audioIndex);
  if (stream) return stream->info()["samples"].asInt64();
  kyAssertFail("./mpegdecode/mpegindec(1532)", nullptr);
  return -1;
}

KyFrame* MpegInDec::videoFrame(int videoIndex) {
  MpegInVideoStream* const stream = file_.video.selected(videoIndex);
  return stream ? stream->frame() : nullptr;
}

KyPcm* MpegInDec::audioPcm(int audioIndex) {
  if (MpegInAudioStream const* const stream = file_.audio.selected(audioIndex)) return stream->pcm();
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
  if (kind == kKindVideo) info.set("subpicOverlay", file_.video.at(index)->overlay());
  return 0;
}

int MpegInDec::setUserDataEnabled(int kind, int index, int on) {
  MpegInVideoStream* const stream = kind == kKindVideo ? file_.video.at(index) : nullptr;
  if (!stream) return kResultError;
  stream->enableUserData(on != 0);
  return 0;
}

int MpegInDec::userDataEnabled(int kind, int index) const {
  MpegInVideoStream const* const stream = kind == kKindVideo ? file_.video.at(index) : nullptr;
  return stream && stream->userDataEnabled() ? 1 : 0;
}
