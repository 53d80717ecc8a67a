// Results of joined streams that answer differently.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

// An inner decoder whose sound answers with codes of the test, by stream number, when there are some.
class AnsweringDec : public MpegInDec {
 public:
  using MpegInDec::MpegInDec;
  using Codes = std::vector<int>;

  int selectStream(int kind, int index) override {
    int const result = MpegInDec::selectStream(kind, index);
    return kind == kKindAudio ? answer(select, index, result) : result;
  }
  int deselectStream(int kind, int index) override {
    int const result = MpegInDec::deselectStream(kind, index);
    return kind == kKindAudio ? answer(deselect, index, result) : result;
  }
  int seekToSample(int64_t sample, int index) override {
    return answer(seek, index, MpegInDec::seekToSample(sample, index));
  }
  int readSamples(int count, int index) override {
    return answer(read, index, MpegInDec::readSamples(count, index));
  }
  KyPcm* audioPcm(int index) override {
    return index == withoutBuffer ? nullptr : MpegInDec::audioPcm(index);
  }
  Codes select, deselect, seek, read;
  int withoutBuffer = -1;

 private:
  static int answer(Codes const& codes, int index, int result) {
    return codes.empty() ? result : codes.at(static_cast<size_t>(index));
  }
};

class JoinedResults : public ScriptedTest {
 protected:
  ~JoinedResults() override { wrapper_.reset(); }
  void open(std::vector<int64_t> const& lengths, bool joined = true) {
    for (int64_t length : lengths) {
      MpegAudioInfo& audio = library.addAudio(kAudioLpcm).info;
      audio.channels = 1;
      audio.samples = length;
    }
    module.setAttr("joinMonoStreams", joined ? 1 : 0);
    wrapper_ = std::make_unique<MpegDecWrapper>(&module);
    auto inner = std::make_unique<AnsweringDec>(&module);
    inner_ = inner.get();
    (*wrapper_).*memberOf(Inner{}) = std::move(inner);
    ASSERT_EQ(wrapper_->init(), 0);
    ASSERT_EQ(wrapper_->setParam("filename", Any(clip().string())), 0);
    ASSERT_EQ(wrapper_->open(), 0) << wrapper_->errorDesc();
    ASSERT_EQ(wrapper_->countStreams(kKindAudio), joined ? 1 : static_cast<int>(lengths.size()));
  }
  bool anySelected() const {
    for (int i = 0; i < inner_->countStreams(kKindAudio); ++i)
      if (inner_->isSelected(kKindAudio, i)) return true;
    return false;
  }
  std::unique_ptr<MpegDecWrapper> wrapper_;
  AnsweringDec* inner_ = nullptr;
};

TEST_F(JoinedResults, OfSelectingAreOredWithThoseOfDeselectingAllAgain) {
  open({1000, 1000, 1000});
  inner_->select = {4, 0, 2};
  EXPECT_EQ(wrapper_->selectStream(kKindAudio, 0), 4 | 2);
  EXPECT_FALSE(anySelected());
  inner_->deselect = {0, 8, 16};
  EXPECT_EQ(wrapper_->selectStream(kKindAudio, 0), 4 | 2 | 8 | 16);
  EXPECT_FALSE(anySelected());
  inner_->select = {0, 0, 0};
  EXPECT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  EXPECT_TRUE(anySelected());
}

