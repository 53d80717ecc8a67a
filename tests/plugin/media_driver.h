// Whole streams of a file through the plug-in, in a form that other decoders give too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/codec.h"
#include "host/frame.h"
#include "host/pcm.h"

namespace test {

// MD5 of a picture in planes with right-aligned values, as decoders of `depth` bits give them.
std::string planarHash(KyFrame const& frame, int depth);
// That of every picture from the first on, until the end of the stream.
std::vector<std::string> linearHashes(KyDecodePipe& pipe, int stream, int depth);
// Seeks to random pictures, each held against the linear reading.
void expectFrameSeeks(KyDecodePipe& pipe, int stream, int depth, std::vector<std::string> const& linear,
                      int seeks, unsigned seed);

// Every sample of all channels, interleaved. Words of more than 16 bits are cut.
std::vector<int16_t> samples16(KyDecodePipe& pipe, int stream);
// Seeks to random samples and reads up to 2000 from there, each held against the linear reading.
void expectSampleSeeks(KyDecodePipe& pipe, int stream, std::vector<int16_t> const& linear, int seeks,
                       unsigned seed);

}  // namespace test
