#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "host/timer.h"
#include "kyhost/commands/commands.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/signals.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

double perSecond(int64_t count, double seconds) {
  return seconds > 0.0 ? static_cast<double>(count) / seconds : 0.0;
}

}  // namespace

void runBench(Settings const& settings, BenchOptions const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  Json result{{"file", options.path}, {"openSeconds", session.openSeconds()}};
  KyTimer timer;
  {
    VideoReader reader(session, options.stream);
    int64_t const wanted =
        options.frames > 0 ? std::min<int64_t>(options.frames, reader.frames()) : reader.frames();
    Progress progress("reading", "frames", wanted, settings.quiet);
    timer.start();
    while (reader.position() < wanted && reader.next()) {
      checkInterrupt();
      progress.advance();
    }
    double const seconds = timer.stop();
    result["frames"] = progress.done();
    result["seconds"] = seconds;
    result["framesPerSecond"] = perSecond(progress.done(), seconds);

    std::mt19937 random(options.seed);
    std::uniform_int_distribution<int64_t> anyFrame(0, std::max<int64_t>(0, reader.frames() - 1));
    Progress seeking("seeking", "seeks", options.seeks, settings.quiet);
    timer.start();
    for (int i = 0; i < options.seeks; ++i) {
      checkInterrupt();
      reader.seek(anyFrame(random));
      if (!reader.next()) break;
      seeking.advance();
    }
    double const seekSeconds = timer.stop();
    result["seeks"] = seeking.done();
    result["seeksPerSecond"] = perSecond(seeking.done(), seekSeconds);
  }
  OutputFile out("-");
  if (options.json) {
    out.write(dumpJson(result) + "\n");
  } else {
    out.write(fmt::format(
        "opened in         {:.4f} s\n"
        "one after another {:.1f} frames/s ({} frames)\n"
        "at random         {:.1f} frames/s ({} seeks)\n",
        session.openSeconds(), result["framesPerSecond"].get<double>(), result["frames"].get<int64_t>(),
        result["seeksPerSecond"].get<double>(), result["seeks"].get<int64_t>()));
  }
  out.commit();
}

}  // namespace kyhost
