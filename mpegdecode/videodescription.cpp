#include "mpegdecode/videodescription.h"

#include <string_view>

#include "host/colour.h"
#include "host/util.h"
#include "mpegdecode/frameaspect.h"

namespace {

constexpr double kTolerance = 0.0001F;
constexpr double kNtscRate = 29.970029970029973;

bool same(double a, double b) { return KyUtil::equ(a, b, kTolerance); }

KyFramerate framerateOf(MpegVideoInfo const& video) {
  int order = video.progressive ? 0 : video.topFieldFirst ? 1 : 2;
  int pulldown = 0;
  if (!same(video.secondRate, video.rate)) {
    if (same(video.secondRate, 2 * video.rate)) {
      pulldown = 4;
    } else {
      pulldown = 2;
      order = 0;
    }
  }
  bool const dropFrame = same(video.rate, kNtscRate) && video.dropFrame;
  return {video.rate, order, dropFrame, pulldown};
}

char const* codecName(MpegVideoInfo const& video, int fileType) {
  if (video.h264) return "H.264";
  if (video.jpeg2000) return "JPEG2000";
  if (video.vc1) return "VC-1";
  if (video.hevc) return "HEVC";
  if (video.dv) return "DV";
  if (fileType == kContainerDmf) return "DivX";
  if (video.mpeg4) return "MPEG-4";
  return video.mpeg2 ? "MPEG-2" : "MPEG-1";
}

std::optional<int> mpegVersion(std::string_view codec) {
  if (codec == "MPEG-2") return 2;
  if (codec == "MPEG-1") return 1;
  return std::nullopt;
}

std::optional<bool> variableRate(MpegVideoInfo const& video) {
  if (video.h264) return video.cbr == 0;
  if (video.mpeg4 || video.vc1 || video.jpeg2000 || video.hevc) return std::nullopt;
  return video.vbvDelay == 65535;  // ISO/IEC 13818-2 6.3.9: 0xFFFF means variable bit rate
}

}  // namespace

MpegColour colourOf(MpegVideoInfo const& video, MpegColour const& otherwise) {
  constexpr int kUnspecified = 2;
  auto const either = [](int own, int other) { return own == kUnspecified ? other : own; };
  return {either(video.primaries, otherwise.primaries), either(video.transfer, otherwise.transfer),
          either(video.matrix, otherwise.matrix)};
}

VideoFacts videoFacts(MpegIn const& file) {
  constexpr double kLeastBitRate = 1000.0;  // less is none
  MpegVideoInfo const& video = file.video;
  MpegSettings const& set = file.set;
  VideoFacts facts;
  facts.fourcc = video.fourcc == mpegFourcc("YUY2") ? mpegFourcc("YUYV") : video.fourcc;
  facts.width = video.width;
  facts.height = video.height;
  facts.containerWidth = video.containerWidth;
  facts.containerHeight = video.containerHeight;
  facts.bitRate = video.bitRate < kLeastBitRate ? 0.0 : video.bitRate;
  facts.frames = video.frames;
  facts.frameAspect = frameAspect(video);
  facts.framerate = framerateOf(video);
  facts.containerFps = video.containerFps;
  facts.streamFps = video.streamFps;
  facts.gopN = video.gopN;
  facts.gopM = video.gopM;
  facts.colour = {video.primaries, video.transfer, video.matrix};
  facts.variableRate = variableRate(video);
  facts.codec = codecName(video, file.containerType);
  facts.frameDct = video.frameDct;
  facts.firstPts = video.firstPts;
  if (set.decodeSubpictures) {
    facts.overlay = set.overlay ? set.overlay - 1 : -1;
    facts.displaySubpictures = set.displaySubpictures;
  }
  return facts;
}

namespace {

AnyDict codecParamsOf(VideoFacts const& facts) {
  AnyDict codecParams;
  if (auto const version = mpegVersion(facts.codec)) codecParams.set("MPEG", *version);
  codecParams.set("id", static_cast<int>(facts.identity.id));
  codecParams.set("pid", static_cast<int>(facts.identity.pid));
  codecParams.set("sub_id", static_cast<int>(facts.identity.subId));
  codecParams.set("program_number", static_cast<int>(facts.identity.program));
  codecParams.set("frame_dct", facts.frameDct);
  codecParams.set("firstVPTS", Any(static_cast<long>(facts.firstPts)));
  codecParams.set("inFrameOffset", KyUtil::pts2FrameNr(facts.firstPts, facts.framerate.rate(), false));
  return codecParams;
}

}  // namespace

void describe(VideoFacts const& facts, AnyDict& info) {
  double const rate = facts.framerate.rate();
  info.set("FOURCC", static_cast<int>(facts.fourcc));
  info.set("width", facts.width);
  info.set("height", facts.height);
  info.set("containerWidth", facts.containerWidth);
  info.set("containerHeight", facts.containerHeight);
  info.set("vBitrate", facts.bitRate);
  info.set("frames", facts.frames);
  info.set("frameAspect", facts.frameAspect);
  info.set("pixelAspect", facts.height * facts.frameAspect / facts.width);
  info.set("vDuration", facts.frames / rate);
  info.set("duration", facts.frames / rate);
  info.set("framerate", facts.framerate);
  info.set("containerFPS", facts.containerFps);
  info.set("streamFPS", facts.streamFps);
  info.set("pal", same(rate, 25.0) || same(rate, 50.0) ? 1 : 0);
  info.set("N", facts.gopN);
  info.set("M", facts.gopM);
  info.set("colorimetry",
           KyColourDesc(facts.colour.primaries, facts.colour.transfer, facts.colour.matrix).toAny());
  info.set("inColorRange", static_cast<int>(facts.colorRange));
  if (facts.variableRate) info.set("vbr", *facts.variableRate ? 1 : 0);
  info.set("codec", facts.codec);
  info.set("videoCodec", facts.codec);
  info.set("codecParams", codecParamsOf(facts));
  info.set("_subpicOverlay", facts.overlay);
  info.set("_displaySubpics", facts.displaySubpictures);
}
