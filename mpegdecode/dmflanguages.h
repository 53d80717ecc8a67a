// Languages of the audio streams of DMF files, which the import library does not tell.
#pragma once

#include "dmfdemux/dmfdemux.h"
#include "mpegdecode/stream.h"

// Gives the first of `streams` whose identifier is `stream` and whose program is `title` the language of that
// DMF audio stream: "languageDescriptor" with "ISO_639_language_code". What is missing is logged.
void attachLanguage(DmfStreamInfo const& info, int title, int stream, MpegInStreamList const& streams);
