#include "mfimport/headers/classify.h"

#include <cmath>
#include <cstdlib>

#include "mfimport/profiles.h"

namespace mfimport {

bool isMpeg4Family(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MPEG4:
    case AV_CODEC_ID_MSMPEG4V1:
    case AV_CODEC_ID_MSMPEG4V2:
    case AV_CODEC_ID_MSMPEG4V3:
    case AV_CODEC_ID_H263:
    case AV_CODEC_ID_H263I:
    case AV_CODEC_ID_H263P:
      return true;
    default:
      return false;
  }
}

bool isKnownVideo(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_VC1:
    case AV_CODEC_ID_WMV3:
    case AV_CODEC_ID_JPEG2000:
    case AV_CODEC_ID_DVVIDEO:
      return true;
    default:
      return isMpeg4Family(codec);
  }
}

bool isPcm(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_PCM_S16LE:
    case AV_CODEC_ID_PCM_S16BE:
    case AV_CODEC_ID_PCM_S24LE:
    case AV_CODEC_ID_PCM_S24BE:
    case AV_CODEC_ID_PCM_S32LE:
    case AV_CODEC_ID_PCM_S32BE:
    case AV_CODEC_ID_PCM_F32LE:
    case AV_CODEC_ID_PCM_F32BE:
    case AV_CODEC_ID_PCM_F64LE:
    case AV_CODEC_ID_PCM_F64BE:
    case AV_CODEC_ID_PCM_U8:
    case AV_CODEC_ID_PCM_S8:
    case AV_CODEC_ID_PCM_ALAW:
    case AV_CODEC_ID_PCM_MULAW:
    case AV_CODEC_ID_PCM_DVD:
    case AV_CODEC_ID_PCM_BLURAY:
    case AV_CODEC_ID_PCM_LXF:
      return true;
    default:
      return false;
  }
}

int mpegAudioLayer(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MP1:
      return 1;
    case AV_CODEC_ID_MP2:
      return 2;
    case AV_CODEC_ID_MP3:
      return 3;
    default:
      return 0;
  }
}

std::optional<MpegAudioFormat> audioFormatOf(AVCodecID codec, int containerType) {
  if (isPcm(codec)) {
    bool const mxf = containerType == kContainerMxf || containerType == kContainerMxfAvcIntra;
    return mxf || containerType == kContainerQuickTime ? kAudioAes3 : kAudioLpcm;
  }
  switch (codec) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_AAC_LATM:
      return kAudioMpegAac;
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
      return kAudioDolby;
    case AV_CODEC_ID_S302M:
      return kAudioAes3;
    case AV_CODEC_ID_AMR_NB:
    case AV_CODEC_ID_AMR_WB:
      return kAudioAmr;
    case AV_CODEC_ID_WMAV1:
    case AV_CODEC_ID_WMAV2:
    case AV_CODEC_ID_WMAPRO:
    case AV_CODEC_ID_WMALOSSLESS:
    case AV_CODEC_ID_WMAVOICE:
      return kAudioWma;
    case AV_CODEC_ID_DTS:
      return kAudioDts;
    default:
      return std::nullopt;
  }
}

bool isBitmapSubtitle(AVCodecID codec) {
  return codec == AV_CODEC_ID_DVD_SUBTITLE || codec == AV_CODEC_ID_DVB_SUBTITLE ||
         codec == AV_CODEC_ID_HDMV_PGS_SUBTITLE;
}

HeaderSyntax headerSyntaxOf(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
      return HeaderSyntax::mpeg12;
    case AV_CODEC_ID_MPEG4:
      return HeaderSyntax::mpeg4;
    case AV_CODEC_ID_H264:
      return HeaderSyntax::h264;
    case AV_CODEC_ID_HEVC:
      return HeaderSyntax::hevc;
    default:
      return HeaderSyntax::none;
  }
}

