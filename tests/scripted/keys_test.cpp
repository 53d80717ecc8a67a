// Every setting: a value of the accepted kind and one of another, before opening, while open and at
// reopening.
#include <algorithm>
#include <functional>
#include <string>

#include "host/frame.h"
#include "tests/scripted/fixture.h"

namespace {

using namespace scripted;

// What a setting is seen to do in the last opening; -1 where nothing was asked.
using Effect = std::function<int64_t(MpegInDec&, Library&, size_t firstInstance)>;

struct Key {
  std::string name;  // of the test
  char const* key;
  Any accepted;
  Any refused;
  int refusedResult;
  // What getParam gives: by default, with the accepted value, and with the other one set after it.
  Any heldByDefault, heldAccepted, heldRefused;
  Effect effect;
  int64_t byDefault, whenAccepted, whenRefused;
};

void PrintTo(Key const& key, std::ostream* out) { *out << key.name; }

int64_t lastRequest(Instance const& instance, int request) {
  auto const found = std::find_if(instance.videoAux.rbegin(), instance.videoAux.rend(),
                                  [request](auto const& asked) { return asked.first == request; });
  return found == instance.videoAux.rend() ? -1 : found->second;
}

Effect ofSettings(int MpegSettings::* member, size_t instance = 0) {
  return [=](MpegInDec&, Library& library, size_t first) {
    return library.instances.at(first + instance)->set.*member;
  };
}

Effect ofRequest(int request) {
  return [=](MpegInDec&, Library& library, size_t first) {
    return lastRequest(*library.instances.at(first + 1), request);
  };
}

int64_t videoValue(MpegInDec& pipe, char const* key) {
  AnyDict info;
  pipe.streamInfo(kKindVideo, 0, info);
  return info[key].asInt32();
}

int64_t opened(MpegInDec& pipe, Library&, size_t) { return pipe.state() == kStateOpened ? 1 : 0; }
int64_t estimate(MpegInDec& pipe, Library&, size_t) {
  Any value;
  pipe.getParam("memoryEstimateKB", value);
  return value.asInt32() > 0 ? 1 : 0;
}
int64_t soundPassesThrough(MpegInDec& pipe, Library&, size_t) {
  pipe.selectStream(kKindAudio, 0);
  return pipe.readSamples(10, 0) < 0 ? 1 : 0;
}
int64_t externalAccess(MpegInDec&, Library& library, size_t first) {
  return library.instances.at(first)->io.on;
}
int64_t applicationData(MpegInDec&, Library& library, size_t first) {
  return reinterpret_cast<intptr_t>(library.instances.at(first)->io.user);
}

char applicationsOwn;

std::vector<Key> keys() {
  Any const none;
  int64_t const i420 = kyFourcc("I420"), yuyv = kyFourcc("YUYV");
  auto const height = [](MpegInDec& pipe, Library&, size_t) { return videoValue(pipe, "height"); };
  auto const fourcc = [](MpegInDec& pipe, Library&, size_t) { return videoValue(pipe, "FOURCC"); };
  auto const open = [](char const* key, Any const& value) { return Any(AnyDict(key, value)); };
  return {
      {"FourccAsText", "FOURCC", "YUYV", 1.5, 0, none, none, none, fourcc, i420, yuyv, yuyv},
      {"FourccAsNumber", "FOURCC", static_cast<int>(yuyv), none, 0, none, none, none, fourcc, i420, yuyv,
       yuyv},
      {"FastAccess", "fastAccess", 0, "0", 0, 1, 0, 0, ofSettings(&MpegSettings::fastAccess), 1, 0, 0},
      {"TopBlanking", "removeIMXTopBlanking", true, none, 0, 0, 1, 0, height, 608, 576, 608},
      {"SearchLimit", "searchLimit", 7, "7", 0, 0, 7, 0, ofSettings(&MpegSettings::searchLimit), 0, 7, 0},
      {"SearchMode", "searchMode", 3, 3.0, 0, 8, 3, 3, ofSettings(&MpegSettings::searchMode), 8, 3, 3},
      {"EstimateMemory", "estimateMemory", true, none, 0, 0, 1, 0, estimate, 0, 1, 0},
      {"SmpMode", "smpMode", 2, "2", 0, -1, 2, -1, ofRequest(kAuxSmpMode), -1, 2, -1},
      {"NumThreads", "numThreads", 5, 5.5, 0, -1, 5, -1, ofRequest(kAuxThreads), 1, 5, 1},
      {"AvDelayCorrection", "avDelayCorrection", 4, "4", 0, 1, 4, 0,
       [](MpegInDec&, Library&, size_t) { return 0; }, 0, 0, 0},
      {"DisableCc", "openParameters", open("disableCC", 1), open("disableCC", "0"), 0, none, none, none,
       ofRequest(kAuxUserDataMpeg), sizeof(MpegUserData), -1, -1},
      {"ForceAudioSmartRender", "openParameters", open("forceAudioSmartRender", 1), "no dictionary", 0, none,
       none, none, soundPassesThrough, 0, 1, 1},
      {"TranscodeAudioOnly", "openParameters",
       Any(AnyDict("forceAudioSmartRender", 1, "transcodeAudioOnly", 1)), open("transcodeAudioOnly", 0.0), 0,
       none, none, none, ofSettings(&MpegSettings::decodingMode, 2), 4, 4, 4},
      {"ForceFramerate", "openParameters", open("forceFramerate", 2), open("forceFramerate", "1"), 0, none,
       none, none, ofSettings(&MpegSettings::forceFrameRate, 1), 0, 2, 2},
      {"IgnoreUnknownStreams", "openParameters", open("ignoreUnknownStreams", 1),
       open("ignoreUnknownStreams", "0"), 0, none, none, none, opened, 0, 1, 1},
      {"UseExternalIo", "decoderParameters", open("useExternalIO", 1), 1, -1, none, none, none,
       externalAccess, 0, 1, 1},
      {"AppData", "decoderParameters",
       Any(AnyDict("useExternalIO", 1, "appData", Any(static_cast<void const*>(&applicationsOwn), 0))), "x",
       -1, none, none, none, applicationData, 0, reinterpret_cast<intptr_t>(&applicationsOwn),
       reinterpret_cast<intptr_t>(&applicationsOwn)},
  };
}

class EveryKey : public Fixture, public testing::TestWithParam<Key> {
 protected:
  EveryKey() {
    Video& video = library.addVideo();
    video.info.rate = video.info.secondRate = 30000.0 / 1001;
    if (GetParam().name == "TopBlanking") {
      video.info.height = 608;
      video.info.chromaFormat = 2;
      video.info.profileType = 21;
    }
    library.addAudio(kAudioDts);
    library.blockBytes = 4096;
    if (GetParam().name == "IgnoreUnknownStreams") library.unknownVideo = 1;
    KyExternalDecoderIO io{};
    io.externalOpen = [](void*, char const*, int) -> void* { return nullptr; };
    io.externalOpenW = [](void*, wchar_t const*, int) -> void* { return nullptr; };
    io.externalSeek = [](void*, void*, int64_t, int) -> int64_t { return -1; };
    io.externalRead = [](void*, void*, void*, int) { return -1; };
    io.externalClose = [](void*, void*) { return 0; };
    io.externalFileSize = [](void*, char const*) -> int64_t { return 1; };
    io.externalFileSizeW = [](void*, wchar_t const*) -> int64_t { return 1; };
    ky_registry()->setExternalDecoderIO(&io);
    ready();
  }
  ~EveryKey() override { ky_registry()->setExternalDecoderIO(nullptr); }

