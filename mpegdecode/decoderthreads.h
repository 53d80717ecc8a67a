// Threads of a video decoder, asked for in an instance that was just opened and told in the debug log.
#pragma once

#include "mfimport/mfimport.h"

class KyCodec;

// 0 none, 1 by pictures, 2 by slices.
void setSmpMode(KyCodec const& pipe, MpegIn& instance, int mode);
void setThreads(KyCodec const& pipe, MpegIn& instance, int threads);
