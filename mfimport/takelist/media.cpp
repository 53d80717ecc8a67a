#include "mfimport/takelist/media.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "mfimport/takelist/takelist.h"

namespace mfimport {
namespace {

// The text of a take list; none when the file is something else.
Result<std::optional<std::string>> readTakeList(mediafile::FileAccess const& access,
                                                std::string const& name) {
  auto const source = access.open(name);
  if (!source) return source.error();
  std::array<uint8_t, 5> head{};
  int64_t const got = (*source)->readAt(0, head);
  if (got < 0) return Error{Fault::unreadable, "reading failed"};
  if (!isTakeList({reinterpret_cast<char const*>(head.data()), static_cast<size_t>(got)}))
    return std::optional<std::string>();
  // The size that a caller hands over may be that of all clips together: what can be read counts.
  std::string text(static_cast<size_t>(std::min<int64_t>((*source)->size(), kTakeListMostBytes + 1)), 0);
  int64_t const length = (*source)->readAt(0, {reinterpret_cast<uint8_t*>(text.data()), text.size()});
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
    std::string const named = "clip '" + clip.path + "' of the take list";
    auto opened = acquireMediaIndex(access, clip.path, searchLimitMiB, host);
    if (!opened) return Error{Fault::takeList, named + ": " + opened.error().text};
    std::shared_ptr<MediaIndex const> index = opened.take();
    if (!media->clips.empty()) {
      std::string const difference = differenceOf(media->first(), *index);
      if (!difference.empty())
        return Error{Fault::takeList, named + " differs from the first one in " + difference};
    }
    media->fileSize += index->fileSize;
    media->clips.push_back(std::move(index));
  }
  return {std::move(media)};
}

// The pictures that time the sound: those of the first video stream.
StreamIndex const* timingVideo(MediaIndex const& index) {
  for (StreamIndex const& stream : index.streams)
    if (stream.known && stream.type() == AVMEDIA_TYPE_VIDEO && stream.video.rate > 0) return &stream;
  return nullptr;
}

template <class Parts>
size_t partAt(Parts const& parts, int64_t number) {
  auto const after = std::upper_bound(parts.begin(), parts.end(), number,
                                      [](int64_t wanted, auto const& part) { return wanted < part.first; });
  return static_cast<size_t>(after - parts.begin()) - 1;
}

}  // namespace

std::string differenceOf(MediaIndex const& first, MediaIndex const& clip) {
  if (first.streams.size() != clip.streams.size()) return "its number of streams";
  for (size_t i = 0; i < first.streams.size(); ++i) {
    StreamIndex const &a = first.streams[i], &b = clip.streams[i];
    std::string const number = " of stream " + std::to_string(i);
    if (a.type() != b.type() || a.known != b.known) return "the kind" + number;
    if (a.codec() != b.codec()) return "the codec" + number;
    if (a.type() == AVMEDIA_TYPE_VIDEO) {
      if (a.parameters->width != b.parameters->width || a.parameters->height != b.parameters->height)
        return "the picture size" + number;
      if (a.parameters->format != b.parameters->format) return "the pixel format" + number;
      if (std::abs(a.video.rate - b.video.rate) > 0.001 * a.video.rate && a.video.frames() > 1 &&
          b.video.frames() > 1)
        return "the frame rate" + number;
    }
    if (a.type() == AVMEDIA_TYPE_AUDIO) {
      if (a.parameters->sample_rate != b.parameters->sample_rate) return "the sample rate" + number;
      if (a.parameters->ch_layout.nb_channels != b.parameters->ch_layout.nb_channels)
        return "the number of channels" + number;
    }
  }
  return {};
}

Result<std::shared_ptr<Media const>> openMedia(mediafile::FileAccess const& access, std::string const& name,
                                               int searchLimitMiB, HostCallbacks const& host) {
  auto const text = readTakeList(access, name);
  if (!text) return text.error();
  if (*text) {
    auto const list = parseTakeList(**text);
    if (!list) return list.error();
    return openClips(access, *list, searchLimitMiB, host);
  }
  auto index = acquireMediaIndex(access, name, searchLimitMiB, host);
  if (!index) return index.error();
  auto media = std::make_shared<Media>();
  media->containerType = (*index)->containerType;
  media->fileSize = (*index)->fileSize;
  media->clips.push_back(index.take());
  return {std::move(media)};
}

VideoTrack::VideoTrack(std::shared_ptr<Media const> from, size_t streamNumber) : media(std::move(from)) {
  for (auto const& clip : media->clips) {
    StreamIndex const& clipStream = clip->streams[streamNumber];
    auto const count = static_cast<int64_t>(clipStream.video.frames());
    parts.push_back({clip.get(), &clipStream, frames, count});
    frames += count;
  }
}

size_t VideoTrack::partOf(int64_t frame) const { return partAt(parts, frame); }

AudioTrack::AudioTrack(std::shared_ptr<Media const> from, size_t streamNumber, HostCallbacks const* warn)
    : media(std::move(from)) {
  int64_t framesBefore = 0;
  for (size_t i = 0; i < media->clips.size(); ++i) {
    MediaIndex const& clip = *media->clips[i];
    StreamIndex const& clipStream = clip.streams[streamNumber];
    Part part{&clip, &clipStream, samples, clipStream.audio.samples, 0};
    StreamIndex const* video = timingVideo(clip);
    bool const last = i + 1 == media->clips.size();
    if (video) framesBefore += static_cast<int64_t>(video->video.frames());
    if (video && !last) {
      double const samplesPerFrame = clipStream.parameters->sample_rate / video->video.rate;
      int64_t const wanted = std::llround(static_cast<double>(framesBefore) * samplesPerFrame);
      int64_t const drift = samples + part.samples - wanted;
      if (static_cast<double>(std::abs(drift)) >= samplesPerFrame) {
        if (drift > 0) part.samples = std::max<int64_t>(part.samples - drift, 0);
        if (drift < 0) part.silence = -drift;
        if (warn)
          warn->warning(formatted(
              "mfimport: '%s': %lld samples %s at the end of the clip to keep sound and picture together",
              clip.name.c_str(), static_cast<long long>(std::abs(drift)),
              drift > 0 ? "left out" : "of silence added"));
      }
    }
    samples += part.samples + part.silence;
    parts.push_back(part);
  }
}

size_t AudioTrack::partOf(int64_t sample) const { return partAt(parts, sample); }

}  // namespace mfimport
