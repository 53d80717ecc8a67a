// What is known about a file after one pass over its packets: its streams, the display order of its pictures,
// the position of its samples. Built once, immutable, shared by all instances that read the file. This room
// takes numbers of packets and pictures and gives their bytes and stamps; how an index comes about is not its
// matter.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "mediafile/lav.h"
#include "mfimport/caller/host_callbacks.h"
#include "mfimport/headers/header_info.h"
#include "mfimport/mfimport.h"

namespace mfimport {

constexpr AVRational kClock27M{1, 27000000};

// One packet as the demultiplexer delivers it, or where that holds more than one picture the part of it that
// belongs to one, in file order. Stamps in the stream's time base, AV_NOPTS_VALUE where absent; position -1
// where unknown.
struct PacketEntry {
  int64_t pts, dts, position;
  int32_t size;
  uint32_t fingerprint;  // of beginning and end of the demultiplexer's packet, 0 where it was not read
  uint32_t offset = 0;   // within the demultiplexer's packet; not 0 continues that of the entry before
};

// Tells packets of equal size apart, which in transport and program streams neither position nor stamp does
// reliably.
uint32_t fingerprintOf(std::span<uint8_t const> packet);

// One coded picture, frame or pair of fields.
struct Picture {
  static constexpr int32_t kNotShown = -1;

  uint32_t packet;   // its first
  uint16_t packets;  // 1, or more where fields or slices lie in packets of their own
  bool key;          // decoding can start here
  bool hidden;       // needed for decoding alone (outside the edit list)
  uint32_t rank;     // place among all pictures by presentation time
  int32_t display;   // number under which it is shown, or kNotShown
};

// The pictures of a stream in their two orders.
struct PictureOrder {
  explicit PictureOrder(HostMemory const& memory) : pictures(HostAllocator<Picture>(memory)) {}

  // The key picture before `picture`, or the first one.
  size_t keyBefore(size_t picture) const;

  HostVector<Picture> pictures;  // in decoding order
  size_t firstKey = 0;
  int reorderDepth = 0;  // most pictures decoded before and shown after one
  bool stampsOfDecoding =
      false;  // the presentation stamps are those of decoding; the order is the pictures' own
};

// Facts of the first decoded picture.
struct FirstPicture {
  bool seen = false;
  int width = 0, height = 0;
  AVPixelFormat format = AV_PIX_FMT_NONE;
  bool interlaced = false, topFieldFirst = false;
  double codedRate = 0;  // as the elementary stream says
};

struct VideoIndex : PictureOrder {
  explicit VideoIndex(HostMemory const& memory) : VideoIndex(PictureOrder(memory)) {}
  explicit VideoIndex(PictureOrder order)
      : PictureOrder(std::move(order)), byDisplay(HostAllocator<uint32_t>(pictures.get_allocator())) {}

  size_t frames() const { return byDisplay.size(); }

  // The picture, in decoding order, where decoding must begin to show `display`: the last key picture that is
  // neither decoded nor presented after it. Pictures that follow a key in decoding and precede it in
  // presentation (open GOP) refer to the GOP before, hence the second condition. A key picture among the very
  // last ones is passed over.
  size_t startFor(size_t display) const;

  HostVector<uint32_t> byDisplay;  // display number to picture
  FirstPicture first;
  HeaderInfo headers;  // of the first key picture
  int gopN = 0, gopM = 0;
  double rate = 0;           // pictures per second, measured from the stamps; 0 unknown
  double displayedRate = 0;  // with repeated fields
};

// Samples that one packet contributes.
struct SampleSpan {
  int64_t first;       // number of its first delivered sample
  int32_t drop, keep;  // decoded samples left out at its beginning, delivered after those
  int32_t decoded;     // samples that its decoding gives
};

struct AudioIndex {
  explicit AudioIndex(HostMemory const& memory)
      : spans(HostAllocator<SampleSpan>(memory)), wholePairs(HostAllocator<uint32_t>(memory)) {}

  // The packet that delivers `sample`, which must be in range.
  size_t packetOf(int64_t sample) const;

  HostVector<SampleSpan> spans;  // one per packet
  // Of LPCM of DVD-Video: the packets that do not begin within a pair of samples, ascending.
  HostVector<uint32_t> wholePairs;
  int64_t samples = 0;
  int acmod = 0, lfeon = 0;  // of Dolby streams
};

// Of bitmap subtitles.
struct SubpictureIndex {
  explicit SubpictureIndex(HostMemory const& memory)
      : starts(HostAllocator<uint32_t>(memory)), stampedBy(HostAllocator<uint32_t>(memory)) {}

  HostVector<uint32_t> starts;  // the packets at which decoding can begin, ascending
  // By packet: the packet that has the stamp of what this one is a piece of.
  HostVector<uint32_t> stampedBy;
};

// What the container tells of a stream.
struct StreamFacts {
  AVMediaType type() const { return parameters->codec_type; }
  AVCodecID codec() const { return parameters->codec_id; }
  int64_t to27M(int64_t stamp) const { return av_rescale_q(stamp, timeBase, kClock27M); }

  int libavIndex = 0;
  MpegStreamId id{};
  lav::CodecParameters parameters;
  AVRational timeBase{1, 1};
  double averageRate = 0, baseRate = 0;  // avg_frame_rate, r_frame_rate of the container
  int containerWidth = 0, containerHeight = 0;
  bool dropFrame = false;
  bool known = false;   // can be named and decoded here, else counts as unknown
  bool absent = false;  // announced, but no packet is there: neither known nor unknown
};

// A stream and where its packets are: all that reading them takes.
struct PacketList : StreamFacts {
  PacketList(StreamFacts facts, HostMemory const& memory)
      : StreamFacts(std::move(facts)), packets(HostAllocator<PacketEntry>(memory)) {}

  HostVector<PacketEntry> packets;
  bool direct = false;  // packets are the file's bytes at (position, size)
};

struct StreamIndex : PacketList {
  using Content = std::variant<VideoIndex, AudioIndex, SubpictureIndex>;

  StreamIndex(PacketList list, Content filled) : PacketList(std::move(list)), content(std::move(filled)) {}

  // REQUIRES: the stream is of that type. Empty where it is not known.
  VideoIndex const& video() const { return *std::get_if<VideoIndex>(&content); }
  VideoIndex& video() { return *std::get_if<VideoIndex>(&content); }
  AudioIndex const& audio() const { return *std::get_if<AudioIndex>(&content); }
  AudioIndex& audio() { return *std::get_if<AudioIndex>(&content); }
  SubpictureIndex const& subpictures() const { return *std::get_if<SubpictureIndex>(&content); }

  Content content;
};

// What is known of the file itself.
struct ClipFacts {
  std::string name;
  int containerType = kContainerOther;
  int64_t fileSize = 0;
  bool packetsAsTheyLie = false;  // listed without parsers
  bool bytePositions = false;     // the demultiplexer seeks by byte position, not by stamp
  bool dvdNavigation = false;
  int64_t probeBytes = 0;
};

struct MediaIndex : ClipFacts {
  std::vector<StreamIndex> streams;  // by stream number
};

}  // namespace mfimport
