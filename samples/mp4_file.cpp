#include "samples/mp4_file.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace samples {
namespace {

// 2014-05-06 in seconds since 1904-01-01, the epoch of MP4; fixed, so that equal options give equal files.
constexpr std::uint32_t kCreated = 3'482'179'200;
// ISO 639-2 "und", five bits a letter.
constexpr std::uint32_t kUndetermined = 0x55C4;
// B pictures are shown before the reference they follow in the stream: decoding runs one frame ahead.
constexpr std::int64_t kDelay = 1;

void writeMatrix(BoxWriter& out) { out.u32s({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}); }

/// Runs of equal values as (count, value), the form of `stts` and `ctts`.
void writeRuns(BoxWriter& out, std::vector<std::uint32_t> const& values) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
  for (std::uint32_t const value : values) {
    if (runs.empty() || runs.back().second != value) runs.emplace_back(0, value);
    ++runs.back().first;
  }
  out.u32(static_cast<std::uint32_t>(runs.size()));
  for (auto const& [count, value] : runs) out.u32s({count, value});
}

/// The bytes before the first GOP header: sequence header, sequence extension, display extension.
std::vector<std::uint8_t> leadingHeaders(std::span<std::uint8_t const> picture) {
  constexpr std::uint8_t kGroupStart[] = {0, 0, 1, 0xB8};
  auto const end =
      std::search(picture.begin(), picture.end(), std::begin(kGroupStart), std::end(kGroupStart));
  return {picture.begin(), end};
}

}  // namespace

Mp4File::Mp4File(std::filesystem::path path, PictureFormat const& format, int audioTracks)
    : path_(std::move(path)),
      format_(format),
      file_(std::fopen(path_.c_str(), "wbx")),
      soundChunks_(static_cast<std::size_t>(audioTracks)) {
  if (!file_)
    throw std::runtime_error(fmt::format("cannot create {}: {}", path_.string(), std::strerror(errno)));
  BoxWriter head;
  {
    auto const ftyp = head.box("ftyp");
    head.text("mp42");
    head.u32(0);
    head.text("mp42");
  }
  // Room for a 64-bit size, taken when the media data needs one.
  {
    auto const room = head.box("free");
  }
  mediaStart_ = head.data().size();
  {
    auto const mdat = head.box("mdat");
  }
  write(head.data());
}

void Mp4File::write(std::span<std::uint8_t const> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
    throw std::runtime_error(fmt::format("cannot write {}: {}", path_.string(), std::strerror(errno)));
  position_ += bytes.size();
}

void Mp4File::addPicture(std::span<std::uint8_t const> bytes, std::int64_t display, bool key) {
  if (pictureSizes_.empty()) sequenceHeader_ = leadingHeaders(bytes);
  auto const decoding = static_cast<std::int64_t>(pictureSizes_.size());
  pictureSizes_.push_back(static_cast<std::uint32_t>(bytes.size()));
  compositionOffsets_.push_back(
      static_cast<std::uint32_t>((display - decoding + kDelay) * format_.frameDuration));
  if (key) keyPictures_.push_back(static_cast<std::uint32_t>(pictureSizes_.size()));
  pendingPictures_.insert(pendingPictures_.end(), bytes.begin(), bytes.end());
  ++pendingCount_;
}

void Mp4File::endPictureChunk() {
  if (pendingCount_ == 0) return;
  pictureChunks_.push_back({position_, pendingCount_});
  write(pendingPictures_);
  pendingPictures_.clear();
  pendingCount_ = 0;
}

void Mp4File::addSound(int track, std::span<std::int16_t const> samples) {
  soundBytes_.clear();
  for (std::int16_t const sample : samples) {
    auto const word = static_cast<std::uint16_t>(sample);
    soundBytes_.push_back(static_cast<std::uint8_t>(word >> 8));
    soundBytes_.push_back(static_cast<std::uint8_t>(word));
  }
  soundChunks_.at(static_cast<std::size_t>(track))
      .push_back({position_, static_cast<std::uint32_t>(samples.size())});
  write(soundBytes_);
}

void Mp4File::finish() {
  endPictureChunk();
  std::uint64_t const mediaSize = position_ - mediaStart_;
  BoxWriter movie;
  writeMovie(movie);
  write(movie.data());

  // The header of the media data, now that its size is known.
  BoxWriter head;
  if (mediaSize > UINT32_MAX) {
    head.u32(1);
    head.text("mdat");
    head.u64(mediaSize + 8);
  } else {
    head.u32(8);
    head.text("free");
    head.u32(static_cast<std::uint32_t>(mediaSize));
    head.text("mdat");
  }
  bool const sought = ::fseeko(file_.get(), static_cast<off_t>(mediaStart_ - 8), SEEK_SET) == 0;
  if (sought) write(head.data());
  if (!sought || std::fclose(file_.release()) != 0)
    throw std::runtime_error(fmt::format("cannot finish {}: {}", path_.string(), std::strerror(errno)));
}

