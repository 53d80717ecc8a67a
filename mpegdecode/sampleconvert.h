// Conversion of decoded 32-bit samples to 24-bit values in 32-bit words. `n` counts values of all channels;
// `in` and `out` must not overlap.
#pragma once

#include <cstdint>

// Full scale 1.0 becomes 8388608: scaled by 2^23 and truncated toward zero, not clipped to 24 bits. What a
// 32-bit word cannot hold goes to its nearest end, NaN to 0.
void floatToInt24(float const* in, int32_t* out, int64_t n);

// floor((v + 128) / 256): to the nearest, ties toward plus infinity.
void int32ToInt24(int32_t const* in, int32_t* out, int64_t n);
