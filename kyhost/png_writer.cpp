#include <fmt/format.h>

#include <optional>
#include <string_view>

#include "kyhost/failure.h"
#include "kyhost/output_file.h"
#include "kyhost/picture_sink.h"
#include "kyhost/rgb_picture.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

// A file name with the place of a number in it.
class NumberedName {
 public:
  // None when there is no %d; throws Failure (usage) for anything else behind a %.
  static std::optional<NumberedName> parse(std::string const& text) {
    NumberedName out;
    bool found = false;
    std::string* part = &out.before_;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '%') {
        *part += text[i];
        continue;
      }
      if (++i < text.size() && text[i] == '%') {
        *part += '%';
        continue;
      }
      bool const zero = i < text.size() && text[i] == '0';
      int width = 0;
      for (; i < text.size() && text[i] >= '0' && text[i] <= '9' && width < 100; ++i)
        width = width * 10 + (text[i] - '0');
      if (i >= text.size() || text[i] != 'd' || found || width > 20) {
        throw Failure(ExitCode::Usage, fmt::format("-o {}: one %d or %06d is understood", text));
      }
      found = true;
      out.width_ = width;
      out.zero_ = zero;
      part = &out.after_;
    }
    if (!found) return std::nullopt;
    return out;
  }

  fs::path at(int64_t number) const {
    std::string const digits =
        zero_ ? fmt::format("{:0{}}", number, width_) : fmt::format("{:{}}", number, width_);
    return before_ + digits + after_;
  }

 private:
  std::string before_;
  std::string after_;
  int width_ = 0;
  bool zero_ = false;
};

class PngWriter : public PictureSink {
 public:
  PngWriter(fs::path const& output, PictureSource const& source)
      : aspect_(av_d2q(source.info["pixelAspect"].asDouble(), 4096)) {
    if (output == "-") {
      stream_.emplace(output);
      return;
    }
    std::error_code error;
    if (fs::is_directory(output, error) || output.filename().empty()) {
      fs::create_directories(output, error);
      if (error) {
        throw Failure(ExitCode::Write,
                      fmt::format("{}: cannot be created ({})", output.string(), error.message()));
      }
      folder_ = output;
      return;
    }
    numbered_ = NumberedName::parse(output.string());
    single_ = output;
    if (!numbered_ && source.count > 1) {
      throw Failure(ExitCode::Usage,
                    fmt::format("-o {}: one name for {} pictures", output.string(), source.count),
                    "give a folder, a name with %d, or a range of one picture with --from and --to");
    }
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
    OutputFile file(nameFor(number));
    file.write(png);
    file.commit();
  }

  void finish() override {
    if (stream_) stream_->commit();
  }

 private:
  fs::path nameFor(int64_t number) const {
    if (!folder_.empty()) return folder_ / fmt::format("frame_{:06}.png", number);
    return numbered_ ? numbered_->at(number) : single_;
  }

  AVRational aspect_;
  fs::path folder_;
  fs::path single_;
  std::optional<NumberedName> numbered_;
  std::optional<OutputFile> stream_;
  RgbConverter converter_;
  PngEncoder encoder_;
};

}  // namespace

std::unique_ptr<PictureSink> makePngWriter(fs::path const& output, PictureSource const& source) {
  return std::make_unique<PngWriter>(output, source);
}

}  // namespace kyhost
