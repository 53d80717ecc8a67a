#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/params.h"
#include "kyhost/session/decoder_log.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/memory_io.h"
#include "kyhost/session/signals.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using namespace kyhost;

constexpr char const* kFooter =
    R"(Positions (--from, --to) are frame or sample numbers from 0 (250), seconds (10.5s) or times (1:02:03.5);
--to names the first one that is left out. -o - writes to standard output.

Exit codes: 0 done, 1 wrong arguments, 2 the plug-in cannot be loaded, 3 the file cannot be opened,
4 not everything could be read, 5 the output cannot be written.)";

struct CommandLine {
  std::string plugin;
  std::vector<std::string> assignments;
  std::string debug;
  std::string io;
  Settings settings;
  InfoOptions info;
  FramesOptions frames;
  AudioOptions audio;
  SubsOptions subs;
  HashOptions hash;
  ContactOptions contact;
  GetOptions get;
  TimestampsOptions timestamps;
  CaptionOptions captions;
  BenchOptions bench;
};

void addGlobalOptions(CLI::App& app, CommandLine& line) {
  app.add_option("--plugin", line.plugin, "Plug-in file; default: xdcamdecode.so beside this program")
      ->type_name("FILE");
  app.add_option("--set", line.assignments,
                 "Decoder parameter before opening, repeatable; dots lead into dictionaries, "
                 "\"module.\" sets an attribute of the module")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  app.add_option("--threads", line.settings.threads, "Decoder threads; default: one for each processor")
      ->check(CLI::Range(0, 64));
  app.add_option("--debug", line.debug, "Show the decoder's log: error,warn,info,trace,progress or all")
      ->type_name("LEVELS");
  app.add_option("--io", line.io,
                 "Let the decoder read from the file system, or from memory through this program")
      ->check(CLI::IsMember({"file", "memory"}));
  app.add_flag("--stats", line.settings.stats, "Print times and rates to standard error");
  app.add_flag("-q,--quiet", line.settings.quiet, "No progress and no warnings");
}

CLI::App* addCommand(CLI::App& app, char const* name, char const* what, std::string& path) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->fallthrough();
  command->add_option("PATH", path, "Clip description of a card (.SMI, .XML), take list (.mzl) or media file")
      ->required();
  return command;
}

void addRange(CLI::App& command, std::string& from, std::string& to) {
  command.add_option("--from", from, "First position; default: the first")->type_name("POSITION");
  command.add_option("--to", to, "Position behind the last; default: the end")->type_name("POSITION");
}

void addOverlay(CLI::App& command, int& overlay) {
  command.add_option("--overlay", overlay, "Draw this bitmap subtitle stream, counted from 0")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber);
}

void addCommands(CLI::App& app, CommandLine& line) {
  auto* command = addCommand(app, "info", "What the file holds", line.info.path);
  command->add_flag("--json", line.info.json, "JSON for programs");

  command = addCommand(app, "frames", "Pictures as Y4M, raw or PNG", line.frames.path);
  command->add_option("--stream", line.frames.stream, "Video stream")->type_name("N");
  addRange(*command, line.frames.from, line.frames.to);
  command
      ->add_option("-o,--output", line.frames.output,
                   "FILE.y4m, .yuv, .raw, .png (%05d numbers), FOLDER/ or -")
      ->required()
      ->type_name("FILE");
  command->add_option("--format", line.frames.format, "In place of what the name says")
      ->check(CLI::IsMember({"y4m", "raw", "png"}));
  addOverlay(*command, line.frames.overlay);
  command->add_flag("--skip-errors", line.frames.skipErrors, "Leave out pictures that cannot be decoded");

  command = addCommand(app, "audio", "Sound as WAV", line.audio.path);
  command->add_option("--stream", line.audio.stream, "Audio stream")->type_name("N");
  addRange(*command, line.audio.from, line.audio.to);
  command->add_option("-o,--output", line.audio.output, "FILE.wav, FILE.w64 or -")
      ->required()
      ->type_name("FILE");

  command = addCommand(app, "subs", "Subtitles as text or as PNG", line.subs.path);
  command->add_option("--stream", line.subs.stream, "Subtitle stream")->type_name("N");
  command
      ->add_option("-o,--output", line.subs.output,
                   "FILE.srt, .ass, .ssa or -; for pictures FOLDER/ or FILE.png (%05d numbers)")
      ->required()
      ->type_name("FILE");

  command = addCommand(app, "hash", "MD5 of every frame and of every second of sound", line.hash.path);
  command->add_flag("--json", line.hash.json, "JSON for programs");

  command = addCommand(app, "contact", "Contact sheet as PNG", line.contact.path);
  command->add_option("--stream", line.contact.stream, "Video stream")->type_name("N");
  command->add_option("-o,--output", line.contact.output, "FILE.png or -")->required()->type_name("FILE");
  addOverlay(*command, line.contact.overlay);
  command->add_option("--columns", line.contact.columns, "Pictures side by side")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  command->add_option("--rows", line.contact.rows, "Rows of pictures")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  command->add_option("--width", line.contact.width, "Width of the sheet in pixels")
      ->check(CLI::Range(32, 16384))
      ->capture_default_str();

  command = addCommand(app, "get", "One parameter of the decoder or of a stream", line.get.path);
  command
      ->add_option("KEY", line.get.key,
                   "As tsStructure, or video0/width, audio1/channels, subtitle0/language")
      ->required();
  command->add_option("ARGUMENT", line.get.argument, "Of the question: a number, or KIND,NUMBER of a stream");
  command->add_flag("--json", line.get.json, "JSON for programs");

  command =
      addCommand(app, "timestamps", "Presentation time of every frame, in seconds", line.timestamps.path);
  command->add_option("--stream", line.timestamps.stream, "Video stream")->type_name("N");
  command->add_flag("--json", line.timestamps.json, "JSON for programs");

  command = addCommand(app, "cc", "Closed captions as text", line.captions.path);
  command->add_option("--stream", line.captions.stream, "Closed-caption stream")->type_name("N");
  command->add_option("--channel", line.captions.channel, "CC1 to CC4")
      ->check(CLI::Range(1, 4))
      ->capture_default_str();
  command
      ->add_option("-o,--output", line.captions.output, "FILE.srt, FILE.scc or -; default: lines with times")
      ->type_name("FILE");

  command = addCommand(app, "bench", "Speed of opening, reading and seeking", line.bench.path);
  command->add_option("--stream", line.bench.stream, "Video stream")->type_name("N");
  command->add_option("--frames", line.bench.frames, "Frames read one after another; 0: all")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->add_option("--seeks", line.bench.seeks, "Random positions")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command->add_option("--seed", line.bench.seed, "Of the random positions")->capture_default_str();
  command->add_flag("--json", line.bench.json, "JSON for programs");
}

