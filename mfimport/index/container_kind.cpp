#include "mfimport/index/container_kind.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "mfimport/headers/classify.h"

namespace mfimport {
namespace {

bool formatIs(AVFormatContext const& format, char const* name) {
  char const* names = format.iformat->name;
  size_t const length = std::strlen(name);
  for (char const* at = names; (at = std::strstr(at, name)); at += length)
    if ((at == names || at[-1] == ',') && (at[length] == 0 || at[length] == ',')) return true;
  return false;
}

bool hasStream(AVFormatContext const& format, AVMediaType type, bool (*test)(AVCodecID)) {
  std::vector<int> const numbered = mediafile::numberedStreams(format);
  return std::any_of(numbered.begin(), numbered.end(), [&](int index) {
    AVCodecParameters const& parameters = *format.streams[index]->codecpar;
    return parameters.codec_type == type && test(parameters.codec_id);
  });
}

// AVI and Matroska of the DivX profiles: their subtitles can be extracted.
bool isDmf(AVFormatContext const& format) {
  bool const fits = !hasStream(format, AVMEDIA_TYPE_VIDEO, [](AVCodecID codec) {
    return !isMpeg4Family(codec) && codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC &&
           codec != AV_CODEC_ID_VC1 && codec != AV_CODEC_ID_WMV3;
  });
  if (!fits) return false;
  bool const xsub =
      hasStream(format, AVMEDIA_TYPE_SUBTITLE, [](AVCodecID c) { return c == AV_CODEC_ID_XSUB; });
  if (formatIs(format, "matroska")) {
    bool const text = hasStream(format, AVMEDIA_TYPE_SUBTITLE, [](AVCodecID codec) {
      AVCodecDescriptor const* info = avcodec_descriptor_get(codec);
      return info && (info->props & AV_CODEC_PROP_TEXT_SUB) != 0;
    });
    return xsub || text;
  }
  if (xsub) return true;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    uint32_t const tag = format.streams[i]->codecpar->codec_tag;
    if (tag == mpegFourcc("DIVX") || tag == mpegFourcc("DX50") || tag == mpegFourcc("DIV3")) return true;
  }
  return false;
}

// A pack header of ISO/IEC 11172-1 has 0010 where that of 13818-1 has 01.
bool isMpeg1System(mediafile::ByteSource& source) {
  std::array<uint8_t, 5> head{};
  return source.readAt(0, head) == 5 && head[0] == 0 && head[1] == 0 && head[2] == 1 && head[3] == 0xBA &&
         head[4] >> 4 == 2;
}

int isoContainerType(AVFormatContext const& format) {
  AVDictionaryEntry const* brand = av_dict_get(format.metadata, "major_brand", nullptr, 0);
  return !brand || std::strcmp(brand->value, "qt  ") == 0 ? kContainerQuickTime : kContainerMp4;
}

bool isIntraHighDepth(AVFormatContext const& format) {
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    AVCodecParameters const& p = *format.streams[i]->codecpar;
    if (p.codec_id == AV_CODEC_ID_H264 && depthOf(static_cast<AVPixelFormat>(p.format)) > 8 &&
        readHeaders(HeaderSyntax::h264, lav::extradata(p), {}).intraProfile)
      return true;
  }
  return false;
}

}  // namespace

bool formatIsAnyOf(AVFormatContext const& format, std::initializer_list<char const*> names) {
  return std::any_of(names.begin(), names.end(), [&](char const* name) { return formatIs(format, name); });
}

int containerTypeOf(mediafile::Container& container) {
  AVFormatContext& format = container.format();
  if (mediafile::isIsoMedia(format)) return isoContainerType(format);
  if (formatIs(format, "mpegts")) {
    int64_t bytes = 0;
    av_opt_get_int(&format, "ts_packetsize", AV_OPT_SEARCH_CHILDREN, &bytes);
    return bytes == 192 ? kContainerM2ts : kContainerTransport;
  }
  if (formatIs(format, "mpeg"))
    return isMpeg1System(container.source()) ? kContainerMpeg1System : kContainerMpeg2Program;
  if (mediafile::isMxf(format)) return isIntraHighDepth(format) ? kContainerMxfAvcIntra : kContainerMxf;
  if (formatIs(format, "avi")) return isDmf(format) ? kContainerDmf : kContainerAvi;
  if (formatIs(format, "matroska")) return isDmf(format) ? kContainerDmf : kContainerMatroska;
  if (formatIs(format, "asf")) return kContainerAsf;
  if (formatIs(format, "dv")) return kContainerDv;
  if (formatIs(format, "gxf")) return kContainerGxf;
  if (formatIs(format, "flv")) return kContainerFlv;
  if (formatIsAnyOf(format, {"mpegvideo", "m4v", "h264", "hevc", "vc1", "wav", "w64", "aiff", "ac3", "eac3",
                             "dts", "aac", "mp3", "amr"}))
    return kContainerElementary;
  return kContainerOther;
}

}  // namespace mfimport
