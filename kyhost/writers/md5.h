// MD5 (RFC 1321) of what was read, as hex text.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "host/frame.h"
#include "mediafile/lav.h"

extern "C" {
#include <libavutil/md5.h>
}

namespace kyhost {

class Md5 {
 public:
  Md5() : state_(av_md5_alloc()) { restart(); }

  void add(void const* data, size_t bytes) {
    av_md5_update(state_.get(), static_cast<uint8_t const*>(data), bytes);
  }

  // The rows of every plane without their padding.
  void add(KyFrame const& frame) {
    for (int plane = 0; plane < frame.planes(); ++plane) {
      auto const bytes = static_cast<size_t>(frame.rowBytes(plane));
      for (int row = 0; row < frame.height(plane); ++row) add(frame.pixelPtr(plane, 0, row), bytes);
    }
  }

  // The digest of what was added since the last one: 32 lower-case digits.
  std::string take() {
    std::array<uint8_t, 16> digest{};
    av_md5_final(state_.get(), digest.data());
    restart();
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    for (uint8_t const byte : digest) {
      out += kDigits[byte >> 4];
      out += kDigits[byte & 15];
    }
    return out;
  }

 private:
  void restart() { av_md5_init(state_.get()); }

  struct Free {
    void operator()(AVMD5* state) const { av_free(state); }
  };
  std::unique_ptr<AVMD5, Free> state_;
};

}  // namespace kyhost
