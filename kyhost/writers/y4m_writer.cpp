#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "kyhost/pictures/planes.h"
#include "kyhost/session/failure.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/picture_sink.h"
#include "mediafile/lav.h"

namespace kyhost {
namespace {

// Pixel aspects are ratios of small whole numbers and of picture sizes.
constexpr int kLargestAspectTerm = 4096;
constexpr int kLargestRateTerm = 1'000'000;

// Rates of NTSC kind are n x 1000/1001 exactly, whatever digits describe them.
AVRational exactRate(double rate) {
  constexpr double kTolerance = 1e-4;
  auto const nominal = static_cast<int>(std::lround(std::clamp(rate, 0.0, 1000.0) * 1.001));
  bool const whole = std::abs(rate - std::round(rate)) < kTolerance;
  if (!whole && nominal > 0 && std::abs(nominal / 1.001 - rate) < kTolerance) return {nominal * 1000, 1001};
  return av_d2q(rate, kLargestRateTerm);
}

char const* colourSpace(PlanarLayout layout) {
  if (layout.chroma == Chroma::k420) return layout.bytes == 1 ? "420mpeg2" : "420p16";
  return layout.bytes == 1 ? "422" : "422p16";
}

std::string headerFor(PictureSource const& source, KyFrame const& frame, PlanarLayout layout) {
  KyFramerate const framerate = source.info["framerate"].asFramerate();
  AVRational const rate = exactRate(framerate.rate());
  AVRational const aspect = av_d2q(source.info["pixelAspect"].asDouble(), kLargestAspectTerm);
  bool const rateKnown = rate.num > 0 && rate.den > 0;
  bool const aspectKnown = aspect.num > 0 && aspect.den > 0;
  char const interlacing = framerate.order() == 1 ? 't' : framerate.order() == 2 ? 'b' : 'p';
  // 0:0 stands for unknown.
  return fmt::format("YUV4MPEG2 W{} H{} F{}:{} I{} A{}:{} C{}\n", frame.width(), frame.height(),
                     rateKnown ? rate.num : 0, rateKnown ? rate.den : 0, interlacing,
                     aspectKnown ? aspect.num : 0, aspectKnown ? aspect.den : 0, colourSpace(layout));
}

class Y4mWriter : public PictureSink {
 public:
  Y4mWriter(std::filesystem::path const& output, PictureSource const& source)
      : file_(output), source_(source) {}

  void write(KyFrame const& frame, int64_t) override {
    if (!layout_) begin(frame);
    file_.write("FRAME\n");
    for (Planes::Plane const& plane : planes_.of(frame))
      file_.writeRows(plane.data, plane.height, plane.width * layout_->bytes, plane.stride);
  }

  void finish() override { file_.commit(); }

 private:
  void begin(KyFrame const& frame) {
    layout_ = planarLayout(frame.fourcc());
    if (!layout_) {
      throw Failure(ExitCode::Usage,
                    fmt::format("{}: its pictures are RGB, which Y4M cannot hold", source_.name),
                    "write --format raw or png, or ask the decoder for YUV with --set FOURCC=YUYV");
    }
    file_.write(headerFor(source_, frame, *layout_));
  }

  OutputFile file_;
  PictureSource source_;
  Planes planes_;
  std::optional<PlanarLayout> layout_;
};

class RawWriter : public PictureSink {
 public:
  explicit RawWriter(std::filesystem::path const& output) : file_(output) {}

  void write(KyFrame const& frame, int64_t) override {
    for (int i = 0; i < frame.planes(); ++i)
      file_.writeRows(frame.pixelPtr(i, 0, 0), frame.height(i), frame.rowBytes(i), frame.stride(i));
  }

  void finish() override { file_.commit(); }

 private:
  OutputFile file_;
};

}  // namespace

std::unique_ptr<PictureSink> makeY4mWriter(std::filesystem::path const& output, PictureSource const& source) {
  return std::make_unique<Y4mWriter>(output, source);
}

std::unique_ptr<PictureSink> makeRawWriter(std::filesystem::path const& output, PictureSource const&) {
  return std::make_unique<RawWriter>(output);
}

}  // namespace kyhost
