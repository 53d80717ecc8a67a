// Everything that the decoder of a stream is told before it is opened, and nothing beside it.
#include <cmath>
#include <map>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
using Told = std::map<std::string, int>;

// The settings that are not zero, by name.
Told told(MpegSettings const& set) {
  Told values = {{"searchMode", set.searchMode},
                 {"searchLimit", set.searchLimit},
                 {"fastAccess", set.fastAccess},
                 {"forceFrameRate", set.forceFrameRate},
                 {"videoStream", set.videoStream},
                 {"decodingMode", set.decodingMode},
                 {"dvdTitle", set.dvdTitle},
                 {"dvdPalette", set.dvdPalette},
                 {"decodeSubpictures", set.decodeSubpictures},
                 {"displaySubpictures", set.displaySubpictures},
                 {"overlay", set.overlay},
                 {"captionEntries", set.captionEntries}};
  for (int i = 0; i < 3; ++i) values["fixed" + std::to_string(i)] = set.fixed[i];
  for (int i = 0; i < 3; ++i) values["decode" + std::to_string(i)] = set.decode[i];
  for (int i = 0; i < 2; ++i) values["decodeVideo" + std::to_string(i)] = set.decodeVideo[i];
  for (int i = 0; i < kAudioFormats; ++i) values["audioStream" + std::to_string(i)] = set.audioStream[i];
  std::erase_if(values, [](auto const& value) { return value.second == 0; });
  return values;
}

class StreamSettings : public ScriptedTest {
 protected:
  Told toldTo(int number) { return told(instance(number).set); }
};

TEST_F(StreamSettings, OfTheFileAreItsSearchAndThreeFixedOnes) {
  library.addVideo();
  opened();
  EXPECT_EQ(toldTo(0),
            (Told{{"searchMode", 8}, {"fastAccess", 1}, {"fixed0", 1}, {"fixed1", 1}, {"fixed2", 1}}));
}

TEST_F(StreamSettings, OfVideoAreItsSearchItsNumberAndTwoFixedOnes) {
  library.addVideo();
  library.addVideo();
  opened();
  EXPECT_EQ(toldTo(1), (Told{{"searchMode", 1}, {"videoStream", 1}, {"fixed0", 1}, {"fixed1", 1}}));
  EXPECT_EQ(toldTo(2), (Told{{"searchMode", 8}, {"videoStream", 2}, {"fixed0", 1}, {"fixed1", 1}}));
}

TEST_F(StreamSettings, OfATitleSayThatItIsOne) {
  library.addVideo();
  library.titleIsDvd = 1;
  opened(clip("title.vob"));
  EXPECT_EQ(toldTo(1), (Told{{"searchMode", 8},
                             {"videoStream", 1},
                             {"fixed0", 1},
                             {"fixed1", 1},
                             {"dvdTitle", 1},
                             {"dvdPalette", 1}}));
}

// Components of ITU-R BT.601, 8 bits, of red, green and blue between 0 and 1.
std::vector<int> components(double r, double g, double b) {
  double const y = 0.299 * r + 0.587 * g + 0.114 * b;
  auto const rounded = [](double value) { return static_cast<int>(std::floor(value + 0.5)); };
  return {0, rounded(16 + 219 * y), rounded(128 + 224 * (r - y) / 1.402),
          rounded(128 + 224 * (b - y) / 1.772)};
}

TEST_F(StreamSettings, OfATitleHaveFourGreysAndTheSaturatedColoursBrightAndDark) {
  std::vector<int> expected;
  auto const add = [&](double r, double g, double b) {
    for (int const value : components(r, g, b)) expected.push_back(value);
  };
  for (double const level : {0.0, 1.0, 128 / 255.0, 0.75}) add(level, level, level);
  for (double const level : {0.75, 0.375}) {
    for (int i = 0; i < 3; ++i) add(i == 0 ? level : 0, i == 1 ? level : 0, i == 2 ? level : 0);
    for (int i = 2; i >= 0; --i) add(i == 0 ? 0 : level, i == 1 ? 0 : level, i == 2 ? 0 : level);
  }
  library.addVideo();
  library.titleIsDvd = 1;
  opened(clip("title.vob"));
  auto const& palette = instance(1).set.palette;
  EXPECT_EQ(std::vector<int>(std::begin(palette), std::end(palette)), expected);
}

