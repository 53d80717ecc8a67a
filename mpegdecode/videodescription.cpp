#include <string>

#include "host/codec.h"
#include "host/colour.h"
#include "host/failure.h"
#include "host/util.h"
#include "mpegdecode/frameaspect.h"
#include "mpegdecode/videostream.h"

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

// The "vbr" entry, or -1 where the codec has none.
int variableRate(MpegVideoInfo const& video) {
  if (video.h264) return video.cbr ? 0 : 1;
  if (video.mpeg4 || video.vc1 || video.jpeg2000 || video.hevc) return -1;
  return video.vbvDelay == 65535 ? 1 : 0;  // ISO/IEC 13818-2 6.3.9: 0xFFFF means variable bit rate
}

}  // namespace

MpegColour colourOf(MpegVideoInfo const& video, MpegColour const& otherwise) {
  constexpr int kUnspecified = 2;
  auto const either = [](int own, int other) { return own == kUnspecified ? other : own; };
  return {either(video.primaries, otherwise.primaries), either(video.transfer, otherwise.transfer),
          either(video.matrix, otherwise.matrix)};
}

void MpegInVideoStream::store() {
  MpegIn none{};
  if (!decoder_ || !decoder_->video.present) kyExceptionFail("./mpegdecode/mpeginutil(540)", nullptr);
  MpegIn& file = decoder_ ? *decoder_ : none;
  MpegVideoInfo& video = file.video;

  if (index() >= 0 && index() < file.nVideo && file.videoId) setIdentity(file.videoId[index()]);
  uint32_t const fourcc = video.fourcc == mpegFourcc("YUY2") ? mpegFourcc("YUYV") : video.fourcc;
  info_.set("FOURCC", static_cast<int>(fourcc));
  info_.set("width", video.width);
  info_.set("height", video.height);
  info_.set("containerWidth", video.containerWidth);
  info_.set("containerHeight", video.containerHeight);
  if (video.jpeg2000 && video.secondRate < 0.1) video.secondRate = video.rate = 48.0;
  info_.set("vBitrate", video.bitRate < 1000.0 ? 0.0 : video.bitRate);
  info_.set("frames", video.frames);
  double const aspect = frameAspect(video);
  info_.set("frameAspect", aspect);
  info_.set("pixelAspect", video.height * aspect / video.width);
  double const seconds = video.frames / video.rate;
  info_.set("vDuration", seconds);
  info_.set("duration", seconds);
  info_.set("framerate", framerateOf(video));
  info_.set("containerFPS", video.containerFps);
  info_.set("streamFPS", video.streamFps);
  info_.set("pal", same(video.rate, 25.0) || same(video.rate, 50.0) ? 1 : 0);
  info_.set("N", video.gopN);
  info_.set("M", video.gopM);
  MpegColour const colour = colourOf(video, headerColour);
  info_.set("colorimetry", KyColourDesc(colour.primaries, colour.transfer, colour.matrix).toAny());
  info_.set("inColorRange", static_cast<int>(colorRange));
  if (int const vbr = variableRate(video); vbr >= 0) info_.set("vbr", vbr);

  name_ = codecName(video, file.containerType);
  AnyDict codecParams;
  if (name_ == Any("MPEG-2")) codecParams.set("MPEG", 2);
  if (name_ == Any("MPEG-1")) codecParams.set("MPEG", 1);
  codecParams.set("id", static_cast<int>(identity().id));
  codecParams.set("pid", static_cast<int>(identity().pid));
  codecParams.set("sub_id", static_cast<int>(identity().subId));
  codecParams.set("program_number", static_cast<int>(identity().program));
  info_.set("codec", name_);
  info_.set("videoCodec", name_);
  codecParams.set("frame_dct", video.frameDct);
  codecParams.set("firstVPTS", Any(static_cast<long>(video.firstPts)));
  codecParams.set("inFrameOffset", KyUtil::pts2FrameNr(video.firstPts, video.rate, false));
  info_.set("codecParams", codecParams);

  MpegSettings const& set = file.set;
  info_.set("_subpicOverlay", set.decodeSubpictures && set.overlay ? set.overlay - 1 : -1);
  info_.set("_displaySubpics", set.decodeSubpictures ? set.displaySubpictures : 0);
}
