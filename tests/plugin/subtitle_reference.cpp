#include "tests/plugin/subtitle_reference.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "mediafile/lav.h"
#include "tests/support/media.h"

namespace test {

namespace {

constexpr double kForever = std::numeric_limits<double>::infinity();

lav::FormatContext opened(std::filesystem::path const& file) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, file.c_str(), nullptr, nullptr) < 0)
    throw std::runtime_error("cannot open " + file.string());
  lav::FormatContext owner(format);
  avformat_find_stream_info(format, nullptr);
  return owner;
}

int subtitleStream(AVFormatContext const& format, int number) {
  for (unsigned i = 0; i < format.nb_streams; ++i)
    if (format.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE && number-- == 0)
      return static_cast<int>(i);
  throw std::runtime_error("no such subtitle stream");
}

ReferenceBitmap bitmapOf(AVSubtitleRect const& rect) {
  ReferenceBitmap bitmap{rect.x, rect.y, rect.w, rect.h, {}};
  auto const* const palette = reinterpret_cast<uint32_t const*>(rect.data[1]);
  for (int y = 0; y < rect.h; ++y)
    for (int x = 0; x < rect.w; ++x) bitmap.argb.push_back(palette[rect.data[0][y * rect.linesize[0] + x]]);
  return bitmap;
}

struct Colour {
  double alpha = 0, y = 0, cb = 0, cr = 0;  // components multiplied by alpha
  void add(Colour const& other, double share) {
    alpha += share * other.alpha;
    y += share * other.y;
    cb += share * other.cb;
    cr += share * other.cr;
  }
};

// Limited range: 219 steps of luma and 112 of a colour difference to either side; full range: 255 and 127.5.
Colour colourOf(uint32_t argb, Picture const& picture) {
  bool const bt709 = picture.height >= 720;
  double const black = picture.fullRange ? 0 : 16, luma = picture.fullRange ? 255 : 219;
  double const chroma = picture.fullRange ? 127.5 : 112;
  double const kr = bt709 ? 0.2126 : 0.299, kb = bt709 ? 0.0722 : 0.114;
  double const r = argb >> 16 & 255, g = argb >> 8 & 255, b = argb & 255, a = (argb >> 24) / 255.0;
  double const y = kr * r + (1 - kr - kb) * g + kb * b;
  return {a, a * (black + luma * y / 255), a * (128 + chroma * (b - y) / (1 - kb) / 255),
          a * (128 + chroma * (r - y) / (1 - kr) / 255)};
}

double overlap(double a, double b, double c, double d) {
  return std::max(0.0, std::min(b, d) - std::max(a, c));
}

// The mean of the part of the canvas that pixel (x, y) of the picture covers.
Colour pixelOf(ReferenceSubtitle const& subtitle, ReferenceBitmap const& bitmap, Picture const& picture,
               int x, int y) {
  double const perX = static_cast<double>(subtitle.canvasWidth) / picture.width;
  double const perY = static_cast<double>(subtitle.canvasHeight) / picture.height;
  double const left = x * perX - bitmap.x, top = y * perY - bitmap.y;
  Colour mean;
  for (int v = std::max(0, static_cast<int>(std::floor(top))); v < bitmap.height && v < top + perY; ++v)
    for (int u = std::max(0, static_cast<int>(std::floor(left))); u < bitmap.width && u < left + perX; ++u)
      mean.add(colourOf(bitmap.argb[static_cast<size_t>(v * bitmap.width + u)], picture),
               overlap(left, left + perX, u, u + 1) * overlap(top, top + perY, v, v + 1) / (perX * perY));
  return mean;
}

void draw(Picture& picture, ReferenceSubtitle const& subtitle, ReferenceBitmap const& bitmap) {
  int const width = picture.width, height = picture.height, half = (width + 1) / 2;
  for (int cy = 0; cy < (height + 1) / 2; ++cy)
    for (int cx = 0; cx < half; ++cx) {
      Colour sum;
      int pixels = 0;
      for (int y = 2 * cy; y < std::min(2 * cy + 2, height); ++y)
        for (int x = 2 * cx; x < std::min(2 * cx + 2, width); ++x, ++pixels) {
          Colour const colour = pixelOf(subtitle, bitmap, picture, x, y);
          double& luma = picture.planes[0][static_cast<size_t>(y * width + x)];
          luma = luma * (1 - colour.alpha) + colour.y;
          sum.add(colour, 1);
        }
      auto const at = static_cast<size_t>(cy * half + cx);
      picture.planes[1][at] = picture.planes[1][at] * (1 - sum.alpha / pixels) + sum.cb / pixels;
      picture.planes[2][at] = picture.planes[2][at] * (1 - sum.alpha / pixels) + sum.cr / pixels;
    }
}

}  // namespace

