#pragma once

#include <cstdint>
#include <vector>

#include "host/any.h"
#include "mfimport/mfimport.h"

// One block of 1536 sample frames is what a Dolby sync frame carries (ATSC A/52, 6 blocks of 256).
class AudioBlockBuffer {
 public:
  static constexpr uint32_t kSampleFrames = 1536;
  static constexpr uint32_t kKeepBlocks = 0xFFFFFFFF;

  AudioBlockBuffer(MpegIn const* file, uint32_t bytesPerSampleFrame, uint32_t blocks);
  // Allocates room for eight 16-bit channels in every block, whatever `bytesPerSampleFrame` is.
  void resize(uint32_t bytesPerSampleFrame, uint32_t blocks);
  int reset();

  std::vector<uint8_t> const& data() const { return data_; }
  int32_t filled() const { return filled_; }
  MpegIn const* file() const { return file_; }
  uint32_t blocks() const { return blocks_; }
  uint32_t bytesPerSampleFrame() const { return bytesPerSampleFrame_; }

 private:
  Any attributes_[2];  // of the last block
  std::vector<uint8_t> data_;
  int32_t filled_ = 0;
  MpegIn const* file_;
  uint32_t blocks_;
  uint32_t bytesPerSampleFrame_;
};
