// A host whose failure handler throws: its exception passes through, and the decoder still closes cleanly.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "mpegdecode/mpegindec.h"
#include "tests/plugin/layouts.h"
#include "tests/support/instances.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/tempfolder.h"

namespace {

using test::PipePtr;

struct Call {
  char const* title;
  bool joined;  // needs a file whose mono streams are joined
  std::function<void(KyDecodePipe&)> run;
};

Any value;
AnyDict dictionary;

std::vector<Call> const calls = {
    {"InitAgain", false, [](KyDecodePipe& pipe) { pipe.init(); }},
    {"SampleCountUnselected", false, [](KyDecodePipe& pipe) { pipe.sampleCount(0); }},
    {"SampleCountOutside", false, [](KyDecodePipe& pipe) { pipe.sampleCount(9); }},
    {"AudioPcmUnselected", false, [](KyDecodePipe& pipe) { pipe.audioPcm(0); }},
    {"ReadFrameUnselected", false, [](KyDecodePipe& pipe) { pipe.readFrame(0); }},
    {"SeekFrameUnselected", false, [](KyDecodePipe& pipe) { pipe.seekToFrame(0, 0); }},
    {"ReadSamplesUnselected", false, [](KyDecodePipe& pipe) { pipe.readSamples(10, 0); }},
    {"SeekSampleUnselected", false, [](KyDecodePipe& pipe) { pipe.seekToSample(0, 0); }},
    {"SelectSubpictureOutside", false, [](KyDecodePipe& pipe) { pipe.selectStream(kKindSubpic, 9); }},
    {"StreamInfoOfAMask", false, [](KyDecodePipe& pipe) { pipe.streamInfo(3, 0, dictionary); }},
    {"CaptionsOutside", false, [](KyDecodePipe& pipe) { pipe.readCcData(9, 0, dictionary); }},
    {"SmartRenderingOutside", false,
     [](KyDecodePipe& pipe) {
       value = 9;
       pipe.getParam("srParams", value);
     }},
    {"ReadUnselectedJoined", true, [](KyDecodePipe& pipe) { pipe.readSamples(10, 0); }},
    {"ReadOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.readSamples(10, 9); }},
    {"SeekOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.seekToSample(0, 9); }},
    {"SelectOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.selectStream(kKindAudio, 9); }},
    {"DeselectOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.deselectStream(kKindAudio, 9); }},
    {"IsSelectedOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.isSelected(kKindAudio, 9); }},
    {"AudioPcmOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.audioPcm(9); }},
    {"StreamInfoOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.streamInfo(kKindAudio, 9, dictionary); }},
    {"StreamParamOutsideJoined", true,
     [](KyDecodePipe& pipe) { pipe.getStreamParam(kKindAudio, 9, "channels", value); }},
    {"AudioKeyOutsideJoined", true, [](KyDecodePipe& pipe) { pipe.getParam("audio9/channels", value); }}};

class ThrowingHandler : public testing::TestWithParam<Call> {};

TEST_P(ThrowingHandler, PassesThroughAndLeavesADecoderThatWorks) {
  auto const file = GetParam().joined ? test::threeMono() : test::stereoPair();
  long const before = test::instances().alive;
  PipePtr pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  {
    test::Failures const failures(test::Failures::kThrow);
    EXPECT_THROW(GetParam().run(*pipe), test::Failures::Thrown);
    EXPECT_EQ(failures.seen.size(), 1U);
    // The handler is still in place: nothing of this may fail a check.
    EXPECT_EQ(pipe->close(), 0);
    ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
    ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->readSamples(100, 0), 100);
    EXPECT_EQ(pipe->readFrame(0), 0);
    pipe.reset();
  }
  EXPECT_EQ(test::instances().alive, before);
  EXPECT_EQ(test::instances().wronglyFreed, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryCheck, ThrowingHandler, testing::ValuesIn(calls),
                         [](auto const& test) { return std::string(test.param.title); });

TEST(ThrowingHandlerOnAClosedDecoder, PassesThrough) {
  test::Failures const failures(test::Failures::kThrow);
  PipePtr const pipe = test::makePipe();
  EXPECT_THROW(pipe->readSamples(10, 0), test::Failures::Thrown);
  EXPECT_THROW(pipe->seekToSample(0, 0), test::Failures::Thrown);
  EXPECT_THROW(pipe->audioPcm(0), test::Failures::Thrown);
  EXPECT_EQ(pipe->errorCode(), -18);
  EXPECT_EQ(pipe->close(), 0);
}

TEST(ThrowingHandlerInOpen, AFailedOpenFailsNoCheckAndTheNextFileOpens) {
  test::TempFolder const temp;
  long const before = test::instances().alive;
  test::Failures const failures(test::Failures::kThrow);
  PipePtr pipe = test::makePipe();
  pipe->setParam("filename", 5);
  EXPECT_LT(pipe->open(), 0);
  EXPECT_EQ(pipe->state(), 2);
  pipe->setParam("filename", Any(test::spannedTake(true).description.string()));
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(temp.files().size(), 1U);
  pipe.reset();
  EXPECT_TRUE(temp.files().empty());
  EXPECT_EQ(test::instances().alive, before);
}

}  // namespace
