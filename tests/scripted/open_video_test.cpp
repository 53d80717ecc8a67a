// A decoder of its own for each video stream: failures, settings, threads.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

// One video stream that is left out and one sound that opens, so that its failure is the last error.
class VideoOpening : public BothHandlers {
 protected:
  VideoOpening() {
    library.addVideo();
    library.addAudio(kAudioLpcm);
  }
  // The stream is left out for this reason, the file opens all the same, and nothing of it stays.
  void expectLeftOut(std::string const& text) {
    opened();
    expectError(-1, text);
    EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
    EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
    EXPECT_EQ(library.alive(), 2) << "the shared instance and that of the sound";
    expectNoFailure();
  }
};

TEST_P(VideoOpening, WithoutADecoder_Fails) {
  library.hasVideoDecoder = 0;
  expectLeftOut("Video is not available. Decoder is missing.");
}

TEST_P(VideoOpening, WithoutAnInstance_Fails) {
  library.give(kNew, 0, 2);
  expectLeftOut("Failed to create decoder instance");
}

TEST_P(VideoOpening, WhenMakingTheInstanceRaises_Fails) {
  library.raise(kNew, 2);
  expectLeftOut("Failed to create decoder instance");
}

TEST_P(VideoOpening, ThatTheLibraryRefuses_Fails) {
  library.give(kOpen, -104);
  expectLeftOut("Failed to decode video stream #0.");
  EXPECT_TRUE(log.contains("sec, result=-104"));
}

TEST_P(VideoOpening, WhenTheLibraryRaises_IsLoggedAndFails) {
  library.raise(kOpen);
  expectLeftOut("Failed to decode video stream #0.");
  EXPECT_TRUE(log.hasAt(kLogError, "Unhandled exception in mpegInOpen"));
  EXPECT_TRUE(log.contains("sec, result=-1"));
}

TEST_P(VideoOpening, WithoutAFirstPicture_ClosesAndFails) {
  library.give(kSeekFrame, 2);
  expectLeftOut("Failed to decode video stream #0 - mpeginSeekFrame failed");
  EXPECT_EQ(instance(1).closed, 1);
}

TEST_P(VideoOpening, WhenTheFirstSeekRaises_ClosesAndFails) {
  library.raise(kSeekFrame);
  expectLeftOut("Failed to decode video stream #0 - mpeginSeekFrame failed");
  EXPECT_EQ(instance(1).closed, 1);
}

TEST_P(VideoOpening, OfPicturesWithoutSize_Fails) {
  library.video[0].info.width = 0;
  expectLeftOut("Failed to decode video stream #0.");
}

TEST_P(VideoOpening, WhenThreadSettingsAreRefusedOrRaise_GoesOn) {
  library.give(kVideoAux, -106, 2);
  opened();
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  library.raise(kVideoAux, 2);
  opened();
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  expectNoFailure();
}

TEST_P(VideoOpening, OfTheSecondStream_NamesItsNumber) {
  library.addVideo();
  library.give(kOpen, -1, 2);
  opened();
  expectError(-1, "Failed to decode video stream #1.");
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  library.give(kSeekFrame, -1, 2);
  opened();
  expectError(-1, "Failed to decode video stream #1 - mpeginSeekFrame failed");
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
}

TEST_P(VideoOpening, OfAnInstanceWithoutVideoFacts_IsAnExceptionFailure) {
  library.onOpen = [](MpegIn& instance) {
    if (instance.set.videoStream) instance.video.present = 0;
  };
  ready();
  auto const result = failing([&] { return pipe->open(); });
  expectException("./mpegdecode/mpeginutil(540)");
  if (throwing())
    expectClosed();
  else
    EXPECT_EQ(result, 0);
}

TEST_P(VideoOpening, WhenSelected_OpensAStreamThatHasNoDecoderFromTheSharedInstance) {
  opened();
  MpegInVideoStream& stream = videoOf(*pipe, 0);
  stateOf(stream).decoder.reset();
  library.give(kOpen, -1);
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), -1);
  expectError(-1, "Failed to decode video stream #0.");
  EXPECT_FALSE(pipe->isSelected(kKindVideo, 0));
  EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->readFrame(0), 0);
  expectNoFailure();
}

