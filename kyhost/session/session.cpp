#include "kyhost/session/session.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

#include "host/timer.h"
#include "host/util.h"
#include "kyhost/session/decoder_log.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/open_failure.h"
#include "kyhost/session/stdout_guard.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

constexpr char const* kPluginFile = "xdcamdecode.so";
constexpr int kDecoderModule = 2;
constexpr int kMostThreads = 16;

std::vector<fs::path> placesOf(fs::path const& chosen) {
  if (!chosen.empty()) return {fs::absolute(chosen)};
  std::error_code ignored;
  fs::path const origin = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  return {origin / kPluginFile, (origin / KY_PLUGIN_FOLDER / kPluginFile).lexically_normal()};
}

bool declares(KyModule const& module, Any const& extension) {
  return module.getAttr("exts").asVector().indexOf(extension) >= 0;
}

int defaultThreads() {
  return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads);
}

void setChecked(KyDecodePipe& pipe, AnyDict::Entry const& entry) {
  if (pipe.setParam(entry.key.c_str(), entry.value) == 0) return;
  std::string const reason = pipe.errorDesc();
  throw Failure(ExitCode::Usage, fmt::format("--set {}: is refused by the decoder{}{}", entry.key,
                                             reason.empty() ? "" : ": ", reason));
}

}  // namespace

char const* kindName(KyStreamKind kind) {
  return kind == kKindVideo ? "video" : kind == kKindAudio ? "audio" : "subtitle";
}

std::string streamsThere(std::string const& kind, int count) {
  if (count == 0) return fmt::format("the file has no {} streams", kind);
  if (count == 1) return fmt::format("the file has one {} stream, number 0", kind);
  return fmt::format("the file has {} streams 0 to {}", kind, count - 1);
}

void Plugin::Unload::operator()(void* library) const { dlclose(library); }

Plugin::Plugin(Settings const& settings) {
  std::string tried;
  for (fs::path const& place : placesOf(settings.plugin)) {
    std::error_code ignored;
    if (!fs::exists(place, ignored)) {
      tried += fmt::format("\n    {}: no such file", place.string());
      continue;
    }
    library_.reset(dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL));
    file_ = place;
    if (library_) break;
    tried += fmt::format("\n    {}", dlerror());
  }
  if (!library_) {
    throw Failure(ExitCode::Plugin, "the plug-in cannot be loaded:" + tried,
                  "name the file with --plugin FILE");
  }
  auto const entry = reinterpret_cast<KyPluginInit>(dlsym(library_.get(), "plugin_init"));
  if (!entry) {
    throw Failure(ExitCode::Plugin, fmt::format("{}: has no plugin_init", file_.string()),
                  "this is no plug-in of this program");
  }
  StdoutGuard const guard(StdoutGuard::To::StandardError);
  object_ = entry();
  if (!object_ || object_->nrModules() == 0) {
    throw Failure(ExitCode::Plugin, fmt::format("{}: does not want to be used", file_.string()),
                  "its import library fails its check; run with --debug all to see which query");
  }
  for (int i = 0; i < object_->nrModules(); ++i) {
    KyModule& module = *object_->module(i);
    // With a tracker a Dolby stream hands out metadata only; people want to hear it.
    module.setAttr("dolbyMetadataTracker", Any(0));
    // A card is to open, whatever liberties its maker took.
    module.setAttr("forgivingCards", Any(1));
    for (int j = 0; j < settings.module.size(); ++j) {
      AnyDict::Entry const& attribute = settings.module.getEntry(j);
      module.setAttr(attribute.key.c_str(), attribute.value);
    }
  }
}

KyModule& Plugin::moduleFor(fs::path const& path) const {
  Any const extension = KyUtil::getExt(Any(path.string()), true);
  KyModule* best = nullptr;
  std::pair<bool, int> bestRank;
  for (int i = 0; i < object_->nrModules(); ++i) {
    KyModule* const module = object_->module(i);
    if (module->moduleType() != kDecoderModule) continue;
    std::pair<bool, int> const rank{declares(*module, extension), module->getAttr("priority").asInt32()};
    if (best && rank <= bestRank) continue;
    best = module;
    bestRank = rank;
  }
  if (!best) throw Failure(ExitCode::Plugin, fmt::format("{}: has no decoder", file_.string()));
  return *best;
}

Session::Session(Plugin const& plugin, fs::path path, Settings const& settings)
    : plugin_(plugin), path_(std::move(path)) {
  requireReadableFile(path_);
  pipe_.reset(plugin_.moduleFor(path_).createInstance());
  if (!pipe_ || pipe_->init() != 0)
    throw Failure(ExitCode::Plugin, fmt::format("{}: makes no decoder", plugin_.file().string()));

  pipe_->setParam("numThreads", Any(settings.threads > 0 ? settings.threads : defaultThreads()));
  for (int i = 0; i < settings.pipe.size(); ++i) setChecked(*pipe_, settings.pipe.getEntry(i));
  // The card is found from the folders above its description.
  fs::path const opened = isClipDescription(path_) ? fs::absolute(path_).lexically_normal() : path_;
  pipe_->setParam("filename", Any(opened.string()));

  KyTimer timer;
  int result = 0;
  {
    StdoutGuard const guard(settings.debug ? StdoutGuard::To::StandardError : StdoutGuard::To::Nowhere);
    result = pipe_->open();
  }
  openSeconds_ = timer.stop();
  if (result == 0) return;

  std::vector<std::string> reasons = takeUserMessages();
  std::string const text = pipe_->errorDesc();
  if (!text.empty() && std::find(reasons.begin(), reasons.end(), text) == reasons.end())
    reasons.push_back(text);
  std::vector<std::string> const logged = takeDecoderErrors();
  if (reasons.empty()) reasons = logged;
  throw openFailure(path_, result, reasons, takeDecoderRemarks());
}

Session::~Session() {
  StdoutGuard const guard(StdoutGuard::To::StandardError);
  pipe_.reset();
}

AnyDict Session::info(KyStreamKind kind, int index) const {
  AnyDict out;
  pipe_->streamInfo(kind, index, out);
  return out;
}

void Session::requireStream(KyStreamKind kind, int index) const {
  int const count = streams(kind);
  if (index >= 0 && index < count) return;
  throw Failure(ExitCode::Usage, fmt::format("{}: no {} stream {}: {}", path_.string(), kindName(kind), index,
                                             streamsThere(kindName(kind), count)));
}

std::string Session::name(KyStreamKind kind, int index) const {
  return fmt::format("{}: {} stream {}", path_.string(), kindName(kind), index);
}

std::string Session::describe(KyStreamKind kind, int index, std::string const& what) const {
  std::string out = fmt::format("{}: {}", name(kind, index), what);
  if (std::string const reason = pipe_->errorDesc(); !reason.empty()) out += ": " + reason;
  return out;
}

}  // namespace kyhost
