#include <fmt/format.h>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/params.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/writers/output_file.h"
#include "kyhost/writers/wav_writer.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;
  std::string from, to;  // positions as parsePosition() reads them; empty: first and last
  std::string output;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Audio stream");
  addRange(arguments, options.from, options.to);
  addOutput(arguments, options.output, "FILE.wav, FILE.w64 or -").mandatory();
}

void run(Settings const& settings, Options const& options) {
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

}  // namespace

Command audioCommand() {
  return makeCommand(
      "audio", "Sound as WAV",
      "Samples of 16 bits are written as 16 bits, deeper ones as 24; beyond 4 GB the file becomes "
      "RF64. Mono tracks of a file are joined to one stream unless --set joinMonoStreams=0 keeps "
      "them apart.",
      describe, run);
}

}  // namespace kyhost
