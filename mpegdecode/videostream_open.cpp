// A decoder of its own for one video stream.
#include <cstring>
#include <string>
#include <utility>

#include "host/codec.h"
#include "host/colour.h"
#include "host/file.h"
#include "host/log.h"
#include "mfimport/profiles.h"
#include "mpegdecode/decoderthreads.h"
#include "mpegdecode/externalio.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/parameters.h"
#include "mpegdecode/subpicstream.h"
#include "mpegdecode/videostream.h"

namespace {

// The sixteen default subpicture colours (0, Y, Cr, Cb) of titles without a palette of their own: four greys,
// then saturated colours of ITU-R BT.601 at 75 % and at half of that.
constexpr uint8_t kDefaultPalette[64] = {
    0, 16,  128, 128, 0, 235, 128, 128, 0, 126, 128, 128, 0, 180, 128, 128,  // black, white, greys
    0, 65,  212, 100, 0, 112, 58,  72,  0, 35,  114, 212,                    // red, green, blue
    0, 162, 142, 44,  0, 84,  198, 184, 0, 131, 44,  156,                    // yellow, magenta, cyan
    0, 41,  170, 114, 0, 64,  93,  100, 0, 25,  121, 170,                    // the same, dark
    0, 89,  135, 86,  0, 50,  163, 156, 0, 74,  86,  142};

KyYUVMatrix matrixOf(MpegColour const& colour) {
  return KyColourDesc(colour.primaries, colour.transfer, colour.matrix).toYUVMatrix();
}

// Those that the library writes; "b64a" can be asked for and is delivered as Y216.
bool isOutputFormat(uint32_t fourcc) {
  for (uint32_t const format :
       {mpegFourcc("I420"), mpegFourcc("YUYV"), mpegFourcc("BGR4"), mpegFourcc("Y216"), mpegFourcc("W016")})
    if (fourcc == format) return true;
  return false;
}

// A FOURCC as its four characters, others than printable ones as dots.
std::string textOf(uint32_t fourcc) {
  std::string text(sizeof fourcc, '\0');
  std::memcpy(text.data(), &fourcc, sizeof fourcc);
  for (char& c : text)
    if (c < ' ' || c > '~') c = '.';
  return text;
}

// The host asked for what nobody can deliver, so it and its user are told.
void reportRefusedFormat(int stream, uint32_t fourcc) {
  constexpr char const* kFormats = "I420, YUYV, BGR4, Y216, W016 and b64a are";
  std::string const format = textOf(fourcc);
  ky_dbg()->error("[mpegindec] '%s' is no output format: %s", format.c_str(), kFormats);
  ky_log()->error("Video stream #%d cannot be decoded as '%s', which is no output format: %s", stream,
                  format.c_str(), kFormats);
}

// Lines that carry the vertical blanking of IMX pictures (SMPTE 356M: 608 lines at 50 Hz, 512 at 60 Hz).
int imxBlankingLines(MpegVideoInfo const& video) {
  if (!mpegprofile::isImx(video.profileType)) return 0;
  return video.height == 608 ? 32 : video.height == 512 ? 26 : 0;
}

void setTarget(MpegIn& instance, KyFrame const& frame) {
  KyFrame_tt const& memory = frame.getFrame_tt();
  for (int plane = 0; plane < 4; ++plane) {
    instance.target.plane[plane] = memory.plane[plane];
    instance.target.stride[plane] = memory.stride[plane];
  }
}

constexpr int64_t kNoPicture = -1;  // number of a frame until its stream is selected

// Matroska tells rates in its headers more exactly than its streams do.
void keepParsedRate(MpegVideoInfo const& parsed, MpegIn& opened) {
  if (opened.containerType != kContainerMatroska || !(parsed.rate > 0.1)) return;
  ky_dbg()->info("[mpegindec] using mpegInGetInfo framerate %f, mpegInOpen returned %f ", parsed.rate,
                 opened.video.rate);
  opened.video.rate = parsed.rate;
  opened.video.secondRate = parsed.secondRate;
}

uint32_t chooseFourcc(MpegIn const& instance, MpegInParameters const& params) {
  constexpr uint32_t kB64a = mpegFourcc("b64a");
  constexpr uint32_t kY216 = mpegFourcc("Y216");
  constexpr uint32_t kW016 = mpegFourcc("W016");
  MpegVideoInfo const& video = instance.video;
  if (params.fourcc != 0 && !video.highPrecision) return params.fourcc == kB64a ? kY216 : params.fourcc;

  bool high = video.fourcc == kY216 || video.fourcc == kB64a || video.fourcc == kW016 || video.highPrecision;
  if (!high && video.sourceDepth > 8) {
    switch (params.preferredVideoBitDepth) {
      case 1:
        break;
      case 2:
        high = true;
        break;
      default:
        high = instance.containerType == kContainerMxfAvcIntra;
    }
  }
  if (high) return video.highPrecision || video.chromaFormat != 1 ? kY216 : kW016;
  switch (video.chromaFormat) {
    case 3:
      return mpegFourcc("BGR4");
    case 2:
      return mpegFourcc("YUYV");
    default:
      return mpegFourcc("I420");
  }
}

}  // namespace

