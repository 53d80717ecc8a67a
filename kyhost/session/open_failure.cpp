#include "kyhost/session/open_failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/util.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

std::string extensionOf(fs::path const& path) { return KyUtil::getExt(Any(path.string()), true).asString(); }

// Files below `folder`, at most `depth` folders down, that `wanted` accepts; sorted, `limit` of them.
template <class Wanted>
std::vector<fs::path> findFiles(fs::path const& folder, int depth, size_t limit, Wanted wanted) {
  std::vector<fs::path> found;
  std::error_code error;
  fs::recursive_directory_iterator walk(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
    if (walk.depth() >= depth) walk.disable_recursion_pending();
    if (walk->is_regular_file(error) && wanted(walk->path())) found.push_back(walk->path());
  }
  std::sort(found.begin(), found.end());
  if (found.size() > limit) found.resize(limit);
  return found;
}

bool isEssence(fs::path const& path) { return extensionOf(path) == "mp4"; }

std::string list(std::vector<fs::path> const& paths) {
  std::string out;
  for (fs::path const& path : paths) out += "\n    " + path.string();
  return out;
}

std::string adviceForDescription(fs::path const& path, std::string_view reason) {
  auto const says = [reason](std::string_view text) { return reason.find(text) != std::string_view::npos; };
  if (says("Must be SMI or XML"))
    return "cards carry these names in capitals (.SMI, .XML): give the file its own name back";
  std::string advice;
  if (says("Invalid root")) {
    advice = "a clip description is opened in its place on the card, below the folder BPAV";
  } else if (says("Unable to open")) {
    advice = "the card's catalogue BPAV/MEDIAPRO.XML is needed beside the clip folders";
  } else if (says("No UMID")) {
    advice = "this is no clip description";
  } else if (says("take umid") || says("clip umid") || says("clip Material") || says("clip component") ||
             says("clip uri") || says("No mp4 file found")) {
    advice = "the card's catalogue lists no clips for this description";
  }
  std::vector<fs::path> const essence = essenceOf(path);
  if (essence.empty()) return advice;
  if (!advice.empty()) advice += "; ";
  return advice +
         (essence.size() == 1 ? "open its essence file instead:" : "open its essence files instead:") +
         list(essence);
}

std::string adviceFor(fs::path const& path, std::string_view reason, std::string_view remarks) {
  auto const says = [reason](std::string_view text) { return reason.find(text) != std::string_view::npos; };
  if (says("unknown video streams") || says("unknown audio streams"))
    return "to open the other streams add --set openParameters.ignoreUnknownStreams=1";
  if (says("No video streams found in"))
    return "sound alone is not opened from this kind of file; put it into another container (.wav)";
  if (remarks.find("Refusing to open dv") != std::string_view::npos)
    return "DV is opened only from a card with the folders CONTENTS/AUDIO and CONTENTS/VIDEO";
  if (says("No audio/video streams found") || says("No video/audio streams can be decoded"))
    return "no stream has a codec that is decoded: video is MPEG-1, MPEG-2, MPEG-4, H.263, H.264, HEVC, "
           "VC-1, "
           "JPEG 2000, sound is PCM, MPEG audio, AAC, AC-3, DTS, AMR, WMA";
  if (isClipDescription(path)) return adviceForDescription(path, reason);
  return "run with --debug error,warn,info to see what the decoder met";
}

}  // namespace

void requireReadableFile(fs::path const& path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) {
    auto const clips = findFiles(path, 4, 5, [](fs::path const& file) { return extensionOf(file) == "smi"; });
    std::string const advice =
        clips.empty() ? std::string("open one of its files") : "open one of its clips:" + list(clips);
    throw Failure(ExitCode::Open, fmt::format("{}: is a folder", path.string()), advice);
  }
  if (access(path.c_str(), R_OK) != 0)
    throw Failure(ExitCode::Open,
                  fmt::format("{}: cannot be read ({})", path.string(), std::strerror(errno)));
}

bool isClipDescription(fs::path const& path) {
  std::string const extension = extensionOf(path);
  return extension == "xml" || extension == "smi";
}

std::vector<fs::path> essenceOf(fs::path const& description) {
  fs::path const folder = fs::absolute(description).lexically_normal().parent_path();
  std::string const stem = description.stem().string();
  // A sidecar is named like its clip with "M01" behind it.
  std::string const clip = stem.size() > 3 && stem.ends_with("M01") ? stem.substr(0, stem.size() - 3) : stem;
  std::vector<fs::path> essence = findFiles(folder, 0, 100, isEssence);
  std::vector<fs::path> own;
  std::copy_if(essence.begin(), essence.end(), std::back_inserter(own),
               [&](fs::path const& file) { return file.stem() == clip; });
  if (!own.empty()) return own;
  if (!essence.empty()) return essence;
  // TAKR/<take>/<take>.SMI: the clips are CLPR/<take>_01 and on.
  if (folder.parent_path().filename() != "TAKR") return {};
  return findFiles(folder.parent_path().parent_path() / "CLPR", 1, 100, [&](fs::path const& file) {
    return isEssence(file) && file.filename().string().starts_with(clip + "_");
  });
}

Failure openFailure(fs::path const& path, int result, std::vector<std::string> const& reasons,
                    std::vector<std::string> const& remarks) {
  std::string reason = fmt::format("{}", fmt::join(reasons, "; "));
  std::string const advice = adviceFor(path, reason, fmt::format("{}", fmt::join(remarks, "\n")));
  if (reason.empty()) reason = fmt::format("result {}", result);
  return Failure(ExitCode::Open, fmt::format("{}: cannot be opened: {}", path.string(), reason), advice);
}

}  // namespace kyhost
