#include "mfimport/index/scan.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "mfimport/index/container_kind.h"
#include "mfimport/index/stream_scan.h"

namespace mfimport {
namespace {

using mediafile::Container;
using mediafile::Skim;

Skim skimOf(Container& container) {
  if (mediafile::isIsoMedia(container.format()))
    return mediafile::hasMovieFragments(container.source()) ? Skim::largeReads : Skim::everything;
  return mediafile::isMxf(container.format()) ? Skim::largeReads : Skim::off;
}

// Packets lie there as the demultiplexer gives them.
bool hasPlainLayout(AVFormatContext const& format) {
  return mediafile::isIsoMedia(format) || formatIsAnyOf(format, {"wav", "w64", "aiff"});
}

class PacketPass {
 public:
  PacketPass(Container& container, ClipFacts const& clip, std::vector<StreamFacts> streams,
             HostMemory const& memory)
      : container_(container),
        bytes_(container.source(), clip.packetsAsTheyLie),
        byLibavIndex_(container.format().nb_streams, nullptr) {
    bool const isMxf = mediafile::isMxf(container.format());
    for (StreamFacts& facts : streams) {
      auto const at = static_cast<size_t>(facts.libavIndex);
      scans_.emplace_back(clip, isMxf, std::move(facts), memory, bytes_);
      byLibavIndex_[at] = &scans_.back();
    }
    for (unsigned i = 0; i < container.format().nb_streams; ++i)
      if (!byLibavIndex_[i]) container.format().streams[i]->discard = AVDISCARD_ALL;
  }

  std::vector<ScannedStream> run(Skim skim, bool plainLayout) {
    constexpr int kMostErrors = 64;
    lav::Packet const packet = lav::newPacket();
    int errors = 0, count = 0;
    bool comparing = true;
    while (errors < kMostErrors) {
      if (comparing && comparedEnough(count)) {
        comparing = false;
        judgeBeginnings();
        bool const anySplit =
            std::any_of(scans_.begin(), scans_.end(), [](StreamScan const& scan) { return scan.isSplit(); });
        container_.setSkim(anySplit ? Skim::off : skim);
      }
      int const result = container_.read(*packet);
      if (result == AVERROR_EOF || container_.broken()) break;
      if (result < 0) {
        ++errors;
        continue;
      }
      errors = 0;
      ++count;
      take(*packet, plainLayout && comparing);
      av_packet_unref(packet.get());
    }
    container_.setSkim(Skim::off);
    judgeBeginnings();
    std::vector<ScannedStream> streams;
    for (StreamScan& scan : scans_) streams.push_back(scan.finish());
    return streams;
  }

 private:
  // Streams that begin late are not waited for: they go through the demultiplexer.
  bool comparedEnough(int count) const {
    constexpr int kMostCompared = 64;
    return count >= kMostCompared || std::all_of(scans_.begin(), scans_.end(), [](StreamScan const& scan) {
             return scan.comparedEnough();
           });
  }

  void judgeBeginnings() {
    for (StreamScan& scan : scans_) scan.judgeBeginning();
  }

  void take(AVPacket const& packet, bool compare) {
    auto const at = static_cast<size_t>(packet.stream_index);
    if (at < byLibavIndex_.size() && byLibavIndex_[at] && packet.size > 0)
      byLibavIndex_[at]->take(packet, compare);
  }

  Container& container_;
  PacketBytes bytes_;
  std::deque<StreamScan> scans_;
  std::vector<StreamScan*> byLibavIndex_;  // null for streams without a number
};

}  // namespace

Result<std::vector<ScannedStream>> scanPackets(ClipFile& file, ClipFacts const& clip,
                                               std::vector<StreamFacts> streams, HostMemory const& memory) {
  auto const opened = file.container();
  if (!opened) return opened.error();
  Container& container = **opened;
  Skim const skim = skimOf(container);
  std::vector<ScannedStream> scanned =
      PacketPass(container, clip, std::move(streams), memory).run(skim, hasPlainLayout(container.format()));
  if (skim != Skim::off)
    file.closeContainer();  // it has buffered what was never read
  else
    file.claim(&file);  // it stands at the end
  if (auto const health = file.health(); !health) return health.error();
  return scanned;
}

}  // namespace mfimport
