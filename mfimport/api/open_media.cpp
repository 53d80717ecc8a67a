#include "mfimport/api/open_media.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "mfimport/index/cache.h"
#include "mfimport/takelist/takelist.h"

namespace mfimport {
namespace {

// The text of a take list; none when the file is something else.
Result<std::optional<std::string>> takeListText(mediafile::ByteSource& source) {
  std::array<uint8_t, 5> head{};
  int64_t const got = source.readAt(0, head);
  if (got < 0) return Error{Fault::unreadable, "reading failed"};
  if (!isTakeList({reinterpret_cast<char const*>(head.data()), static_cast<size_t>(got)}))
    return std::optional<std::string>();
  // The size that a caller hands over may be that of all clips together: what can be read counts.
  std::string text(static_cast<size_t>(std::min<int64_t>(source.size(), kTakeListMostBytes + 1)), 0);
  int64_t const length = source.readAt(0, {reinterpret_cast<uint8_t*>(text.data()), text.size()});
  if (length < 0) return Error{Fault::unreadable, "reading failed"};
  if (length > kTakeListMostBytes) return Error{Fault::unreadable, "the take list is too long"};
  text.resize(static_cast<size_t>(length));
  return std::optional(std::move(text));
}

Result<std::shared_ptr<Media const>> openClips(mediafile::FileAccess const& access, TakeList const& list,
                                               int searchLimitMiB, HostCallbacks const& host) {
  auto media = std::make_shared<Media>();
  media->containerType = kContainerMp4;
  for (TakeListClip const& clip : list.clips) {
    auto const unfit = [&](std::string const& why) {
      return Error{Fault::takeList, "clip '" + clip.path + "' of the take list" + why};
    };
    auto opened = acquireIndex(access, clip.path, searchLimitMiB, host);
    if (!opened) return unfit(": " + opened.error().text);
    std::shared_ptr<MediaIndex const> index = opened.take();
    if (!media->clips.empty()) {
      std::string const difference = differenceOf(media->first(), *index);
      if (!difference.empty()) return unfit(" differs from the first one in " + difference);
    }
    media->fileSize += index->fileSize;
    media->clips.push_back(std::move(index));
  }
  return {std::move(media)};
}

std::shared_ptr<Media const> mediumOf(std::shared_ptr<MediaIndex const> index) {
  auto media = std::make_shared<Media>();
  media->containerType = index->containerType;
  media->fileSize = index->fileSize;
  media->clips.push_back(std::move(index));
  return media;
}

}  // namespace

Result<std::shared_ptr<Media const>> openMedia(mediafile::FileAccess const& access, std::string const& name,
                                               int searchLimitMiB, HostCallbacks const& host) {
  if (auto known = knownIndex(access, name, searchLimitMiB)) return mediumOf(std::move(known));
  auto file = openFile(access, name);
  if (!file) return file.error();
  auto const text = takeListText(*file->source);
  if (!text) return text.error();
  if (*text) {
    auto const list = parseTakeList(**text);
    if (!list) return list.error();
    return openClips(access, *list, searchLimitMiB, host);
  }
  auto index = acquireIndex(access, name, searchLimitMiB, host, file.take());
  if (!index) return index.error();
  return mediumOf(index.take());
}

}  // namespace mfimport