  // Opens, or opens again, and looks.
  int64_t effectOfOpening() {
    first_ = library.instances.size();
    pipe->open();
    return effect();
  }
  int64_t effect() { return GetParam().effect(*pipe, library, first_); }
  void expectHeld(Any const& value) const {
    if (value.valid()) {
      EXPECT_EQ(get(GetParam().key), value);
    }
  }

 private:
  size_t first_ = 0;
};

TEST_P(EveryKey, StandsAtItsDefault) {
  expectHeld(GetParam().heldByDefault);
  EXPECT_EQ(effectOfOpening(), GetParam().byDefault);
}

TEST_P(EveryKey, SetBeforeOpening_IsInForce) {
  EXPECT_EQ(pipe->setParam(GetParam().key, GetParam().accepted), 0);
  expectHeld(GetParam().heldAccepted);
  EXPECT_EQ(effectOfOpening(), GetParam().whenAccepted);
}

TEST_P(EveryKey, OfAnotherKind_IsReplacedOrLeft) {
  ASSERT_EQ(pipe->setParam(GetParam().key, GetParam().accepted), 0);
  EXPECT_EQ(pipe->setParam(GetParam().key, GetParam().refused), GetParam().refusedResult);
  EXPECT_STREQ(pipe->errorDesc(), "");
  expectHeld(GetParam().heldRefused);
  EXPECT_EQ(effectOfOpening(), GetParam().whenRefused);
}

TEST_P(EveryKey, SetWhileOpen_IsInForceAtTheNextOpening) {
  effectOfOpening();
  EXPECT_EQ(pipe->setParam(GetParam().key, GetParam().accepted), 0);
  expectHeld(GetParam().heldAccepted);
  EXPECT_EQ(effect(), GetParam().byDefault);
  EXPECT_EQ(effectOfOpening(), GetParam().whenAccepted);
  EXPECT_EQ(effectOfOpening(), GetParam().whenAccepted) << "it stays";
}

INSTANTIATE_TEST_SUITE_P(Settings, EveryKey, testing::ValuesIn(keys()),
                         [](auto const& parameter) { return parameter.param.name; });

}  // namespace
