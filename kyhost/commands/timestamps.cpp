#include <fmt/format.h>

#include <memory>

#include "host/mediatime.h"
#include "kyhost/commands/commands.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/signals.h"
#include "kyhost/text/json_any.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {

void runTimestamps(Settings const& settings, TimestampsOptions const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  session.requireStream(kKindVideo, options.stream);
  std::unique_ptr<KyStreamTimestamps const> const table(session.pipe().frameTimestamps(options.stream));
  if (!table)
    throw Failure(ExitCode::Read,
                  session.describe(kKindVideo, options.stream, "its time stamps cannot be listed"));
  OutputFile out("-");
  Json stamps = Json::array();
  for (int i = 0; i < table->size(); ++i) {
    checkInterrupt();
    MediaTime const time = table->at(i);
    if (options.json)
      stamps.push_back({{"frame", i}, {"seconds", time.seconds()}, {"units", time.units()}});
    else
      out.write(fmt::format("{}\t{:.9f}\n", i, time.seconds()));
  }
  if (options.json)
    out.write(dumpJson({{"file", options.path},
                        {"stream", options.stream},
                        {"scale", MediaTime::kScale},
                        {"frames", std::move(stamps)}}) +
              "\n");
  out.commit();
}

}  // namespace kyhost
