// Pictures of one video stream in turn and by number.
#include <string>
#include <utility>

#include "host/codec.h"
#include "host/log.h"
#include "host/userdata.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/userdatapackets.h"
#include "mpegdecode/videostream.h"

int MpegInVideoStream::seekTo(int64_t frame, PipeView const& pipe) {
  if (frame < 0 || frame >= frames())
    return pipe.codec._setErr(kResultError, "Position out of range in seekToFrame");
  if (static_cast<bool>(info_["_displaySubpics"])) decoder_->set.displaySubpictures = 1;
  switch (guardedSeekFrame(decoder_.get(), static_cast<int>(frame))) {
    case kMpegOk:
      correctSwing(pipe);
      frame_->setFrameNumber(frame);
      passedPictures_ = 0;
      frame_->setFramerate(info_["framerate"].asFramerate());
      framePending_ = true;
      if (userDataEnabled_) attachUserData();
      return 0;
    case kMpegEndOfStream:
      return pipe.codec.setError(kResultEndOfStream, "EOF in SeekToFrame");
    default:
      return pipe.codec._setErr(kResultError, "seekToFrame failed");
  }
}

int MpegInVideoStream::read(PipeView const& pipe) {
  KyFrame& frame = *frame_;
  if (framePending_) {
    framePending_ = false;
    if (pipe.trace)
      ky_dbg()->log(kLogProgress, "mpegdec.readFrame: read not needed frame_nr=%d",
                    static_cast<int>(frame.frameNumber()));
    return 0;
  }
  if (static_cast<bool>(info_["_displaySubpics"])) decoder_->set.displaySubpictures = 1;
  frame.setFramerate(info_["framerate"].asFramerate());
  int result = 0;
  switch (guardedNextFrame(decoder_.get())) {
    case kMpegOk:
      frame.setFrameNumber(frame.frameNumber() + 1 + std::exchange(passedPictures_, 0));
      if (userDataEnabled_) attachUserData();
      correctSwing(pipe);
      break;
    case kMpegEndOfStream:
      result = kResultEndOfStream;
      break;
    default:
      // The frame keeps its picture and that picture's number; the library goes on behind the one that
      // failed.
      ++passedPictures_;
      result = pipe.codec._setErr(kResultError, "Error in readFrame");
  }
  if (pipe.trace)
    ky_dbg()->log(kLogProgress, "mpegdec.readFrame: result=%d, frame_nr=%d", result,
                  static_cast<int>(frame.frameNumber()));
  return result;
}

void MpegInVideoStream::correctSwing(PipeView const& pipe) {
  if (static_cast<bool>(info_["_needSwing"])) pipe.swing.correct(*frame_);
}

void MpegInVideoStream::enableUserData(bool on) {
  userDataEnabled_ = on;
  if (on && selected_) attachUserData();
}

void MpegInVideoStream::attachUserData() {
  frame_->clearUserData();
  KyUserData data;
  collectUserData(decoder_.get(), name_.asString(), data);
  if (data.countPackets(kUserDataPicture) > 0) frame_->setUserData(data);
}
