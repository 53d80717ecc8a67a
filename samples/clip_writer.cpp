#include "samples/clip_writer.h"

#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "samples/mp4_file.h"
#include "samples/mpeg2_encoder.h"
#include "samples/phase_signal.h"
#include "samples/picture_source.h"

namespace samples {
namespace {

std::string gopTimecode(Take const& take, int frame) {
  Timecode const code = timecodeAt(take, frame);
  return fmt::format("{:02}:{:02}:{:02}{}{:02}", code.hours, code.minutes, code.seconds,
                     take.format.dropFrame ? ';' : ':', code.frames);
}

/// Appends the sound of frames `begin` to `end` of the take, one chunk per track.
void addSound(Mp4File& file, Take const& take, int begin, int end, std::vector<std::int16_t>& buffer) {
  std::int64_t const from = samplesBefore(take.format, begin);
  buffer.resize(static_cast<std::size_t>(samplesBefore(take.format, end) - from));
  for (int track = 0; track < take.audioTracks; ++track) {
    fillPhase(buffer, {static_cast<std::uint64_t>(from), static_cast<unsigned>(take.number),
                       static_cast<unsigned>(track) + 1});
    file.addSound(track, buffer);
  }
}

}  // namespace

void writeClip(std::filesystem::path const& path, Take const& take, Clip const& clip) {
  PictureFormat const& format = take.format;
  PictureSource const source(format);
  Mp4File file(path, format, take.audioTracks);
  std::vector<std::int16_t> sound;

  // A chunk of as many pictures as a GOP has, then the sound of the same time.
  int coded = 0, chunkBegin = 0;
  auto const endChunk = [&] {
    file.endPictureChunk();
    addSound(file, take, clip.firstFrame + chunkBegin, clip.firstFrame + coded, sound);
    chunkBegin = coded;
  };
  Mpeg2Encoder encoder(format, gopTimecode(take, clip.firstFrame), [&](CodedPicture const& picture) {
    file.addPicture(picture.bytes, picture.display, picture.key);
    if (++coded % format.gopLength == 0 || coded == clip.frames) endChunk();
  });
  for (int frame = 0; frame < clip.frames; ++frame) {
    source.draw(encoder.nextPicture(),
                {static_cast<std::uint32_t>(clip.firstFrame + frame), static_cast<std::uint8_t>(take.number),
                 static_cast<std::uint8_t>(clip.part)});
    encoder.encode();
  }
  encoder.finish();
  file.finish();
}

}  // namespace samples
