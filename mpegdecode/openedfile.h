// A file that is open: what the library found in it, and its streams in their lists.
#pragma once

#include "mpegdecode/audiostream.h"
#include "mpegdecode/decoderhandle.h"
#include "mpegdecode/pipeview.h"
#include "mpegdecode/subpicstream.h"
#include "mpegdecode/videostream.h"

struct OpenedFile {
  OpenedFile() = default;
  ~OpenedFile() { close(); }
  OpenedFile(OpenedFile&&) = default;
  OpenedFile& operator=(OpenedFile&&) = default;

  // Ends the streams, video first and subpictures last, then what they were opened from.
  void close();
  StreamSource source(PipeView const& pipe) const;

  MpegInPtr shared;     // parsed the file; null: nothing is open
  MpegColour colour;    // of the first video stream, by the headers of the file
  bool avSync = false;  // late sound is delayed
  StreamsOf<MpegInVideoStream> video;
  StreamsOf<MpegInAudioStream> audio;
  StreamsOf<MpegInSubpicStream> subpic;
};
