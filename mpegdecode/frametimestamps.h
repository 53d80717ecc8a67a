// Time stamps of the pictures of a stream, read by a container reader of their own.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/mediatime.h"
#include "mpegdecode/videostream.h"

// Place in decoding order and time of a picture.
struct FrameTime {
  int64_t sortKey;
  int64_t time;  // 27 MHz
};
// Ascending by sort key, equal keys in their order.
void sortFrameTimes(std::vector<FrameTime>& times);

// The table of all pictures of the stream, by the library's reader of `fileName`, or null.
std::unique_ptr<KyStreamTimestamps> readFrameTimestamps(MpegInVideoStream const& stream,
                                                        MpegExternalIo const& io, Any const& fileName);
