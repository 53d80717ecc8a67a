// Opening an audio decoder for a stream of the index, and the sample format that it is to deliver.
#pragma once

#include <string>

#include "mfimport/media_index.h"

namespace mfimport {

// Null on failure, with the reason in `error`. The decoder leaves all samples in place: trimming is the
// caller's.
lav::CodecContext openAudioCodec(const StreamIndex& stream, std::string& error);

// Packets to be decoded and thrown away before those that are wanted, by a decoder that has seen none, so
// that overlap and predictors are right.
size_t prerollPackets(AVCodecID codec);

// Some codecs leave noise to the decoder, whose generator runs on from packet to packet: exact samples take
// decoding from the first packet. Up to this packet that is cheap enough to be done; 0 for all other codecs.
size_t exactFromStartPackets(const AVCodecParameters& parameters);

// A delivered sample.
struct SampleLayout {
  int bits = 16;  // 16, 20 and 24 packed in 3 bytes, 32
  bool isFloat = false;

  int bytes() const { return bits == 16 ? 2 : bits == 32 ? 4 : 3; }
};

// What a stream delivers unless asked otherwise.
SampleLayout naturalLayout(const AVCodecParameters& parameters);

}  // namespace mfimport