UNDER_BOTH_HANDLERS(VideoOpening);

class VideoSettings : public ScriptedTest {
 protected:
  VideoSettings() { library.addVideo(); }
  MpegVideoInfo& info() { return library.video[0].info; }
  void codec(int MpegVideoInfo::* flag) {
    info().mpeg2 = 0;
    info().*flag = 1;
  }
  // Values that the stream's instance was given for a request.
  std::vector<int> asked(int request) {
    std::vector<int> values;
    for (auto const& [code, value] : instance(1).videoAux)
      if (code == request) values.push_back(value);
    return values;
  }
  uint32_t fourcc() const {
    AnyDict description;
    pipe->streamInfo(kKindVideo, 0, description);
    return static_cast<uint32_t>(description["FOURCC"].asInt32());
  }
};

TEST_F(VideoSettings, AFirstStreamThatFails_LeavesTheSecondAtIndexZero) {
  library.addVideo().id.pid = 77;
  library.give(kOpen, -1);
  opened();
  ASSERT_EQ(pipe->countStreams(kKindVideo), 1);
  Any codecParams;
  pipe->getStreamParam(kKindVideo, 0, "codecParams", codecParams);
  EXPECT_EQ(codecParams.asDict()["pid"], Any(77));
  EXPECT_EQ(instance(2).set.videoStream, 2);
}

TEST_F(VideoSettings, ThreadsFollowTheCodec) {
  struct Row {
    int MpegVideoInfo::* flag;
    std::vector<int> threads, modes;
  };
  for (Row const& row : {Row{&MpegVideoInfo::mpeg2, {1}, {}}, Row{&MpegVideoInfo::h264, {2}, {}},
                         Row{&MpegVideoInfo::hevc, {1}, {1}}, Row{&MpegVideoInfo::vc1, {3}, {1}},
                         Row{&MpegVideoInfo::mpeg4, {}, {}}, Row{&MpegVideoInfo::jpeg2000, {}, {}}}) {
    info().h264 = info().hevc = info().vc1 = info().mpeg4 = 0;
    codec(row.flag);
    library.instances.clear();
    opened();
    EXPECT_EQ(asked(kAuxThreads), row.threads) << pipe->state();
    EXPECT_EQ(asked(kAuxSmpMode), row.modes);
    pipe.reset();
  }
  EXPECT_TRUE(log.has("[scripted] SMP_MODE=SMP by pictures"));
  EXPECT_TRUE(log.has("[scripted] SET_NUM_CPU=3"));
  info().jpeg2000 = 0;
  library.instances.clear();
  opened();
  EXPECT_EQ(asked(kAuxThreads), std::vector<int>{1}) << "MPEG-1";
}

TEST_F(VideoSettings, ThreadsAndModeThatAreSetArePassedOnAndLogged) {
  char const* const names[] = {"NONE", "SMP by pictures", "SMP by slices", "UNKNOWN"};
  for (int mode = 0; mode < 4; ++mode) {
    library.instances.clear();
    ready();
    pipe->setParam("smpMode", mode);
    pipe->setParam("numThreads", 5 + mode);
    ASSERT_EQ(pipe->open(), 0);
    EXPECT_EQ(asked(kAuxSmpMode), std::vector<int>{mode});
    EXPECT_EQ(asked(kAuxThreads), std::vector<int>{5 + mode});
    EXPECT_TRUE(log.has(std::string("[scripted] SMP_MODE=") + names[mode]));
    EXPECT_TRUE(log.has("[scripted] SET_NUM_CPU=" + std::to_string(5 + mode)));
    pipe.reset();
  }
}

TEST_F(VideoSettings, TheForcedRateIsPassedOnAndSaid) {
  for (int mode : {1, 2}) {
    library.instances.clear();
    ready();
    pipe->setParam("openParameters", AnyDict("forceFramerate", mode));
    ASSERT_EQ(pipe->open(), 0);
    EXPECT_EQ(instance(1).set.forceFrameRate, mode);
    EXPECT_TRUE(log.hasAt(kLogInfo, std::string("[mpegindec] Video forcing ") +
                                        (mode == 1 ? "container" : "stream") + " frame-rate mode."));
    pipe.reset();
  }
}

