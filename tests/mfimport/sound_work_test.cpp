// What reading sound costs, in packets: never more than a bound that the stream's length has no part in.
#include <gtest/gtest.h>

#include <random>

#include "clips.h"
#include "mfimport/audio/sample_source.h"
#include "mfimport/index/cache.h"

using namespace mfimport;

namespace {

class Sound {
 public:
  explicit Sound(std::string const& path) {
    auto index = acquireIndex({}, path, 0, HostCallbacks(nullptr));
    EXPECT_TRUE(index) << index.error().text;
    if (!index) return;
    index_ = index.take();
    for (StreamIndex const& stream : index_->streams)
      if (stream.type() == AVMEDIA_TYPE_AUDIO) stream_ = &stream;
    SampleLayout const layout = naturalLayout(*stream_->parameters);
    frameBytes_ = static_cast<size_t>(layout.bytes() * stream_->parameters->ch_layout.nb_channels);
    auto source = openDecodedSamples(*index_, *stream_, layout, {}, HostCallbacks(nullptr));
    EXPECT_TRUE(source) << source.error().text;
    if (source) source_ = source.take();
  }

  int64_t packets() const { return static_cast<int64_t>(stream_->packets.size()); }
  int64_t samples() const { return stream_->audio().samples; }
  SampleStats stats() const { return source_->stats(); }

  // Work of one seek and the reading of a sample there.
  SampleStats seek(int64_t sample) {
    SampleStats const before = stats();
    source_->seek(sample);
    std::vector<uint8_t> out(frameBytes_);
    EXPECT_EQ(source_->read(out.data(), 1), 1);
    SampleStats const after = stats();
    return {after.beginnings - before.beginnings, after.decoded - before.decoded,
            after.examined - before.examined};
  }

  void readAll() {
    constexpr int64_t kBlock = 4096;
    std::vector<uint8_t> out(kBlock * frameBytes_);
    int64_t got = 0, all = 0;
    while ((got = source_->read(out.data(), kBlock)) > 0) all += got;
    EXPECT_EQ(all, samples());
  }

 private:
  std::shared_ptr<MediaIndex const> index_;
  StreamIndex const* stream_ = nullptr;
  size_t frameBytes_ = 0;
  std::unique_ptr<SampleSource> source_;
};

struct Most {
  int64_t beginnings = 0, decoded = 0, examined = 0;
};

Most mostOfSeeks(Sound& sound, int seeks) {
  std::mt19937 random(4);
  Most most;
  for (int i = 0; i < seeks; ++i) {
    SampleStats const work =
        sound.seek(static_cast<int64_t>(random() % static_cast<uint64_t>(sound.samples())));
    most.beginnings = std::max(most.beginnings, work.beginnings);
    most.decoded = std::max(most.decoded, work.decoded);
    most.examined = std::max(most.examined, work.examined);
  }
  return most;
}

std::string dvdSound(int seconds) {
  std::string const length = std::to_string(seconds);
  return clip("lpcm_" + length + ".vob", "-f lavfi -i testsrc2=s=64x64:r=25:d=" + length +
                                             " -f lavfi -i sine=r=48000:d=" + length +
                                             " -c:v mpeg2video -c:a pcm_dvd -ac 2 -f vob {out}");
}

// Four times the length may cost four times the work, and a little for the search in a longer list.
TEST(SoundWork, OfReadingDvdLpcmFromEndToEnd_GrowsAsItsLength) {
  Sound brief(dvdSound(15)), whole(dvdSound(60));
  brief.readAll();
  whole.readAll();
  ASSERT_GT(brief.packets(), 500);
  EXPECT_GT(brief.stats().examined, 0);
  EXPECT_LT(whole.stats().examined, 5 * brief.stats().examined);
  EXPECT_EQ(whole.stats().decoded, whole.packets());
  EXPECT_EQ(whole.stats().beginnings, 1);
}

constexpr char kTones[] = "-f lavfi -i aevalsrc=exprs='0.3*sin(2*PI*t*(300+50*t))':s=48000:d=";

TEST(SoundWork, OfASeekInPlainStreams_IsAFewPackets) {
  for (auto const& [name, coding] : {std::pair{"work.ac3", "-c:a ac3"}, std::pair{"work.mp2", "-c:a mp2"},
                                     std::pair{"work.dts", "-c:a dca -b:a 768k -strict -2"}}) {
    SCOPED_TRACE(name);
    Sound sound(clip(name, std::string(kTones) + "20 " + coding + " {out}"));
    Most const most = mostOfSeeks(sound, 100);
    EXPECT_EQ(most.beginnings, 1);
    EXPECT_LE(most.decoded, 3);
    EXPECT_EQ(most.examined, 0);
  }
}

TEST(SoundWork, OfASeekInLayer3_IsAsFarAsTheReservoirReaches) {
  Sound sound(clip("work.mp3", std::string(kTones) + "20 -c:a libmp3lame -b:a 128k {out}"));
  EXPECT_LE(mostOfSeeks(sound, 100).decoded, 11);
}

TEST(SoundWork, OfASeekInPredictedDts_IsBounded) {
  Sound sound(
      clip("work_adpcm.dts", std::string(kTones) + "15 -c:a dca -b:a 768k -dca_adpcm 1 -strict -2 {out}"));
  Most const most = mostOfSeeks(sound, 100);
  EXPECT_GT(most.decoded, 4) << "this stream predicts nothing, so it shows nothing";
  EXPECT_LE(most.beginnings, 2);
  EXPECT_LE(most.decoded, 1024 + 8);
}

TEST(SoundWork, OfASeekInAac_IsARunAtMost) {
  Sound sound(clip("work.m4a", "-f lavfi -i anoisesrc=d=500:r=16000:a=0.01:seed=7 -c:a aac -b:a 16k {out}"));
  int64_t const run = 120 * 16000 / 1024 + 16, preroll = 256;
  ASSERT_GT(sound.packets(), 3 * run);
  Most const most = mostOfSeeks(sound, 40);
  EXPECT_LE(most.beginnings, 1);
  EXPECT_LE(most.decoded, run + preroll + 1);
}

}  // namespace
