#include "kyhost/writers/libav.h"

#include <fmt/format.h>

#include "mediafile/lav.h"

namespace kyhost {

std::vector<std::string> libavVersions() {
  struct Library {
    char const* name;
    unsigned version;
  };
  Library const libraries[] = {{"libavformat", avformat_version()},
                               {"libavcodec", avcodec_version()},
                               {"libavutil", avutil_version()},
                               {"libswscale", swscale_version()}};
  std::vector<std::string> lines;
  for (auto const& [name, version] : libraries) {
    lines.push_back(fmt::format("{} {}.{}.{}", name, AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version),
                                AV_VERSION_MICRO(version)));
  }
  return lines;
}

void silenceLibav() { av_log_set_level(AV_LOG_QUIET); }

}  // namespace kyhost
