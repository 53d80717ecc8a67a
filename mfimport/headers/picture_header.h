// What the first bytes of a coded picture say about its place among the others.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "mediafile/lav.h"
#include "mfimport/headers/header_info.h"

namespace mfimport {

enum class PictureKind { unknown, intra, predicted, bidirectional };
enum class PictureStructure { frame, top, bottom };

struct PictureHeader {
  PictureKind kind = PictureKind::unknown;
  PictureStructure structure = PictureStructure::frame;  // of H.264
  bool coded = true;       // false: stands for a picture that is the one before again, and decodes to none
  bool restarts = false;   // the order of presentation is counted anew from here (H.264, HEVC)
  bool reference = false;  // of H.264, as the next
  uint32_t frameNumber = 0;
};

// Whether `second` is the other field of the frame that `first` is a field of (ITU-T H.264 3.30, 7.4.1.2.4).
bool completesFrame(PictureHeader const& first, PictureHeader const& second);

// Sequence layer of VC-1 (SMPTE 421M 6.1 and annex J), as far as picture types depend on it.
struct Vc1Sequence {
  bool advanced = false;
  bool interlace = false;                     // advanced profile
  bool interpolated = false, ranged = false;  // FINTERPFLAG, RANGERED: of simple and main profile
  int mostBidirectional = 0;                  // MAXBFRAMES: of simple and main profile
};
std::optional<Vc1Sequence> readVc1Sequence(std::span<uint8_t const> extradata);
// `picture` begins behind its start code.
PictureKind readVc1Kind(Vc1Sequence const& sequence, std::span<uint8_t const> picture);

// Reads the headers of one stream's pictures in decoding order; parameter sets among them are kept. Any input
// is allowed.
class PictureHeaderReader {
 public:
  explicit PictureHeaderReader(AVCodecParameters const& parameters);

  // None when `beginning` holds no header of a picture that this can read.
  std::optional<PictureHeader> read(std::span<uint8_t const> beginning);

 private:
  struct H264Sequence {
    int numberBits = 4;
    bool separatePlanes = false, framesOnly = true;
  };

  bool readUnit(std::span<uint8_t const> unit, PictureHeader& header);
  bool readMpeg12(std::span<uint8_t const> unit, PictureHeader& header) const;
  bool readMpeg4(std::span<uint8_t const> unit, PictureHeader& header);
  bool readVc1(std::span<uint8_t const> unit, PictureHeader& header);
  bool readH264(std::span<uint8_t const> unit, PictureHeader& header);
  bool readH264Slice(std::span<uint8_t const> unit, PictureHeader& header) const;
  bool readHevc(std::span<uint8_t const> unit, PictureHeader& header) const;
  void readConfiguration(std::span<uint8_t const> extradata);

  AVCodecID codec_;
  int lengthBytes_ = 0;
  int timeBits_ = 0;  // vop_time_increment of MPEG-4, 0 not known yet
  std::optional<Vc1Sequence> vc1_;
  std::array<H264Sequence, 32> sequences_{};
  std::array<uint8_t, 256> sequenceOfPicture_{};  // by pic_parameter_set_id
};

}  // namespace mfimport
