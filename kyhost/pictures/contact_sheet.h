// Pictures side by side with a label below each.
#pragma once

#include <cstdint>
#include <string_view>

#include "mediafile/lav.h"

namespace kyhost {

// Where pictures of `frameAspect` lie on a sheet `width` pixels wide, `across` by `down` of them; all in
// pixels.
struct SheetLayout {
  SheetLayout(int across, int down, int width, double frameAspect);

  // False where pictures would be too small to see, or the sheet larger than PNG readers take.
  bool hasRoom() const;
  int left(int64_t i) const;  // of picture `i`, counted row by row
  int top(int64_t i) const;

  int columns;
  int pictureWidth;
  int pictureHeight;
  int labelScale;
  int sheetWidth;
  int sheetHeight;

 private:
  int cellHeight() const;
};

// One thread. Throws Failure (write).
class ContactSheet {
 public:
  explicit ContactSheet(SheetLayout const& layout);
  // `picture` is RGB24 of the layout's size.
  void put(int64_t i, AVFrame const& picture, std::string_view label);
  AVFrame const& image() const { return *sheet_; }  // RGB24

 private:
  SheetLayout layout_;
  lav::Frame sheet_;
};

}  // namespace kyhost
