#include "kyhost/session/readers.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/pcm.h"
#include "kyhost/session/failure.h"

namespace kyhost {
namespace {

// Reads a second in this many blocks. A joined stream whose tracks differ in length gives silence for the
// whole block in which a track ends, so blocks are short.
constexpr int kBlocksPerSecond = 25;

void select(Session const& session, KyStreamKind kind, int stream) {
  session.requireStream(kind, stream);
  if (session.pipe().selectStream(kind, stream) != 0)
    throw Failure(ExitCode::Read, session.describe(kind, stream, "cannot be selected"));
}

}  // namespace

VideoReader::VideoReader(Session const& session, int stream) : session_(session), stream_(stream) {
  select(session_, kKindVideo, stream_);
  info_ = session_.info(kKindVideo, stream_);
  rate_ = info_["framerate"].asFramerate();
  frames_ = session_.pipe().frameCount(stream_);
}

VideoReader::~VideoReader() { session_.pipe().deselectStream(kKindVideo, stream_); }

void VideoReader::seek(int64_t frame) {
  if (frame == position_) return;
  if (session_.pipe().seekToFrame(frame, stream_) != 0)
    throw Failure(ExitCode::Read,
                  session_.describe(kKindVideo, stream_, fmt::format("frame {} cannot be reached", frame)));
  position_ = frame;
}

KyFrame const* VideoReader::next() {
  if (position_ >= frames_) return nullptr;
  int64_t const number = position_++;
  int const result = session_.pipe().readFrame(stream_);
  if (result == kResultEndOfStream) return nullptr;
  KyFrame const* const frame = result == 0 ? session_.pipe().videoFrame(stream_) : nullptr;
  if (!frame)
    throw Failure(ExitCode::Read,
                  session_.describe(kKindVideo, stream_, fmt::format("frame {} cannot be decoded", number)));
  return frame;
}

void VideoReader::showSubtitles(int subtitle) {
  int bitmaps = 0;
  int const entries = session_.streams(kKindSubpic);
  for (int i = 0; i < entries; ++i) {
    if (session_.info(kKindSubpic, i)["type"].asInt32() != kTypeBitmaps) continue;
    if (bitmaps++ != subtitle) continue;
    // The decoder numbers captions, texts and bitmaps together.
    if (session_.pipe().setStreamParam(kKindVideo, stream_, "subpicOverlay", Any(i)) == 0) return;
    throw Failure(ExitCode::Read, session_.describe(kKindVideo, stream_,
                                                    fmt::format("subtitles {} cannot be drawn", subtitle)));
  }
  throw Failure(ExitCode::Usage,
                fmt::format("{}: no bitmap subtitle stream {} to draw: {}", session_.path().string(),
                            subtitle, streamsThere("bitmap subtitle", bitmaps)),
                entries > bitmaps ? "closed captions and text subtitles cannot be drawn" : "");
}

AudioReader::AudioReader(Session const& session, int stream) : session_(session), stream_(stream) {
  select(session_, kKindAudio, stream_);
  info_ = session_.info(kKindAudio, stream_);
  samples_ = session_.pipe().sampleCount(stream_);
  KyPcm const* const pcm = session_.pipe().audioPcm(stream_);
  rate_ = info_["samplerate"].asInt32();
  channels_ = info_["channels"].asInt32();
  bytesPerSample_ = pcm ? pcm->bytesPerSample() : 0;
  if (rate_ <= 0 || channels_ <= 0 || bytesPerSample_ <= 0)
    throw Failure(ExitCode::Read, session_.describe(kKindAudio, stream_, "has no readable samples"));
}

AudioReader::~AudioReader() { session_.pipe().deselectStream(kKindAudio, stream_); }

void AudioReader::seek(int64_t sample) {
  if (sample == position_) return;
  if (session_.pipe().seekToSample(sample, stream_) != 0)
    throw Failure(ExitCode::Read,
                  session_.describe(kKindAudio, stream_, fmt::format("sample {} cannot be reached", sample)));
  position_ = sample;
}

AudioReader::Block AudioReader::next(int64_t limit) {
  auto const wanted = static_cast<int>(std::min<int64_t>(limit, std::max(1, rate_ / kBlocksPerSecond)));
  if (wanted <= 0 || position_ >= samples_) return {};
  int const result = session_.pipe().readSamples(wanted, stream_);
  KyPcm const* const pcm = session_.pipe().audioPcm(stream_);
  // The last block of a stream can come with the result "end": what the buffer holds counts.
  if (pcm && pcm->nSamples > 0) {
    position_ += pcm->nSamples;
    return {pcm->ptr(0), pcm->nSamples};
  }
  if (result < 0 && result != kResultEndOfStream)
    throw Failure(ExitCode::Read, session_.describe(kKindAudio, stream_,
                                                    fmt::format("sample {} cannot be decoded", position_)));
  return {};
}

}  // namespace kyhost
