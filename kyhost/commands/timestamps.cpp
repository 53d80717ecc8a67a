#include <fmt/format.h>

#include <memory>

#include "host/mediatime.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/text/json_any.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  bool json = false;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Video stream");
  addJson(arguments, options.json);
}

void run(Settings const& settings, Options const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  session.requireStream(kKindVideo, options.stream);
  std::unique_ptr<KyStreamTimestamps const> const table(session.pipe().frameTimestamps(options.stream));
  if (!table)
    throw Failure(ExitCode::Read,
                  session.describe(kKindVideo, options.stream, "its time stamps cannot be listed"));
  OutputFile out("-");
  AnyVector stamps;
  for (int i = 0; i < table->size(); ++i) {
    checkInterrupt();
    MediaTime const time = table->at(i);
    if (options.json)
      stamps.append(AnyDict("frame", i, "seconds", time.seconds(), "units", time.units()));
    else
      out.write(fmt::format("{}\t{:.9f}\n", i, time.seconds()));
  }
  if (options.json)
    out.write(jsonText(AnyDict("file", options.path, "stream", options.stream, "scale", MediaTime::kScale,
                               "frames", stamps)) +
              "\n");
  out.commit();
}

}  // namespace

Command timestampsCommand() {
  return makeCommand("timestamps", "Presentation time of every frame, in seconds",
                     "A line for each frame: its number and its time.", describe, run);
}

}  // namespace kyhost
