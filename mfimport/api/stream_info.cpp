#include "mfimport/api/stream_info.h"

#include <algorithm>
#include <cmath>

#include "mfimport/audio/audio_codec.h"
#include "mfimport/clip/stamps.h"
#include "mfimport/headers/classify.h"
#include "mfimport/index/frame_rate.h"
#include "mfimport/video/video_codec.h"

namespace mfimport {
namespace {

double bitRateOf(StreamIndex const& stream, int64_t frames) {
  constexpr uint32_t kVariable = 0x3FFFF;  // of MPEG-1, and what encoders write that do not know
  uint32_t const coded = stream.video().headers.bitRateValue;
  if (coded != 0 && (coded & kVariable) != kVariable) return coded * 400.0;
  if (stream.parameters->bit_rate > 0) return static_cast<double>(stream.parameters->bit_rate);
  double bytes = 0;
  for (PacketEntry const& entry : stream.packets) bytes += entry.size;
  return frames > 0 && stream.video().rate > 0 ? bytes * 8 * stream.video().rate / static_cast<double>(frames)
                                               : 0;
}

bool isProgressive(StreamIndex const& stream) {
  if (stream.video().first.seen) return !stream.video().first.interlaced;
  AVFieldOrder const order = stream.parameters->field_order;
  return order == AV_FIELD_PROGRESSIVE || order == AV_FIELD_UNKNOWN;
}

bool isTopFieldFirst(StreamIndex const& stream) {
  if (stream.video().first.seen) return stream.video().first.topFieldFirst;
  AVFieldOrder const order = stream.parameters->field_order;
  return order == AV_FIELD_TT || order == AV_FIELD_TB;
}

void setCodecFlag(MpegVideoInfo& info, StreamIndex const& stream) {
  switch (stream.codec()) {
    case AV_CODEC_ID_H264:
      info.h264 = 1;
      break;
    case AV_CODEC_ID_HEVC:
      info.hevc = 1;
      break;
    case AV_CODEC_ID_JPEG2000:
      info.jpeg2000 = 1;
      break;
    case AV_CODEC_ID_VC1:
    case AV_CODEC_ID_WMV3:
      info.vc1 = 1;
      break;
    case AV_CODEC_ID_DVVIDEO:
      info.dv = 1;
      break;
    case AV_CODEC_ID_MPEG1VIDEO:
      break;
    case AV_CODEC_ID_MPEG2VIDEO:
      info.mpeg2 = 1;
      break;
    default:
      info.mpeg4 = isMpeg4Family(stream.codec()) ? 1 : 0;
      break;
  }
}

void setHeaderFacts(MpegVideoInfo& info, StreamIndex const& stream) {
  HeaderInfo const& headers = stream.video().headers;
  info.frameDct = std::max(headers.frameDct, 0);
  info.vbvDelay = std::max(headers.vbvDelay, 0);
  info.cbr = headers.cbr ? 1 : 0;
  info.aspectCode = headers.aspectCode;
  info.displayExtension = headers.displayExtension ? 1 : 0;
  info.displayWidth = headers.displayWidth;
  info.displayHeight = headers.displayHeight;
  info.aspectPresent = headers.aspectPresent ? 1 : 0;
  info.aspectIdc = headers.aspectIdc;
  info.sarWidth = headers.sarWidth;
  info.sarHeight = headers.sarHeight;
  info.dropFrame = headers.dropFrame || stream.dropFrame ? 1 : 0;
}

void setRates(MpegVideoInfo& info, StreamIndex const& stream, int containerType) {
  info.rate = stream.video().rate;
  info.secondRate = stream.video().displayedRate;
  info.containerFps = stream.averageRate > 0 ? stream.averageRate : stream.baseRate;
  info.streamFps = codedRateOf(stream.video());
  // What libavformat tells of a bare stream is a guess at its coded rate.
  if (containerType == kContainerElementary && info.streamFps > 0) info.containerFps = info.streamFps;
  if (info.streamFps <= 0) info.streamFps = info.rate;
}

ProfileFacts profileFacts(Media const& media, StreamIndex const& stream, MpegVideoInfo const& info) {
  ProfileFacts facts;
  facts.codec = stream.codec();
  facts.tag = stream.parameters->codec_tag;
  facts.containerType = media.containerType;
  facts.width = info.width;
  facts.height = info.height;
  facts.chromaFormat = info.chromaFormat;
  facts.rate = info.rate;
  facts.bitRate = info.bitRate;
  facts.gopN = info.gopN;
  facts.h264Profile = stream.codec() == AV_CODEC_ID_H264 ? stream.video().headers.profile : 0;
  facts.constantBitRate = stream.video().headers.vbvDelay >= 0 && stream.video().headers.vbvDelay != 0xFFFF;
  facts.dvdNavigation = media.first().dvdNavigation;
  facts.path = media.first().name;
  for (StreamIndex const& other : media.first().streams) {
    if (other.type() != AVMEDIA_TYPE_AUDIO) continue;
    facts.mpegAudio |= mpegAudioLayer(other.codec()) > 0;
    facts.ac3Audio |= other.codec() == AV_CODEC_ID_AC3 || other.codec() == AV_CODEC_ID_EAC3;
    facts.pcmAudio |= isPcm(other.codec());
  }
  return facts;
}

void setSelectors(MpegVideoInfo& info, int containerType) {
  info.selA = info.chromaFormat;
  info.selB = mpegIsProgramStream(containerType) ? 1 : 0;
  info.selC = info.height > 576 ? 6 : info.height <= 288 ? 5 : 4;
}

// For containers that tell none.
int averageBitRate(StreamIndex const& stream, MpegAudioInfo const& info) {
  if (isPcm(stream.codec())) return info.rate * info.channels * info.bits;
  if (stream.audio().samples == 0) return 0;
  double bytes = 0;
  for (PacketEntry const& entry : stream.packets) bytes += entry.size;
  return static_cast<int>(
      std::min(bytes * 8 * info.rate / static_cast<double>(stream.audio().samples), double{INT32_MAX}));
}

}  // namespace

StreamTable::StreamTable(Media const& media) {
  MediaIndex const& index = media.first();
  for (size_t i = 0; i < index.streams.size(); ++i) {
    StreamIndex const& stream = index.streams[i];
    if (stream.absent) continue;
    switch (stream.type()) {
      case AVMEDIA_TYPE_VIDEO:
        if (!stream.known) {
          ++unknownVideo;
        } else {
          video.push_back(i);
          videoId.push_back(stream.id);
        }
        break;
      case AVMEDIA_TYPE_AUDIO: {
        // Which run a PCM stream belongs to is the clip's own affair, not that of the take list.
        auto const format = audioFormatOf(stream.codec(), media.containerType);
        if (!stream.known || !format) {
          ++unknownAudio;
        } else {
          audio[*format].push_back(i);
          audioId[*format].push_back(stream.id);
        }
        break;
      }
      default:
        if (!isBitmapSubtitle(stream.codec())) break;
        subpictures.push_back(i);
        subpictureId.push_back(stream.id);
        break;
    }
  }
  if (video.empty()) {
    subpictures.clear();
    subpictureId.clear();
  }
}

std::optional<size_t> StreamTable::firstAudio() const {
  for (auto const& run : audio)
    if (!run.empty()) return run.front();
  return std::nullopt;
}

MpegVideoInfo videoInfo(Media const& media, size_t streamNumber) {
  StreamIndex const& stream = media.first().streams[streamNumber];
  AVCodecParameters const& parameters = *stream.parameters;
  MpegVideoInfo info{};
  info.present = 1;
  setCodecFlag(info, stream);
  info.width = parameters.width;
  info.height = parameters.height;
  info.containerWidth = stream.containerWidth;
  info.containerHeight = stream.containerHeight;
  int64_t frames = 0;
  for (auto const& clip : media.clips)
    frames += static_cast<int64_t>(clip->streams[streamNumber].video().frames());
  info.frames = static_cast<int>(std::min<int64_t>(frames, INT32_MAX));
  info.bitRate = bitRateOf(stream, static_cast<int64_t>(stream.video().frames()));
  setRates(info, stream, media.containerType);
  info.progressive = isProgressive(stream) ? 1 : 0;
  info.topFieldFirst = isTopFieldFirst(stream) ? 1 : 0;
  info.gopN = stream.video().gopN;
  info.gopM = stream.video().gopM;
  info.primaries = parameters.color_primaries;
  info.transfer = parameters.color_trc;
  info.matrix = parameters.color_space;
  setHeaderFacts(info, stream);
  auto const format =
      stream.video().first.seen ? stream.video().first.format : static_cast<AVPixelFormat>(parameters.format);
  info.chromaFormat = chromaFormatOf(format);
  info.sourceDepth = depthOf(format);
  if (info.chromaFormat == 0) info.chromaFormat = std::max(stream.video().headers.chromaFormat, 1);
  if (info.sourceDepth == 0) info.sourceDepth = std::max(stream.video().headers.depth, 8);
  info.firstPts = firstDisplayStamp(stream);
  setSelectors(info, media.containerType);
  info.profileType = profileTypeCode(profileFacts(media, stream, info));
  return info;
}

MpegAudioInfo audioInfo(std::shared_ptr<Media const> const& media, size_t streamNumber) {
  StreamIndex const& stream = media->first().streams[streamNumber];
  AVCodecParameters const& parameters = *stream.parameters;
  SampleLayout const layout = naturalLayout(parameters);
  MpegAudioInfo info{};
  info.samples = AudioTrack(media, streamNumber, nullptr).samples;
  info.rate = parameters.sample_rate;
  info.bits = layout.bits;
  info.isFloat = layout.isFloat ? 1 : 0;
  info.channels = parameters.ch_layout.nb_channels;
  if (parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE) info.speakers = parameters.ch_layout.u.mask;
  info.bitRate = static_cast<int>(std::min<int64_t>(parameters.bit_rate, INT32_MAX));
  if (info.bitRate == 0) info.bitRate = averageBitRate(stream, info);
  info.blockAlign = layout.bytes() * info.channels;
  info.mpegAudio = mpegAudioLayer(parameters.codec_id);
  info.acmod = stream.audio().acmod;
  info.lfeon = stream.audio().lfeon;
  for (size_t i = 0; i < stream.packets.size(); ++i) {
    SampleSpan const& span = stream.audio().spans[i];
    if (span.keep == 0 || stream.packets[i].pts == AV_NOPTS_VALUE) continue;
    info.firstPts =
        stream.to27M(stream.packets[i].pts) + av_rescale(span.drop, kClock27M.den, std::max(info.rate, 1));
    break;
  }
  return info;
}

bool anyDecoder(Media const& media, std::vector<size_t> const& streams) {
  return std::any_of(streams.begin(), streams.end(),
                     [&](size_t number) { return hasDecoder(media.first().streams[number].codec()); });
}

}  // namespace mfimport
