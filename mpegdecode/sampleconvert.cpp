#include "mpegdecode/sampleconvert.h"

namespace {

// Whole blocks keep the trip count of the inner loop constant, which lets it become straight vector code
// without a scalar tail at every optimisation level.
constexpr int kBlock = 16;

inline int32_t int24FromFloat(float x) {
  constexpr float kScale = 8388608.0F;
  // The largest float below 2^31; the conversion of anything outside the range of int32_t is undefined.
  constexpr float kHighest = 2147483520.0F;
  constexpr float kLowest = -2147483648.0F;
  float scaled = x * kScale;
  scaled = scaled == scaled ? scaled : 0.0F;
  scaled = scaled < kHighest ? scaled : kHighest;
  scaled = scaled > kLowest ? scaled : kLowest;
  return static_cast<int32_t>(scaled);
}

// Bit 7 is the half that is left of the byte shifted out: the sum v + 128 need not be formed, which
// overflows for the largest values.
inline int32_t int24FromInt32(int32_t v) { return (v >> 8) + ((v >> 7) & 1); }

template <class T, class Convert>
inline void convertAll(T const* __restrict in, int32_t* __restrict out, int64_t n, Convert convert) {
  int64_t i = 0;
  for (; i + kBlock <= n; i += kBlock)
    for (int k = 0; k < kBlock; ++k) out[i + k] = convert(in[i + k]);
  for (; i < n; ++i) out[i] = convert(in[i]);
}

}  // namespace

void floatToInt24(float const* in, int32_t* out, int64_t n) {
  convertAll(in, out, n, [](float x) { return int24FromFloat(x); });
}

void int32ToInt24(int32_t const* in, int32_t* out, int64_t n) {
  convertAll(in, out, n, [](int32_t v) { return int24FromInt32(v); });
}
