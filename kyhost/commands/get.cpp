#include <charconv>
#include <optional>
#include <string_view>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/params.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/session.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  std::string key;       // of the decoder, or "video0/width" of a stream
  std::string argument;  // of the question, or empty
  bool json = false;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  arguments.add("KEY", &options.key, "As tsStructure, or video0/width, audio1/channels, subtitle0/language")
      .mandatory();
  arguments.add("ARGUMENT", &options.argument, "Of the question: a number, or KIND,NUMBER of a stream");
  addJson(arguments, options.json);
}

// "video0/width": a parameter of a stream.
struct StreamKey {
  KyStreamKind kind;
  int index;
  std::string key;
};

std::optional<StreamKey> streamKey(std::string_view text) {
  size_t const slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  std::string_view const stream = text.substr(0, slash);
  for (KyStreamKind const kind : {kKindVideo, kKindAudio, kKindSubpic}) {
    std::string_view const name = kindName(kind);
    if (!stream.starts_with(name)) continue;
    std::string_view const number = stream.substr(name.size());
    int index = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), index);
    if (error != std::errc() || end != number.data() + number.size()) continue;
    return StreamKey{kind, index, std::string(text.substr(slash + 1))};
  }
  return std::nullopt;
}

// "1,0": a stream by its kind (1 video, 2 audio, 4 subtitle) and number; anything else as --set reads it.
Any argument(std::string const& text) {
  size_t const comma = text.find(',');
  if (comma != std::string::npos) {
    Any const first = valueFromText(text.substr(0, comma));
    Any const second = valueFromText(text.substr(comma + 1));
    if (first.isInt32() && second.isInt32()) return Any(Pair{first, second});
  }
  return text.empty() ? Any() : valueFromText(text);
}

Any asked(Session const& session, Options const& options) {
  KyDecodePipe& pipe = session.pipe();
  Any value;
  if (auto const stream = streamKey(options.key)) {
    session.requireStream(stream->kind, stream->index);
    pipe.getStreamParam(stream->kind, stream->index, stream->key.c_str(), value);
    return value;
  }
  value = argument(options.argument);
  if (pipe.getParam(options.key.c_str(), value) != 0)
    throw Failure(ExitCode::Usage, options.path + ": the decoder has no parameter '" + options.key + "'",
                  "streams are asked as in video0/width, audio1/channels, subtitle0/language");
  return value;
}

void run(Settings const& settings, Options const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  Any const value = asked(session, options);
  if (!value.valid())
    throw Failure(ExitCode::Usage, options.path + ": '" + options.key + "' has no value for this file");
  OutputFile out("-");
  out.write((options.json ? jsonText(value) : toLine(value)) + "\n");
  out.commit();
}

}  // namespace

Command getCommand() {
  return makeCommand("get", "One parameter of the decoder or of a stream",
                     "KIND of a stream is 1 video, 2 audio or 4 subtitle. A key that is not there, or has no "
                     "value for the file, ends with exit code 1.",
                     describe, run);
}

}  // namespace kyhost
