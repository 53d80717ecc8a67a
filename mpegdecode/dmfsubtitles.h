// Subtitle streams and languages of DMF files, by the DMF demultiplexer.
#pragma once

#include "dmfdemux/dmfdemux.h"
#include "host/any.h"
#include "mpegdecode/stream.h"

// Opens the file a second time, appends one entry per text or bitmap subtitle stream to `subpics` and gives
// the languages to the streams of `streams`. -1 when the file cannot be opened or described, after a warning.
// Bitmap subtitles leave a folder for each stream, which goes when its entry closes.
int parseDmfFile(MpegInStreamList const& streams, MpegInStreamList& subpics, Any const& fileName);

// The bitmap part of it. Without a readable title or a parser nothing is added.
void extractBitmapSubtitles(DmfDemux* demux, MpegInStreamList& subpics, DmfFileInfo const& file);
