// Time stamps of the pictures of a stream, read by a container reader of their own.
#pragma once

#include <cstdint>
#include <vector>

// Place in decoding order and time of a picture.
struct FrameTime {
  int64_t sortKey;
  int64_t time;  // 27 MHz
};
// Ascending by sort key, equal keys in their order.
void sortFrameTimes(std::vector<FrameTime>& times);
