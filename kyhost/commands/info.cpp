#include <fmt/format.h>

#include <cstdio>
#include <vector>

#include "host/frame.h"
#include "kyhost/commands/commands.h"
#include "kyhost/commands/usual_arguments.h"
#include "kyhost/session/decoder_log.h"
#include "kyhost/session/session.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/dolby_text.h"
#include "kyhost/text/fourcc_text.h"
#include "kyhost/text/json_any.h"
#include "kyhost/text/time_text.h"
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

struct Group {
  KyStreamKind kind;
  char const* key;
};
constexpr Group kGroups[] = {{kKindVideo, "video"}, {kKindAudio, "audio"}, {kKindSubpic, "subtitles"}};

// Facts about the whole file that the decoder answers as parameters.
constexpr char const* kFacts[] = {
    "filename",        "filesize",          "program_stream_flag", "displayName",   "typeName",
    "guessProfile",    "tsStructure",       "instantSeek",         "probableError", "FOURCC",
    "joinMonoStreams", "fastAccess",        "searchMode",          "searchLimit",   "smpMode",
    "numThreads",      "avDelayCorrection", "removeIMXTopBlanking"};

char const* containerName(int code) {
  switch (code) {
    case 0:
      return "elementary stream";
    case 1:
      return "MPEG-1 system stream";
    case 2:
      return "MPEG-2 program stream";
    case 3:
      return "MPEG-2 transport stream";
    case 4:
      return "MP4";
    case 5:
      return "MXF";
    case 7:
      return "MPEG-2 transport stream with arrival times";
    case 8:
      return "DMF";
    case 9:
      return "AVI";
    case 10:
      return "ASF";
    case 11:
      return "DV";
    case 12:
      return "GXF";
    case 13:
      return "FLV";
    case 18:
      return "QuickTime";
    case 19:
      return "MXF, intra coded H.264";
    case 20:
      return "Matroska";
    default:
      return "other";
  }
}

AnyDict containerFacts(Session const& session) {
  AnyDict facts;
  for (char const* key : kFacts) {
    Any value;
    if (session.pipe().getParam(key, value) == 0 && value.valid()) facts.set(key, value);
  }
  return facts;
}

// What the decoder answers about one stream beside its description.
AnyDict streamFacts(Session const& session, KyStreamKind kind, int index) {
  AnyDict info = session.info(kind, index);
  if (kind != kKindAudio || !(info["codec"] == Any("Dolby"))) return info;
  for (char const* key : {"dolby", "DecoderChannelsMappingKY"}) {
    Any value(index);
    if (session.pipe().getParam(key, value) == 0 && value.valid()) info.set(key, value);
  }
  if (AnyDict const facts = dolbyFacts(session.pipe(), index); !facts.empty()) info.set("bitstream", facts);
  return info;
}

AnyDict document(Session const& session, AnyDict const& facts) {
  KyPlugin const& plugin = session.plugin().object();
  AnyDict out("file", session.path().string());
  out.set("plugin", AnyDict("name", plugin.name(), "displayName", plugin.displayName(), "version",
                            plugin.attrs()["version"], "versionDate", plugin.attrs()["versionDate"]));
  out.set("container", facts);
  if (facts.contains("program_stream_flag"))
    out.child("container").set("name", containerName(facts["program_stream_flag"].asInt32()));
  out.set("openSeconds", session.openSeconds());
  for (Group const& group : kGroups) {
    AnyVector& streams = out.childVector(group.key);
    for (int i = 0; i < session.streams(group.kind); ++i) streams.append(streamFacts(session, group.kind, i));
  }
  AnyVector& messages = out.childVector("messages");
  for (std::string const& text : takeUserMessages()) messages.append(Any(text));
  return out;
}

std::string languageText(Any const& code) {
  std::string const text = code.asString();
  return text.empty() ? "" : ", language " + text;
}

