#pragma once

#include <cstdint>
#include <optional>

// Silence that brings audio which starts late into step with its video.
struct SyncDelay {
  int64_t samples;
  int64_t ms;
};

// First time stamps in 27 MHz ticks, `frameRate` in frames per second (0: unknown, then 25 is taken for the
// tolerance), `sampleRate` in hertz. Nothing when the audio starts earlier than the video or at most one
// frame later. Values that do not fit go to the nearest end of their type.
std::optional<SyncDelay> syncDelay(int64_t firstVideo, int64_t firstAudio, double frameRate, int sampleRate);
