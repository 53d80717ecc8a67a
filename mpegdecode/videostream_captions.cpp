// Closed captions in the user data of one video stream.
#include <string>

#include "host/codec.h"
#include "host/log.h"
#include "host/mediatime.h"
#include "host/userdata.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/userdatapackets.h"
#include "mpegdecode/videostream.h"

namespace {

// Captions that begin later are not worth the time that a longer search adds to every opening.
constexpr int kSearchedFrames = 10;

}  // namespace

// 0 when the current picture has captions, else -1. `out` is empty before.
int MpegInVideoStream::extractCaptions(MediaTime const* time, KyCcData& out) const {
  KyUserData data;
  collectUserData(decoder_.get(), name_.asString(), data);
  int const packets = data.countPackets(kUserDataPicture);
  for (int i = 0; i < packets; ++i) {
    int size = 0;
    int packetFormat = 0;
    void const* const bytes = data.packet(kUserDataPicture, i, size, packetFormat);
    int const format = KyCcData::detectBufferFmt(size, bytes);
    if (format < 0) continue;
    out.fromBuffer(format, size, bytes, time);
    return 0;
  }
  return kResultError;
}

// Line 21 captions belong to the 60 Hz world.
bool MpegInVideoStream::mayHaveCaptions() const {
  std::string const codec = name_.asString();
  return (codec == "MPEG-1" || codec == "MPEG-2" || codec == "H.264") &&
         !info_["framerate"].asFramerate().isPAL();
}

// Moves the decoder.
bool MpegInVideoStream::findCaptions() {
  int const searched = frames() > kSearchedFrames ? kSearchedFrames : frames() - 1;
  KyCcData captions;
  guardedSeekFrame(decoder_.get(), 0);
  for (int k = 0; k < searched; ++k) {
    if (extractCaptions(nullptr, captions) == 0) {
      ky_dbg()->log(kLogTrace, "Found cc in frame nr %d", k);
      return true;
    }
    guardedNextFrame(decoder_.get());
  }
  return false;
}

bool MpegInVideoStream::carriesCaptions() {
  if (!mayHaveCaptions()) return false;
  ky_dbg()->log(kLogTrace, "parsing frames for cc data");
  bool const found = findCaptions();
  guardedSeekFrame(decoder_.get(), 0);
  if (found) ky_dbg()->log(kLogTrace, "parsing frames for cc data done");
  return found;
}

int MpegInVideoStream::readCaptions(AnyDict& out) const {
  if (!frame_ || !decoder_ || frame_->frameNumber() < 0) return kResultNotOpened;
  MediaTime const time(frame_->frameNumber(), info_["framerate"].asFramerate());
  KyCcData captions;
  if (int const result = extractCaptions(&time, captions)) return result;
  captions.store(out);
  return 0;
}
