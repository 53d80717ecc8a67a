// Subpictures that the library draws into the pictures of one video stream.
#include "host/codec.h"
#include "host/log.h"
#include "host/timer.h"
#include "mpegdecode/videostream.h"

int MpegInVideoStream::overlay() const {
  bool const displayed = info_["_displaySubpics"].asInt32() != 0 && info_["_subpicOverlay"].isInt32();
  return displayed ? info_["_subpicOverlay"].asInt32() : -1;
}

// Of the picture in the frame, with or without the overlay.
void MpegInVideoStream::decodeAgain(PipeView const& pipe) {
  if (selected_) seekTo(frame_->frameNumber(), pipe);
}

void MpegInVideoStream::setOverlay(int wanted, int number, PipeView const& pipe) {
  constexpr int kNeverShown = 666;
  if (wanted == overlay()) return;
  MpegSettings* const set = decoder_ ? &decoder_->set : nullptr;
  if (wanted == -1) {
    info_.set("_displaySubpics", 0);
    if (!selected_ || !set || !set->displaySubpictures) return;
    set->displaySubpictures = 0;
    decodeAgain(pipe);
    return;
  }
  Any const& last = info_["_subpicOverlay"];
  if (wanted != (last.isInt32() ? last.asInt32() : kNeverShown)) {
    info_.set("_subpicOverlay", wanted);
    info_.set("_displaySubpics", 1);
    KyTimer timer;
    timer.start();
    if (set) {
      set->displaySubpictures = 1;
      set->overlay = wanted + 1;
    }
    decodeAgain(pipe);
    ky_dbg()->write("[%s] Switched video #%d to subpic #%d in %f", pipe.codec.name(), number, wanted,
                    timer.stop());
    return;
  }
  info_.set("_displaySubpics", 1);
  if (!selected_ || !set || set->displaySubpictures) return;
  set->displaySubpictures = 1;
  decodeAgain(pipe);
}
