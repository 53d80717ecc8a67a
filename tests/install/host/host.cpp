// A host: loads the plug-in, opens a file, prints its streams and decodes a picture.
#include <dlfcn.h>

#include <cstdio>
#include <memory>

#include "host/codec.h"
#include "host/frame.h"
#include "host/plugin.h"

int fail(char const* what, char const* reason) {
  std::fprintf(stderr, "%s: %s\n", what, reason);
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 2) return fail("usage", "host FILE");
  void* const library = dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL);  // stays loaded: all that it made lives in it
  if (!library) return fail(PLUGIN, dlerror());
  auto const entry = reinterpret_cast<KyPluginInit>(dlsym(library, "plugin_init"));
  KyPlugin* const plugin = entry ? entry() : nullptr;
  if (!plugin || plugin->nrModules() == 0) return fail(PLUGIN, "does not want to be used");
  std::unique_ptr<KyDecodePipe> const pipe(plugin->module(0)->createInstance());
  if (!pipe || pipe->init() != 0) return fail(PLUGIN, "makes no decoder");
  pipe->setParam("filename", Any(argv[1]));
  if (pipe->open() != 0) return fail(argv[1], pipe->errorDesc());

  for (int kind : {kKindVideo, kKindAudio, kKindSubpic}) {
    for (int i = 0; i < pipe->countStreams(kind); ++i) {
      AnyDict info;
      pipe->streamInfo(kind, i, info);
      std::printf("kind %d, stream %d: %s\n", kind, i, Any(info).toString().asString().c_str());
    }
  }
  if (pipe->selectStream(kKindVideo, 0) != 0 || pipe->seekToFrame(0, 0) != 0 || pipe->readFrame(0) != 0)
    return fail(argv[1], pipe->errorDesc());
  KyFrame const& picture = *pipe->videoFrame(0);
  std::printf("picture %ld: %d x %d, first pixel %d\n", picture.frameNumber(), picture.width(),
              picture.height(), *picture.pixelPtr(0, 0, 0));
}