std::string headline(KyStreamKind kind, AnyDict const& info) {
  if (kind == kKindVideo) {
    return fmt::format("{} {}x{}, {}, {} frames, {}", toLine(info["codec"]), info["width"].asInt32(),
                       info["height"].asInt32(), toLine(info["framerate"]), info["frames"].asInt32(),
                       timeText(info["duration"].asDouble()));
  }
  if (kind == kKindAudio) {
    int const joined = info["_joined"].asVector().size();
    Any const& mode = info.descendant("bitstream", "codingMode", nullptr);
    return fmt::format("{} {} Hz, {} channels{}{}, {} bits, {} samples, {}{}", toLine(info["codec"]),
                       info["samplerate"].asInt32(), info["channels"].asInt32(),
                       mode.valid() ? " (" + toLine(mode) + ")" : "",
                       joined > 0 ? fmt::format(" joined from {} tracks", joined) : "",
                       info["bitsPerSample"].asInt32(), info["samples"].asInt64(),
                       timeText(info["duration"].asDouble()),
                       languageText(info.descendant("languageDescriptor.ISO_639_language_code", nullptr)));
  }
  if (info["type"].asInt32() == kTypeCaptions) return "closed captions";
  return (info.contains("subType") ? toLine(info["subType"]) : "subtitles") + languageText(info["language"]);
}

// Whether a subtitle stream's description names a folder of pictures in place of a text.
bool isFolderOf(AnyDict const& info) { return info.contains("windowWidth"); }

// Nested dictionaries become keys with dots. Whole scripts are for JSON.
void flatten(AnyDict const& dict, std::string const& prefix,
             std::vector<std::pair<std::string, std::string>>& out) {
  for (int i = 0; i < dict.size(); ++i) {
    AnyDict::Entry const& entry = dict.getEntry(i);
    std::string const key = prefix + entry.key;
    if (entry.value.kind() == Any::kDict && !entry.value.asDict().empty()) {
      flatten(entry.value.asDict(), key + ".", out);
    } else if (entry.key == "FOURCC" && entry.value.isInt32() && entry.value.asInt32() != 0) {
      out.emplace_back(key, fmt::format("{} ({})", fourccText(entry.value.asInt32()), entry.value.asInt32()));
    } else if (entry.key == "subtitles" && dict.contains("subType") && !isFolderOf(dict)) {
      out.emplace_back(key, fmt::format("{} bytes of text", entry.value.asString().size()));
    } else if (entry.key == "program_stream_flag") {
      out.emplace_back(key,
                       fmt::format("{} ({})", entry.value.asInt32(), containerName(entry.value.asInt32())));
    } else {
      out.emplace_back(key, toLine(entry.value));
    }
  }
}

void appendTable(AnyDict const& dict, std::string& out) {
  std::vector<std::pair<std::string, std::string>> rows;
  flatten(dict, "", rows);
  size_t width = 0;
  for (auto const& row : rows) width = std::max(width, row.first.size());
  for (auto const& [key, value] : rows) out += fmt::format("  {:<{}}  {}\n", key, width, value);
}

std::string table(Session const& session, AnyDict const& facts) {
  std::string out = session.path().string() + "\n";
  appendTable(facts, out);
  for (Group const& group : kGroups) {
    for (int i = 0; i < session.streams(group.kind); ++i) {
      AnyDict const info = streamFacts(session, group.kind, i);
      out += fmt::format("\n{} {}: {}\n", kindName(group.kind), i, headline(group.kind, info));
      appendTable(info, out);
    }
  }
  return out;
}

void run(Settings const& settings, Options const& options) {
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  AnyDict const facts = containerFacts(session);
  OutputFile out("-");
  out.write(options.json ? jsonText(document(session, facts)) + "\n" : table(session, facts));
  out.commit();
  printStats(session, settings, "", 0, 0.0);
}

}  // namespace

Command infoCommand() {
  return makeCommand("info", "What the file holds",
                     "Facts about the whole file, then every key of every stream's description.", describe,
                     run);
}

}  // namespace kyhost
