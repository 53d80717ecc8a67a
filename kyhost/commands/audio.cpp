#include <fmt/format.h>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/params.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/wav_writer.h"

namespace kyhost {

void runAudio(Settings const& settings, AudioOptions const& options) {
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  AudioReader reader(session, options.stream);
  Range const range = parseRange(options.from, options.to, reader.samples(), reader.rate(), "samples");
  reader.seek(range.from);

  bool const discrete = !reader.info()["_joined"].asVector().empty();
  WavWriter writer(options.output, {reader.rate(), reader.channels(), reader.bytesPerSample(), discrete});
  Progress progress("audio", "samples", range.size(), settings.quiet);
  while (reader.position() < range.to) {
    checkInterrupt();
    AudioReader::Block const block = reader.next(range.to - reader.position());
    if (block.samples == 0) break;
    writer.write(block.data, block.samples);
    progress.advance(block.samples);
  }
  writer.finish();
  printStats(session, settings, "samples", progress.done(), progress.seconds());
  if (reader.position() < range.to) {
    throw Failure(ExitCode::Read,
                  fmt::format("{}: ends {} samples early", session.name(kKindAudio, options.stream),
                              range.to - reader.position()),
                  "what is there has been written");
  }
}

}  // namespace kyhost
