// File access that the host supplies in place of the library's own.
#pragma once

#include "mfimport/mfimport.h"

class KyCodec;
struct MpegInParameters;

// Whether the host wants the file of a pipe opened so.
bool externalIoWanted(MpegInParameters const& params);
// Fills `io` where it is wanted. 0, or the code of the error that the pipe was told.
int setupExternalIo(KyCodec const& pipe, MpegInParameters const& params, MpegExternalIo& io);
// What further instances and readers of a parsed file get: the access that it was parsed with, whatever the
// host offers by now, and the size that the parsing found.
MpegExternalIo streamIo(MpegIn const& file);