void finishSettings(CommandLine& line) {
  Parameters parameters = parseParameters(line.assignments);
  line.settings.plugin = line.plugin;
  line.settings.module = std::move(parameters.module);
  line.settings.pipe = std::move(parameters.pipe);
  if (!line.debug.empty()) line.settings.debug = parseDebugMask(line.debug);
}

void runCommand(CLI::App const& app, CommandLine const& line) {
  if (app.got_subcommand("info")) runInfo(line.settings, line.info);
  if (app.got_subcommand("frames")) runFrames(line.settings, line.frames);
  if (app.got_subcommand("audio")) runAudio(line.settings, line.audio);
  if (app.got_subcommand("subs")) runSubs(line.settings, line.subs);
  if (app.got_subcommand("hash")) runHash(line.settings, line.hash);
  if (app.got_subcommand("contact")) runContact(line.settings, line.contact);
  if (app.got_subcommand("get")) runGet(line.settings, line.get);
  if (app.got_subcommand("timestamps")) runTimestamps(line.settings, line.timestamps);
  if (app.got_subcommand("cc")) runCaptions(line.settings, line.captions);
  if (app.got_subcommand("bench")) runBench(line.settings, line.bench);
}

void printWarnings(bool quiet) {
  if (quiet) return;
  for (std::string const& text : takeUserMessages()) fmt::print(stderr, "kyhost: {}\n", text);
  for (std::string const& text : takeDecoderErrors()) fmt::print(stderr, "kyhost: decoder: {}\n", text);
}

int fail(ExitCode code, std::string const& message, std::string const& advice) {
  fmt::print(stderr, "kyhost: {}\n", message);
  if (!advice.empty()) fmt::print(stderr, "  {}\n", advice);
  return static_cast<int>(code);
}

int run(int argc, char** argv) {
  CommandLine line;
  CLI::App app("Reads camera cards, take lists and media files through the decoder plug-in.", "kyhost");
  app.footer(kFooter);
  app.require_subcommand(1);
  addGlobalOptions(app, line);
  addCommands(app, line);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    bool const asked = error.get_exit_code() == 0;
    app.exit(error);
    return static_cast<int>(asked ? ExitCode::Ok : ExitCode::Usage);
  }
  try {
    finishSettings(line);
    listenToDecoder(line.settings.debug);
    installSignalHandlers();
    // What goes wrong in writing is reported by the calls' results.
    av_log_set_level(AV_LOG_QUIET);
    std::optional<MemoryIo> memory;
    if (line.io == "memory") memory.emplace();
    runCommand(app, line);
    printWarnings(line.settings.quiet);
    return static_cast<int>(ExitCode::Ok);
  } catch (Failure const& failure) {
    int const code = fail(failure.code(), failure.what(), failure.advice());
    printWarnings(line.settings.quiet);
    return code;
  } catch (Interrupted const& interrupted) {
    fmt::print(stderr, "kyhost: interrupted\n");
    return 128 + interrupted.signal;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (std::exception const& error) {
    return fail(ExitCode::Read, error.what(), {});
  }
}
