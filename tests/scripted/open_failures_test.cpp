// Opening that fails: the file as a whole.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
namespace fs = std::filesystem;

class Opening : public BothHandlers {
 protected:
  Opening() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
  }
  ~Opening() override {
    if (!pipe || HasFailure()) return;
    expectNoFailure();
  }
  std::string const name_ = clip().string();
};

TEST_P(Opening, BeforeInit_Fails) {
  pipe = std::make_unique<MpegInDec>(&module);
  EXPECT_EQ(pipe->open(), -1);
  expectError(-1, "Codec not initialized");
  EXPECT_EQ(pipe->state(), kStateCreated);
  EXPECT_EQ(library.calls(kNew), 0);
}

TEST_P(Opening, WithoutAFileName_Fails) {
  pipe = std::make_unique<MpegInDec>(&module);
  pipe->init();
  expectOpenFails(-1, "Filename not set");
  pipe->setParam("filename", 5);
  expectOpenFails(-1, "Filename not set");
  EXPECT_EQ(library.calls(kNew), 0);
}

TEST_P(Opening, OfAFileThatCannotBeRead_IsMinus9WithALogLineAlone) {
  ready("/nowhere/at/all.mxf");
  EXPECT_EQ(pipe->open(), -9);
  expectError(0, "");
  EXPECT_TRUE(log.hasAt(kLogError, "[MpegInDec] Can not open /nowhere/at/all.mxf for reading"));
  expectClosed();
}

TEST_P(Opening, WithoutAnInstance_Fails) {
  library.give(kNew, 1);
  ready();
  expectOpenFails(-1, "Failed to create mfimport instance.");
  EXPECT_EQ(pipe->open(), 0);
}

TEST_P(Opening, WithALibraryThatRaisesInsteadOfAnInstance_Fails) {
  library.raise(kNew);
  ready();
  expectOpenFails(-1, "Failed to create mfimport instance.");
}

TEST_P(Opening, OfWhatDoesNotParse_HandsOnTheLibrarysCode) {
  for (int code : {-102, -1, 2, 77}) {
    library.give(kGetInfo, code);
    ready();
    expectOpenFails(code, "Failed to parse '" + name_ + "'");
    EXPECT_TRUE(log.contains("result=" + std::to_string(code) + ", nvids="));
  }
  EXPECT_EQ(pipe->open(), 0);
}

TEST_P(Opening, WhenParsingRaises_IsLoggedAndMinus1) {
  library.raise(kGetInfo);
  ready();
  expectOpenFails(-1, "Failed to parse '" + name_ + "'");
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInGetInfo"));
  EXPECT_EQ(lastInstance().opened, 0);
}

TEST_P(Opening, WhenTheHeaderRequestRaises_ReleasesTheInstanceAndFails) {
  library.raise(kVideoAux);
  ready();
  expectOpenFails(-1, "Failed to open '" + name_ + "'");
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInVideoAuxinfo"));
  EXPECT_EQ(library.instances.size(), 1U);
  EXPECT_EQ(pipe->open(), 0);
}

TEST_P(Opening, WhenTheHeaderRequestFails_GoesOn) {
  library.header.sourceDepth = 10;
  library.video[0].info.sourceDepth = 10;
  library.give(kVideoAux, -1);
  opened();
  EXPECT_EQ(info(kKindVideo, 0)["FOURCC"].asInt32(), static_cast<int>(kyFourcc("I420")));
}

TEST_P(Opening, WhenTheHeaderRequestGivesNone_GoesOn) {
  library.give(kVideoAux, 0);
  opened();
  EXPECT_EQ(instance(1).fourcc, 0U);
}

TEST_P(Opening, OfDeepPictures_AsksForTheirDepthByTheHeader) {
  for (int const depth : {9, 10, 16}) {
    library.header.sourceDepth = depth;
    library.instances.clear();
    opened();
    EXPECT_EQ(instance(1).fourcc, mpegFourcc("Y216")) << depth;
    EXPECT_EQ(info(kKindVideo, 0)["FOURCC"].asInt32(), static_cast<int>(kyFourcc("W016")));
    pipe.reset();
  }
}

TEST_P(Opening, OfDvOutsideItsCard_IsRefused) {
  library.dvFlag = 1;
  ready();
  expectOpenFails(-1, "Failed to parse '" + name_ + "'");
  EXPECT_TRUE(log.hasAt(kLogInfo, "Refusing to open dv with mfimport"));
  EXPECT_EQ(lastInstance().closed, 1);
}

TEST_P(Opening, OfDvOnItsCard_GivesTheSoundAlone) {
  fs::path const contents = test::scratchDir() / "CONTENTS";
  fs::create_directories(contents / "AUDIO");
  fs::create_directories(contents / "VIDEO");
  fs::create_directories(contents / "CLIP");
  fs::path const file = contents / "AUDIO" / "0001AB00.MXF";
  std::ofstream(file) << "x";
  library.dvFlag = 1;
  library.onNew = [](MpegIn& made) { made.set.videoStream = 7; };
  opened(file);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
  EXPECT_EQ((fileOf(*pipe).shared)->set.videoStream, 0);
}

