// Rules of audio streams that need no stream object.
#pragma once

#include <string_view>

#include "mfimport/mfimport.h"

// Bytes of one stored sample of a channel. Depths other than 8, 16, 20, 24 and 32 count as 16, with a warning
// in the debug log.
int bytesPerSample(int bits);

// 0 when the channel configuration of a Dolby stream that is going to be decoded is supported, else -1. A
// stream that is passed through has no configuration to check: that raises an assertion failure, result 0.
int checkDolbyCodingMode(MpegIn const& instance);

// Asks the decoder of an "AAC" stream for samples of a host sample format: 3 is 16 bit, 7 is 24 bit. 0 when
// the stream delivers it from now on (or did before), -1 for other stream formats, other codes and a refusal
// of the library. To be called before the first sample is read.
int setPreferredSampleFormat(std::string_view formatName, MpegIn& instance, int code);