TEST_F(StreamSettings, OfSoundAreItsSearchItsNumberAndItsMode) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  library.addAudio(kAudioWma);
  opened();
  EXPECT_EQ(toldTo(2), (Told{{"searchMode", 2}, {"decodingMode", 4}, {"audioStream1", 1}}));
  EXPECT_EQ(toldTo(3), (Told{{"searchMode", 8}, {"decodingMode", 4}, {"audioStream5", 1}}));
}

TEST_F(StreamSettings, OfSoundInStepWithVideoSwitchThatOn) {
  library.containerType = kContainerTransport;
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_EQ(toldTo(2), (Told{{"searchMode", 2},
                             {"decodingMode", 4},
                             {"audioStream1", 1},
                             {"decodeVideo0", 1},
                             {"decodeVideo1", 1}}));
}

TEST_F(StreamSettings, OfSoundThatPassesThroughClearDecodingSearchAndVideo) {
  library.containerType = kContainerTransport;
  library.addVideo();
  library.addAudio(kAudioDts);
  library.give(kOpen, -104, 2);
  library.onOpening = [](MpegIn& opening) {
    for (int& hint : opening.set.decode) hint = 5;
  };
  opened();
  ASSERT_EQ(instance(2).opened, 2);
  EXPECT_EQ(toldTo(2), (Told{{"decodingMode", 7}, {"audioStream6", 1}}));
}

TEST_F(StreamSettings, OfSoundLeaveNothingOfANewInstanceStanding) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  library.onNew = [](MpegIn& made) {
    made.video.fourcc = 7;
    made.fileName = "left";
    made.set.decodeVideo[0] = made.set.decodeVideo[1] = 7;
    made.set.captionEntries = made.set.decodeSubpictures = 7;
  };
  char const* name = "";
  library.onOpening = [&](MpegIn& opening) { name = opening.fileName; };
  opened();
  EXPECT_EQ(instance(0).fourcc, 0U);
  EXPECT_EQ(instance(1).set.captionEntries, 0);
  EXPECT_EQ(instance(1).set.decodeSubpictures, 0);
  EXPECT_EQ(instance(2).fourcc, 0U);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(instance(2).set.decodeVideo[0], 0);
  EXPECT_EQ(instance(2).set.decodeVideo[1], 0);
  library.containerType = kContainerTransport;
  opened();
  EXPECT_EQ(lastInstance().fourcc, 7U) << "pictures beside sound keep theirs";
  EXPECT_EQ(lastInstance().samples, std::vector<int64_t>{0});
}

TEST_F(StreamSettings, OfVideoSayThatSubpicturesCanBeOverlaid) {
  library.addVideo();
  for (int const subpictures : {1, 2}) {
    library.subpictures = subpictures;
    opened();
    EXPECT_EQ(lastInstance().set.decodeSubpictures, 1);
    EXPECT_EQ(pipe->countStreams(kKindSubpic), subpictures);
  }
}

TEST_F(StreamSettings, OfVideoBehindCaptionsCountTheirEntries) {
  for (int i = 0; i < 3; ++i) {
    Video& video = library.addVideo();
    video.info.rate = video.info.secondRate = 30.0;
    if (i > 0) video.userData[0] = {{{'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, 0x2C, 0xFF}}};
  }
  library.subpictures = 2;
  opened();
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 4);
  for (int i = 0; i < 3; ++i) {
    MpegSettings const& set = videoOf(*pipe, i).decoder()->set;
    EXPECT_EQ(set.decodeSubpictures, 1);
    EXPECT_EQ(set.captionEntries, 2);
  }
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  stateOf(stream).decoder.reset();
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(lastInstance().set.captionEntries, 2) << "opened when they are known";
}

}  // namespace
