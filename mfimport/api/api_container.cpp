// The container reader of the public interface: streams and access units with their stamps, from the index.
#include <cmath>
#include <memory>

#include "mfimport/api/instance.h"
#include "mfimport/api/open_media.h"
#include "mfimport/clip/stamps.h"
#include "mfimport/headers/classify.h"

using namespace mfimport;

struct MfHandle {
  explicit MfHandle(MpegResourceGetter getter) : host(getter) {}

  HostCallbacks host;
  std::shared_ptr<Media const> media;
};

struct MfStream {
  std::vector<MfUnit> units;  // in decoding order
  size_t next = 0;
};

namespace {

template <class Operation>
int guarded(Operation operation) noexcept {
  try {
    return operation();
  } catch (std::bad_alloc const&) {
    return kMpegErrorMemory;
  } catch (...) {
    return kMpegError;
  }
}

StreamIndex const* streamOf(MfHandle const* handle, int title, int stream) {
  if (!handle || !handle->media || title != 0 || stream < 0) return nullptr;
  auto const& streams = handle->media->first().streams;
  return static_cast<size_t>(stream) < streams.size() ? &streams[static_cast<size_t>(stream)] : nullptr;
}

bool deliversByDisplay(StreamIndex const& stream) {
  return stream.known && stream.type() == AVMEDIA_TYPE_VIDEO;
}

int64_t unitsOf(StreamIndex const& stream) {
  return static_cast<int64_t>(deliversByDisplay(stream) ? stream.video().frames() : stream.packets.size());
}

int64_t stampOf(StreamIndex const& stream, PacketEntry const& entry) {
  int64_t const stamp = entry.pts != AV_NOPTS_VALUE ? entry.pts : entry.dts;
  return stamp != AV_NOPTS_VALUE ? stream.to27M(stamp) : 0;
}

int64_t firstStampOf(StreamIndex const& stream) {
  if (stream.packets.empty()) return 0;
  if (deliversByDisplay(stream) && stream.video().frames() > 0) return firstDisplayStamp(stream);
  return stampOf(stream, stream.packets.front());
}

void addPictures(StreamIndex const& stream, int64_t shift, int64_t numberBase, std::vector<MfUnit>& units) {
  std::vector<int64_t> const stamps = displayStamps(stream);
  for (Picture const& picture : stream.video().pictures) {
    if (picture.display == Picture::kNotShown) continue;
    MfUnit unit{};
    unit.pts = unit.time = stamps[static_cast<size_t>(picture.display)] + shift;
    unit.sortKey = numberBase + picture.display;
    for (size_t i = 0; i < picture.packets; ++i) unit.size += stream.packets[picture.packet + i].size;
    units.push_back(unit);
  }
}

void addPackets(StreamIndex const& stream, int64_t shift, std::vector<MfUnit>& units) {
  bool const sound = stream.known && stream.type() == AVMEDIA_TYPE_AUDIO;
  for (size_t i = 0; i < stream.packets.size(); ++i) {
    MfUnit unit{};
    unit.pts = unit.time = stampOf(stream, stream.packets[i]) + shift;
    if (sound && stream.parameters->sample_rate > 0) {
      if (stream.audio().spans[i].keep == 0) continue;
      unit.startOffset =
          av_rescale(stream.audio().spans[i].drop, kClock27M.den, stream.parameters->sample_rate);
    }
    unit.sortKey = static_cast<int64_t>(units.size());
    unit.size = stream.packets[i].size;
    units.push_back(unit);
  }
}

// Ticks that a clip lasts: its pictures, or else its sound.
int64_t durationOf(MediaIndex const& clip) {
  for (StreamIndex const& stream : clip.streams)
    if (deliversByDisplay(stream) && stream.video().rate > 0)
      return std::llround(static_cast<double>(stream.video().frames()) / stream.video().rate * kClock27M.den);
  for (StreamIndex const& stream : clip.streams)
    if (stream.known && stream.type() == AVMEDIA_TYPE_AUDIO)
      return av_rescale(stream.audio().samples, kClock27M.den, std::max(stream.parameters->sample_rate, 1));
  return 0;
}

std::vector<MfUnit> listUnits(Media const& media, size_t streamNumber) {
  std::vector<MfUnit> units;
  int64_t shift = 0, numberBase = 0;
  for (auto const& clip : media.clips) {
    StreamIndex const& stream = clip->streams[streamNumber];
    if (deliversByDisplay(stream))
      addPictures(stream, shift, numberBase, units);
    else
      addPackets(stream, shift, units);
    shift += durationOf(*clip);
    numberBase += unitsOf(stream);
  }
  return units;
}

int openFile(MfHandle& handle, char const* name, MfSettings const* settings) {
  mediafile::FileAccess const access = settings ? accessOf(settings->io, name) : mediafile::FileAccess();
  auto media = openMedia(access, name, settings ? settings->searchLimit : 0, handle.host);
  handle.media = media ? media.take() : nullptr;
  if (!media) return reportOpening(handle.host, name, media.error());
  return kMpegOk;
}

}  // namespace