std::uint64_t Mp4File::movieDuration() const {
  return pictureSizes_.size() * static_cast<std::uint64_t>(format_.frameDuration);
}

std::uint64_t Mp4File::soundLength(std::vector<Chunk> const& chunks) const {
  return std::accumulate(chunks.begin(), chunks.end(), std::uint64_t{0},
                         [](std::uint64_t sum, Chunk const& chunk) { return sum + chunk.samples; });
}

void Mp4File::writeMovie(BoxWriter& out) const {
  auto const moov = out.box("moov");
  {
    auto const mvhd = out.fullBox("mvhd");
    out.u32s({kCreated, kCreated, static_cast<std::uint32_t>(format_.timeScale),
              static_cast<std::uint32_t>(movieDuration()), 0x10000});
    out.u16(0x100);
    out.zeros(10);
    writeMatrix(out);
    out.zeros(24);
    out.u32(static_cast<std::uint32_t>(soundChunks_.size() + 2));
  }
  writePictureTrack(out);
  for (std::size_t track = 0; track < soundChunks_.size(); ++track) writeSoundTrack(out, track);
}

void Mp4File::writePictureTrack(BoxWriter& out) const {
  auto const trak = out.box("trak");
  writeTrackHeader(out, 1, movieDuration(), false);
  {
    // The first picture shown has a composition time of the delay; presentation starts there.
    auto const edts = out.box("edts");
    auto const elst = out.fullBox("elst");
    out.u32s({1, static_cast<std::uint32_t>(movieDuration()),
              static_cast<std::uint32_t>(kDelay * format_.frameDuration), 0x10000});
  }
  auto const mdia = out.box("mdia");
  writeMediaHeader(out, static_cast<std::uint32_t>(format_.timeScale), movieDuration(), false);
  auto const minf = out.box("minf");
  {
    auto const vmhd = out.fullBox("vmhd", 0, 1);
    out.zeros(8);
  }
  writeDataReference(out);
  auto const stbl = out.box("stbl");
  writePictureEntry(out);
  writePictureTables(out);
  writeChunkTables(out, pictureChunks_);
}

void Mp4File::writePictureEntry(BoxWriter& out) const {
  auto const stsd = out.fullBox("stsd");
  out.u32(1);
  auto const mp4v = out.box("mp4v");
  out.zeros(6);
  out.u16(1);
  out.zeros(16);
  out.u16(static_cast<std::uint32_t>(format_.width));
  out.u16(static_cast<std::uint32_t>(format_.height));
  out.u32s({0x480000, 0x480000, 0});
  out.u16(1);
  out.zeros(32);
  out.u16(24);
  out.u16(0xFFFF);
  writeStreamDescriptor(out);
}

void Mp4File::writeStreamDescriptor(BoxWriter& out) const {
  // Descriptors of ISO/IEC 14496-1, 7.2.6. The one-byte length holds for contents up to 127 bytes.
  auto const header = static_cast<std::uint32_t>(sequenceHeader_.size());
  std::uint32_t const config = 13 + 2 + header;
  std::uint32_t const stream = 3 + 2 + config + 3;
  if (stream > 127) throw std::runtime_error("the sequence header is too long for its descriptor");
  auto const rate = static_cast<std::uint32_t>(format_.bitRate);

  auto const esds = out.fullBox("esds");
  out.u8(3);  // ES_Descriptor
  out.u8(stream);
  out.u16(1);
  out.u8(0);
  out.u8(4);  // DecoderConfigDescriptor
  out.u8(config);
  out.u8(0x61);  // MPEG-2 Video Main Profile
  out.u8(0x11);  // visual stream
  out.u24(rate / 8);
  out.u32s({rate, rate});
  out.u8(5);  // DecoderSpecificInfo
  out.u8(header);
  out.bytes(sequenceHeader_);
  out.u8(6);  // SLConfigDescriptor, as MP4 files have it
  out.u8(1);
  out.u8(2);
}

