#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "host/util.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/captions.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  int stream = 0;      // among the closed-caption streams
  int channel = 1;     // CC1 to CC4
  std::string output;  // .srt or .scc; empty or "-": lines with times
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addStream(arguments, options.stream, "Closed-caption stream");
  arguments.add("--channel", &options.channel, "CC1 to CC4").between(1, kCaptionChannels).withDefault();
  addOutput(arguments, options.output, "FILE.srt, FILE.scc or -; default: lines with times");
}

enum class CaptionFormat { Lines, Srt, Scc };

CaptionFormat formatFor(std::string const& output) {
  if (output.empty() || output == "-") return CaptionFormat::Lines;
  std::string const extension = KyUtil::getExt(Any(output), true).asString();
  if (extension == "srt") return CaptionFormat::Srt;
  if (extension == "scc") return CaptionFormat::Scc;
  throw Failure(ExitCode::Usage, fmt::format("-o {}: the name does not say the format", output),
                "end it in .srt (text) or .scc (the caption bytes)");
}

int fieldOf(int channel) { return channel > 2 ? 2 : 1; }

// Number of the entry in the list of subtitle streams, where captions stand first.
int captionEntry(Session const& session, int stream) {
  int captions = 0;
  for (int i = 0; i < session.streams(kKindSubpic); ++i) {
    if (session.info(kKindSubpic, i)["type"].asInt32() != kTypeCaptions) continue;
    if (captions++ == stream) return i;
  }
  std::string const file = session.path().string();
  if (captions > 0)
    throw Failure(ExitCode::Usage, fmt::format("{}: no closed captions {}: the file has {} such stream{}",
                                               file, stream, captions, captions == 1 ? "" : "s"));
  throw Failure(ExitCode::Usage, fmt::format("{}: has no closed captions", file),
                "they are looked for in the first 10 pictures of MPEG-1, MPEG-2 and H.264 that do not run "
                "at 25 or 50");
}

// The caption bytes of the whole stream. Captions name no video stream, so where there are several and not
// all carry captions, all are read side by side, and the pictures' times tell which one moved.
class CaptionReader {
 public:
  CaptionReader(Session const& session, int entry) : session_(session), entry_(entry) {
    int const streams = session.streams(kKindVideo);
    int captions = 0;
    for (int i = 0; i < session.streams(kKindSubpic); ++i)
      captions += session.info(kKindSubpic, i)["type"].asInt32() == kTypeCaptions;
    for (int i = 0; i < streams; ++i)
      if (streams != captions || i == entry) videos_.push_back(std::make_unique<VideoReader>(session, i));
  }

  int64_t frames() const {
    int64_t most = 0;
    for (auto const& video : videos_) most = std::max(most, video->frames());
    return most;
  }
  double rate() const { return videos_.front()->rate().rate(); }
  double seconds() const { return rate() > 0 ? static_cast<double>(frames()) / rate() : 0.0; }

  // Goes one picture on; `bytes` gets what it carries. False at the end.
  bool next(CaptionBytes& bytes) {
    bool more = false;
    for (auto const& video : videos_) more |= advance(*video);
    AnyDict data;
    if (!more || session_.pipe().readCcData(entry_, 0, data) != 0) return more;
    double const time = data["time"].asDouble();
    if (time == last_) return more;
    last_ = time;
    auto const* const triplets = static_cast<uint8_t const*>(data["data"].asGeneric());
    bytes.add(time, {triplets, static_cast<size_t>(data["data"].genericSize())});
    return more;
  }

  int64_t unreadable() const { return unreadable_; }

 private:
  bool advance(VideoReader& video) {
    try {
      return video.next() != nullptr;
    } catch (Failure const& failure) {
      if (failure.code() != ExitCode::Read) throw;
      ++unreadable_;
      return true;
    }
  }

  Session const& session_;
  int entry_;
  std::vector<std::unique_ptr<VideoReader>> videos_;
  double last_ = -1.0;
  int64_t unreadable_ = 0;
};

std::string lines(std::vector<Cue> const& cues) {
  std::string out;
  for (Cue const& cue : cues) {
    std::string const times = fmt::format("{} - {}  ", timeText(cue.from), timeText(cue.to));
    std::string text = cue.text;
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
      text.insert(at + 1, times.size(), ' ');
    out += times + text + "\n";
  }
  return out;
}

void requireText(std::array<std::vector<Cue>, kCaptionChannels> const& all, int channel,
                 std::string const& file) {
  if (!all[static_cast<size_t>(channel - 1)].empty()) return;
  std::string others;
  for (size_t i = 0; i < all.size(); ++i)
    if (!all[i].empty()) others += fmt::format("{}CC{}", others.empty() ? "" : ", ", i + 1);
  throw Failure(ExitCode::Usage, fmt::format("{}: the captions have no text in CC{}", file, channel),
                others.empty() ? "no channel has any" : "there is text in " + others);
}

void run(Settings const& settings, Options const& options) {
  CaptionFormat const format = formatFor(options.output);
  std::string const output = options.output.empty() ? "-" : options.output;
  refuseToOverwriteInput(output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  CaptionReader reader(session, captionEntry(session, options.stream));

  CaptionBytes bytes(reader.rate());
  Progress progress("captions", "frames", reader.frames(), settings.quiet);
  while (reader.next(bytes)) {
    checkInterrupt();
    progress.advance();
  }
  auto const all = decodeCaptions(bytes, reader.seconds());
  requireText(all, options.channel, session.path().string());
  auto const& cues = all[static_cast<size_t>(options.channel - 1)];

  OutputFile out(output);
  if (format == CaptionFormat::Scc)
    out.write(sccText(bytes, fieldOf(options.channel)));
  else
    out.write(format == CaptionFormat::Srt ? srtText(cues) : lines(cues));
  out.commit();
  printStats(session, settings, "frames", progress.done(), progress.seconds());
  if (reader.unreadable() > 0)
    throw Failure(
        ExitCode::Read,
        fmt::format("{}: {} frames could not be decoded", session.path().string(), reader.unreadable()),
        "the captions of the others have been written");
}

}  // namespace

Command captionsCommand() {
  return makeCommand(
      "cc", "Closed captions as text",
      "CEA-608 captions of one channel: FILE.srt gets SubRip text, FILE.scc the caption bytes of "
      "the channel's field. Text counts as shown from the picture behind the one that sends its "
      "last code.",
      describe, run);
}

}  // namespace kyhost