TEST_F(JoinedResults, OfDeselectingAreOred) {
  open({1000, 1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  inner_->deselect = {1, 4, 0};
  EXPECT_EQ(wrapper_->deselectStream(kKindAudio, 0), 1 | 4);
  EXPECT_FALSE(anySelected());
}

TEST_F(JoinedResults, OfSeekingAreOredAndTheBufferIsEmptiedAllTheSame) {
  open({1000, 1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper_->readSamples(100, 0), 100);
  ASSERT_EQ(wrapper_->audioPcm(0)->position, 100);
  inner_->seek = {4, 0, 2};
  EXPECT_EQ(wrapper_->seekToSample(500, 0), 4 | 2);
  EXPECT_EQ(wrapper_->audioPcm(0)->position, 0);
  EXPECT_EQ(wrapper_->audioPcm(0)->nSamples, 0);
  inner_->seek.clear();
  ASSERT_EQ(wrapper_->readSamples(10, 0), 10);
  EXPECT_EQ(wrapper_->audioPcm(0)->position, 510) << "every stream was sought";
}

TEST_F(JoinedResults, APositionIsTakenFromAStreamAtItsEndToo) {
  open({1000, 150});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(wrapper_->readSamples(150, 0), 150);
  ASSERT_EQ(wrapper_->readSamples(100, 0), 100) << "the second stream has ended";
  EXPECT_EQ(wrapper_->audioPcm(0)->position, 150) << "that of the last stream that was read";
}

TEST_F(JoinedResults, OfReadingNothing_AreTheEndUnlessAllFailed) {
  open({1000, 1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  struct {
    AnsweringDec::Codes read;
    int result;
  } const rows[] = {{{0, 0, 0}, -4},   {{-4, -4, -4}, -4}, {{0, -4, -1}, -4},
                    {{-1, 0, -1}, -4}, {{-1, -1, -4}, -4}, {{-1, -5, -2147483647}, -1}};
  for (auto const& row : rows) {
    inner_->read.clear();
    ASSERT_EQ(wrapper_->seekToSample(0, 0), 0);
    ASSERT_EQ(wrapper_->readSamples(10, 0), 10);
    inner_->read = row.read;
    EXPECT_EQ(wrapper_->readSamples(10, 0), row.result);
    EXPECT_EQ(wrapper_->audioPcm(0)->nSamples, 0);
    EXPECT_EQ(wrapper_->audioPcm(0)->position, 0);
    EXPECT_EQ(wrapper_->errorCode(), 0);
  }
}

TEST_F(JoinedResults, AStreamWithoutItsBuffer_IsSilentAndTellsNoPosition) {
  open({1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  inner_->withoutBuffer = 1;
  ASSERT_EQ(wrapper_->readSamples(10, 0), 10);
  EXPECT_EQ(wrapper_->audioPcm(0)->position, 10) << "the first stream's";
  auto const* const words = reinterpret_cast<int16_t const*>(wrapper_->audioPcm(0)->ptr());
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(words[2 * i], i);
    EXPECT_EQ(words[2 * i + 1], 0);
  }
  inner_->withoutBuffer = 0;
  inner_->read = {10, -1};
  ASSERT_EQ(wrapper_->readSamples(10, 0), 10);
  EXPECT_EQ(wrapper_->audioPcm(0)->position, 0) << "no stream told one";
}

TEST_F(JoinedResults, OneSampleIsABlock) {
  open({1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  wrapper_->setError(78, "earlier");
  for (int i = 1; i < 4; ++i) {
    ASSERT_EQ(wrapper_->readSamples(1, 0), 1);
    EXPECT_EQ(wrapper_->audioPcm(0)->nSamples, 1);
    EXPECT_EQ(wrapper_->audioPcm(0)->position, i);
  }
  EXPECT_EQ(wrapper_->errorCode(), 78) << "a read that succeeds leaves it";
}

TEST_F(JoinedResults, TheFirstStreamTellsWhetherTheJoinedOneIsSelected) {
  open({1000, 1000});
  ASSERT_EQ(wrapper_->selectStream(kKindAudio, 0), 0);
  inner_->MpegInDec::deselectStream(kKindAudio, 1);
  EXPECT_TRUE(wrapper_->isSelected(kKindAudio, 0));
  inner_->MpegInDec::selectStream(kKindAudio, 1);
  inner_->MpegInDec::deselectStream(kKindAudio, 0);
  EXPECT_FALSE(wrapper_->isSelected(kKindAudio, 0));
}

TEST_F(JoinedResults, WithoutJoining_AreTheInnerOnesForNoSamplesToo) {
  open({1000, 1000}, false);
  inner_->read = {7, -9};
  EXPECT_EQ(wrapper_->readSamples(0, 0), 7);
  EXPECT_EQ(wrapper_->readSamples(0, 1), -9);
}

}  // namespace
