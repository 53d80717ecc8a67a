#include "mpegdecode/frametimestamps.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "host/mediatime.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mfreader.h"

namespace {

// Memory is taken for so many pictures on the file's word; for more only as they come.
constexpr int kTrustedFrames = 1 << 20;

// Null when a picture is missing.
std::unique_ptr<KyStreamTimestamps> readTable(MfHandle* handle, int title, int stream, int frames) {
  MfStreamPtr const reader(
      mfCall([&] { return mfimportStreamNew(handle, title, stream, kMfDecodingOrder); }));
  MfUnit unit{};
  if (!reader || mfCall([&] { return mfimportStreamSeek(reader.get(), 0, &unit); }) != 0) return nullptr;
  std::vector<FrameTime> times;
  times.reserve(static_cast<size_t>(std::min(frames, kTrustedFrames)));
  times.push_back({unit.sortKey, unit.time});
  for (int i = 1; i < frames; ++i) {
    if (mfCall([&] { return mfimportStreamGetNext(reader.get(), &unit); }) != 0) return nullptr;
    times.push_back({unit.sortKey, unit.time});
  }
  sortFrameTimes(times);
  auto table = std::make_unique<KyStreamTimestamps>();
  for (FrameTime const& frame : times)
    table->addSample(MediaTime(static_cast<double>(frame.time) / kMfTicksPerSecond));
  return table;
}

// Null as well when memory does not hold them.
std::unique_ptr<KyStreamTimestamps> frameTable(MfHandle* handle, int title, int stream, int frames) {
  if (frames < 1) return nullptr;
  try {
    return readTable(handle, title, stream, frames);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
}

// The first table of a video stream of the title with the identifier.
std::unique_ptr<KyStreamTimestamps> tableOfTitle(MfHandle* handle, int title, int identifier) {
  MfTitleInfo info{};
  if (mfCall([&] { return mfimportGetTitleInfo(handle, title, &info); }) != 0) return nullptr;
  for (int i = 0; i < info.streams; ++i) {
    MfStreamInfo stream{};
    if (mfCall([&] { return mfimportGetStreamInfo(handle, title, i, &stream); }) != 0) continue;
    if (stream.typeCode < 1 || stream.typeCode > 128 || stream.identifier != identifier) continue;
    if (auto table = frameTable(handle, title, i, stream.frames)) return table;
  }
  return nullptr;
}

}  // namespace

void sortFrameTimes(std::vector<FrameTime>& times) {
  std::stable_sort(times.begin(), times.end(),
                   [](FrameTime const& a, FrameTime const& b) { return a.sortKey < b.sortKey; });
}

std::unique_ptr<KyStreamTimestamps> readFrameTimestamps(MpegInVideoStream const& stream,
                                                        MpegExternalIo const& io, Any const& fileName) {
  if (!stream.decoder()) return nullptr;
  int const identifier =
      stream.codecParam(mpegIsProgramStream(stream.decoder()->containerType) ? "id" : "pid").asInt32();
  MfHandlePtr const handle(mfCall([] { return mfimportNew(nullptr, 0); }));
  if (!handle) return nullptr;
  MfSettings settings{};
  settings.io = io;
  if (guardedFileOpen(handle.get(), fileName, &settings) != 0) return nullptr;
  MfOpenFile const file(handle.get());
  MfContainerInfo info{};
  if (mfCall([&] { return mfimportGetContainerInfo(handle.get(), &info); }) != 0) return nullptr;
  for (int title = 0; title < info.titles; ++title)
    if (auto table = tableOfTitle(handle.get(), title, identifier)) return table;
  return nullptr;
}
