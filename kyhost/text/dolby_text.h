// Dolby bit stream information in words.
#pragma once

#include <string>

#include "host/any.h"
#include "host/codec.h"

namespace kyhost {

// What the bit stream of Dolby audio stream `index` says about itself at its read position: coding mode,
// dialogue level, bit stream mode, compression gain and, where they are there, mixing room and time code.
// Empty when the decoder tells nothing.
AnyDict dolbyFacts(KyDecodePipe const& pipe, int index);

// Channels of an audio coding mode, ATSC A/52:2018 table 5.8: "3/2 L C R Ls Rs + LFE".
std::string codingModeText(int acmod, bool lfe);

// The service of a bit stream mode, table 5.7; two of them share a number and differ in the coding mode.
char const* bitStreamModeText(int bsmod, int acmod);

// Gain of a compression word in dB, 7.7.2.2: a signed exponent of 4 bits, a mantissa of 4.
double compressionDb(int word);

}  // namespace kyhost
