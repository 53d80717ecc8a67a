// One video stream of an opened file: its decoder, its picture, its description.
#pragma once

#include <cstdint>
#include <memory>

#include "host/frame.h"
#include "mpegdecode/pipeview.h"
#include "mpegdecode/stream.h"
#include "mpegdecode/videodescription.h"

class KyCcData;
class MediaTime;

// Results are 0, or a code whose error the pipe was told.
class MpegInVideoStream : public MpegInStream {
 public:
  MpegInVideoStream(MpegIn const& file, int streamIndex);
  ~MpegInVideoStream() override;
  void store() override;

  // Gives the stream a decoder of its own, which is at the first picture then.
  int open(StreamSource const& source);
  void close();
  // Selects the stream, with its first picture in the frame; opens it when it is closed. The library's result
  // when it cannot go there, of which the pipe knows nothing.
  int select(StreamSource const& source);
  // The frame holds the picture `frame` then, and the next reading takes that one.
  int seekTo(int64_t frame, PipeView const& pipe);
  // The next picture into the frame; kResultEndOfStream without an error behind the last one.
  int read(PipeView const& pipe);

  // The output, at the rate that the description tells; null while the stream is closed.
  KyFrame* frame();
  int frames() const { return info_["frames"].asInt32(); }
  bool userDataEnabled() const { return userDataEnabled_; }
  // From now on every picture carries its user data.
  void enableUserData(bool on);
  int applyOverride(char const* key, Any const& value, KyCodec const& pipe);

  // The entry of the subpicture list that is overlaid, -1 none.
  int overlay() const;
  // `number` is the stream's in its list.
  void setOverlay(int overlay, int number, PipeView const& pipe);

  // Whether one of the first pictures carries closed captions. The decoder is at the first picture then.
  bool carriesCaptions();
  // Those of the picture in the frame.
  int readCaptions(AnyDict& out) const;

 private:
  void correctSwing(PipeView const& pipe);
  void attachUserData();
  int extractCaptions(MediaTime const* time, KyCcData& out) const;
  bool mayHaveCaptions() const;
  bool findCaptions();
  void decodeAgain(PipeView const& pipe);

  // Opening (videostream_open.cpp).
  void configure(MpegIn& instance, StreamSource const& source) const;
  bool prepareOutput(MpegIn& instance, StreamSource const& source);
  bool createFrames(MpegIn& instance, bool withoutBlanking);
  void applyThreading(PipeView const& pipe);

  std::unique_ptr<KyFrame> frame_;    // output
  std::unique_ptr<KyFrame> scratch_;  // full picture when `frame_` is a view into it
  bool framePending_ = false;         // the next reading has nothing to decode
  int64_t passedPictures_ = 0;        // failed to decode since `frame_` was filled: the decoder is past them
  bool userDataEnabled_ = false;
  uint32_t colorRange_ = 1;
  MpegColour headerColour_;  // by the headers of the file, where they describe this stream
};
