// Bitmap subtitles over pictures.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mfimport/subpicture/subpicture.h"
#include "mfimport/video/output_format.h"

namespace mfimport {

// What colours are brought into. `matrix` is an ISO/IEC 23091-2 code; where it names no matrix,
// mpegMatrixOfHeight() does.
struct PictureColours {
  int matrix;
  bool fullRange;
};

// One colour in the components of a picture: Y, Cb, Cr of 8 bits.
struct Ycbcr {
  uint8_t y, cb, cr;
};
Ycbcr ycbcrOf(uint32_t argb, PictureColours const& colours, int height);

// Bitmaps brought to the size, format and colours of the pictures they are drawn on. Where their canvas has
// another size than the picture it is scaled to cover it, each pixel of the picture being the mean of the
// part of the canvas that it covers. Chroma has the mean of the pixels that share a sample. Immutable.
class PreparedSubpicture {
 public:
  // `fourcc` is an output format. A canvas without a size is as large as the picture.
  PreparedSubpicture(std::span<SubpictureBitmap const> bitmaps, SubpictureCanvas canvas, uint32_t fourcc,
                     int width, int height, PictureColours const& colours);

  // Blends into `target`, which must hold a picture of that size and format: each component becomes
  // (1 - alpha) * picture + alpha * colour. Rows outside the bitmaps are not touched.
  void blend(PictureTarget const& target) const;

 private:
  // Part of a picture on the sampling grid of luma or of chroma.
  struct Patch {
    int x, y, width, height;
    std::vector<uint16_t> alpha;         // kOpaque: covers all
    std::vector<uint32_t> component[3];  // multiplied by alpha
  };

  Patch scaled(SubpictureBitmap const& bitmap, SubpictureCanvas const& canvas,
               PictureColours const& colours) const;
  Patch chromaOf(Patch const& full, int rowsPerSample) const;
  template <class Word>
  void blendInto(PictureTarget const& target) const;

  uint32_t fourcc_;
  int width_, height_;
  std::vector<Patch> patches_;  // luma; B, G, R in BGR4
  std::vector<Patch> chroma_;   // Cb, Cr; as many as patches_, none in BGR4
};

}  // namespace mfimport
