#include "mpegdecode/mpegindec.h"

#include <memory>
#include <utility>
#include <variant>

#include "host/failure.h"
#include "host/log.h"
#include "host/registry.h"
#include "host/timer.h"
#include "mpegdecode/callbacks.h"
#include "mpegdecode/externalio.h"
#include "mpegdecode/frametimestamps.h"
#include "mpegdecode/openfile.h"

MpegInDec::MpegInDec(KyModule const* module) : KyDecodePipe(module) {}

MpegInDec::~MpegInDec() {
  if (state_ == kStateOpened) MpegInDec::close();
}

int MpegInDec::init() {
  if (state_ != kStateCreated) {
    kyExceptionFail("./mpegdecode/mpegindec(266)", "mpegdec: Already initialized");
    return kResultError;
  }
  state_ = kStateInitialised;
  params_ = MpegInParameters::of(*this);
  return 0;
}

int MpegInDec::open() {
  if (state_ == kStateOpened) close();
  if (state_ != kStateInitialised) return _setErr(kResultError, "Codec not initialized");
  if (!params_.fileName.isText()) return _setErr(kResultError, "Filename not set");
  if (int const result = checkReadable(params_)) return result;
  Any const trace = ky_registry()->getDbgOption("log_progress");
  view_.trace = trace.isInt32() ? trace.asInt32() : 0;
  MemoryRegistry::instance().enable(params_.estimateMemory);
  KyTimer timer;
  timer.start();

  auto opened = openFile(view_);
  if (int const* const error = std::get_if<int>(&opened)) return *error;
  file_ = std::move(std::get<OpenedFile>(opened));
  state_ = kStateOpened;
  params_.fileSize = file_.shared->fileSize;
  // A failure handler of the host may throw out of it.
  std::unique_ptr<MpegInDec, void (*)(MpegInDec*)> unwind(this, [](MpegInDec* pipe) {
    pipe->file_.close();
    pipe->state_ = kStateInitialised;
  });
  refineOpened(view_, file_);
  static_cast<void>(unwind.release());
  ky_dbg()->log(kLogTrace, "mpegdec: opened in %f sec.", timer.stop());
  return KyDecodePipe::open();
}

int MpegInDec::close() {
  if (state_ != kStateOpened) return 0;
  file_.close();
  state_ = kStateInitialised;
  MemoryRegistry::instance().disable();
  return KyDecodePipe::close();
}

int MpegInDec::seekToFrame(int64_t frame, int videoIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  if (MpegInVideoStream* const stream = file_.video.selected(videoIndex)) return stream->seekTo(frame, view_);
  kyAssertFail("./mpegdecode/mpegindec(1196)",
               "mpegdec.seekToFrame: invalid stream no or stream not selected");
  return kResultError;
}

int MpegInDec::seekToSample(int64_t sample, int audioIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  if (MpegInAudioStream* const stream = file_.audio.selected(audioIndex))
    return stream->seekTo(sample, source());
  kyAssertFail("./mpegdecode/mpegindec(1437)",
               "mpegdec.seekToSample: invalid stream no or stream not selected");
  return kResultError;
}

int MpegInDec::readFrame(int videoIndex) {
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  if (MpegInVideoStream* const stream = file_.video.selected(videoIndex)) return stream->read(view_);
  kyAssertFail("./mpegdecode/mpegindec(1146)",
               "mpegdec.seekToFrame: invalid stream no or stream not selected");
  return kResultError;
}

int MpegInDec::readSamples(int count, int audioIndex) {
  if (count == 0) return 0;
  if (state_ != kStateOpened) return _setErr(kResultError, "stream not opened");
  if (MpegInAudioStream* const stream = file_.audio.selected(audioIndex)) return stream->read(count, view_);
  kyAssertFail("./mpegdecode/mpegindec(1356)",
               "mpegdec.readSamples: invalid stream no or stream not selected");
  return kResultError;
}

int MpegInDec::readCcData(int subpicIndex, int, AnyDict& out) {
  out.clear();
  MpegInSubpicStream const* const entry = file_.subpic.at(subpicIndex);
  if (!entry) {
    kyAssertFail("./mpegdecode/mpegindec(3042)", nullptr);
    return 0;
  }
  if (!entry->isCaptions() || !entry->captionSource()) {
    kyAssertFail("./mpegdecode/mpegindec(3046)", nullptr);
    return 0;
  }
  return entry->captionSource()->readCaptions(out);
}

KyStreamTimestamps* MpegInDec::frameTimestamps(int videoIndex) {
  MpegInVideoStream const* const stream = file_.video.at(videoIndex);
  if (!stream) return nullptr;
  return readFrameTimestamps(*stream, streamIo(*file_.shared), params_.fileName).release();
}
