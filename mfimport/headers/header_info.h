// Coded header fields that libavcodec does not hand out. Pure functions over bytes; any input is allowed.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace mfimport {

enum class HeaderSyntax { none, mpeg12, mpeg4, h264, hevc };

// What the headers said; fields keep their initial value until a header gives them.
struct HeaderInfo {
  // MPEG-1/2 (ISO/IEC 11172-2, 13818-2 6.2)
  bool mpeg2 = false;         // a sequence_extension was seen
  int aspectCode = 0;         // aspect_ratio_information
  uint32_t bitRateValue = 0;  // units of 400 bit/s, 18 low bits and 12 of the extension
  bool displayExtension = false;
  int displayWidth = 0, displayHeight = 0;
  int chromaFormat = 0;  // 1 4:2:0, 2 4:2:2, 3 4:4:4; also of H.264 and HEVC
  int vbvDelay = -1;     // of the first picture
  int frameDct = -1;     // frame_pred_frame_dct of the first picture
  bool dropFrame = false;
  int codedRateCode = 0;                    // frame_rate_code
  int rateMultiplier = 1, rateDivisor = 1;  // of the extension

  // MPEG-4: ticks per second of its clock, and per picture where all are equally long, else 0.
  int clockTicks = 0, pictureTicks = 0;

  // H.264, HEVC: video usability information; MPEG-4: aspect_ratio_info
  bool aspectPresent = false;
  int aspectIdc = 0, sarWidth = 0, sarHeight = 0;
  bool cbr = false;           // any cbr_flag of H.264 HRD parameters
  int profile = 0;            // profile_idc
  int depth = 0;              // luma bits, 0 unknown
  bool intraProfile = false;  // H.264 constraint_set3_flag

  // H.264, what slice headers are read by
  uint32_t sequenceId = 0;  // seq_parameter_set_id
  int frameNumberBits = 4;
  bool separatePlanes = false, framesOnly = true;

  bool any() const { return aspectCode != 0 || aspectPresent || depth != 0; }  // a sequence was described
};

// Bytes of the length fields that `extradata`, an avcC or hvcC record (ISO/IEC 14496-15), announces; 0 when
// it is no such record, that is for streams with start codes.
int nalLengthBytes(HeaderSyntax syntax, std::span<uint8_t const> extradata);

// Reads the headers in decoder configuration `extradata` and in `packet`, each may be empty.
HeaderInfo readHeaders(HeaderSyntax syntax, std::span<uint8_t const> extradata,
                       std::span<uint8_t const> packet);

// A sequence parameter set of H.264, behind its NAL header.
HeaderInfo readH264Sequence(std::span<uint8_t const> unit);
// A video object layer of MPEG-4, its start code value first.
HeaderInfo readMpeg4Layer(std::span<uint8_t const> unit);

// Frames per second by headers of MPEG-1, MPEG-2 and MPEG-4; 0 when they do not tell.
double codedRate(HeaderInfo const& headers);

// One user data unit (MPEG, type 0xB2) or SEI message (H.264; 4 registered, 5 unregistered).
struct UserData {
  int type;
  std::vector<uint8_t> bytes;  // behind the start code; of SEI the payload without emulation bytes
};

// All user data of one coded picture.
std::vector<UserData> readUserData(HeaderSyntax syntax, int lengthBytes, std::span<uint8_t const> packet);

// Whether a coded picture of H.263 (ITU-T H.263 5.1) or MPEG-4 (ISO/IEC 14496-2 6.2.5) is an intra picture;
// none when its header is not found.
std::optional<bool> isIntraH263(std::span<uint8_t const> picture);
std::optional<bool> isIntraMpeg4(std::span<uint8_t const> picture);

// True when a coded picture of MPEG-1/2 is an intra picture behind a sequence header.
bool beginsSequence(std::span<uint8_t const> picture);

}  // namespace mfimport