void Mp4File::writePictureTables(BoxWriter& out) const {
  auto const count = static_cast<std::uint32_t>(pictureSizes_.size());
  {
    auto const stts = out.fullBox("stts");
    out.u32s({1, count, static_cast<std::uint32_t>(format_.frameDuration)});
  }
  {
    auto const ctts = out.fullBox("ctts");
    writeRuns(out, compositionOffsets_);
  }
  {
    auto const stss = out.fullBox("stss");
    out.u32(static_cast<std::uint32_t>(keyPictures_.size()));
    for (std::uint32_t const picture : keyPictures_) out.u32(picture);
  }
  auto const stsz = out.fullBox("stsz");
  out.u32s({0, count});
  for (std::uint32_t const size : pictureSizes_) out.u32(size);
}

void Mp4File::writeSoundTrack(BoxWriter& out, std::size_t track) const {
  std::vector<Chunk> const& chunks = soundChunks_[track];
  std::uint64_t const samples = soundLength(chunks);
  std::uint64_t const duration = samples * static_cast<std::uint64_t>(format_.timeScale) / kSampleRate;

  auto const trak = out.box("trak");
  writeTrackHeader(out, static_cast<std::uint32_t>(track) + 2, duration, true);
  auto const mdia = out.box("mdia");
  writeMediaHeader(out, kSampleRate, samples, true);
  auto const minf = out.box("minf");
  {
    auto const smhd = out.fullBox("smhd");
    out.u32(0);
  }
  writeDataReference(out);
  auto const stbl = out.box("stbl");
  {
    auto const stsd = out.fullBox("stsd");
    out.u32(1);
    auto const twos = out.box("twos");
    out.zeros(6);
    out.u16(1);
    out.zeros(8);
    out.u16(1);
    out.u16(16);
    out.u32s({0, std::uint32_t{kSampleRate} << 16});
  }
  {
    auto const stts = out.fullBox("stts");
    out.u32s({1, static_cast<std::uint32_t>(samples), 1});
  }
  {
    auto const stsz = out.fullBox("stsz");
    out.u32s({2, static_cast<std::uint32_t>(samples)});
  }
  writeChunkTables(out, chunks);
}

void Mp4File::writeTrackHeader(BoxWriter& out, std::uint32_t id, std::uint64_t duration, bool sound) const {
  auto const tkhd = out.fullBox("tkhd", 0, 3);
  out.u32s({kCreated, kCreated, id, 0, static_cast<std::uint32_t>(duration), 0, 0});
  out.u32(0);
  out.u16(sound ? 0x100 : 0);
  out.u16(0);
  writeMatrix(out);
  out.u32(sound ? 0 : static_cast<std::uint32_t>(format_.width) << 16);
  out.u32(sound ? 0 : static_cast<std::uint32_t>(format_.height) << 16);
}

void Mp4File::writeMediaHeader(BoxWriter& out, std::uint32_t timeScale, std::uint64_t duration,
                               bool sound) const {
  {
    auto const mdhd = out.fullBox("mdhd");
    out.u32s({kCreated, kCreated, timeScale, static_cast<std::uint32_t>(duration)});
    out.u16(kUndetermined);
    out.u16(0);
  }
  auto const hdlr = out.fullBox("hdlr");
  out.u32(0);
  out.text(sound ? "soun" : "vide");
  out.zeros(12);
  out.text(sound ? "SoundHandler" : "VideoHandler");
  out.u8(0);
}

void Mp4File::writeDataReference(BoxWriter& out) {
  auto const dinf = out.box("dinf");
  auto const dref = out.fullBox("dref");
  out.u32(1);
  auto const url = out.fullBox("url ", 0, 1);
}

void Mp4File::writeChunkTables(BoxWriter& out, std::vector<Chunk> const& chunks) {
  {
    auto const stsc = out.fullBox("stsc");
    std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
    for (std::size_t index = 0; index < chunks.size(); ++index)
      if (runs.empty() || runs.back().second != chunks[index].samples)
        runs.emplace_back(static_cast<std::uint32_t>(index) + 1, chunks[index].samples);
    out.u32(static_cast<std::uint32_t>(runs.size()));
    for (auto const& [first, samples] : runs) out.u32s({first, samples, 1});
  }
  bool const wide = !chunks.empty() && chunks.back().offset > UINT32_MAX;
  auto const offsets = out.fullBox(wide ? "co64" : "stco");
  out.u32(static_cast<std::uint32_t>(chunks.size()));
  for (Chunk const& chunk : chunks) {
    if (wide)
      out.u64(chunk.offset);
    else
      out.u32(static_cast<std::uint32_t>(chunk.offset));
  }
}

}  // namespace samples