MfHandle* mfimportNew(MpegResourceGetter getter, int) {
  try {
    return new MfHandle(getter);
  } catch (...) {
    return nullptr;
  }
}

int mfimportFileOpen(MfHandle* handle, char const* name, MfSettings const* settings) {
  if (!handle || !name) return kMpegError;
  return guarded([&] { return openFile(*handle, name, settings); });
}

int mfimportGetContainerInfo(MfHandle* handle, MfContainerInfo* info) {
  if (!handle || !handle->media || !info) return kMpegError;
  *info = {1, handle->media->containerType};
  return kMpegOk;
}

int mfimportGetTitleInfo(MfHandle* handle, int title, MfTitleInfo* info) {
  if (!handle || !handle->media || !info || title != 0) return kMpegError;
  info->streams = static_cast<int>(handle->media->first().streams.size());
  return kMpegOk;
}

int mfimportGetStreamInfo(MfHandle* handle, int title, int stream, MfStreamInfo* info) {
  StreamIndex const* from = streamOf(handle, title, stream);
  if (!from || !info) return kMpegError;
  int const type = handle->media->containerType;
  bool const byId = mpegIsProgramStream(type);
  int64_t units = 0;
  for (auto const& clip : handle->media->clips) units += unitsOf(clip->streams[static_cast<size_t>(stream)]);
  info->typeCode = streamTypeCode(from->type(), from->codec(), type);
  info->identifier = byId ? from->id.id : from->id.pid;
  info->id = from->id;
  info->firstPts = firstStampOf(*from);
  info->frames = static_cast<int>(std::min<int64_t>(units, INT32_MAX));
  return kMpegOk;
}

MfStream* mfimportStreamNew(MfHandle* handle, int title, int stream, int) {
  if (!streamOf(handle, title, stream)) return nullptr;
  try {
    auto opened = std::make_unique<MfStream>();
    opened->units = listUnits(*handle->media, static_cast<size_t>(stream));
    return opened.release();
  } catch (...) {
    return nullptr;
  }
}

int mfimportStreamSeek(MfStream* stream, int64_t position, MfUnit* unit) {
  if (!stream || position < 0) return kMpegError;
  if (static_cast<uint64_t>(position) >= stream->units.size()) return kMpegEndOfStream;
  stream->next = static_cast<size_t>(position);
  return unit ? mfimportStreamGetNext(stream, unit) : static_cast<int>(kMpegOk);
}

int mfimportStreamGetNext(MfStream* stream, MfUnit* unit) {
  if (!stream || !unit) return kMpegError;
  if (stream->next >= stream->units.size()) return kMpegEndOfStream;
  *unit = stream->units[stream->next++];
  return kMpegOk;
}

void mfimportStreamFree(MfStream* stream) { delete stream; }

void mfimportFileClose(MfHandle* handle) {
  if (handle) handle->media.reset();
}

void mfimportFree(MfHandle* handle) { delete handle; }
