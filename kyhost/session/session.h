// The plug-in and a file opened through it: a file name and settings come in, an opened file with its
// readers, or a Failure that says what to do, goes out.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/any.h"
#include "host/codec.h"
#include "host/plugin.h"
#include "kyhost/session/settings.h"

namespace kyhost {

// The loaded plug-in. Outlives its sessions. One thread.
class Plugin {
 public:
  // Throws Failure with ExitCode::Plugin.
  explicit Plugin(Settings const& settings);

  KyPlugin const& object() const { return *object_; }
  std::filesystem::path const& file() const { return file_; }

  // The decoder module for a file: of those that declare its extension the one of the highest priority, else
  // the decoder module of the highest priority.
  KyModule& moduleFor(std::filesystem::path const& path) const;

 private:
  struct Unload {
    void operator()(void* library) const;
  };
  std::unique_ptr<void, Unload> library_;
  std::filesystem::path file_;
  KyPlugin* object_ = nullptr;  // the plug-in's own
};

// One opened file. One thread.
class Session {
 public:
  // Opens; throws Failure. The plug-in must outlive the session.
  Session(Plugin const& plugin, std::filesystem::path path, Settings const& settings);
  ~Session();
  Session(Session const&) = delete;
  Session& operator=(Session const&) = delete;

  KyDecodePipe& pipe() const { return *pipe_; }
  Plugin const& plugin() const { return plugin_; }
  // As the user named it.
  std::filesystem::path const& path() const { return path_; }
  double openSeconds() const { return openSeconds_; }

  int streams(KyStreamKind kind) const { return pipe_->countStreams(kind); }
  AnyDict info(KyStreamKind kind, int index) const;
  // Throws Failure (usage) that names the streams the file has.
  void requireStream(KyStreamKind kind, int index) const;

  // "FILE: video stream 0".
  std::string name(KyStreamKind kind, int index) const;
  // That, what failed and the decoder's last error as the reason.
  std::string describe(KyStreamKind kind, int index, std::string const& what) const;

 private:
  Plugin const& plugin_;
  std::filesystem::path path_;
  std::unique_ptr<KyDecodePipe> pipe_;
  double openSeconds_ = 0.0;
};

// "type" in the description of a subtitle stream: one that the decoder draws, and closed captions, which lie
// in the pictures.
constexpr int kTypeBitmaps = 2, kTypeCaptions = 4;

char const* kindName(KyStreamKind kind);  // "video", "audio", "subtitle"

// "the file has audio streams 0 to 3", for messages about one that it does not have.
std::string streamsThere(std::string const& kind, int count);

}  // namespace kyhost
