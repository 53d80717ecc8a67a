// Which of the library's codes a codec, container or stream belongs to. Pure rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "mediafile/lav.h"
#include "mfimport/headers/header_info.h"
#include "mfimport/mfimport.h"

namespace mfimport {

// Video codecs that can be named; others count as unknown.
bool isKnownVideo(AVCodecID codec);

// The MPEG-4 Part 2 relatives.
bool isMpeg4Family(AVCodecID codec);

// The run of audio numbers that a codec belongs to in a container; none: unknown.
std::optional<MpegAudioFormat> audioFormatOf(AVCodecID codec, int containerType);

// Layer of MPEG-1/2 audio, 0 for other codecs.
int mpegAudioLayer(AVCodecID codec);

bool isPcm(AVCodecID codec);
bool isBitmapSubtitle(AVCodecID codec);

HeaderSyntax headerSyntaxOf(AVCodecID codec);

// MfStreamInfo::typeCode.
int streamTypeCode(AVMediaType type, AVCodecID codec, int containerType);

// 4:2:0 and gray 1, 4:2:2 and 4:1:1 2, 4:4:4 and RGB 3; 0 for no format.
int chromaFormatOf(AVPixelFormat format);
// Bits per component, 0 for no format.
int depthOf(AVPixelFormat format);

// What the profile type code is decided by.
struct ProfileFacts {
  AVCodecID codec = AV_CODEC_ID_NONE;
  uint32_t tag = 0;  // sample entry, FOURCC in memory order
  int containerType = 0;
  int width = 0, height = 0;
  int chromaFormat = 0;
  double rate = 0;     // pictures per second
  double bitRate = 0;  // bits per second, 0 unknown
  int gopN = 0;
  int h264Profile = 0;
  bool constantBitRate = false;                                // MPEG-2: a vbv_delay other than 65535
  bool mpegAudio = false, ac3Audio = false, pcmAudio = false;  // kinds among the file's audio streams
  bool dvdNavigation = false;                                  // a DVD navigation stream
  std::string_view path;
};

// The code of the profile name table.
uint32_t profileTypeCode(ProfileFacts const& facts);

}  // namespace mfimport
