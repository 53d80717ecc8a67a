// Small texts of numbers for pictures.
#pragma once

#include <string_view>

#include "mediafile/lav.h"

namespace kyhost {

constexpr int kLabelHeight = 7;  // pixels at scale 1

// Draws digits, ':', '.', '#' and blanks into an RGB24 picture, light, each 5 pixels wide and one apart,
// every pixel `scale` times; what lies outside the picture is left out.
void drawLabel(AVFrame& picture, int x, int y, int scale, std::string_view text);

}  // namespace kyhost
