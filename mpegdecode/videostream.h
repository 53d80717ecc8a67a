// One video stream of an opened file.
#pragma once

#include <cstdint>
#include <memory>

#include "host/frame.h"
#include "mpegdecode/stream.h"
#include "mpegdecode/videodescription.h"

class MpegInVideoStream : public MpegInStream {
 public:
  MpegInVideoStream(MpegIn const& file, int streamIndex);
  ~MpegInVideoStream() override;
  void store() override;
  void close();

  std::unique_ptr<KyFrame> frame;    // output
  std::unique_ptr<KyFrame> scratch;  // full picture when `frame` is a view into it
  bool framePending = false;         // the next readFrame has nothing to decode
  int64_t passedPictures = 0;        // failed to decode since `frame` was filled: the decoder is past them
  bool userDataEnabled = false;
  uint32_t colorRange = 1;
  MpegColour headerColour;  // by the headers of the file, where they describe this stream
};