TEST_P(Opening, WithoutAnyStream_Fails) {
  library.video.clear();
  library.audio.clear();
  ready();
  expectOpenFails(-1, "No audio/video streams found in ''" + name_);
}

TEST_P(Opening, WithoutAnyStream_OfANameWithPercentSigns_KeepsTheName) {
  library.video.clear();
  library.audio.clear();
  fs::path const odd = clip("100%s%n.bin");
  ready(odd);
  expectOpenFails(-1, "No audio/video streams found in ''" + odd.string());
}

TEST_P(Opening, OfUnknownStreams_GivesUpNamingTheirNumber) {
  library.unknownVideo = 2;
  library.unknownAudio = 3;
  ready();
  expectOpenFails(-1, "Found 2 unknown video streams, giving up.");
  library.unknownVideo = 0;
  expectOpenFails(-1, "Found 3 unknown audio streams, giving up.");
}

TEST_P(Opening, IgnoringUnknownStreams_OpensTheKnownOnes) {
  library.unknownVideo = 2;
  library.unknownAudio = 3;
  ready();
  pipe->setParam("openParameters", AnyDict("ignoreUnknownStreams", 1));
  EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->countStreams(kKindVideo | kKindAudio), 2);
}

TEST_P(Opening, OfNothingThatCanBeDecoded_Fails) {
  library.hasVideoDecoder = library.hasAudioDecoder = 0;
  ready();
  expectOpenFails(-1, "No video/audio streams can be decoded.");
}

TEST_P(Opening, OfSoundAloneNamedMov_IsRefused) {
  library.video.clear();
  ready(clip("sound.MOV"));
  expectOpenFails(-1, "No video streams found in '.mov' file, giving up.");
  opened(clip("sound.mp4"));
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
}

TEST_P(Opening, OfSoundNamedMovWhosePicturesDoNotOpen_IsRefused) {
  library.hasVideoDecoder = 0;
  ready(clip("sound.mov"));
  expectOpenFails(-1, "No video streams found in '.mov' file, giving up.");
}

TEST_P(Opening, OfAnOpenDecoder_OpensItAnew) {
  opened();
  pipe->selectStream(kKindAudio, 0);
  int const before = library.alive();
  EXPECT_EQ(pipe->open(), 0);
  EXPECT_EQ(library.alive(), before);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
}

TEST_P(Opening, ThatFailsOnAnOpenDecoder_LeavesItClosed) {
  opened();
  library.give(kGetInfo, -102);
  expectOpenFails(-102, "Failed to parse '" + name_ + "'");
}

TEST_P(Opening, PassesItsSettingsToTheLibrary) {
  ready();
  pipe->setParam("searchMode", 5);
  pipe->setParam("searchLimit", 7);
  pipe->setParam("fastAccess", 3);
  ASSERT_EQ(pipe->open(), 0);
  MpegSettings const& set = instance(0).set;
  EXPECT_EQ(set.searchMode, 5);
  EXPECT_EQ(set.searchLimit, 7);
  EXPECT_EQ(set.fastAccess, 3);
  for (int hint : set.fixed) EXPECT_EQ(hint, 1);
  pipe->setParam("searchLimit", 1);
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(instance(3).set.searchLimit, 1);
  EXPECT_EQ(instance(0).fourcc, 0U);
  EXPECT_EQ(get("filesize"), Any(123456L));
}

UNDER_BOTH_HANDLERS(Opening);

// Counts that no library should report.
class OddCounts : public BothHandlers {};

TEST_P(OddCounts, FewerThanOneStream_IsAnExceptionFailure) {
  library.addAudio(kAudioLpcm);
  library.onInfo = [](MpegIn& file) {
    file.nVideo = -2;
    file.video.present = 1;
  };
  ready();
  auto const result = failing([&] { return pipe->open(); });
  expectException("./mpegdecode/mpegindec(983)");
  if (throwing())
    expectClosed();
  else
    EXPECT_EQ(result, 0);
}

TEST_P(OddCounts, SubpicturesWithoutVideo_IsAnExceptionFailure) {
  library.addAudio(kAudioLpcm);
  library.subpictures = 1;
  ready();
  auto const result = failing([&] { return pipe->open(); });
  EXPECT_EQ(failures.seen[0].where, "./mpegdecode/mpegindec(985)");
  EXPECT_EQ(failures.seen[0].text, "mpegdec: subpic without video stream not supported");
  EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
  if (throwing())
    expectClosed();
  else
    EXPECT_EQ(result, 0);
}

UNDER_BOTH_HANDLERS(OddCounts);

class Reopening : public ScriptedTest {};

TEST_F(Reopening, TheSharedInstanceIsReleasedExactlyOnceByClose) {
  library.addVideo();
  opened();
  EXPECT_EQ(library.alive(), 2);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(library.alive(), 0);
  EXPECT_EQ(instance(1).closed, 1) << "the stream's own";
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_EQ(library.misused, 0);
}

TEST_F(Reopening, ADestroyedDecoderClosesFirst) {
  library.addVideo();
  opened();
  pipe.reset();
  EXPECT_EQ(library.alive(), 0);
}

}  // namespace
