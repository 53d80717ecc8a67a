// What streams see of the pipe that they belong to, and of the file that it opened.
#pragma once

#include "host/frame.h"
#include "mfimport/mfimport.h"
#include "mpegdecode/videodescription.h"

class KyCodec;
class MpegInSubpicStream;
struct MpegInParameters;
template <class Stream>
class StreamsOf;

struct PipeView {
  KyCodec const& codec;  // its name and attributes, and the error that a failing call leaves there
  MpegInParameters const& params;
  YSwingCorrect const swing{};
  int trace = 0;  // reading tells every step in the debug log
};

// What a stream opens its decoder from.
struct StreamSource {
  PipeView const& pipe;
  MpegIn const& file;  // as it was parsed
  MpegColour colour;   // by the headers of the file, which describe its first video stream
  bool avSync;         // late sound is delayed, so sound is opened with its video
  StreamsOf<MpegInSubpicStream> const& subpictures;
};
