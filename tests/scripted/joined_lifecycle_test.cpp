// What the joining pipe asks of its inner decoder from its making to its end, and what it keeps itself.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

// An inner decoder that notes the calls and fails where a test says so.
class NotingDec : public MpegInDec {
 public:
  NotingDec(KyModule const* module, std::vector<std::string>& calls) : MpegInDec(module), calls_(calls) {}

  int init() override {
    calls_.push_back("init");
    int const result = MpegInDec::init();
    return initResult ? setError(initResult, "no init") : result;
  }
  int setParam(char const* key, Any const& value) override {
    calls_.push_back(std::string("set ") + key + " " + value.toString().asString());
    return MpegInDec::setParam(key, value);
  }
  int getStreamParam(int kind, int index, char const* key, Any& value) const override {
    asked.emplace_back(key);
    return MpegInDec::getStreamParam(kind, index, key, value);
  }
  int streamInfo(int kind, int index, AnyDict& info) const override {
    calls_.push_back("info " + std::to_string(kind) + "," + std::to_string(index));
    return MpegInDec::streamInfo(kind, index, info);
  }
  int selectStream(int kind, int index) override {
    note("select", kind, index);
    return MpegInDec::selectStream(kind, index);
  }
  int deselectStream(int kind, int index) override {
    note("deselect", kind, index);
    return MpegInDec::deselectStream(kind, index);
  }
  int close() override {
    calls_.push_back("close");
    return MpegInDec::close();
  }
  int initResult = 0;
  mutable std::vector<std::string> asked;  // keys of stream parameters

 private:
  void note(std::string const& call, int kind, int index) {
    calls_.push_back(call + " " + std::to_string(kind) + "," + std::to_string(index));
  }
  std::vector<std::string>& calls_;
};

class JoinedLifecycle : public ScriptedTest {
 protected:
  using Calls = std::vector<std::string>;

  JoinedLifecycle() { module.setAttr("joinMonoStreams", 1); }
  ~JoinedLifecycle() override { wrapper_.reset(); }

  void addMono(int bits = 16, int64_t samples = 100000) {
    MpegAudioInfo& audio = library.addAudio(kAudioLpcm).info;
    audio.channels = 1;
    audio.bits = bits;
    audio.samples = samples;
  }
  NotingDec& make() {
    wrapper_ = std::make_unique<MpegDecWrapper>(&module);
    auto inner = std::make_unique<NotingDec>(&module, calls_);
    NotingDec& noting = *inner;
    (*wrapper_).*memberOf(Inner{}) = std::move(inner);
    return noting;
  }
  void open() {
    make();
    ASSERT_EQ(wrapper_->init(), 0);
    ASSERT_EQ(wrapper_->setParam("filename", Any(clip().string())), 0);
    calls_.clear();
    ASSERT_EQ(wrapper_->open(), 0) << wrapper_->errorDesc();
  }
  MpegInDec& inner() { return *((*wrapper_).*memberOf(Inner{})); }
  KyPcm& joinedPcm() { return (*wrapper_).*memberOf(JoinedPcm{}); }
  KyPcm& silencePcm() { return (*wrapper_).*memberOf(SilencePcm{}); }
  AnyDict& joinedInfo() { return (*wrapper_).*memberOf(JoinedInfo{}); }
  AnyVector& streamMap() { return (*wrapper_).*memberOf(StreamMap{}); }
  void expectNothingJoined() {
    EXPECT_TRUE(streamMap().empty());
    EXPECT_TRUE(joinedInfo().empty());
  }

  Calls calls_;
  std::unique_ptr<MpegDecWrapper> wrapper_;
};

TEST_F(JoinedLifecycle, InitPassesFourAttributesInOrder) {
  module.setAttr("removeIMXTopBlanking", 1);
  module.setAttr("estimateMemory", 0);
  module.setAttr("smpMode", 2);
  module.setAttr("numThreads", 5);
  make();
  EXPECT_EQ(wrapper_->init(), 0);
  EXPECT_EQ(wrapper_->state(), kStateInitialised);
  EXPECT_EQ(calls_, (Calls{"init", "set removeIMXTopBlanking 1", "set estimateMemory 0", "set smpMode 2",
                           "set numThreads 5"}));
}

TEST_F(JoinedLifecycle, BeforeInit_NothingIsToBeJoined) {
  make();
  Any flag;
  EXPECT_EQ(wrapper_->getParam("joinMonoStreams", flag), 0);
  EXPECT_FALSE(static_cast<bool>(flag));
  EXPECT_EQ(wrapper_->init(), 0);
  EXPECT_EQ(wrapper_->getParam("joinMonoStreams", flag), 0);
  EXPECT_TRUE(static_cast<bool>(flag));
}

TEST_F(JoinedLifecycle, InitThatFailsInside_HasItsCodeAndPassesNothing) {
  make().initResult = 7;
  EXPECT_EQ(wrapper_->init(), 7);
  EXPECT_EQ(wrapper_->errorCode(), 7);
  EXPECT_STREQ(wrapper_->errorDesc(), "no init");
  EXPECT_EQ(wrapper_->state(), kStateInitialised);
  EXPECT_EQ(calls_, Calls{"init"});
}

TEST_F(JoinedLifecycle, InitWhileOpen_FailsInsideAndForgetsTheJoinedStream) {
  test::Failures failures;
  addMono();
  addMono();
  open();
  ASSERT_EQ(streamMap(), AnyVector{999});
  EXPECT_EQ(wrapper_->init(), -1);
  EXPECT_TRUE(failures.has("./mpegdecode/mpegindec(266)", "mpegdec: Already initialized"));
  expectNothingJoined();
  EXPECT_EQ(wrapper_->state(), kStateInitialised);
}

