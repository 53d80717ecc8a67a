#include "mfimport/clip/packet_reader.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "clips.h"
#include "mfimport/index/cache.h"

using namespace mfimport;

namespace {

std::shared_ptr<MediaIndex const> indexOf(std::string const& path) {
  auto index = acquireIndex({}, path, 0, HostCallbacks(nullptr));
  EXPECT_TRUE(index) << index.error().text;
  return index.take();
}

std::vector<uint8_t> nextOf(PacketReader& reader) {
  lav::Packet const packet = lav::newPacket();
  if (reader.next(*packet) != PacketReader::Outcome::packet) return {};
  auto const bytes = lav::payload(*packet);
  return {bytes.begin(), bytes.end()};
}

TEST(PacketReading, StraightFromTheFile_GivesThePacketsOfTheDemultiplexer) {
  for (std::string const& path : {openGopMp4(), openGopMov(), editListMp4(), mpeg2Mov(), hevc10Mp4()}) {
    auto const index = indexOf(path);
    for (StreamIndex const& stream : index->streams) {
      SCOPED_TRACE(path + " stream " + std::to_string(stream.libavIndex));
      EXPECT_TRUE(stream.direct);
      auto const direct = openDirectReader(*index, stream, mediafile::FileAccess()).take();
      auto const demuxed = openDemuxReader(*index, stream, mediafile::FileAccess()).take();
      for (size_t i = 0; i < stream.packets.size(); ++i) {
        auto const bytes = nextOf(*direct);
        ASSERT_FALSE(bytes.empty()) << i;
        ASSERT_EQ(bytes, nextOf(*demuxed)) << i;
      }
      EXPECT_TRUE(nextOf(*direct).empty());
      EXPECT_TRUE(nextOf(*demuxed).empty());
    }
  }
}

std::string transportStream() {
  return clip("open_gop.ts", "-i " + openGopMp4() + " -c:v copy -c:a mp2 -b:a 192k -f mpegts {out}");
}
std::string programStream() {
  return clip("program.mpg",
              "-f lavfi -i testsrc2=s=352x288:r=25:d=4 -f lavfi -i sine=d=4 -c:v mpeg2video -g 12 -bf 2 -c:a "
              "mp2 -f vob {out}");
}
std::string matroska() { return clip("open_gop.mkv", "-i " + openGopMp4() + " -c copy {out}"); }

TEST(PacketReading, ThroughTheDemultiplexer_FindsEveryPacketAgain) {
  for (std::string const& path : {transportStream(), programStream(), matroska(), openGopMp4()}) {
    auto const index = indexOf(path);
    for (StreamIndex const& stream : index->streams) {
      SCOPED_TRACE(path + " stream " + std::to_string(stream.libavIndex));
      auto const sequential = openDemuxReader(*index, stream, mediafile::FileAccess()).take();
      std::vector<std::vector<uint8_t>> all;
      for (size_t i = 0; i < stream.packets.size(); ++i) all.push_back(nextOf(*sequential));
      auto const reader = openDemuxReader(*index, stream, mediafile::FileAccess()).take();
      std::set<size_t> keys;
      if (stream.type() == AVMEDIA_TYPE_VIDEO)
        for (Picture const& picture : stream.video().pictures)
          if (picture.key) keys.insert(picture.packet);
      std::mt19937 random(5);
      for (int i = 0; i < 60; ++i) {
        size_t number = random() % all.size();
        // Of video, only key pictures are beginnings.
        while (stream.type() == AVMEDIA_TYPE_VIDEO && number > 0 && !keys.contains(number)) --number;
        ASSERT_TRUE(reader->position(number)) << number;
        ASSERT_TRUE(nextOf(*reader) == all[number]) << number;
      }
    }
  }
}

TEST(MediaIndexCache, GivesTheSameIndexUntilTheFileChanges) {
  std::string const path = scratch("changing.mp4");
  auto const first = fileBytes(openGopMp4()), second = fileBytes(hevc10Mp4());
  writeFile(path, first.data(), first.size());
  auto const one = indexOf(path), again = indexOf(path);
  EXPECT_EQ(one, again);
  writeFile(path, second.data(), second.size());
  EXPECT_NE(indexOf(path), one);
}

}  // namespace