std::vector<ReferenceSubtitle> referenceSubtitles(std::filesystem::path const& file, int stream, int width,
                                                  int height) {
  lav::FormatContext const format = opened(file);
  int const index = subtitleStream(*format, stream);
  AVStream const& from = *format->streams[index];
  AVCodec const* const codec = avcodec_find_decoder(from.codecpar->codec_id);
  lav::CodecContext const context(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(context.get(), from.codecpar);
  context->pkt_timebase = from.time_base;
  if (avcodec_open2(context.get(), codec, nullptr) < 0) throw std::runtime_error("no subtitle decoder");

  std::vector<ReferenceSubtitle> subtitles;
  lav::Packet const packet = lav::newPacket();
  while (av_read_frame(format.get(), packet.get()) >= 0) {
    AVSubtitle subtitle{};
    int complete = 0;
    if (packet->stream_index == index)
      avcodec_decode_subtitle2(context.get(), &subtitle, &complete, packet.get());
    if (complete) {
      double const stamp = static_cast<double>(subtitle.pts) / AV_TIME_BASE;
      bool const ends = subtitle.end_display_time != 0 && subtitle.end_display_time != UINT32_MAX;
      ReferenceSubtitle event{stamp + subtitle.start_display_time / 1e3,
                              ends ? stamp + subtitle.end_display_time / 1e3 : kForever,
                              context->width,
                              context->height,
                              {}};
      if (event.canvasWidth <= 0) {
        event.canvasWidth = width;
        event.canvasHeight = height;
      }
      for (unsigned i = 0; i < subtitle.num_rects; ++i) event.bitmaps.push_back(bitmapOf(*subtitle.rects[i]));
      subtitles.push_back(std::move(event));
    }
    avsubtitle_free(&subtitle);
    av_packet_unref(packet.get());
  }
  return subtitles;
}

ReferenceSubtitle const* referenceAt(std::vector<ReferenceSubtitle> const& subtitles, double seconds) {
  constexpr double kRounding = 2e-6;
  double const now = seconds + kRounding;
  ReferenceSubtitle const* last = nullptr;
  for (ReferenceSubtitle const& subtitle : subtitles)
    if (subtitle.begin <= now) last = &subtitle;
  return last && now < last->end && !last->bitmaps.empty() ? last : nullptr;
}

Picture pictureOf(KyFrame const& frame, bool fullRange) {
  Picture picture{frame.width(), frame.height(), fullRange, {}};
  for (int p = 0; p < 3; ++p)
    for (int y = 0; y < frame.height(p); ++y) {
      unsigned char const* const row = frame.pixelPtr(p, 0, y);
      picture.planes[p].insert(picture.planes[p].end(), row, row + frame.width(p));
    }
  return picture;
}

Picture drawn(Picture picture, ReferenceSubtitle const& subtitle) {
  for (ReferenceBitmap const& bitmap : subtitle.bitmaps) draw(picture, subtitle, bitmap);
  return picture;
}

double difference(Picture const& a, Picture const& b) {
  double most = 0;
  for (int p = 0; p < 3; ++p) {
    if (a.planes[p].size() != b.planes[p].size()) return kForever;
    for (size_t i = 0; i < a.planes[p].size(); ++i)
      most = std::max(most, std::abs(a.planes[p][i] - b.planes[p][i]));
  }
  return most;
}

std::vector<double> frameTimes(std::filesystem::path const& file) {
  std::istringstream lines(
      run("ffprobe -v error -select_streams v:0 -show_entries frame=best_effort_timestamp_time -of csv=p=0 " +
          quoted(file)));
  std::vector<double> times;
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) times.push_back(std::stod(line));
  return times;
}

}  // namespace test
