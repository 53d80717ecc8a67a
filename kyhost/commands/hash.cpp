#include <fmt/format.h>

#include <optional>

#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/session.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/md5.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

struct Options {
  std::string path;
  bool json = false;
};

void describe(Arguments& arguments, Options& options) {
  addPath(arguments, options.path);
  addJson(arguments, options.json);
}

// Hashes of one stream, given out as lines at once or collected for a document.
class HashList {
 public:
  HashList(std::string tag, OutputFile& out, bool json) : tag_(std::move(tag)), out_(out), json_(json) {}

  void add(int64_t number, std::string const& hash) {
    all_.add(hash.data(), hash.size());
    all_.add("\n", 1);
    if (json_) {
      hashes_.append(Any(hash));
    } else {
      out_.write(fmt::format("{} {} {}\n", tag_, number, hash));
    }
  }

  // `count`: pictures or samples read.
  AnyDict total(int64_t count) {
    std::string const hash = all_.take();
    if (!json_) out_.write(fmt::format("{} total {} {}\n", tag_, count, hash));
    return {"count", count, "total", hash, "hashes", hashes_};
  }

 private:
  std::string tag_;
  OutputFile& out_;
  bool json_;
  Md5 all_;
  AnyVector hashes_;
};

class Hasher {
 public:
  Hasher(Session const& session, Settings const& settings, OutputFile& out, bool json)
      : session_(session), settings_(settings), out_(out), json_(json) {}

  AnyDict video(int stream) {
    VideoReader reader(session_, stream);
    HashList list(fmt::format("v{}", stream), out_, json_);
    Progress progress(fmt::format("video {}", stream), "frames", reader.frames(), settings_.quiet);
    Md5 md5;
    int64_t count = 0;
    while (reader.position() < reader.frames()) {
      checkInterrupt();
      int64_t const number = reader.position();
      try {
        KyFrame const* const frame = reader.next();
        if (!frame) break;
        md5.add(*frame);
        list.add(number, md5.take());
        ++count;
      } catch (Failure const& failure) {
        note(failure);
        list.add(number, "error");
      }
      progress.advance();
    }
    if (!damage_ && count < reader.frames()) {
      note(Failure(ExitCode::Read, fmt::format("{}: ends after {} of {} frames",
                                               session_.name(kKindVideo, stream), count, reader.frames())));
    }
    frames_ += count;
    return list.total(count);
  }

  AnyDict audio(int stream) {
    AudioReader reader(session_, stream);
    HashList list(fmt::format("a{}", stream), out_, json_);
    Progress progress(fmt::format("audio {}", stream), "samples", reader.samples(), settings_.quiet);
    auto const sampleBytes =
        static_cast<size_t>(reader.channels()) * static_cast<size_t>(reader.bytesPerSample());
    Md5 md5;
    int64_t second = 0;
    int64_t inSecond = 0;
    auto const finishSecond = [&] {
      list.add(second++, md5.take());
      inSecond = 0;
    };
    try {
      for (;;) {
        checkInterrupt();
        AudioReader::Block const block = reader.next(reader.rate() - inSecond);
        if (block.samples == 0) break;
        md5.add(block.data, static_cast<size_t>(block.samples) * sampleBytes);
        inSecond += block.samples;
        if (inSecond == reader.rate()) finishSecond();
        progress.advance(block.samples);
      }
      if (inSecond > 0) finishSecond();
    } catch (Failure const& failure) {
      note(failure);
      list.add(second, "error");
    }
    return list.total(progress.done());
  }

  std::optional<Failure> const& damage() const { return damage_; }
  int64_t frames() const { return frames_; }

 private:
  void note(Failure const& failure) {
    if (!damage_) damage_ = failure;
  }

  Session const& session_;
  Settings const& settings_;
  OutputFile& out_;
  bool json_;
  std::optional<Failure> damage_;
  int64_t frames_ = 0;
};

void run(Settings const& settings, Options const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  OutputFile out("-");
  Hasher hasher(session, settings, out, options.json);
  Progress const watch({}, {}, 0, true);
  AnyVector video, audio;
  for (int i = 0; i < session.streams(kKindVideo); ++i) video.append(hasher.video(i));
  for (int i = 0; i < session.streams(kKindAudio); ++i) audio.append(hasher.audio(i));
  if (options.json) out.write(jsonText(AnyDict("file", options.path, "video", video, "audio", audio)) + "\n");
  out.commit();
  printStats(session, settings, "frames", hasher.frames(), watch.seconds());
  if (hasher.damage()) throw Failure(*hasher.damage());
}

}  // namespace

Command hashCommand() {
  return makeCommand(
      "hash", "MD5 of every frame and of every second of sound",
      "A line for each, then the total of each stream. What cannot be decoded has the word error "
      "in place of its hash.",
      describe, run);
}

}  // namespace kyhost
