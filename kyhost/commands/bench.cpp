#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "host/timer.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  int frames = 0;  // read one after another; 0: all
  int seeks = 50;
  unsigned seed = 1;  // of the random positions
  bool json = false;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Video stream");
  arguments.add("--frames", &options.frames, "Frames read one after another; 0: all")
      .notBelowZero()
      .withDefault();
  arguments.add("--seeks", &options.seeks, "Random positions").notBelowZero().withDefault();
  arguments.add("--seed", &options.seed, "Of the random positions").withDefault();
  addJson(arguments, options.json);
}

struct Rate {
  int64_t count = 0;
  double seconds = 0.0;
  double perSecond() const { return kyhost::perSecond(count, seconds); }
};

Rate readInOrder(VideoReader& reader, Settings const& settings, int64_t wanted) {
  Progress progress("reading", "frames", wanted, settings.quiet);
  KyTimer timer;
  while (reader.position() < wanted && reader.next()) {
    checkInterrupt();
    progress.advance();
  }
  return {progress.done(), timer.stop()};
}

Rate readAtRandom(VideoReader& reader, Settings const& settings, int seeks, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int64_t> anyFrame(0, std::max<int64_t>(0, reader.frames() - 1));
  Progress progress("seeking", "seeks", seeks, settings.quiet);
  KyTimer timer;
  for (int i = 0; i < seeks; ++i) {
    checkInterrupt();
    reader.seek(anyFrame(random));
    if (!reader.next()) break;
    progress.advance();
  }
  return {progress.done(), timer.stop()};
}

AnyDict document(std::string const& path, double openSeconds, Rate const& inOrder, Rate const& atRandom) {
  AnyDict out("file", path, "openSeconds", openSeconds);
  out.set("frames", Any(inOrder.count));
  out.set("seconds", Any(inOrder.seconds));
  out.set("framesPerSecond", Any(inOrder.perSecond()));
  out.set("seeks", Any(atRandom.count));
  out.set("seeksPerSecond", Any(atRandom.perSecond()));
  return out;
}

std::string lines(double openSeconds, Rate const& inOrder, Rate const& atRandom) {
  return fmt::format(
      "opened in         {:.4f} s\n"
      "one after another {:.1f} frames/s ({} frames)\n"
      "at random         {:.1f} frames/s ({} seeks)\n",
      openSeconds, inOrder.perSecond(), inOrder.count, atRandom.perSecond(), atRandom.count);
}

void run(Settings const& settings, Options const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  Rate inOrder, atRandom;
  {
    VideoReader reader(session, options.stream);
    int64_t const all = reader.frames();
    inOrder =
        readInOrder(reader, settings, options.frames > 0 ? std::min<int64_t>(options.frames, all) : all);
    atRandom = readAtRandom(reader, settings, options.seeks, options.seed);
  }
  OutputFile out("-");
  double const opened = session.openSeconds();
  out.write(options.json ? jsonText(document(options.path, opened, inOrder, atRandom)) + "\n"
                         : lines(opened, inOrder, atRandom));
  out.commit();
}

}  // namespace

Command benchCommand() {
  return makeCommand(
      "bench", "Speed of opening, reading and seeking",
      "Reads frames one after another, then at random positions, which the seed makes the same "
      "from run to run.",
      describe, run);
}

}  // namespace kyhost
