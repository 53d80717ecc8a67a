// Opening a container with libavformat so that nothing but the one file can be read.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mediafile/lav.h"
#include "mediafile/result.h"
#include "mediafile/source.h"

namespace mediafile {

struct ContainerOptions {
  int64_t probeBytes = 20 << 20;              // read at most to find out what the streams are
  bool streamInfo = true;                     // decode the beginning, for facts that the headers lack
  std::chrono::milliseconds patience{10000};  // without progress in reading, then an operation ends
};

// How much of the file the demultiplexer really gets to see.
enum class Skim {
  off,
  largeReads,  // reads above 32 KiB, that is payload, are answered without touching the file
  everything   // no read touches the file: packets are listed from tables already in memory
};

// One open container. One thread at a time. Untrusted input: the demultiplexer has no way to open another
// file, formats and decoders are those of a fixed list, and an operation that makes no progress in reading
// for ten seconds ends with an error. Reads that fail are errors here, never the end of the file.
class Container {
 public:
  // Fails as Fault::unreadable or Fault::format. `name` helps probing.
  static Result<std::unique_ptr<Container>> open(std::shared_ptr<ByteSource> source, std::string const& name,
                                                 ContainerOptions const& options);
  ~Container();
  Container(Container const&) = delete;
  Container& operator=(Container const&) = delete;

  AVFormatContext& format() { return *format_; }
  AVFormatContext const& format() const { return *format_; }

  // Sizes in pixels that the container itself gives for stream `index`, before any decoding.
  int declaredWidth(size_t index) const { return declared_[index].width; }
  int declaredHeight(size_t index) const { return declared_[index].height; }

  void setSkim(Skim skim);
  // True when packets are delivered as they lie in the container, without a parser looking into them: they
  // are whole pictures and frames there, and payload may be skimmed.
  bool unparsed() const { return (format_->flags & AVFMT_FLAG_NOPARSE) != 0; }
  // Reads packets of stream `index` only.
  void selectStream(int index);

  // av_read_frame. 0, or a libav error; AVERROR_EOF at the end, and only there.
  int read(AVPacket& packet);
  // True once a read of the file failed or took too long; a seek begins anew.
  bool broken() const { return failure_ != 0; }
  int seekToTime(int index, int64_t stamp);
  int seekToByte(int64_t position);

  ByteSource& source() { return *source_; }

 private:
  struct Size {
    int width, height;
  };

  explicit Container(std::shared_ptr<ByteSource> source);
  static int onRead(void* opaque, uint8_t* buffer, int bytes);
  static int64_t onSeek(void* opaque, int64_t position, int whence);
  static int onInterrupt(void* opaque);
  void beginOperation() { lastProgress_ = std::chrono::steady_clock::now(); }
  void beginAnew();
  int start(std::string const& name, ContainerOptions const& options);
  int openAndExamine(std::string const& name, ContainerOptions const& options);

  std::shared_ptr<ByteSource> source_;
  std::chrono::milliseconds patience_{};
  int failure_ = 0;  // libav error of a read, which libavformat may have passed over
  int64_t position_ = 0;
  Skim skim_ = Skim::off;
  std::chrono::steady_clock::time_point lastProgress_;
  lav::Io io_;
  lav::FormatContext format_;
  std::vector<Size> declared_;
};

// The streams that have a number in this system, by libav stream index: video, audio and subtitle streams in
// file order; data, attachments and cover art are not numbered.
std::vector<int> numberedStreams(AVFormatContext const& format);

// True for the MP4 family and QuickTime.
bool isIsoMedia(AVFormatContext const& format);
bool isMxf(AVFormatContext const& format);

// True when movie fragments can lie between the payload, so that the tables of `moov` do not list it all
// (ISO/IEC 14496-12 8.8).
bool hasMovieFragments(ByteSource& source);

}  // namespace mediafile
