// What the pass over all packets makes of one stream.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "mfimport/clip/media_index.h"
#include "mfimport/index/picture_splitter.h"
#include "mfimport/index/scan.h"

namespace mfimport {

// Headers of packets, straight from the file where the demultiplexer may skim them.
class PacketBytes {
 public:
  PacketBytes(mediafile::ByteSource& source, bool packetsAsTheyLie)
      : source_(source), packetsAsTheyLie_(packetsAsTheyLie) {}

  // Up to `most` bytes, with libavcodec's padding behind them. Valid until the next call.
  std::span<uint8_t const> beginningOf(AVPacket const& packet, int most = 1024);
  // Whether the file has these bytes at `position`.
  bool areAt(int64_t position, std::span<uint8_t const> bytes);

 private:
  mediafile::ByteSource& source_;
  bool packetsAsTheyLie_;
  std::vector<uint8_t> buffer_;
};

// Takes the packets in file order. `clip` and `bytes` must outlive it.
class StreamScan {
 public:
  StreamScan(ClipFacts const& clip, bool isMxf, StreamFacts facts, HostMemory const& memory,
             PacketBytes& bytes);

  // Nothing more is to be learned from comparing packets with the file.
  bool comparedEnough() const;
  bool isSplit() const { return splitter_ != nullptr; }

  void take(AVPacket const& packet, bool compare);

  // Decides by the packets so far whether they are pictures; until then the first ones are kept.
  void judgeBeginning();
  // No more packets.
  ScannedStream finish();

 private:
  static constexpr int kPacketsCompared = 2;

  // A first packet, padded.
  struct Kept {
    int64_t position;
    size_t size;
    std::vector<uint8_t> bytes;
  };

  bool tellsTooLittle() const;
  void keepBeginning(AVPacket const& packet);
  void split();
  void verifyKey(AVPacket const& packet, PacketNote& note);
  void noteSubpicture(std::span<uint8_t const> payload);
  void compareOne(int64_t position, std::span<uint8_t const> payload);
  void inspectLater();
  bool inspectRange(size_t from, size_t to);

  ClipFacts const& clip_;
  bool isMxf_;
  PacketBytes& bytes_;
  ScannedStream stream_;
  std::unique_ptr<PictureInspector> inspector_;
  std::unique_ptr<PictureSplitter> splitter_;
  std::vector<Kept> beginning_;
  size_t beginningBytes_ = 0;
  bool judged_ = false;
  int verified_ = 0;  // packets found equal to the file
  bool mismatched_ = false;
};

}  // namespace mfimport
