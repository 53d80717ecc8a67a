// Reading an opened file from one position to the next.
#pragma once

#include <cstdint>
#include <string>

#include "host/any.h"
#include "host/frame.h"
#include "kyhost/session/session.h"

namespace kyhost {

// Pictures of one video stream in order. One thread.
class VideoReader {
 public:
  // Selects the stream; throws Failure.
  VideoReader(Session const& session, int stream);
  ~VideoReader();
  VideoReader(VideoReader const&) = delete;
  VideoReader& operator=(VideoReader const&) = delete;

  int stream() const { return stream_; }
  int64_t frames() const { return frames_; }
  KyFramerate rate() const { return rate_; }
  AnyDict const& info() const { return info_; }
  // Number of the picture that next() gives.
  int64_t position() const { return position_; }

  // The next picture is `frame`. Throws Failure (read).
  void seek(int64_t frame);
  // The picture at the position, owned by the decoder until the next call; null at the end. A picture that
  // cannot be decoded throws Failure (read); the position has then passed it and reading can go on.
  KyFrame const* next();
  // Draws subtitles into the pictures from the position on; `subtitle` counts the bitmap subtitle streams of
  // the file from 0. Throws Failure (usage) when there is no such stream.
  void showSubtitles(int subtitle);

 private:
  Session const& session_;
  int stream_;
  AnyDict info_;
  int64_t frames_ = 0;
  KyFramerate rate_;
  int64_t position_ = 0;
};

// Samples of one audio stream in order. One thread.
class AudioReader {
 public:
  AudioReader(Session const& session, int stream);
  ~AudioReader();
  AudioReader(AudioReader const&) = delete;
  AudioReader& operator=(AudioReader const&) = delete;

  int stream() const { return stream_; }
  int64_t samples() const { return samples_; }
  int rate() const { return rate_; }  // Hz
  int channels() const { return channels_; }
  int bytesPerSample() const { return bytesPerSample_; }  // of one channel
  AnyDict const& info() const { return info_; }
  int64_t position() const { return position_; }

  void seek(int64_t sample);

  struct Block {
    unsigned char const* data = nullptr;  // interleaved, the decoder's until the next call
    int samples = 0;                      // of every channel; 0 at the end
  };
  // Up to `limit` samples from the position on. Throws Failure (read).
  Block next(int64_t limit);

 private:
  Session const& session_;
  int stream_;
  AnyDict info_;
  int64_t samples_ = 0;
  int rate_ = 0;
  int channels_ = 0;
  int bytesPerSample_ = 0;
  int64_t position_ = 0;
};

}  // namespace kyhost