TEST_F(JoinedLifecycle, OpeningSelectsEveryAudioStreamAndThenDeselectsIt) {
  addMono();
  library.addAudio(kAudioLpcm);
  addMono();
  open();
  EXPECT_EQ(calls_, (Calls{"info 2,0", "info 2,1", "info 2,2", "select 2,0", "select 2,1", "select 2,2",
                           "info 2,0", "deselect 2,0", "deselect 2,1", "deselect 2,2"}));
  EXPECT_EQ(streamMap(), (AnyVector{999, 1}));
}

TEST_F(JoinedLifecycle, OpeningWithoutMonoStreams_SelectsNone) {
  library.addAudio(kAudioLpcm);
  library.addAudio(kAudioLpcm);
  open();
  EXPECT_EQ(calls_, (Calls{"info 2,0", "info 2,1"}));
  expectNothingJoined();
  EXPECT_EQ(joinedPcm().capacity, 0);
}

TEST_F(JoinedLifecycle, BuffersHaveTheFormatOfTheFirstStreamAndHoldASecond) {
  addMono(24);
  addMono(24);
  addMono(24);
  for (auto& stream : library.audio) stream.info.rate = 44100;
  open();
  EXPECT_EQ(joinedPcm().sampleRate(), 44100);
  EXPECT_EQ(joinedPcm().channels(), 3);
  EXPECT_EQ(joinedPcm().bytesPerSample(), 3);
  EXPECT_EQ(joinedPcm().capacity, 44100);
  EXPECT_EQ(silencePcm().sampleRate(), 44100);
  EXPECT_EQ(silencePcm().channels(), 1);
  EXPECT_EQ(silencePcm().bytesPerSample(), 3);
  EXPECT_EQ(silencePcm().capacity, 44100);
}

TEST_F(JoinedLifecycle, SilenceGrowsToTheLargestBlockAndIsNeverWritten) {
  addMono(16, 100000);
  addMono(16, 10);
  open();
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper_->readSamples(48000, 0), 48000);
  EXPECT_EQ(silencePcm().capacity, 48000);
  ASSERT_EQ(inner().audioPcm(0)->grow(52000), 0);
  ASSERT_EQ(wrapper_->readSamples(100000, 0), 52000) << "the rest of it";
  EXPECT_EQ(silencePcm().capacity, 52000);
  EXPECT_EQ(silencePcm().nSamples, 0);
  auto const* const bytes = silencePcm().ptr();
  EXPECT_TRUE(std::all_of(bytes, bytes + 2 * 52000, [](unsigned char byte) { return byte == 0; }));
}

TEST_F(JoinedLifecycle, AudioKeys_EmptyWhatTheyFillAndTakeTheirKeyFromBehindTheNumber) {
  library.addAudio(kAudioLpcm);
  addMono();
  addMono();
  open();
  Any value = AnyDict("stale", 1);
  EXPECT_EQ(wrapper_->getParam("audio0", value), 0);
  EXPECT_FALSE(value.asDict().contains("stale"));
  EXPECT_EQ(value.asDict()["channels"], Any(2));
  value = AnyDict("stale", 1);
  EXPECT_EQ(wrapper_->getParam("audio2", value), -13);
  EXPECT_EQ(value, Any(AnyDict()));
  auto& asked = static_cast<NotingDec&>(inner()).asked;
  for (auto [key, rest] : {std::pair{"audio0/channels", "channels"}, std::pair{"audio0/", ""},
                           std::pair{"audio0/a/b", "a/b"}, std::pair{"audio0x/channels", ""}}) {
    asked.clear();
    wrapper_->getParam(key, value);
    EXPECT_EQ(asked, std::vector<std::string>{rest}) << key;
  }
}

TEST_F(JoinedLifecycle, ClosingFreesTheBuffersAndForgetsTheJoinedStream) {
  addMono();
  addMono();
  open();
  ASSERT_NE(joinedPcm().ptr(), nullptr);
  ASSERT_NE(silencePcm().ptr(), nullptr);
  calls_.clear();
  EXPECT_EQ(wrapper_->close(), 0);
  EXPECT_EQ(calls_, Calls{"close"});
  EXPECT_EQ(joinedPcm().ptr(), nullptr);
  EXPECT_EQ(silencePcm().ptr(), nullptr);
  expectNothingJoined();
  EXPECT_EQ(wrapper_->state(), kStateInitialised);
  EXPECT_EQ(wrapper_->close(), 0);
  EXPECT_EQ(calls_, Calls{"close"}) << "closed once";
}

TEST_F(JoinedLifecycle, OpeningAgainClosesFirst) {
  addMono();
  addMono();
  open();
  calls_.clear();
  EXPECT_EQ(wrapper_->open(), 0);
  ASSERT_FALSE(calls_.empty());
  EXPECT_EQ(calls_.front(), "close");
  EXPECT_EQ(wrapper_->countStreams(kKindAudio), 1);
}

TEST_F(JoinedLifecycle, TheEndOfAnOpenPipe_ClosesTheInnerDecoder) {
  addMono();
  addMono();
  open();
  calls_.clear();
  wrapper_.reset();
  EXPECT_EQ(calls_, Calls{"close"});
}

TEST_F(JoinedLifecycle, TheEndOfAPipeThatIsNotOpen_ClosesNothing) {
  make();
  EXPECT_EQ(wrapper_->init(), 0);
  calls_.clear();
  wrapper_.reset();
  EXPECT_EQ(calls_, Calls());
}

}  // namespace
