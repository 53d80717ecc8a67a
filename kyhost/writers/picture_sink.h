// What a command read comes in: pictures here, samples in wav_writer.h, text and bytes in output_file.h;
// files that are complete or absent go out.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "host/any.h"
#include "host/frame.h"

namespace kyhost {

enum class PictureFormat { Y4m, Raw, Png };

// What a writer must know before the first picture.
struct PictureSource {
  std::string name;  // of file and stream, for messages
  AnyDict info;      // the stream's description
  int64_t count;     // pictures to come
};

// Writers throw Failure (write), or Failure (usage) for a picture layout they cannot hold. One thread.
class PictureSink {
 public:
  virtual ~PictureSink() = default;
  // `number` is the picture's in its stream. All pictures have one size and layout.
  virtual void write(KyFrame const& frame, int64_t number) = 0;
  // Gives the output its name; without it nothing unfinished is left.
  virtual void finish() = 0;
};

// YUV4MPEG2. The header has the rate as an exact ratio, the field order of the frame rate, the pixel aspect
// and the colour space: C420mpeg2 and C422 for 8 bits, C420p16 and C422p16 (little-endian) for 16.
std::unique_ptr<PictureSink> makeY4mWriter(std::filesystem::path const& output, PictureSource const& source);

// Rows without padding, plane after plane, as the decoder lays the picture out.
std::unique_ptr<PictureSink> makeRawWriter(std::filesystem::path const& output, PictureSource const& source);

// PNG of 8 or, for deep layouts, 16 bits a component, with the pixel aspect in pHYs. `output` is a folder
// (made when missing; files are called frame_000123.png), a name with one %d or %05d for the picture's
// number, one plain name for one picture, or "-" for pictures one after another. Each file is complete or
// absent.
std::unique_ptr<PictureSink> makePngWriter(std::filesystem::path const& output, PictureSource const& source);

}  // namespace kyhost
