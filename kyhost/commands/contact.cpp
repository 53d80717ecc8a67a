#include <fmt/format.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kyhost/commands/commands.h"
#include "kyhost/pictures/label.h"
#include "kyhost/pictures/rgb_picture.h"
#include "kyhost/session/failure.h"
#include "kyhost/session/readers.h"
#include "kyhost/session/signals.h"
#include "kyhost/session/stats.h"
#include "kyhost/text/time_text.h"
#include "kyhost/writers/output_file.h"

namespace kyhost {
namespace {

constexpr int kGap = 8;            // pixels around every picture
constexpr int kLabelGap = 4;       // between a picture and the line below it
constexpr int kWidePicture = 240;  // from this width on labels are drawn twice as large
constexpr unsigned char kBackground = 24;
constexpr int kLargestSide = 16384;

AvPtr<AVFrame> makeSheet(int width, int height) {
  AvPtr<AVFrame> sheet(av_frame_alloc());
  if (sheet) {
    sheet->format = AV_PIX_FMT_RGB24;
    sheet->width = width;
    sheet->height = height;
  }
  if (!sheet || av_frame_get_buffer(sheet.get(), 0) < 0)
    throw Failure(ExitCode::Write, "no memory for the sheet");
  for (int row = 0; row < height; ++row) {
    std::memset(sheet->data[0] + static_cast<ptrdiff_t>(row) * sheet->linesize[0], kBackground,
                static_cast<size_t>(width) * 3);
  }
  return sheet;
}

// "#123  0:00:04.920": the frame's number and its time in the stream.
std::string labelOf(int64_t frame, double rate) {
  if (!(rate > 0.0)) return fmt::format("#{}", frame);
  return fmt::format("#{}  {}", frame, timeText(static_cast<double>(frame) / rate));
}

void paste(AVFrame const& picture, AVFrame& sheet, int x, int y) {
  for (int row = 0; row < picture.height; ++row) {
    std::memcpy(
        sheet.data[0] + static_cast<ptrdiff_t>(y + row) * sheet.linesize[0] + static_cast<ptrdiff_t>(x) * 3,
        picture.data[0] + static_cast<ptrdiff_t>(row) * picture.linesize[0],
        static_cast<size_t>(picture.width) * 3);
  }
}

}  // namespace

void runContact(Settings const& settings, ContactOptions const& options) {
  refuseToOverwriteInput(options.output, options.path);
  Plugin const plugin(settings);
  Session const session(plugin, options.path, settings);
  VideoReader reader(session, options.stream);
  if (options.overlay >= 0) reader.showSubtitles(options.overlay);

  // A file shorter than the sheet shows every frame once.
  int64_t const count = std::min<int64_t>(int64_t{options.columns} * options.rows, reader.frames());
  if (count < 1) throw Failure(ExitCode::Read, session.name(kKindVideo, options.stream) + ": has no frames");
  auto const columns = static_cast<int>(std::min<int64_t>(options.columns, count));
  auto const rows = static_cast<int>((count + columns - 1) / columns);
  int const width = (options.width - kGap) / columns - kGap;
  double const aspect = reader.info()["frameAspect"].asDouble();
  int const height =
      static_cast<int>(std::lround(static_cast<double>(width) / (aspect > 0.01 ? aspect : 16.0 / 9.0)));
  int const labelScale = width < kWidePicture ? 1 : 2;
  int const cellHeight = height + kLabelGap + kLabelHeight * labelScale + kGap;
  int const sheetWidth = columns * (width + kGap) + kGap;
  int const sheetHeight = rows * cellHeight + kGap;
  if (width < 16 || height < 16 || sheetHeight > kLargestSide) {
    throw Failure(ExitCode::Usage,
                  fmt::format("{} columns on {} pixels leave no room", columns, options.width),
                  "take a larger --width or fewer --columns");
  }

  AvPtr<AVFrame> const sheet = makeSheet(sheetWidth, sheetHeight);
  RgbConverter converter;
  for (int64_t i = 0; i < count; ++i) {
    checkInterrupt();
    // The middle of each of `count` equal stretches.
    int64_t const number = (2 * i + 1) * reader.frames() / (2 * count);
    reader.seek(number);
    KyFrame const* const frame = reader.next();
    if (!frame) break;
    AVFrame const& picture = converter.convert(*frame, width, height, false);
    int const x = kGap + static_cast<int>(i % columns) * (width + kGap);
    int const y = kGap + static_cast<int>(i / columns) * cellHeight;
    paste(picture, *sheet, x, y);
    drawLabel(*sheet, x, y + height + kLabelGap, labelScale, labelOf(number, reader.rate().rate()));
  }
  PngEncoder encoder;
  OutputFile file(options.output);
  file.write(encoder.encode(*sheet, {1, 1}));
  file.commit();
  printStats(session, settings, "", 0, 0.0);
}

}  // namespace kyhost
