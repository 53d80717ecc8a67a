#include "mpegdecode/audioblockbuffer.h"

#include <cstddef>

AudioBlockBuffer::AudioBlockBuffer(MpegIn const* file, uint32_t bytesPerSampleFrame, uint32_t blocks)
    : data_(static_cast<size_t>(bytesPerSampleFrame) * kSampleFrames * blocks),
      file_(file),
      blocks_(blocks),
      bytesPerSampleFrame_(bytesPerSampleFrame) {}

void AudioBlockBuffer::resize(uint32_t bytesPerSampleFrame, uint32_t blocks) {
  constexpr size_t kBytesPerBlock = kSampleFrames * 8 * sizeof(int16_t);
  bytesPerSampleFrame_ = bytesPerSampleFrame;
  if (blocks != kKeepBlocks) blocks_ = blocks;
  data_ = std::vector<uint8_t>(blocks_ * kBytesPerBlock);
  reset();
}

int AudioBlockBuffer::reset() {
  filled_ = 0;
  for (Any& attribute : attributes_) attribute.invalidate();
  return 0;
}