int MpegInVideoStream::open(StreamSource const& source) {
  KyCodec const& pipe = source.pipe.codec;
  MpegInParameters const& params = source.pipe.params;
  if (!source.file.hasVideoDecoder)
    return pipe._setErr(kResultError, "Video is not available. Decoder is missing.");
  MpegInPtr instance(guardedNew());
  if (!instance) return pipe._setErr(kResultError, "Failed to create decoder instance");
  configure(*instance, source);
  int const opened = guardedOpen(instance.get(), params.fileName);
  keepParsedRate(source.file.video, *instance);
  if (opened != 0 || !prepareOutput(*instance, source))
    return pipe._setErr(kResultError, "Failed to decode video stream #%d.", index());
  decoder_.own(std::move(instance));
  endOfStream_ = false;
  try {
    store();
  } catch (...) {
    // A failed check of the description went to a handler that throws.
    close();
    throw;
  }
  info_.set("encodedHeight", info_["height"].asInt32());
  info_.set("height", frame_->height());
  info_.set("_needSwing", 0);
  applyThreading(source.pipe);
  if (guardedSeekFrame(decoder_.get(), 0) == 0) return 0;
  close();
  return pipe._setErr(kResultError, "Failed to decode video stream #%d - mpeginSeekFrame failed", index());
}

void MpegInVideoStream::configure(MpegIn& instance, StreamSource const& source) const {
  MpegIn const& file = source.file;
  MpegInParameters const& params = source.pipe.params;
  instance.io = streamIo(file);
  MpegSettings& set = instance.set;
  set.forceFrameRate = params.forceFramerate;
  if (set.forceFrameRate != 0)
    ky_dbg()->info("[mpegindec] Video forcing %s frame-rate mode.",
                   set.forceFrameRate == 1 ? "container" : "stream");
  set.searchMode = index() == 0 && !file.titleIsDvd ? 1 : params.searchMode;
  set.videoStream = index() + 1;
  set.dvdTitle = file.titleIsDvd;
  set.dvdPalette = file.titleIsDvd && KyFile::getExt(params.fileName, true).asString() != "ifo";
  if (set.dvdPalette) std::memcpy(set.palette, kDefaultPalette, sizeof set.palette);
  announceSubpictures(set, file, source.subpictures);
  set.fixed[0] = set.fixed[1] = 1;
  instance.video.fourcc = file.video.fourcc;
  instance.video.primaries = source.colour.primaries;
  instance.video.transfer = source.colour.transfer;
  instance.video.matrix = source.colour.matrix;
}

// The format and the memory of the pictures.
bool MpegInVideoStream::prepareOutput(MpegIn& instance, StreamSource const& source) {
  uint32_t& fourcc = instance.video.fourcc;
  fourcc = chooseFourcc(instance, source.pipe.params);
  bool const deliverable = isOutputFormat(fourcc);
  if (!deliverable) reportRefusedFormat(index(), fourcc);
  // The headers describe the first stream.
  if (index() == 0) headerColour_ = source.colour;
  return deliverable && createFrames(instance, source.pipe.params.removeImxTopBlanking);
}

bool MpegInVideoStream::createFrames(MpegIn& instance, bool withoutBlanking) {
  MpegVideoInfo const& video = instance.video;
  auto full = std::make_unique<KyFrame>();
  if (full->init(video.fourcc, video.width, video.height) != 0) return false;
  full->setYUVMatrix(matrixOf(colourOf(video, headerColour_)));
  full->setFrameNumber(kNoPicture);
  setTarget(instance, *full);

  int const blanking = withoutBlanking ? imxBlankingLines(video) : 0;
  if (blanking == 0 || full->is420()) {
    frame_ = std::move(full);
    return true;
  }
  auto view = std::make_unique<KyFrame>();
  if (view->initView(*full, blanking, video.height - blanking) != 0) return false;
  frame_ = std::move(view);
  scratch_ = std::move(full);
  return true;
}

void MpegInVideoStream::applyThreading(PipeView const& pipe) {
  std::string const codec = name_.asString();
  int mode = pipe.params.smpMode;
  if (mode == -1 && (codec == "HEVC" || codec == "VC-1")) mode = 1;
  if (mode != -1) setSmpMode(pipe.codec, *decoder_, mode);
  int threads = pipe.params.numThreads;
  if (threads == -1) {
    if (codec == "H.264") threads = 2;
    if (codec == "VC-1") threads = 3;
    if (codec == "HEVC" || codec == "MPEG-1" || codec == "MPEG-2") threads = 1;
  }
  if (threads != -1) setThreads(pipe.codec, *decoder_, threads);
}
