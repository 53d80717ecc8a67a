#include <fmt/format.h>

#include <algorithm>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/pictures/contact_sheet.h"
#include "kyhost/pictures/rgb_picture.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  std::string output;
  int overlay = -1;  // bitmap subtitle stream, -1 none
  int columns = 4;
  int rows = 3;
  int width = 1280;  // of the sheet, pixels
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Video stream");
  addOutput(arguments, options.output, "FILE.png or -").mandatory();
  addOverlay(arguments, options.overlay);
  arguments.add("--columns", &options.columns, "Pictures side by side").between(1, 100).withDefault();
  arguments.add("--rows", &options.rows, "Rows of pictures").between(1, 100).withDefault();
  arguments.add("--width", &options.width, "Width of the sheet in pixels").between(32, 16384).withDefault();
}

// "#123  0:00:04.920": the frame's number and its time in the stream.
std::string labelOf(int64_t frame, double rate) {
  if (!(rate > 0.0)) return fmt::format("#{}", frame);
  return fmt::format("#{}  {}", frame, timeText(static_cast<double>(frame) / rate));
}

// For `count` pictures: a file shorter than the sheet shows every frame once.
SheetLayout layoutFor(Options const& options, VideoReader const& reader, int64_t count) {
  auto const columns = static_cast<int>(std::min<int64_t>(options.columns, count));
  auto const rows = static_cast<int>((count + columns - 1) / columns);
  SheetLayout const layout(columns, rows, options.width, reader.info()["frameAspect"].asDouble());
  if (!layout.hasRoom()) {
    throw Failure(ExitCode::Usage,
                  fmt::format("{} columns on {} pixels leave no room", columns, options.width),
                  "take a larger --width or fewer --columns");
  }
  return layout;
}

void run(Settings const& settings, Options const& options) {
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  VideoReader reader(session, options.stream);
  if (options.overlay >= 0) reader.showSubtitles(options.overlay);

  int64_t const count = std::min<int64_t>(int64_t{options.columns} * options.rows, reader.frames());
  if (count < 1) throw Failure(ExitCode::Read, session.name(kKindVideo, options.stream) + ": has no frames");
  SheetLayout const layout = layoutFor(options, reader, count);
  ContactSheet sheet(layout);
  RgbConverter converter;
  for (int64_t i = 0; i < count; ++i) {
    checkInterrupt();
    // The middle of each of `count` equal stretches.
    int64_t const number = (2 * i + 1) * reader.frames() / (2 * count);
    reader.seek(number);
    KyFrame const* const frame = reader.next();
    if (!frame) break;
    sheet.put(i, converter.convert(*frame, layout.pictureWidth, layout.pictureHeight, false),
              labelOf(number, reader.rate().rate()));
  }
  PngEncoder encoder;
  OutputFile file(options.output);
  file.write(encoder.encode(sheet.image(), {1, 1}));
  file.commit();
  printStats(session, settings, "", 0, 0.0);
}

}  // namespace

Command contactCommand() {
  return makeCommand(
      "contact", "Contact sheet as PNG",
      "Evenly spaced frames, each with its number and time below it. A file shorter than the sheet "
      "shows every frame once.",
      describe, run);
}

}  // namespace kyhost
