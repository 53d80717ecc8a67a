#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "samples/card_plan.h"
#include "samples/picture_source.h"

namespace samples {

/// A coded picture in decoding order; `bytes` live for the call only.
struct CodedPicture {
  std::span<std::uint8_t const> bytes;
  /// Place in display order, from 0.
  std::int64_t display;
  bool key;
};

/// MPEG-2 Main Profile at High Level, 4:2:0, long GOP with two B pictures between references, open GOPs; the
/// first picture is an I picture in display order too. Throws std::runtime_error.
class Mpeg2Encoder {
 public:
  using Sink = std::function<void(CodedPicture const&)>;

  /// `timecode`: of the first picture, as FFmpeg reads it ("hh:mm:ss:ff", ";ff" for drop frame).
  Mpeg2Encoder(PictureFormat const& format, std::string const& timecode, Sink sink);
  ~Mpeg2Encoder();

  /// Memory for the next picture, to be filled before `encode`.
  Planes nextPicture();
  /// Codes that picture; the sink receives what has become ready, none or more.
  void encode();
  /// Gives out what is left. No picture follows.
  void finish();

 private:
  struct Life;
  std::unique_ptr<Life> life_;
};

}  // namespace samples
