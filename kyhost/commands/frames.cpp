#include <fmt/format.h>

#include "host/util.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/params.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/messages.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/fourcc_text.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/picture_sink.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  std::string from, to;  // positions as parsePosition() reads them; empty: first and last
  std::string output;
  std::string format;  // "y4m", "raw", "png"; empty: by the output's name
  int overlay = -1;    // bitmap subtitle stream, -1 none
  bool skipErrors = false;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Video stream");
  addRange(arguments, options.from, options.to);
  addOutput(arguments, options.output, "FILE.y4m, .yuv, .raw, .png (%05d numbers), FOLDER/ or -").mandatory();
  arguments.add("--format", &options.format, "In place of what the name says").oneOf({"y4m", "raw", "png"});
  addOverlay(arguments, options.overlay);
  arguments.add("--skip-errors", &options.skipErrors, "Leave out pictures that cannot be decoded");
}

PictureFormat formatFor(Options const& options) {
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

std::unique_ptr<PictureSink> makeSink(PictureFormat format, fs::path const& output,
                                      PictureSource const& source) {
  switch (format) {
    case PictureFormat::Y4m:
      return makeY4mWriter(output, source);
    case PictureFormat::Raw:
      return makeRawWriter(output, source);
    case PictureFormat::Png:
      break;
  }
  return makePngWriter(output, source);
}

// How to play what has no header.
void describeRaw(AnyDict const& info) {
  fmt::print(stderr, "raw pictures: {} {}x{}, {:.6g} frames/s\n", fourccText(info["FOURCC"].asInt32()),
             info["width"].asInt32(), info["height"].asInt32(), info["framerate"].asFramerate().rate());
}

// Copies a range of pictures; those that cannot be decoded end it or, when asked for, are left out and named.
class PictureCopy {
 public:
  PictureCopy(VideoReader& reader, PictureSink& sink, bool skipErrors, Progress& progress)
      : reader_(reader), sink_(sink), skipErrors_(skipErrors), progress_(progress) {}

  void run(Range const& range) {
    // A picture that cannot be decoded cannot be positioned on either.
    int64_t first = range.from;
    while (first < range.to && !attempt([&] { reader_.seek(first); })) ++first;
    if (first == range.to) return;
    bool more = true;
    while (more && reader_.position() < range.to) {
      checkInterrupt();
      attempt([&] { more = copyNext(); });
    }
  }

  int64_t written() const { return written_; }

 private:
  bool copyNext() {
    int64_t const number = reader_.position();
    KyFrame const* const frame = reader_.next();
    if (!frame) return false;
    sink_.write(*frame, number);
    ++written_;
    progress_.advance();
    return true;
  }

  template <class Work>
  bool attempt(Work work) {
    try {
      work();
      return true;
    } catch (Failure const& failure) {
      if (failure.code() != ExitCode::Read) throw;
      if (!skipErrors_) {
        throw Failure(ExitCode::Read, failure.what(),
                      "to leave out pictures that cannot be decoded add --skip-errors");
      }
      printMessage(std::string(failure.what()) + ": left out");
      progress_.advance();
      return false;
    }
  }

  VideoReader& reader_;
  PictureSink& sink_;
  bool skipErrors_;
  Progress& progress_;
  int64_t written_ = 0;
};

void run(Settings const& settings, Options const& options) {
  PictureFormat const format = formatFor(options);
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  VideoReader reader(session, options.stream);
  Range const range = parseRange(options.from, options.to, reader.frames(), reader.rate().rate(), "frames");
  if (options.overlay >= 0) reader.showSubtitles(options.overlay);
  if (format == PictureFormat::Raw && !settings.quiet) describeRaw(reader.info());

  std::string const name = session.name(kKindVideo, options.stream);
  auto const sink = makeSink(format, options.output, {name, reader.info(), range.size()});
  Progress progress("frames", "frames", range.size(), settings.quiet);
  PictureCopy copy(reader, *sink, options.skipErrors, progress);
  copy.run(range);

  int64_t const missing = range.size() - copy.written();
  if (missing > 0 && !options.skipErrors) {
    throw Failure(ExitCode::Read, fmt::format("{}: ends after {} of {} frames", name,
                                              range.from + copy.written(), reader.frames()));
  }
  sink->finish();
  printStats(session, settings, "frames", copy.written(), progress.seconds());
  if (missing > 0) {
    throw Failure(ExitCode::Read,
                  fmt::format("{}: {} of {} frames could not be decoded", name, missing, range.size()),
                  "the others have been written");
  }
}

}  // namespace

Command framesCommand() {
  return makeCommand(
      "frames", "Pictures as Y4M, raw or PNG",
      "The name after -o decides what is written: one stream of pictures, or a PNG for each. A "
      "picture that cannot be decoded ends the command, since no other may stand in its place.",
      describe, run);
}

}  // namespace kyhost
