#include <fmt/format.h>

#include <optional>

#include "kyhost/commands/commands.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/progress.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/json_any.h"
#include "kyhost/writers/md5.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

// Hashes of one stream, given out as lines at once or collected for a document.
class HashList {
 public:
  HashList(std::string tag, OutputFile& out, bool json) : tag_(std::move(tag)), out_(out), json_(json) {}

  void add(int64_t number, std::string const& hash) {
    all_.add(hash.data(), hash.size());
    all_.add("\n", 1);
    if (json_) {
      hashes_.push_back(hash);
    } else {
      out_.write(fmt::format("{} {} {}\n", tag_, number, hash));
    }
  }

  // `count`: pictures or samples read.
  Json total(int64_t count) {
    std::string const hash = all_.take();
    if (!json_) out_.write(fmt::format("{} total {} {}\n", tag_, count, hash));
    return Json{{"count", count}, {"total", hash}, {"hashes", std::move(hashes_)}};
  }

 private:
  std::string tag_;
  OutputFile& out_;
  bool json_;
  Md5 all_;
  Json hashes_ = Json::array();
};

class Hasher {
 public:
  Hasher(Session const& session, Settings const& settings, OutputFile& out, bool json)
      : session_(session), settings_(settings), out_(out), json_(json) {}

  Json video(int stream) {
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

  Json audio(int stream) {
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

}  // namespace

void runHash(Settings const& settings, HashOptions const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  OutputFile out("-");
  Hasher hasher(session, settings, out, options.json);
  Progress const watch({}, {}, 0, true);
  Json document{{"file", options.path}, {"video", Json::array()}, {"audio", Json::array()}};
  for (int i = 0; i < session.streams(kKindVideo); ++i) document["video"].push_back(hasher.video(i));
  for (int i = 0; i < session.streams(kKindAudio); ++i) document["audio"].push_back(hasher.audio(i));
  if (options.json) out.write(dumpJson(document) + "\n");
  out.commit();
  printStats(session, settings, "frames", hasher.frames(), watch.seconds());
  if (hasher.damage()) throw Failure(*hasher.damage());
}

}  // namespace kyhost