int streamTypeCode(AVMediaType type, AVCodecID codec, int containerType) {
  if (type == AVMEDIA_TYPE_VIDEO) {
    switch (codec) {
      case AV_CODEC_ID_NONE:
        return 1;
      case AV_CODEC_ID_MPEG1VIDEO:
        return 2;
      case AV_CODEC_ID_MPEG2VIDEO:
        return 3;
      case AV_CODEC_ID_H264:
        return 5;
      case AV_CODEC_ID_HEVC:
        return 6;
      case AV_CODEC_ID_VC1:
      case AV_CODEC_ID_WMV3:
        return 7;
      case AV_CODEC_ID_JPEG2000:
        return 8;
      case AV_CODEC_ID_DVVIDEO:
        return 9;
      default:
        return isMpeg4Family(codec) ? 4 : 10;
    }
  }
  if (type == AVMEDIA_TYPE_AUDIO) {
    auto const format = audioFormatOf(codec, containerType);
    if (!format) return 140;
    switch (*format) {
      case kAudioMpegAac:
        return mpegAudioLayer(codec) ? 131 : 132;
      case kAudioLpcm:
        return 133;
      case kAudioDolby:
        return codec == AV_CODEC_ID_AC3 ? 134 : 135;
      case kAudioAes3:
        return 136;
      case kAudioAmr:
        return 137;
      case kAudioWma:
        return 138;
      case kAudioDts:
        return 139;
      default:
        return 140;
    }
  }
  return type == AVMEDIA_TYPE_SUBTITLE ? 200 : 201;
}

int chromaFormatOf(AVPixelFormat format) {
  AVPixFmtDescriptor const* info = av_pix_fmt_desc_get(format);
  if (!info) return 0;
  if (info->nb_components < 3) return 1;
  if (info->log2_chroma_w == 0) return 3;
  return info->log2_chroma_h == 0 ? 2 : 1;
}

int depthOf(AVPixelFormat format) {
  AVPixFmtDescriptor const* info = av_pix_fmt_desc_get(format);
  return info ? info->comp[0].depth : 0;
}

