#include "kyhost/writers/picture_names.h"

#include <fmt/format.h>

#include <utility>

#include "kyhost/session/failure.h"

namespace fs = std::filesystem;

namespace kyhost {

std::optional<NumberedName> NumberedName::parse(std::string const& text) {
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
    if (i >= text.size() || text[i] != 'd' || found || width > 20)
      throw Failure(ExitCode::Usage, fmt::format("-o {}: one %d or %06d is understood", text));
    found = true;
    out.width_ = width;
    out.zero_ = zero;
    part = &out.after_;
  }
  if (!found) return std::nullopt;
  return out;
}

fs::path NumberedName::at(int64_t number) const {
  std::string const digits =
      zero_ ? fmt::format("{:0{}}", number, width_) : fmt::format("{:{}}", number, width_);
  return before_ + digits + after_;
}

PictureNames::PictureNames(fs::path const& output, std::string prefix, int64_t count,
                           std::string const& advice)
    : prefix_(std::move(prefix)) {
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
  if (!numbered_ && count > 1) {
    throw Failure(ExitCode::Usage, fmt::format("-o {}: one name for {} pictures", output.string(), count),
                  advice);
  }
}

fs::path PictureNames::at(int64_t number) const {
  if (!folder_.empty()) return folder_ / fmt::format("{}_{:06}.png", prefix_, number);
  return numbered_ ? numbered_->at(number) : single_;
}

}  // namespace kyhost
