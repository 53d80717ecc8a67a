#include <optional>

#include "kyhost/pictures/rgb_picture.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/picture_names.h"
#include "kyhost/writers/picture_sink.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

class PngWriter : public PictureSink {
 public:
  PngWriter(fs::path const& output, PictureSource const& source)
      : aspect_(av_d2q(source.info["pixelAspect"].asDouble(), 4096)) {
    if (output == "-") {
      stream_.emplace(output);
      return;
    }
    names_.emplace(output, "frame", source.count,
                   "give a folder, a name with %d, or a range of one picture with --from and --to");
  }

  void write(KyFrame const& frame, int64_t number) override {
    auto const layout = planarLayout(frame.fourcc());
    AVFrame const& rgb =
        converter_.convert(frame, frame.width(), frame.height(), layout && layout->bytes == 2);
    auto const png = encoder_.encode(rgb, aspect_);
    if (stream_) {
      stream_->write(png);
      return;
    }
    OutputFile file(names_->at(number));
    file.write(png);
    file.commit();
  }

  void finish() override {
    if (stream_) stream_->commit();
  }

 private:
  AVRational aspect_;
  std::optional<PictureNames> names_;
  std::optional<OutputFile> stream_;
  RgbConverter converter_;
  PngEncoder encoder_;
};

}  // namespace

std::unique_ptr<PictureSink> makePngWriter(fs::path const& output, PictureSource const& source) {
  return std::make_unique<PngWriter>(output, source);
}

}  // namespace kyhost