namespace {

using namespace mpegprofile;

bool near(double value, double wanted, double tolerance) { return std::abs(value - wanted) <= tolerance; }

double megabits(ProfileFacts const& f) { return f.bitRate / 1e6; }

bool isMxf(ProfileFacts const& f) {
  return f.containerType == kContainerMxf || f.containerType == kContainerMxfAvcIntra;
}

bool isIso(ProfileFacts const& f) {
  return f.containerType == kContainerMp4 || f.containerType == kContainerQuickTime;
}

bool isTransport(ProfileFacts const& f) { return mpegIsTransportStream(f.containerType); }

// The first three characters of the tag.
bool tagBegins(ProfileFacts const& f, char const (&tag)[4]) {
  char const padded[5] = {tag[0], tag[1], tag[2], 0, 0};
  return (f.tag & 0xFFFFFF) == mpegFourcc(padded);
}

char tagEnd(ProfileFacts const& f) { return static_cast<char>(f.tag >> 24); }

// IMX: 4:2:2 intra pictures with 32 lines of vertical blanking (SMPTE 356M).
std::optional<uint32_t> imx(ProfileFacts const& f) {
  if (f.codec != AV_CODEC_ID_MPEG2VIDEO || f.chromaFormat != 2 || f.gopN != 1) return std::nullopt;
  if (f.width != 720 || (f.height != 512 && f.height != 608)) return std::nullopt;
  double const rate = megabits(f);
  bool const mapped = isMxf(f);
  if (near(rate, 30, 3)) return mapped ? kImx30 : kD10At30;
  if (near(rate, 40, 3)) return mapped ? kImx40 : kD10At40;
  if (near(rate, 50, 3)) return mapped ? kImx50 : kD10At50;
  return mapped ? kImx : kD10At30;
}

uint32_t xdcamHd420(ProfileFacts const& f) {
  if (f.height == 720) {
    if (megabits(f) < 30) return kXdcamHd720At25;
    return megabits(f) < 42 ? kXdcamHd720At35 : kXdcamHd720At50;
  }
  if (f.width == 1920) return kXdcamHd1080Full;
  if (megabits(f) > 0 && megabits(f) < 21.5) return kXdcamHd18;
  return megabits(f) > 0 && megabits(f) < 30 ? kXdcamHd25 : kXdcamHd35;
}

uint32_t xdcamHd422(ProfileFacts const& f) {
  if (f.height == 720) return kXdcamHd720At50;
  return f.width == 1440 ? kXdcamHd1440In422 : kXdcamHd422;
}

uint32_t xdcamEx(ProfileFacts const& f) {
  if (f.height == 720) return kXdcamEx720;
  return f.width == 1440 ? kXdcamEx1440 : kXdcamEx1080;
}

bool isHdSize(ProfileFacts const& f) {
  return (f.width == 1280 && f.height == 720) || ((f.width == 1440 || f.width == 1920) && f.height == 1080);
}

// MPEG-2 HD in QuickTime and MP4, and long GOP MPEG-2 in MXF.
std::optional<uint32_t> xdcam(ProfileFacts const& f) {
  if (f.codec != AV_CODEC_ID_MPEG2VIDEO || !isHdSize(f)) return std::nullopt;
  if (isIso(f)) {
    if (tagBegins(f, "hdv")) {
      char const end = tagEnd(f);
      return end == '1' || end == '4' || end == '5' || end == '9' || end == 'a' ? kHdv1 : kHdv2;
    }
    if (tagBegins(f, "xd5") || f.chromaFormat == 2) return xdcamHd422(f);
    if (tagBegins(f, "xdv")) {
      char const end = tagEnd(f);
      bool const discBased = end == '2' || end == '3' || end == '6' || end == '7' || end == '8';
      return discBased ? xdcamHd420(f) : xdcamEx(f);
    }
    return xdcamEx(f);
  }
  if (isMxf(f) && f.gopN != 1) return f.chromaFormat == 2 ? xdcamHd422(f) : xdcamHd420(f);
  return std::nullopt;
}

bool isHdv(ProfileFacts const& f) {
  return isTransport(f) && f.codec == AV_CODEC_ID_MPEG2VIDEO && f.chromaFormat == 1 && f.mpegAudio &&
         f.constantBitRate;
}

std::optional<uint32_t> disc(ProfileFacts const& f) {
  if (f.containerType == kContainerMpeg1System && f.codec == AV_CODEC_ID_MPEG1VIDEO && f.width == 352 &&
      (f.height == 240 || f.height == 288))
    return kVcd;
  if (f.containerType != kContainerMpeg2Program || f.codec != AV_CODEC_ID_MPEG2VIDEO) return std::nullopt;
  if (f.dvdNavigation) return kDvd;
  if (f.width == 480 && (f.height == 480 || f.height == 576)) return kSvcd;
  bool const width = f.width == 720 || f.width == 704 || f.width == 352;
  bool const height = f.height == 480 || f.height == 576 || f.height == 240 || f.height == 288;
  if (width && height && megabits(f) <= 9.8) return kDvd;
  return std::nullopt;
}

bool isBluRayPath(std::string_view path) { return path.find("BDMV/STREAM") != std::string_view::npos; }

std::optional<uint32_t> memoryCardOrBluRay(ProfileFacts const& f) {
  constexpr int kHighProfile = 100;
  if (f.containerType != kContainerM2ts) return std::nullopt;
  bool const bluRay = isBluRayPath(f.path) || megabits(f) > 28;
  bool const width = f.width == 1920 || f.width == 1440 || f.width == 1280 || f.width == 720;
  if (!bluRay && f.codec == AV_CODEC_ID_H264 && f.h264Profile == kHighProfile && width &&
      (f.ac3Audio || f.pcmAudio))
    return kAvchd;
  if (bluRay) return f.height > 576 && f.codec != AV_CODEC_ID_MPEG2VIDEO ? kBluRayHd : kBluRay;
  return std::nullopt;
}

std::optional<uint32_t> broadcast(ProfileFacts const& f) {
  if (f.containerType != kContainerTransport || f.codec != AV_CODEC_ID_MPEG2VIDEO) return std::nullopt;
  if (f.ac3Audio) return f.height > 576 ? kAtscHi : kAtsc;
  if (near(f.rate, 25, 0.01) || near(f.rate, 50, 0.01) || f.mpegAudio) return kDvb;
  return std::nullopt;
}

}  // namespace

uint32_t profileTypeCode(ProfileFacts const& f) {
  if (auto const code = imx(f)) return *code;
  if (auto const code = xdcam(f)) return *code;
  if (isHdv(f) && f.width == 1280 && f.height == 720) return kHdv1;
  if (isHdv(f) && f.width == 1440 && f.height == 1080) return kHdv2;
  if (auto const code = disc(f)) return *code;
  if (auto const code = memoryCardOrBluRay(f)) return *code;
  if (auto const code = broadcast(f)) return *code;
  return f.codec == AV_CODEC_ID_MPEG1VIDEO ? kMpeg1 : kMpeg2;
}

}  // namespace mfimport
