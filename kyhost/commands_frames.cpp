#include <fmt/format.h>

#include <optional>

#include "host/util.h"
#include "kyhost/commands.h"
#include "kyhost/failure.h"
#include "kyhost/output_file.h"
#include "kyhost/params.h"
#include "kyhost/picture_sink.h"
#include "kyhost/progress.h"
#include "kyhost/readers.h"
#include "kyhost/signals.h"
#include "kyhost/stats.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

PictureFormat formatFor(FramesOptions const& options) {
  if (options.format == "y4m") return PictureFormat::Y4m;
  if (options.format == "raw") return PictureFormat::Raw;
  if (options.format == "png") return PictureFormat::Png;
  fs::path const output = options.output;
  if (output == "-") return PictureFormat::Y4m;
  std::error_code ignored;
  if (output.filename().empty() || fs::is_directory(output, ignored)) return PictureFormat::Png;
  std::string const extension = KyUtil::getExt(Any(options.output), true).asString();
  if (extension == "y4m") return PictureFormat::Y4m;
  if (extension == "yuv" || extension == "raw") return PictureFormat::Raw;
  if (extension == "png") return PictureFormat::Png;
  throw Failure(ExitCode::Usage, fmt::format("-o {}: the name does not say the format", options.output),
                "end it in .y4m, .yuv, .raw, .png or / (a folder of PNG), or add --format");
}

std::unique_ptr<PictureSink> makeSink(PictureFormat format, fs::path const& output, PictureSource source) {
  switch (format) {
    case PictureFormat::Y4m:
      return makeY4mWriter(output, std::move(source));
    case PictureFormat::Raw:
      return makeRawWriter(output, std::move(source));
    case PictureFormat::Png:
      break;
  }
  return makePngWriter(output, std::move(source));
}

// How to play what has no header.
void describeRaw(AnyDict const& info, KyFrame const& frame) {
  uint32_t const code = frame.fourcc();
  fmt::print(stderr, "raw pictures: {}{}{}{} {}x{}, {:.6g} frames/s\n", static_cast<char>(code),
             static_cast<char>(code >> 8), static_cast<char>(code >> 16), static_cast<char>(code >> 24),
             frame.width(), frame.height(), info["framerate"].asFramerate().rate());
}

}  // namespace

void runFrames(Settings const& settings, FramesOptions const& options) {
  PictureFormat const format = formatFor(options);
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  VideoReader reader(session, options.stream);
  Range const range = parseRange(options.from, options.to, reader.frames(), reader.rate().rate(), "frames");
  if (options.overlay >= 0) reader.showSubtitles(options.overlay);

  std::string const name = session.describe(kKindVideo, options.stream, "pictures");
  auto const sink = makeSink(format, options.output, {name, reader.info(), range.size()});
  Progress progress("frames", "frames", range.size(), settings.quiet);
  reader.seek(range.from);
  int64_t written = 0;
  std::optional<Failure> damage;
  while (reader.position() < range.to) {
    checkInterrupt();
    int64_t const number = reader.position();
    try {
      KyFrame const* const frame = reader.next();
      if (!frame) break;
      if (format == PictureFormat::Raw && written == 0 && !settings.quiet) describeRaw(reader.info(), *frame);
      sink->write(*frame, number);
      ++written;
    } catch (Failure const& failure) {
      if (failure.code() != ExitCode::Read) throw;
      if (!options.skipErrors) {
        throw Failure(ExitCode::Read, failure.what(),
                      "to leave out pictures that cannot be decoded add --skip-errors");
      }
      fmt::print(stderr, "kyhost: {}: left out\n", failure.what());
      if (!damage) damage = failure;
    }
    progress.advance();
  }
  if (!damage && written < range.size()) {
    throw Failure(ExitCode::Read,
                  session.describe(kKindVideo, options.stream,
                                   fmt::format("ends after frame {} of {}", range.from + written, range.to)));
  }
  sink->finish();
  printStats(session, settings, "frames", written, progress.seconds());
  if (damage) {
    throw Failure(ExitCode::Read,
                  session.describe(kKindVideo, options.stream,
                                   fmt::format("{} of {} frames could not be decoded", range.size() - written,
                                               range.size())),
                  "the others have been written");
  }
}

}  // namespace kyhost
