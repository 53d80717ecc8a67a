// First time stamps as they really are, and audio that starts late brought into step with its video.
#include <algorithm>
#include <cstdint>

#include "host/log.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mfreader.h"
#include "mpegdecode/mpegindec.h"
#include "mpegdecode/syncdelay.h"

namespace {

bool isVideoCode(int typeCode) { return typeCode >= 2 && typeCode <= 127; }
bool isAudioCode(int typeCode) { return typeCode >= 131 && typeCode <= 198; }

// The first stream of the list that carries the identifier, or null.
MpegInStream* findByIdentifier(MpegInStreamList const& list, int identifier) {
  for (int i = 0; i < list.size(); ++i) {
    MpegInStream* const stream = list.at(i);
    char const* const key =
        stream->decoder() && identifiedById(stream->decoder()->containerType) ? "id" : "pid";
    Any const& value = stream->info().descendant("codecParams", key, nullptr);
    if (value.isInt32() && value.asInt32() == identifier) return stream;
  }
  return nullptr;
}

// Time of the first sample of a unit whose priming samples are not delivered, 27 MHz.
int64_t audioStart(MfUnit const& unit, MpegAudioInfo const& audio) {
  if (audio.rate <= 0) return unit.pts;
  int64_t const leading = static_cast<int64_t>(audio.leadingSamples) * 27000000 / audio.rate;
  return leading < unit.startOffset ? unit.pts + unit.startOffset - leading : unit.pts;
}

void replaceStamp(MpegInStream& stream, char const* key, int identifier, int64_t measured) {
  AnyDict& codecParams = stream.info().child("codecParams");
  Any const& reported = codecParams[key];
  if (!reported.isInt64()) {
    ky_log()->error("Internal error in getFirstTimestampInfo");
    return;
  }
  ky_dbg()->info("stream %d, detected first PTS=%lld, mfimport reported %lld", identifier,
                 static_cast<long long>(measured), static_cast<long long>(reported.asInt64()));
  codecParams.set(key, Any(static_cast<long>(measured)));
}

// The video stream of the program, else the first one.
MpegInStream const* referenceVideo(MpegInStreamList const& videos, Any const& program) {
  if (program.isInt32()) {
    for (int i = 0; i < videos.size(); ++i)
      if (videos.at(i)->info().descendant("codecParams", "program_number", nullptr) == program)
        return videos.at(i);
  }
  return videos.at(0);
}

}  // namespace

int MpegInDec::measureFirstStamps() {
  MfHandlePtr const handle(mfCall([] { return mfimportNew(nullptr, 0); }));
  if (!handle) return 0;
  MfSettings settings{};
  settings.io = streamIo(*shared_);
  if (guardedFileOpen(handle.get(), params_.fileName, &settings) != 0) return kResultError;
  MfOpenFile const file(handle.get());
  MfContainerInfo container{};
  if (mfCall([&] { return mfimportGetContainerInfo(handle.get(), &container); }) != 0) return kResultError;
  for (int title = 0; title < container.titles; ++title) {
    MfTitleInfo info{};
    if (mfCall([&] { return mfimportGetTitleInfo(handle.get(), title, &info); }) != 0) continue;
    for (int i = 0; i < info.streams; ++i) measureFirstStamp(handle.get(), title, i);
  }
  return 0;
}

void MpegInDec::measureFirstStamp(MfHandle* handle, int title, int number) {
  MfStreamInfo info{};
  if (mfCall([&] { return mfimportGetStreamInfo(handle, title, number, &info); }) != 0) return;
  bool const isVideo = isVideoCode(info.typeCode);
  if (!isVideo && !isAudioCode(info.typeCode)) return;
  MpegInStream* const stream = findByIdentifier(isVideo ? video_.list() : audio_.list(), info.identifier);
  if (!stream) return;
  MfStreamPtr const reader(
      mfCall([&] { return mfimportStreamNew(handle, title, number, kMfDecodingOrder); }));
  MfUnit unit{};
  if (!reader || mfCall([&] { return mfimportStreamSeek(reader.get(), 0, nullptr); }) != 0 ||
      mfCall([&] { return mfimportStreamGetNext(reader.get(), &unit); }) != 0)
    return;
  if (isVideo)
    replaceStamp(*stream, "firstVPTS", info.identifier, unit.pts);
  else
    replaceStamp(*stream, "firstAPTS", info.identifier, audioStart(unit, stream->decoder()->audio));
}

bool MpegInDec::avSyncWanted(MpegIn const& file) const {
  if (!hasMeasuredStamps(file.containerType)) return false;
  Any const fix = getAttr("AVSyncFix");
  return fix.isInt32() ? fix.asInt32() != 0 : file.containerType == kContainerTransport;
}

void MpegInDec::correctAvDelay() {
  if (video_.empty()) return;
  for (int i = 0; i < audio_.size(); ++i) {
    MpegInAudioStream& stream = *audio_.at(i);
    AnyDict const& codecParams = stream.info()["codecParams"].asDict();
    AnyDict const& videoInfo = referenceVideo(video_.list(), codecParams["program_number"])->info();
    int64_t const firstVideo = videoInfo.descendant("codecParams", "firstVPTS", nullptr).asInt64();
    int const rate = stream.info()["samplerate"].asInt32();
    if (auto const delay = syncDelay(firstVideo, codecParams["firstAPTS"].asInt64(),
                                     videoInfo["framerate"].asFramerate().rate(), rate)) {
      delaySound(stream, static_cast<int32_t>(std::min<int64_t>(delay->samples, INT32_MAX)));
      ky_dbg()->info("[%s]Audio stream %d delayed %dms, applying correction (%d samples)", name(), i,
                     static_cast<int>(delay->ms), stream.syncDelaySamples);
    }
  }
}

// Silence in front of a stream that has none yet.
void MpegInDec::delaySound(MpegInAudioStream& stream, int32_t samples) {
  stream.syncDelaySamples = samples;
  stream.sampleCount += samples;
  double const seconds = static_cast<double>(stream.sampleCount) / stream.info()["samplerate"].asInt32();
  stream.info().set("samples", Any(static_cast<long>(stream.sampleCount)));
  stream.info().set("aDuration", seconds);
  stream.info().set("duration", seconds);
}
