#include "mpegdecode/firststamps.h"

#include <algorithm>
#include <cstdint>

#include "host/codec.h"
#include "host/log.h"
#include "mpegdecode/externalio.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mfreader.h"
#include "mpegdecode/syncdelay.h"

namespace {

bool isVideoCode(int typeCode) { return typeCode >= 2 && typeCode <= 127; }
bool isAudioCode(int typeCode) { return typeCode >= 131 && typeCode <= 198; }

// The first stream of the list that carries the identifier, or null.
MpegInStream* findByIdentifier(MpegInStreamList const& list, int identifier) {
  for (int i = 0; i < list.size(); ++i) {
    MpegInStream* const stream = list.at(i);
    char const* const key =
        stream->decoder() && mpegIsProgramStream(stream->decoder()->containerType) ? "id" : "pid";
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

void measureFirstStamp(OpenedFile const& file, MfHandle* handle, int title, int number) {
  MfStreamInfo info{};
  if (mfCall([&] { return mfimportGetStreamInfo(handle, title, number, &info); }) != 0) return;
  bool const isVideo = isVideoCode(info.typeCode);
  if (!isVideo && !isAudioCode(info.typeCode)) return;
  MpegInStream* const stream =
      findByIdentifier(isVideo ? file.video.list() : file.audio.list(), info.identifier);
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

}  // namespace

int measureFirstStamps(OpenedFile const& file, Any const& fileName) {
  MfHandlePtr const handle(mfCall([] { return mfimportNew(nullptr, 0); }));
  if (!handle) return 0;
  MfSettings settings{};
  settings.io = streamIo(*file.shared);
  if (guardedFileOpen(handle.get(), fileName, &settings) != 0) return kResultError;
  MfOpenFile const reader(handle.get());
  MfContainerInfo container{};
  if (mfCall([&] { return mfimportGetContainerInfo(handle.get(), &container); }) != 0) return kResultError;
  for (int title = 0; title < container.titles; ++title) {
    MfTitleInfo info{};
    if (mfCall([&] { return mfimportGetTitleInfo(handle.get(), title, &info); }) != 0) continue;
    for (int i = 0; i < info.streams; ++i) measureFirstStamp(file, handle.get(), title, i);
  }
  return 0;
}

bool avSyncWanted(KyCodec const& pipe, MpegIn const& file) {
  if (!hasMeasuredStamps(file.containerType)) return false;
  Any const fix = pipe.getAttr("AVSyncFix");
  return fix.isInt32() ? fix.asInt32() != 0 : file.containerType == kContainerTransport;
}

void correctAvDelay(OpenedFile const& file, KyCodec const& pipe) {
  if (file.video.empty()) return;
  for (int i = 0; i < file.audio.size(); ++i) {
    MpegInAudioStream& stream = *file.audio.at(i);
    MpegInStream const& video = *referenceVideo(file.video.list(), stream.codecParam("program_number"));
    auto const delay =
        syncDelay(video.codecParam("firstVPTS").asInt64(), stream.codecParam("firstAPTS").asInt64(),
                  video.info()["framerate"].asFramerate().rate(), stream.info()["samplerate"].asInt32());
    if (!delay) continue;
    stream.delay(static_cast<int32_t>(std::min<int64_t>(delay->samples, INT32_MAX)));
    ky_dbg()->info("[%s]Audio stream %d delayed %dms, applying correction (%d samples)", pipe.name(), i,
                   static_cast<int>(delay->ms), stream.syncDelaySamples());
  }
}
