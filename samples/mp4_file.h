#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "samples/box_writer.h"
#include "samples/card_plan.h"

namespace samples {

/// An MP4 file as the camera lays it out: `ftyp`, `mdat` with pictures and sound in turn, `moov`; one `mp4v`
/// track with MPEG-2 and mono `twos` tracks of 16 bits, big-endian. Common muxers refuse PCM in MP4.
/// Throws std::runtime_error naming the file.
class Mp4File {
 public:
  Mp4File(std::filesystem::path path, PictureFormat const& format, int audioTracks);

  /// One coded picture, in decoding order; `display` is its place in display order. Pictures gather until
  /// `endPictureChunk`.
  void addPicture(std::span<std::uint8_t const> bytes, std::int64_t display, bool key);
  void endPictureChunk();

  /// One chunk of sound of the track (from 0).
  void addSound(int track, std::span<std::int16_t const> samples);

  /// Writes what makes the file readable. Without it the file is useless.
  void finish();

 private:
  struct Chunk {
    std::uint64_t offset;
    std::uint32_t samples;
  };
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void write(std::span<std::uint8_t const> bytes);
  std::uint64_t movieDuration() const;
  std::uint64_t soundLength(std::vector<Chunk> const& chunks) const;

  void writeMovie(BoxWriter& out) const;
  void writePictureTrack(BoxWriter& out) const;
  void writePictureEntry(BoxWriter& out) const;
  void writeStreamDescriptor(BoxWriter& out) const;
  void writePictureTables(BoxWriter& out) const;
  void writeSoundTrack(BoxWriter& out, std::size_t track) const;
  void writeTrackHeader(BoxWriter& out, std::uint32_t id, std::uint64_t duration, bool sound) const;
  void writeMediaHeader(BoxWriter& out, std::uint32_t timeScale, std::uint64_t duration, bool sound) const;
  static void writeDataReference(BoxWriter& out);
  static void writeChunkTables(BoxWriter& out, std::vector<Chunk> const& chunks);

  std::filesystem::path path_;
  PictureFormat format_;
  std::unique_ptr<std::FILE, Closer> file_;
  std::uint64_t position_ = 0;
  std::uint64_t mediaStart_ = 0;

  /// Sequence header with its extensions, which opens the stream; also the decoder configuration.
  std::vector<std::uint8_t> sequenceHeader_;
  std::vector<std::uint8_t> pendingPictures_;
  std::uint32_t pendingCount_ = 0;
  std::vector<std::uint32_t> pictureSizes_;
  std::vector<std::uint32_t> compositionOffsets_;
  std::vector<std::uint32_t> keyPictures_;
  std::vector<Chunk> pictureChunks_;
  std::vector<std::vector<Chunk>> soundChunks_;
  std::vector<std::uint8_t> soundBytes_;
};

}  // namespace samples
