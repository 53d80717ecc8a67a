#include "mfimport/index/build.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "mediafile/kept_bytes.h"
#include "mfimport/index/describe.h"
#include "mfimport/index/sample_count.h"
#include "mfimport/index/scan.h"
#include "mfimport/index/video_index.h"

namespace mfimport {
namespace {

// Enough for the first and the last groups of pictures at the rates of recorders.
constexpr int64_t kKeptBytes = 16 << 20;

int64_t probeBytesFor(int searchLimitMiB) {
  constexpr int kMostMiB = 2000;
  if (searchLimitMiB <= 0) return mediafile::ContainerOptions().probeBytes;
  return int64_t{std::min(searchLimitMiB, kMostMiB)} << 20;
}

StreamIndex::Content emptyContent(AVMediaType type, HostMemory const& memory) {
  if (type == AVMEDIA_TYPE_VIDEO) return VideoIndex(memory);
  if (type == AVMEDIA_TYPE_AUDIO) return AudioIndex(memory);
  return SubpictureIndex(memory);
}

Result<StreamIndex> indexStream(std::shared_ptr<ClipFile> const& file, ClipFacts const& clip,
                                ScannedStream scanned, HostMemory const& memory) {
  PacketList& list = scanned.list;
  // A stream that holds nothing is neither known nor unknown. Subtitles may be silent.
  list.absent = list.packets.empty() && list.type() != AVMEDIA_TYPE_SUBTITLE;
  if (list.absent) list.known = false;
  if (list.type() == AVMEDIA_TYPE_SUBTITLE)
    return StreamIndex(std::move(list), std::move(scanned.subpictures));
  if (!list.known) {
    AVMediaType const type = list.type();
    return StreamIndex(std::move(list), emptyContent(type, memory));
  }
  if (list.type() == AVMEDIA_TYPE_VIDEO) return indexVideo(file, clip, std::move(list), scanned.notes);
  auto counted = countSamples(file, clip, list, scanned.notes);
  if (!counted) return counted.error();
  list.parameters = std::move(counted->parameters);
  return StreamIndex(std::move(list), std::move(counted->audio));
}

}  // namespace

Result<MediaIndex> buildIndex(OpenedFile opened, std::string const& name, int searchLimitMiB,
                              HostMemory const& memory) {
  opened.source = std::make_unique<mediafile::KeptBytes>(std::move(opened.source), kKeptBytes);
  auto const file = std::make_shared<ClipFile>(std::move(opened), name, probeBytesFor(searchLimitMiB));
  auto const container = file->container();
  if (!container) return container.error();
  MediaIndex index{describeClip(**container, name, file->probeBytes()), {}};
  auto scanned = scanPackets(*file, index, describeStreams(**container, index.containerType), memory);
  if (!scanned) return scanned.error();
  for (ScannedStream& stream : *scanned) {
    auto indexed = indexStream(file, index, std::move(stream), memory);
    if (!indexed) return indexed.error();
    index.streams.push_back(indexed.take());
  }
  return index;
}

}  // namespace mfimport
