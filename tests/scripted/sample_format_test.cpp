// The code that a stream's default sample format is asked for with. What is done with it shows nothing: of
// Dolby streams every request fails. The program is linked so that the request comes here first.
#include <string_view>
#include <utility>

#include "mpegdecode/audiorules.h"
#include "tests/scripted/fixture.h"

namespace {
std::vector<std::pair<std::string, int>> asked;
}

// The names that --wrap gives to the caller's and to the own function.
extern "C" {
int __real__Z24setPreferredSampleFormatSt17basic_string_viewIcSt11char_traitsIcEER6MpegIni(
    std::string_view formatName, MpegIn& instance, int code);
int __wrap__Z24setPreferredSampleFormatSt17basic_string_viewIcSt11char_traitsIcEER6MpegIni(
    std::string_view formatName, MpegIn& instance, int code) {
  asked.emplace_back(formatName, code);
  return __real__Z24setPreferredSampleFormatSt17basic_string_viewIcSt11char_traitsIcEER6MpegIni(
      formatName, instance, code);
}
}

namespace {

using namespace scripted;
using Asked = std::vector<std::pair<std::string, int>>;

class DefaultSampleFormat : public ScriptedTest {
 protected:
  DefaultSampleFormat() { asked.clear(); }
};

TEST_F(DefaultSampleFormat, OfDolbyIsCode13AndOfOthersNone) {
  library.addAudio(kAudioMpegAac);
  library.addAudio(kAudioDolby);
  library.addAudio(kAudioDts);
  opened();
  EXPECT_EQ(asked, (Asked{{"Dolby", 13}}));
}

TEST_F(DefaultSampleFormat, GivesWayToThePreferredOne) {
  module.setAttr("preferredSampleFormat", 7);
  library.addAudio(kAudioMpegAac);
  library.addAudio(kAudioDolby);
  opened();
  EXPECT_EQ(asked, (Asked{{"AAC", 7}, {"Dolby", 7}}));
}

}  // namespace
