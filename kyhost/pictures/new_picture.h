// Pictures of libav's that this program fills itself.
#pragma once

#include "mediafile/lav.h"

namespace kyhost {

// With memory of its own, not filled. Null when there is none.
inline lav::Frame newPicture(AVPixelFormat format, int width, int height) {
  lav::Frame picture(av_frame_alloc());
  if (!picture) return nullptr;
  picture->format = format;
  picture->width = width;
  picture->height = height;
  return av_frame_get_buffer(picture.get(), 0) < 0 ? nullptr : std::move(picture);
}

inline uint8_t* rowOf(AVFrame const& picture, int row) {
  return picture.data[0] + static_cast<ptrdiff_t>(row) * picture.linesize[0];
}

constexpr int kRgbBytes = 3;  // of a pixel of RGB24
inline uint8_t* rgbAt(AVFrame const& picture, int x, int row) {
  return rowOf(picture, row) + static_cast<ptrdiff_t>(x) * kRgbBytes;
}

}  // namespace kyhost
