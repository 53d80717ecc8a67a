#include "mpegdecode/videostream.h"

#include "host/failure.h"
#include "mpegdecode/libcalls.h"

MpegInVideoStream::MpegInVideoStream(MpegIn const& file, int streamIndex) : MpegInStream(streamIndex) {
  bool const known = streamIndex >= 0 && streamIndex < file.nVideo;
  if (!known) kyExceptionFail("./mpegdecode/mpeginutil(467)", nullptr);
  if (known && file.videoId) setIdentity(file.videoId[streamIndex]);
}

MpegInVideoStream::~MpegInVideoStream() { MpegInVideoStream::close(); }

void MpegInVideoStream::close() {
  // First, since it writes to the frames.
  decoder_.reset();
  frame_.reset();
  scratch_.reset();
  selected_ = false;
  framePending_ = false;
}

int MpegInVideoStream::select(StreamSource const& source) {
  int const result = decoder_ ? guardedSeekFrame(decoder_.get(), 0) : open(source);
  if (result != 0) return result;
  correctSwing(source.pipe);
  framePending_ = true;
  selected_ = true;
  frame_->setFrameNumber(0);
  passedPictures_ = 0;
  if (userDataEnabled_) attachUserData();
  return 0;
}

KyFrame* MpegInVideoStream::frame() {
  if (frame_) frame_->setFramerate(info_["framerate"].asFramerate());
  return frame_.get();
}

void MpegInVideoStream::store() {
  MpegIn none{};
  if (!decoder_ || !decoder_->video.present) kyExceptionFail("./mpegdecode/mpeginutil(540)", nullptr);
  MpegIn& file = decoder_ ? *decoder_ : none;
  MpegVideoInfo& video = file.video;
  if (index() >= 0 && index() < file.nVideo && file.videoId) setIdentity(file.videoId[index()]);
  // Without a rate of its own JPEG 2000 has that of digital cinema, for the decoder too.
  if (video.jpeg2000 && video.secondRate < 0.1) video.secondRate = video.rate = 48.0;
  VideoFacts facts = videoFacts(file);
  facts.colour = colourOf(video, headerColour_);
  facts.colorRange = colorRange_;
  facts.identity = identity();
  name_ = facts.codec;
  describe(facts, info_);
}
