#include "kyhost/pictures/subtitle_picture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "kyhost/pictures/new_picture.h"
#include "kyhost/session/failure.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

struct Subtitle : AVSubtitle {
  Subtitle() : AVSubtitle{} {}
  ~Subtitle() { avsubtitle_free(this); }
  Subtitle(Subtitle const&) = delete;
  Subtitle& operator=(Subtitle const&) = delete;
};

void require(bool condition, char const* what) {
  if (!condition) throw Failure(ExitCode::Read, what);
}

lav::Frame colouredCopy(AVSubtitleRect const& rect) {
  constexpr int kMostSide = 8192;
  require(rect.type == SUBTITLE_BITMAP && rect.w > 0 && rect.h > 0 && rect.w <= kMostSide &&
              rect.h <= kMostSide && rect.data[0] && rect.data[1],
          "has no usable picture");
  lav::Frame frame = newPicture(AV_PIX_FMT_RGBA, rect.w, rect.h);
  require(frame != nullptr, "no memory");
  for (int y = 0; y < rect.h; ++y) {
    uint8_t const* const from = rect.data[0] + static_cast<ptrdiff_t>(y) * rect.linesize[0];
    uint8_t* const to = rowOf(*frame, y);
    for (int x = 0; x < rect.w; ++x) {
      uint32_t argb = 0;
      std::memcpy(&argb, rect.data[1] + 4 * std::min<int>(from[x], rect.nb_colors - 1), sizeof argb);
      uint8_t const rgba[] = {static_cast<uint8_t>(argb >> 16), static_cast<uint8_t>(argb >> 8),
                              static_cast<uint8_t>(argb), static_cast<uint8_t>(argb >> 24)};
      std::memcpy(to + 4 * x, rgba, sizeof rgba);
    }
  }
  return frame;
}

}  // namespace

std::vector<SubtitleFile> subtitleFiles(fs::path const& folder) {
  std::vector<SubtitleFile> files;
  std::error_code ignored;
  for (auto const& entry : fs::directory_iterator(folder, ignored)) {
    long long number = 0, begin = 0, end = 0;
    char kind = 0;
    if (std::sscanf(entry.path().filename().c_str(), "%lld_%lld_%lld.dxs%c", &number, &begin, &end, &kind) ==
        4)
      files.push_back({entry.path(), number, begin, end});
  }
  std::sort(files.begin(), files.end(),
            [](SubtitleFile const& a, SubtitleFile const& b) { return a.number < b.number; });
  return files;
}

SubtitlePicture decodeSubtitle(std::vector<uint8_t> const& bytes, bool alpha) {
  AVCodec const* const xsub = avcodec_find_decoder(AV_CODEC_ID_XSUB);
  require(xsub != nullptr, "this libavcodec reads no XSUB");
  lav::CodecContext const codec(avcodec_alloc_context3(xsub));
  lav::Packet const packet(av_packet_alloc());
  require(codec && packet, "no memory");
  codec->codec_tag = alpha ? MKTAG('D', 'X', 'S', 'A') : MKTAG('D', 'X', 'S', 'B');
  codec->pkt_timebase = {1, 1000};
  require(avcodec_open2(codec.get(), xsub, nullptr) >= 0, "the decoder cannot be opened");
  require(av_new_packet(packet.get(), static_cast<int>(bytes.size())) >= 0, "no memory");
  std::copy(bytes.begin(), bytes.end(), packet->data);
  packet->pts = 0;  // the times of the packet are read from its name

  Subtitle subtitle;
  int found = 0;
  int const result = avcodec_decode_subtitle2(codec.get(), &subtitle, &found, packet.get());
  if (result < 0) require(false, lav::errorText(result).c_str());
  require(found && subtitle.num_rects > 0, "has no usable picture");
  AVSubtitleRect const& rect = *subtitle.rects[0];
  return {colouredCopy(rect), rect.x, rect.y};
}

}  // namespace kyhost