TEST_F(VideoSettings, TheFirstStreamIsSearchedInMode1OtherwiseAsConfigured) {
  library.addVideo();
  opened();
  EXPECT_EQ(instance(1).set.searchMode, 1);
  EXPECT_EQ(instance(2).set.searchMode, 8);
  EXPECT_EQ(instance(1).set.videoStream, 1);
  EXPECT_EQ(instance(2).set.videoStream, 2);
  EXPECT_EQ(instance(1).set.dvdTitle, 0);
}

TEST_F(VideoSettings, ATitleHasItsPaletteUnlessTheFileIsItsInformation) {
  library.titleIsDvd = 1;
  opened(clip("title.vob"));
  EXPECT_EQ(instance(1).set.dvdTitle, 1);
  EXPECT_EQ(instance(1).set.dvdPalette, 1);
  EXPECT_EQ(instance(1).set.searchMode, 8);
  EXPECT_NE(instance(1).set.palette[5], 0);
  pipe.reset();
  library.instances.clear();
  opened(clip("title.IFO"));
  EXPECT_EQ(instance(1).set.dvdTitle, 1);
  EXPECT_EQ(instance(1).set.dvdPalette, 0);
}

TEST_F(VideoSettings, InMatroska_TheParsedRateReplacesTheOpenedOneAndIsSaid) {
  library.containerType = kContainerMatroska;
  info().rate = info().secondRate = 23.976;
  library.onOpen = [](MpegIn& opened) { opened.video.rate = opened.video.secondRate = 50.0; };
  opened();
  EXPECT_TRUE(log.hasAt(kLogInfo,
                        "[mpegindec] using mpegInGetInfo framerate 23.976000, mpegInOpen returned "
                        "50.000000 "));
  AnyDict description;
  pipe->streamInfo(kKindVideo, 0, description);
  EXPECT_DOUBLE_EQ(description["framerate"].asFramerate().rate(), 23.976);
  EXPECT_DOUBLE_EQ(videoOf(*pipe, 0).decoder()->video.secondRate, 23.976);
  info().rate = 0.11;
  opened();
  EXPECT_DOUBLE_EQ(videoOf(*pipe, 0).decoder()->video.rate, 0.11);
  info().rate = 0.1;
  pipe.reset();
  opened();
  pipe->streamInfo(kKindVideo, 0, description);
  EXPECT_DOUBLE_EQ(description["framerate"].asFramerate().rate(), 50.0);
}

TEST_F(VideoSettings, OutputFormatFollowsDepthChromaAndPreference) {
  struct Row {
    int depth, chroma, preferred, container, high;
    char const* forced;
    char const (&fourcc)[5];
  };
  for (Row const& row :
       {Row{8, 1, 2, 4, 0, "", "I420"}, Row{8, 2, 2, 4, 0, "", "YUYV"}, Row{8, 3, 2, 4, 0, "", "BGR4"},
        Row{10, 1, 0, 4, 0, "", "I420"}, Row{9, 1, 2, 4, 0, "", "W016"}, Row{10, 1, 1, 19, 0, "", "I420"},
        Row{10, 1, 2, 4, 0, "", "W016"}, Row{10, 2, 2, 4, 0, "", "Y216"}, Row{10, 2, 0, 19, 0, "", "Y216"},
        Row{10, 1, 7, 19, 0, "", "W016"}, Row{8, 1, 1, 4, 1, "", "Y216"}, Row{8, 1, 0, 4, 0, "b64a", "Y216"},
        Row{8, 1, 0, 4, 0, "BGR4", "BGR4"}, Row{8, 2, 0, 4, 1, "BGR4", "Y216"}}) {
    info().sourceDepth = row.depth;
    info().chromaFormat = row.chroma;
    info().highPrecision = row.high;
    library.containerType = row.container;
    module.setAttr("preferredVideoBitDepth", row.preferred);
    ready();
    if (*row.forced) pipe->setParam("FOURCC", row.forced);
    ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
    EXPECT_EQ(fourcc(), kyFourcc(row.fourcc)) << row.fourcc << " for depth " << row.depth << " chroma "
                                              << row.chroma << " preference " << row.preferred;
  }
}

