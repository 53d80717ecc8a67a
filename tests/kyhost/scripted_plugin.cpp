// A plug-in whose decoder plays what the opened text file says, so that the program meets layouts, results
// and failures that real files seldom give. Lines are "key=value":
//   layout, width, height, frames, rate (frames per second), order, aspect (of a pixel)   the video stream
//   bad=N      frame N cannot be decoded        ends=N    the stream ends before frame N
//   delay=MS   every frame takes that long
//   bytes, channels, samplerate, samples        the audio stream; lasts=N: samples that are really there
//   fail=TEXT  opening fails with that error    prints=1  opening prints to standard output
#include <chrono>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <thread>

#include "host/codec.h"
#include "host/frame.h"
#include "host/log.h"
#include "host/pcm.h"
#include "host/plugin.h"
#include "tests/kyhost/scripted_values.h"

namespace {

class Script {
 public:
  bool read(std::string const& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      size_t const equals = line.find('=');
      if (equals != std::string::npos) values_[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return !values_.empty();
  }
  std::string text(char const* key) const {
    auto const found = values_.find(key);
    return found == values_.end() ? std::string() : found->second;
  }
  int number(char const* key, int otherwise) const {
    std::string const value = text(key);
    return value.empty() ? otherwise : std::stoi(value);
  }
  double real(char const* key, double otherwise) const {
    std::string const value = text(key);
    return value.empty() ? otherwise : std::stod(value);
  }

 private:
  std::map<std::string, std::string> values_;
};

class ScriptedPipe : public KyDecodePipe {
 public:
  using KyDecodePipe::KyDecodePipe;

  int setParam(char const* key, Any const& value) override {
    if (std::strcmp(key, "nonsense") == 0) return _raiseInvalidParam(key);
    params_.set(key, value);
    return 0;
  }
  int getParam(char const* key, Any& value) const override {
    value = params_[key];
    return 0;
  }

  int open() override {
    if (!script_.read(params_["filename"].asString())) return _setErr(-1, "no script");
    if (script_.number("prints", 0) != 0) {
      std::puts("printed while opening");
      std::printf("and not yet flushed");
    }
    if (std::string const text = script_.text("fail"); !text.empty()) return _setErr(-1, "%s", text.c_str());
    std::string layout = script_.text("layout");
    if (Any const& forced = params_["FOURCC"]; forced.kind() == Any::kString) layout = forced.asString();
    if (layout.size() == 4) {
      fourcc_ = 0;
      std::memcpy(&fourcc_, layout.data(), 4);
      frame_.init(fourcc_, script_.number("width", 6), script_.number("height", 4));
    }
    state_ = kStateOpened;
    return 0;
  }

  int countStreams(int mask) const override {
    return ((mask & kKindVideo) && fourcc_ ? 1 : 0) + ((mask & kKindAudio) && bytes() ? 1 : 0);
  }
  int streamInfo(int kind, int, AnyDict& info) const override {
    if (kind == kKindVideo) {
      double const aspect = script_.real("aspect", 1.0);
      info.set("FOURCC", Any(static_cast<int>(fourcc_)));
      info.set("width", Any(frame_.width()));
      info.set("height", Any(frame_.height()));
      info.set("frames", Any(frames()));
      info.set("pixelAspect", Any(aspect));
      info.set("frameAspect", Any(aspect * frame_.width() / frame_.height()));
      info.set("framerate", Any(KyFramerate(rate(), script_.number("order", 0), false, 0)));
      info.set("duration", Any(frames() / rate()));
      info.set("codec", Any("scripted"));
      info.set("raw", Any(static_cast<void const*>("\x01\xab"), 2));
      info.set("threads", params_["numThreads"]);
      info.set("nested", params_["nested"]);
      info.set("attribute", getAttr("colour"));
    } else {
      info.set("samplerate", Any(sampleRate()));
      info.set("channels", Any(channels()));
      info.set("bytesPerSample", Any(bytes()));
      info.set("samples", Any(static_cast<long>(samples())));
      info.set("codec", Any("scripted"));
    }
    return 0;
  }
  int selectStream(int kind, int) override {
    if (kind == kKindAudio) pcm_.init(sampleRate(), channels(), bytes(), sampleRate());
    next_ = 0;
    return 0;
  }
  int deselectStream(int, int) override { return 0; }
  int frameCount(int) const override { return frames(); }
  int64_t sampleCount(int) const override { return samples(); }
  KyFrame* videoFrame(int) override { return &frame_; }
  KyPcm* audioPcm(int) override { return &pcm_; }

  int seekToFrame(int64_t frame, int) override {
    if (frame == script_.number("bad", -1)) return _setErr(-1, "seekToFrame failed");
    next_ = static_cast<int>(frame);
    return 0;
  }
  int readFrame(int) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(script_.number("delay", 0)));
    int const number = next_++;
    if (number >= script_.number("ends", frames())) return kResultEndOfStream;
    if (number == script_.number("bad", -1)) return _setErr(-1, "Error in readFrame");
    for (int plane = 0; plane < frame_.planes(); ++plane) {
      for (int row = 0; row < frame_.height(plane); ++row) {
        unsigned char* const bytes = frame_.pixelPtr(plane, 0, row);
        for (int i = 0; i < frame_.rowBytes(plane); ++i)
          bytes[i] = script_values::pictureByte(number, plane, row, i);
      }
    }
    return 0;
  }

  int seekToSample(int64_t sample, int) override {
    pcm_.position = sample;
    return 0;
  }
  int readSamples(int count, int) override {
    pcm_.nSamples = 0;
    int64_t const left = script_.number("lasts", samples()) - pcm_.position;
    int const delivered =
        static_cast<int>(std::min<int64_t>({count, pcm_.capacity, std::max<int64_t>(0, left)}));
    if (delivered == 0) return kResultEndOfStream;
    int const values = delivered * channels();
    for (int i = 0; i < values; ++i) {
      int const value = script_values::sample(pcm_.position * channels() + i);
      std::memcpy(pcm_.ptr(0) + i * bytes(), &value, static_cast<size_t>(bytes()));
    }
    pcm_.nSamples = delivered;
    pcm_.position += delivered;
    return delivered < count ? kResultEndOfStream : delivered;
  }

 private:
  int frames() const { return script_.number("frames", 10); }
  double rate() const { return script_.real("rate", 25.0); }
  int bytes() const { return script_.number("bytes", 0); }
  int channels() const { return script_.number("channels", 2); }
  int sampleRate() const { return script_.number("samplerate", 1000); }
  int samples() const { return script_.number("samples", 2500); }

  Script script_;
  AnyDict params_;
  KyFrame frame_;
  KyPcm pcm_;
  uint32_t fourcc_ = 0;
  int next_ = 0;
};

class ScriptedModule : public KyModule {
 public:
  ScriptedModule() : KyModule(2, "scripted", "plays scripts", "Scripted", nullptr) {}
  KyDecodePipe* createInstance() override { return new ScriptedPipe(this); }
};

}  // namespace

extern "C" KY_API KyPlugin* plugin_init() {
  if (std::getenv("SCRIPTED_REFUSES")) {
    ky_dbg()->error("scripted: refuses");
    return nullptr;
  }
  static KyPlugin plugin("scripted", "Scripted decoder");
  if (plugin.nrModules() == 0) plugin.addModule(new ScriptedModule, nullptr);
  return &plugin;
}
