// One entry of the subpicture list: bitmap subtitles that the library overlays, subtitles that were extracted
// from the file, or the closed captions of a video stream.
#pragma once

#include "mpegdecode/stream.h"

class MpegInVideoStream;

class MpegInSubpicStream : public MpegInStream {
 public:
  explicit MpegInSubpicStream(int streamIndex);
  // The captions of `source`, which must outlive the entry.
  MpegInSubpicStream(int streamIndex, MpegInVideoStream const& source);
  ~MpegInSubpicStream() override = default;
  void store() override;
  // Removes the folder of extracted bitmap subtitles too.
  void close();

  bool isCaptions() const;
  // Null where there are none.
  MpegInVideoStream const* captionSource() const { return captionSource_; }

 private:
  MpegInVideoStream const* captionSource_ = nullptr;
};

// Whether the library overlays the subpictures of the file; those of DMF files are extracted.
bool overlaysSubpictures(MpegIn const& file);
// Tells a decoder of the file's video which entries of `list` are the file's own: those behind the captions.
void announceSubpictures(MpegSettings& set, MpegIn const& file, StreamsOf<MpegInSubpicStream> const& list);
