#include "kyhost/pictures/contact_sheet.h"

#include <cmath>
#include <cstring>

#include "kyhost/pictures/label.h"
#include "kyhost/pictures/new_picture.h"
#include "kyhost/session/failure.h"

namespace kyhost {
namespace {

constexpr int kGap = 8;            // pixels around every picture
constexpr int kLabelGap = 4;       // between a picture and the line below it
constexpr int kWidePicture = 240;  // from this width on labels are drawn twice as large
constexpr unsigned char kBackground = 24;
constexpr int kLargestSide = 16384;
constexpr int kSmallestSide = 16;
constexpr double kUsualAspect = 16.0 / 9.0;

}  // namespace

SheetLayout::SheetLayout(int across, int down, int width, double frameAspect) : columns(across) {
  pictureWidth = (width - kGap) / columns - kGap;
  double const aspect = frameAspect > 0.01 ? frameAspect : kUsualAspect;
  pictureHeight = static_cast<int>(std::lround(static_cast<double>(pictureWidth) / aspect));
  labelScale = pictureWidth < kWidePicture ? 1 : 2;
  sheetWidth = columns * (pictureWidth + kGap) + kGap;
  sheetHeight = down * cellHeight() + kGap;
}

int SheetLayout::cellHeight() const { return pictureHeight + kLabelGap + kLabelHeight * labelScale + kGap; }

bool SheetLayout::hasRoom() const {
  return pictureWidth >= kSmallestSide && pictureHeight >= kSmallestSide && sheetHeight <= kLargestSide;
}

int SheetLayout::left(int64_t i) const {
  return kGap + static_cast<int>(i % columns) * (pictureWidth + kGap);
}

int SheetLayout::top(int64_t i) const { return kGap + static_cast<int>(i / columns) * cellHeight(); }

ContactSheet::ContactSheet(SheetLayout const& layout)
    : layout_(layout), sheet_(newPicture(AV_PIX_FMT_RGB24, layout.sheetWidth, layout.sheetHeight)) {
  if (!sheet_) throw Failure(ExitCode::Write, "no memory for the sheet");
  for (int row = 0; row < sheet_->height; ++row)
    std::memset(rgbAt(*sheet_, 0, row), kBackground, static_cast<size_t>(sheet_->width) * kRgbBytes);
}

void ContactSheet::put(int64_t i, AVFrame const& picture, std::string_view label) {
  int const x = layout_.left(i), y = layout_.top(i);
  for (int row = 0; row < picture.height; ++row) {
    std::memcpy(rgbAt(*sheet_, x, y + row), rgbAt(picture, 0, row),
                static_cast<size_t>(picture.width) * kRgbBytes);
  }
  drawLabel(*sheet_, x, y + layout_.pictureHeight + kLabelGap, layout_.labelScale, label);
}

}  // namespace kyhost
