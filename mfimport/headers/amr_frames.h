// Packets of AMR that hold many frames, as 3GP and QuickTime files have them.
#pragma once

#include <cstdint>

#include "mediafile/lav.h"

namespace mfimport {

// Bytes of an AMR frame by its first byte (RFC 4867 5.3), at least 1.
int amrFrameBytes(AVCodecID codec, uint8_t first);

// Hands packets to a sound decoder, those of AMR frame by frame, since its decoder reads no further than the
// first. Between two frames the caller takes out what was decoded; all frames carry the packet's stamps.
class FrameFeeder {
 public:
  // Sends a packet, or its first frame. What the last packet left is forgotten.
  void send(AVCodecContext& codec, AVPacket const& packet);
  // Sends the next frame of that packet; false when there is none.
  bool sendNext(AVCodecContext& codec);
  void forget() { left_ = 0; }

 private:
  lav::Packet rest_ = lav::newPacket();
  int left_ = 0;  // bytes at the end of rest_ that were not sent
};

}  // namespace mfimport
