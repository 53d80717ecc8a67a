#include "mpegdecode/videostream.h"

#include "host/failure.h"

MpegInVideoStream::MpegInVideoStream(MpegIn const& file, int streamIndex) : MpegInStream(streamIndex) {
  bool const known = streamIndex >= 0 && streamIndex < file.nVideo;
  if (!known) kyExceptionFail("./mpegdecode/mpeginutil(467)", nullptr);
  if (known && file.videoId) setIdentity(file.videoId[streamIndex]);
}

MpegInVideoStream::~MpegInVideoStream() { MpegInVideoStream::close(); }

void MpegInVideoStream::close() {
  // First, since it writes to the frames.
  decoder_.reset();
  frame.reset();
  scratch.reset();
  selected_ = false;
  framePending = false;
}
