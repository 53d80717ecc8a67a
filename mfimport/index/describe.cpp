#include "mfimport/index/describe.h"

#include <cstring>

#include "mfimport/headers/classify.h"
#include "mfimport/index/container_kind.h"

namespace mfimport {
namespace {

using mediafile::Container;

constexpr int kLeastSize = 16, kMostSize = 8192;  // pixels

MpegStreamId programStreamId(AVStream const& stream) {
  // libavformat: 0x1E0 video, 0x1C0 MPEG audio, a bare sub-stream byte for private streams.
  MpegStreamId id{};
  id.id = static_cast<uint8_t>(stream.id & 0xFF);
  if ((stream.id & 0x100) == 0) id.subId = id.id;
  return id;
}

MpegStreamId transportStreamId(AVFormatContext const& format, AVStream const& stream) {
  MpegStreamId id{};
  id.pid = static_cast<uint16_t>(stream.id);
  AVCodecParameters const& p = *stream.codecpar;
  id.id = p.codec_type == AVMEDIA_TYPE_VIDEO ? 0xE0 : mpegAudioLayer(p.codec_id) ? 0xC0 : 0xBD;
  if (AVProgram const* program =
          av_find_program_from_stream(const_cast<AVFormatContext*>(&format), nullptr, stream.index))
    id.program = static_cast<uint16_t>(program->program_num);
  return id;
}

MpegStreamId identityOf(AVFormatContext const& format, AVStream const& stream, size_t number,
                        int containerType) {
  if (mpegIsProgramStream(containerType)) return programStreamId(stream);
  if (mpegIsTransportStream(containerType)) return transportStreamId(format, stream);
  MpegStreamId id{};
  id.pid = static_cast<uint16_t>(number);
  return id;
}

bool hasDropFrameTimecode(AVFormatContext const& format, AVStream const& stream) {
  for (AVDictionary const* metadata : {stream.metadata, format.metadata}) {
    AVDictionaryEntry const* entry = av_dict_get(metadata, "timecode", nullptr, 0);
    if (entry) return std::strchr(entry->value, ';') != nullptr;
  }
  return false;
}

bool isKnown(AVCodecParameters const& p, int containerType) {
  switch (p.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return isKnownVideo(p.codec_id) && p.width >= kLeastSize && p.height >= kLeastSize &&
             p.width <= kMostSize && p.height <= kMostSize;
    case AVMEDIA_TYPE_AUDIO:
      return audioFormatOf(p.codec_id, containerType).has_value() && p.sample_rate > 0 &&
             p.ch_layout.nb_channels > 0 && p.ch_layout.nb_channels <= 64;
    case AVMEDIA_TYPE_SUBTITLE:
      return true;
    default:
      return false;
  }
}

StreamFacts describeStream(Container const& container, int libavIndex, size_t number, int containerType) {
  AVFormatContext const& format = container.format();
  AVStream const& from = *format.streams[libavIndex];
  StreamFacts stream;
  stream.libavIndex = libavIndex;
  stream.id = identityOf(format, from, number, containerType);
  stream.parameters = lav::copy(*from.codecpar);
  stream.timeBase = from.time_base;
  if (from.avg_frame_rate.den > 0) stream.averageRate = av_q2d(from.avg_frame_rate);
  if (from.r_frame_rate.den > 0) stream.baseRate = av_q2d(from.r_frame_rate);
  stream.containerWidth = container.declaredWidth(static_cast<size_t>(libavIndex));
  stream.containerHeight = container.declaredHeight(static_cast<size_t>(libavIndex));
  if (stream.containerWidth <= 0) stream.containerWidth = from.codecpar->width;
  if (stream.containerHeight <= 0) stream.containerHeight = from.codecpar->height;
  stream.dropFrame = hasDropFrameTimecode(format, from);
  stream.known = isKnown(*from.codecpar, containerType);
  return stream;
}

}  // namespace

ClipFacts describeClip(Container& container, std::string const& name, int64_t probeBytes) {
  AVFormatContext const& format = container.format();
  ClipFacts clip;
  clip.name = name;
  clip.probeBytes = probeBytes;
  clip.fileSize = container.source().size();
  clip.containerType = containerTypeOf(container);
  clip.packetsAsTheyLie = container.unparsed();
  clip.bytePositions = formatIsAnyOf(format, {"mpegts", "mpeg", "mpegvideo", "m4v", "h264", "hevc", "vc1"});
  for (unsigned i = 0; i < format.nb_streams; ++i)
    if (format.streams[i]->codecpar->codec_id == AV_CODEC_ID_DVD_NAV) clip.dvdNavigation = true;
  return clip;
}

std::vector<StreamFacts> describeStreams(Container const& container, int containerType) {
  std::vector<StreamFacts> streams;
  for (int const at : mediafile::numberedStreams(container.format()))
    streams.push_back(describeStream(container, at, streams.size(), containerType));
  return streams;
}

}  // namespace mfimport
