// The packets of a file's subtitle streams.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dmfdemux/script.h"
#include "mediafile/container.h"

namespace dmfdemux {

// Times in the text that XSUB pictures begin with, "[00:00:01.000-00:00:02.500]"; none when there is no such.
std::optional<Times> xsubTimes(std::span<uint8_t const> packet);

// The bytes are valid until the next packet is asked for.
struct SubtitlePacket {
  int libavIndex = 0;
  Times times;
  std::span<uint8_t const> bytes;  // never empty
};

// Packets from the beginning of a file, in its order. One thread.
class PacketReader {
 public:
  virtual ~PacketReader() = default;
  // False at the end. Damage is read over while anything still follows it.
  virtual bool next(SubtitlePacket& packet) = 0;
};

// How the packets of one open file are had. Matroska gives single streams only by reading the whole file, so
// the first reader of a file with several subtitle streams collects the packets of all of them for the
// others. What would take too much memory is not kept: then every reader reads the file.
class SubtitlePackets {
 public:
  // `start` is what the file's time stamps begin with, microseconds; `streams` all that may be asked for, by
  // libav index.
  SubtitlePackets(std::string fileName, int64_t start, std::vector<int> streams);
  ~SubtitlePackets();
  SubtitlePackets(SubtitlePackets const&) = delete;
  SubtitlePackets& operator=(SubtitlePackets const&) = delete;

  // A reader of the packets of `streams`. This must outlive it.
  mediafile::Result<std::unique_ptr<PacketReader>> reader(std::vector<int> streams);

  struct Collection;

 private:
  bool collect();

  std::string fileName_;
  int64_t start_;
  std::vector<int> streams_;
  std::unique_ptr<Collection> collection_;
  bool collectable_;
};

}  // namespace dmfdemux
