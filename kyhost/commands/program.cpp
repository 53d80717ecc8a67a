#include "kyhost/commands/program.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "host/version.h"
#include "kyhost/commands/command_line.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/man_page.h"
#include "kyhost/commands/params.h"
#include "kyhost/session/decoder_log.h"
#include "kyhost/session/memory_io.h"
#include "kyhost/session/messages.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/libav.h"

namespace kyhost {
namespace {

// What holds for every command, as the user wrote it.
struct GlobalOptions {
  std::string plugin;
  std::vector<std::string> assignments;
  std::string debug;
  std::string io;
  Settings settings;

  // Throws Failure (usage).
  void finish() {
    Parameters parameters = parseParameters(assignments);
    settings.plugin = plugin;
    settings.module = std::move(parameters.module);
    settings.pipe = std::move(parameters.pipe);
    if (!debug.empty()) settings.debug = parseDebugMask(debug);
  }
};

Arguments argumentsOf(GlobalOptions& options) {
  Arguments all;
  all.add("--plugin", &options.plugin, "Plug-in file; default: xdcamdecode.so beside this program")
      .called("FILE");
  all.add("--set", &options.assignments,
          "Decoder parameter before opening, repeatable; dots lead into dictionaries, "
          "\"module.\" sets an attribute of the module")
      .called("KEY=VALUE");
  all.add("--threads", &options.settings.threads, "Decoder threads; default: one for each processor")
      .between(0, 64);
  all.add("--debug", &options.debug, "Show the decoder's log: error,warn,info,trace,progress or all")
      .called("LEVELS");
  all.add("--io", &options.io,
          "Let the decoder read from the file system, or from memory through this program")
      .oneOf({"file", "memory"});
  all.add("--stats", &options.settings.stats, "Print times and rates to standard error");
  all.add("-q,--quiet", &options.settings.quiet, "No progress and no warnings");
  return all;
}

// A plug-in that cannot be loaded has no line.
std::string pluginVersion(std::filesystem::path const& file) {
  listenToDecoder(std::nullopt);
  try {
    Settings settings;
    settings.plugin = file;
    Plugin const plugin(settings);
    KyPlugin const& object = plugin.object();
    Any const& version = object.attrs()["version"];
    return fmt::format("\n{}{}", object.name(), version.valid() ? " " + toLine(version) : "");
  } catch (Failure const&) {
    return {};
  }
}

std::string versions(Program const& program, std::string const& plugin) {
  std::string out = fmt::format("{} {}", program.name, program.version);
  for (std::string const& library : libavVersions()) out += "\n" + library;
  return out + pluginVersion(plugin);
}

Program describe(GlobalOptions& options) {
  return {"kyhost",
          KY_VERSION_TEXT,
          "Reads camera cards, take lists and media files through the decoder plug-in.",
          {"Positions (--from, --to) are frame or sample numbers from 0 (250), seconds (10.5s) or times "
           "(1:02:03.5);",
           "--to names the first one that is left out. -o - writes to standard output."},
          {{ExitCode::Ok, "done"},
           {ExitCode::Usage, "wrong arguments"},
           {ExitCode::Plugin, "the plug-in cannot be loaded"},
           {ExitCode::Open, "the file cannot be opened"},
           {ExitCode::Read, "not everything could be read"},
           {ExitCode::Write, "the output cannot be written"}},
          argumentsOf(options),
          allCommands()};
}

void runCommand(Command const& command, GlobalOptions& options) {
  options.finish();
  listenToDecoder(options.settings.debug);
  installSignalHandlers();
  silenceLibav();
  std::optional<MemoryIo> memory;
  if (options.io == "memory") memory.emplace();
  command.run(options.settings);
}

// What the decoder had to say beside its results.
void printRemarks(bool quiet) {
  if (quiet) return;
  for (std::string const& text : takeUserMessages()) printMessage(text);
  for (std::string const& text : takeDecoderErrors()) printMessage("decoder: " + text);
}

int run(int argc, char** argv) {
  GlobalOptions options;
  Program const program = describe(options);
  // For the build, which makes the manual page: no help shows it.
  if (argc == 2 && std::string_view(argv[1]) == "--help-man") {
    std::fputs(manPage(program).c_str(), stdout);
    return static_cast<int>(ExitCode::Ok);
  }
  Call const call = readCommandLine(argc, argv, program, [&] { return versions(program, options.plugin); });
  if (!call.command) return static_cast<int>(call.code);
  try {
    runCommand(*call.command, options);
    printRemarks(options.settings.quiet);
    return static_cast<int>(ExitCode::Ok);
  } catch (Failure const& failure) {
    int const code = reportFailure(failure);
    printRemarks(options.settings.quiet);
    return code;
  } catch (Interrupted const& interrupted) {
    printMessage("interrupted");
    return 128 + interrupted.signal;
  }
}

}  // namespace

int runProgram(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (std::exception const& error) {
    return reportFailure({ExitCode::Read, error.what()});
  }
}

}  // namespace kyhost
