#include "mfimport/takelist/media.h"

#include <algorithm>
#include <cmath>

namespace mfimport {
namespace {

// The pictures that time the sound: those of the first video stream.
StreamIndex const* timingVideo(MediaIndex const& index) {
  for (StreamIndex const& stream : index.streams)
    if (stream.known && stream.type() == AVMEDIA_TYPE_VIDEO && stream.video().rate > 0) return &stream;
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
      if (std::abs(a.video().rate - b.video().rate) > 0.001 * a.video().rate && a.video().frames() > 1 &&
          b.video().frames() > 1)
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

VideoTrack::VideoTrack(std::shared_ptr<Media const> from, size_t streamNumber) : media(std::move(from)) {
  for (auto const& clip : media->clips) {
    StreamIndex const& clipStream = clip->streams[streamNumber];
    auto const count = static_cast<int64_t>(clipStream.video().frames());
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
    Part part{&clip, &clipStream, samples, clipStream.audio().samples, 0};
    StreamIndex const* video = timingVideo(clip);
    bool const last = i + 1 == media->clips.size();
    if (video) framesBefore += static_cast<int64_t>(video->video().frames());
    if (video && !last) {
      double const samplesPerFrame = clipStream.parameters->sample_rate / video->video().rate;
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
