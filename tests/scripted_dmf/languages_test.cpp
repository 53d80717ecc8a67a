// How a language finds its stream.
#include <gtest/gtest.h>

#include <array>

#include "mpegdecode/dmflanguages.h"
#include "mpegdecode/dmftext.h"

namespace {

constexpr int kStream = 3, kTitle = 0;

class AudioLanguages : public testing::Test {
 protected:
  void add(Any const& pid, Any const& program) {
    auto& stream =
        *streams_.emplace_back(std::make_unique<MpegInSubpicStream>(static_cast<int>(streams_.size())));
    AnyDict params;
    if (pid.valid()) params.set("pid", pid);
    if (program.valid()) params.set("program_number", program);
    stream.info.set("codecParams", params);
    list_.append(&stream);
  }
  std::string attach() {
    DmfAudioFormat format{};
    for (size_t i = 0; i < 3; ++i) format.language[i] = static_cast<uint16_t>("eng"[i]);
    DmfStreamInfo info{};
    info.kind = kDmfAudio;
    info.format = &format;
    attachLanguage(info, kTitle, kStream, list_);
    std::string found;
    for (auto const& stream : streams_) found += stream->info.contains("languageDescriptor") ? '1' : '0';
    return found;
  }

 private:
  std::vector<std::unique_ptr<MpegInSubpicStream>> streams_;
  MpegInStreamList list_;
};

TEST_F(AudioLanguages, StreamWithoutPid_IsNeverMatched) {
  add(Any(), 0);
  add(3, 0);
  EXPECT_EQ(attach(), "01");
}

TEST_F(AudioLanguages, BothValuesMustBe32BitIntegers) {
  add(Any(3L), 0);
  add(3, Any(0L));
  add("3", 0);
  add(3.0, 0);
  add(3, Any());
  EXPECT_EQ(attach(), "00000");
}

TEST_F(AudioLanguages, BothValuesMustBeEqual) {
  add(2, 0);
  add(3, 1);
  EXPECT_EQ(attach(), "00");
}

TEST(LanguageCode, EndsAtTheFirstCharacterWithoutALowByte) {
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 'n', 'g', 0}), "eng");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 0x0100, 'g', 0}), "e");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{'e', 'n', 'g', 0x4100}), "eng");
  EXPECT_EQ(dmfCode(std::array<uint16_t, 4>{0x0165, 0x016E, 'g', 'x'}), "engx");
}

TEST_F(AudioLanguages, FirstMatchAloneIsDescribed) {
  add(1, 0);
  add(3, 0);
  add(3, 0);
  EXPECT_EQ(attach(), "010");
  EXPECT_EQ(attach(), "010") << "and described anew";
}

}  // namespace
