#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "host/util.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/pictures/rgb_picture.h"
#include "kyhost/pictures/subtitle_picture.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/messages.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/picture_names.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  std::string output;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Subtitle stream");
  addOutput(arguments, options.output,
            "FILE.srt, .ass, .ssa or -; for pictures FOLDER/ or FILE.png (%05d numbers)")
      .mandatory();
}

// The ending of a text of that kind, or null for pictures.
char const* textEnding(std::string const& subType) {
  if (subType == "utf8") return "srt";
  return subType == "ass" || subType == "ssa" ? subType.c_str() : nullptr;
}

void writeText(std::string const& name, AnyDict const& info, std::string const& output) {
  std::string const subType = info["subType"].asString();
  char const* const ending = textEnding(subType);
  if (output != "-" && KyUtil::getExt(Any(output), true).asString() != ending) {
    throw Failure(ExitCode::Usage, fmt::format("-o {}: {} is a text of kind {}", output, name, subType),
                  fmt::format("end the name in .{}", ending));
  }
  OutputFile out(output);
  out.write(info["subtitles"].asString());
  out.commit();
}

std::vector<uint8_t> bytesOf(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool namesPictures(std::string const& output) {
  fs::path const path = output;
  std::error_code ignored;
  return path.filename().empty() || fs::is_directory(path, ignored) ||
         KyUtil::getExt(Any(output), true).asString() == "png";
}

// Writes the pictures and, to standard output, a line for each: file, begin, end, left, top, width, height.
void writePictures(std::string const& name, AnyDict const& info, std::string const& output) {
  std::string const subType = info["subType"].asString();
  if (!namesPictures(output)) {
    throw Failure(ExitCode::Usage,
                  fmt::format("-o {}: {} is a stream of pictures ({})", output, name, subType),
                  "give a folder or a name that ends in .png, with %d for the picture's number");
  }
  auto const files = subtitleFiles(info["subtitles"].asString());
  PictureNames const names(output, "subtitle", static_cast<int64_t>(files.size()),
                           "give a folder or a name with %d");
  OutputFile list("-");
  size_t failed = 0;
  for (SubtitleFile const& file : files) {
    checkInterrupt();
    try {
      SubtitlePicture const picture = decodeSubtitle(bytesOf(file.path), subType == "dxsa");
      fs::path const to = names.at(file.number);
      OutputFile out(to);
      PngEncoder encoder;  // pictures differ in size
      out.write(encoder.encode(*picture.frame, {0, 1}));
      out.commit();
      list.write(fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\n", to.string(),
                             timeText(static_cast<double>(file.begin) / 1e6),
                             timeText(static_cast<double>(file.end) / 1e6), picture.left, picture.top,
                             picture.frame->width, picture.frame->height));
    } catch (Failure const& failure) {
      if (failure.code() != ExitCode::Read) throw;
      printMessage(fmt::format("{}: picture {}: {}: left out", name, file.number, failure.what()));
      ++failed;
    }
  }
  list.commit();
  if (failed > 0) {
    throw Failure(ExitCode::Read,
                  fmt::format("{}: {} of {} pictures could not be decoded", name, failed, files.size()),
                  "the others have been written");
  }
}

void run(Settings const& settings, Options const& options) {
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  session.requireStream(kKindSubpic, options.stream);
  AnyDict const info = session.info(kKindSubpic, options.stream);
  std::string const name = session.name(kKindSubpic, options.stream);
  if (info["type"].asInt32() == kTypeCaptions)
    throw Failure(ExitCode::Usage, fmt::format("{}: closed captions lie in the pictures", name));
  if (!info.contains("subtitles")) {
    throw Failure(ExitCode::Usage, fmt::format("{}: its pictures are drawn by the decoder alone", name),
                  fmt::format("see them with: frames --overlay {}", options.stream));
  }
  if (textEnding(info["subType"].asString())) {
    writeText(name, info, options.output);
  } else {
    writePictures(name, info, options.output);
  }
}

}  // namespace

Command subsCommand() {
  return makeCommand(
      "subs", "Subtitles as text or as PNG",
      "Text is written as the file holds it, in a file of its kind; bitmaps of DXSA and DXSB "
      "streams as PNG with transparency, with a line for each on standard output: file, begin, "
      "end, left, top, width, height.",
      describe, run);
}

}  // namespace kyhost
