// Bitmap subtitles of one stream by time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mediafile/source.h"
#include "mfimport/clip/media_index.h"
#include "mfimport/clip/packet_reader.h"
#include "mfimport/subpicture/subpicture_index.h"

namespace mfimport {

struct SubpictureBitmap {
  int x, y, width, height;         // on the canvas
  std::vector<uint8_t> pixels;     // `width` x `height` colour numbers
  std::array<uint32_t, 256> argb;  // colours, alpha on top, not multiplied by it
};

// What a stream shows for some time.
struct Subpicture {
  int64_t start, end;       // 27 MHz; INT64_MAX: until the next one
  SubpictureCanvas canvas;  // zero where the stream does not tell
  std::vector<SubpictureBitmap> bitmaps;
};

// One thread at a time; index and stream must outlive it. Packets form groups that begin where decoding can
// begin. A time is answered from its own group alone (or, before that group shows something, from the one
// before), so that the answer does not depend on what was asked before.
class SubpictureReader {
 public:
  // `dvdPalette`: sixteen comma-separated RRGGBB colours for DVD subpictures whose stream names none; empty
  // to let the decoder choose visible ones. The first failure to read or decode is told to `host`.
  SubpictureReader(MediaIndex const& index, StreamIndex const& stream, mediafile::FileAccess access,
                   std::string dvdPalette, HostCallbacks const& host);

  // What is shown at `time` (27 MHz), null for nothing. The same object while the same subpicture stands.
  std::shared_ptr<Subpicture const> const& at(int64_t time);

  // Packets sent to the decoder so far.
  int64_t packets() const { return packets_; }

 private:
  using Event = std::shared_ptr<Subpicture const>;

  size_t groupOf(size_t packet) const;
  bool decodeThrough(size_t group, size_t packet);
  bool begin(size_t group);
  Result<void> openReaders();
  Result<void> openDecoder();
  void feed();
  void decode(AVPacket& packet);
  Event eventBefore(size_t group);
  Event lastEventAt(int64_t time) const;
  int64_t stampOf(size_t packet) const;
  void warn(std::string const& what);

  MediaIndex const& index_;
  StreamIndex const& stream_;
  mediafile::FileAccess access_;
  std::string dvdPalette_;
  HostCallbacks const& host_;
  std::vector<int64_t> due_;  // of each packet, ascending: stamps, 27 MHz
  std::unique_ptr<PacketReader> reader_;
  lav::CodecContext codec_;
  lav::Packet packet_;
  SubpictureCanvas canvas_{};  // of the group as far as it has been read

  size_t group_ = SIZE_MAX;       // first packet of the group in events_
  size_t fed_ = 0;                // packets of it that were decoded end here
  size_t shownWhole_ = SIZE_MAX;  // the last one that was complete
  std::vector<Event> events_;
  size_t beforeGroup_ = SIZE_MAX;  // the group that before_ precedes
  Event before_;

  int64_t from_ = 0, until_ = 0;  // shown_ is the answer for times in between
  Event shown_;
  int64_t packets_ = 0;
  bool warned_ = false;
};

}  // namespace mfimport