TEST_F(VideoSettings, DeepPicturesOfIntraCodedMxfStayDeepWithoutAPreference) {
  info().sourceDepth = 10;
  library.containerType = kContainerMxfAvcIntra;
  opened();
  EXPECT_EQ(fourcc(), kyFourcc("W016"));
}

TEST_F(VideoSettings, PicturesAreWrittenIntoTheFrame) {
  opened();
  auto const& target = videoOf(*pipe, 0).decoder()->target;
  KyFrame const& frame = *stateOf(videoOf(*pipe, 0)).frame;
  ASSERT_EQ(frame.planes(), 3);
  for (int plane = 0; plane < 3; ++plane) {
    EXPECT_EQ(target.plane[plane], frame.pixelPtr(plane, 0, 0));
    EXPECT_EQ(target.stride[plane], frame.stride(plane));
  }
  EXPECT_EQ(stateOf(videoOf(*pipe, 0)).scratch, nullptr);
  EXPECT_EQ(videoOf(*pipe, 0).info()["_needSwing"], Any(0));
}

TEST_F(VideoSettings, PicturesWithoutBlankingAreWrittenWholeAndShownInPart) {
  info().profileType = 30;
  info().width = 720;
  info().height = 512;
  info().chromaFormat = 2;
  info().primaries = info().transfer = info().matrix = 1;
  ready();
  pipe->setParam("removeIMXTopBlanking", true);
  ASSERT_EQ(pipe->open(), 0);
  MpegInVideoStream const& stream = videoOf(*pipe, 0);
  ASSERT_TRUE(stateOf(stream).scratch);
  EXPECT_EQ(stateOf(stream).scratch->height(), 512);
  EXPECT_EQ(stream.decoder()->target.plane[0], stateOf(stream).scratch->pixelPtr(0, 0, 0));
  EXPECT_EQ(stateOf(stream).frame->pixelPtr(0, 0, 0), stateOf(stream).scratch->pixelPtr(0, 0, 26));
  EXPECT_EQ(stateOf(stream).frame->yuvMatrix(), KyYUVMatrix::Bt709);
  EXPECT_EQ(stateOf(stream).scratch->yuvMatrix(), KyYUVMatrix::Bt709);
  info().profileType = 24;
  opened();
  EXPECT_EQ(stateOf(videoOf(*pipe, 0)).scratch, nullptr);
}

TEST_F(VideoSettings, AFormatThatIsHighAlreadyStaysHigh) {
  for (uint32_t format : {mpegFourcc("Y216"), mpegFourcc("b64a"), mpegFourcc("W016")}) {
    module.setAttr("preferredVideoBitDepth", 1);
    info().sourceDepth = 10;
    library.onInfo = [format](MpegIn& file) { file.video.fourcc = format; };
    opened();
    EXPECT_EQ(fourcc(), kyFourcc("W016"));
  }
}

TEST_F(VideoSettings, ImxBlankingIsLeftOutOfFramesThatAreNot420) {
  struct Row {
    uint32_t profile;
    int height, chroma, shown;
  };
  for (Row const& row :
       {Row{21, 608, 2, 576}, Row{23, 608, 2, 576}, Row{28, 608, 2, 576}, Row{31, 512, 2, 486},
        Row{21, 608, 1, 608}, Row{20, 608, 2, 608}, Row{24, 608, 2, 608}, Row{27, 608, 2, 608},
        Row{32, 608, 2, 608}, Row{21, 576, 2, 576}}) {
    info().profileType = row.profile;
    info().width = 720;
    info().height = row.height;
    info().chromaFormat = row.chroma;
    ready();
    pipe->setParam("removeIMXTopBlanking", true);
    ASSERT_EQ(pipe->open(), 0);
    AnyDict description;
    pipe->streamInfo(kKindVideo, 0, description);
    EXPECT_EQ(description["height"], Any(row.shown)) << row.profile << " " << row.height;
    EXPECT_EQ(description["encodedHeight"], Any(row.height));
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->videoFrame(0)->height(), row.shown);
  }
}

}  // namespace
