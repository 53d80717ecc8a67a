#include "mfimport/subpicture/overlay.h"

#include <algorithm>
#include <string>

#include "mfimport/clip/stamps.h"

namespace mfimport {
namespace {

// As the decoder of DVD subpictures takes it: RRGGBB of sixteen colours, from 0, Y, Cr, Cb of ITU-R BT.601.
std::string paletteText(std::span<uint8_t const> palette) {
  std::string text;
  for (size_t i = 0; i + 4 <= palette.size(); i += 4) {
    double const luma = (palette[i + 1] - 16) * 255.0 / 219;
    double const cr = (palette[i + 2] - 128) * 255.0 / 224, cb = (palette[i + 3] - 128) * 255.0 / 224;
    auto const level = [](double value) {
      return static_cast<unsigned>(std::clamp(value + 0.5, 0.0, 255.0));
    };
    if (!text.empty()) text += ',';
    text += formatted("%02x%02x%02x", level(luma + 1.402 * cr), level(luma - 0.344136 * cb - 0.714136 * cr),
                      level(luma + 1.772 * cb));
  }
  return text;
}

// The full frame that subpictures of DVD-Video without a size lie on, also where pictures have half of it;
// none for other pictures.
SubpictureCanvas dvdCanvas(int width, int height) {
  if (width != 352) return {};
  if (height == 240 || height == 480) return {720, 480};
  if (height == 288 || height == 576) return {720, 576};
  return {};
}

}  // namespace

Overlay::Overlay(std::shared_ptr<Media const> media, size_t videoNumber, std::vector<size_t> subpictures,
                 mediafile::FileAccess access, HostCallbacks const& host)
    : media_(std::move(media)),
      video_(media_->first().streams[videoNumber]),
      subpictures_(std::move(subpictures)),
      access_(std::move(access)),
      host_(host) {
  if (media_->clips.size() > 1) subpictures_.clear();
}

void Overlay::select(size_t subpicture, std::span<uint8_t const> dvdPalette) {
  if (times_.empty()) times_ = displayStamps(video_);
  packetsBefore_ = packets();
  reader_.reset();
  reader_ =
      std::make_unique<SubpictureReader>(media_->first(), media_->first().streams[subpictures_[subpicture]],
                                         access_, paletteText(dvdPalette), host_);
  selected_ = subpicture;
  shown_.reset();
  prepared_.reset();
}

void Overlay::draw(int64_t picture, int subpicture, std::span<uint8_t const> dvdPalette, uint32_t fourcc,
                   PictureTarget const& target) {
  if (subpicture < 0 || static_cast<size_t>(subpicture) >= subpictures_.size()) return;
  if (selected_ != static_cast<size_t>(subpicture)) select(static_cast<size_t>(subpicture), dvdPalette);
  if (picture < 0 || static_cast<size_t>(picture) >= times_.size()) return;
  std::shared_ptr<Subpicture const> const& due = reader_->at(times_[static_cast<size_t>(picture)]);
  if (due != shown_ || fourcc != preparedFourcc_) {
    shown_ = due;
    prepare(fourcc);
  }
  if (prepared_) prepared_->blend(target);
}

void Overlay::prepare(uint32_t fourcc) {
  preparedFourcc_ = fourcc;
  prepared_.reset();
  if (!shown_ || shown_->bitmaps.empty()) return;
  AVCodecParameters const& picture = *video_.parameters;
  SubpictureCanvas canvas = shown_->canvas;
  if (canvas.width <= 0 || canvas.height <= 0) canvas = dvdCanvas(picture.width, picture.height);
  PictureColours const colours{picture.color_space, picture.color_range == AVCOL_RANGE_JPEG};
  prepared_.emplace(shown_->bitmaps, canvas, fourcc, picture.width, picture.height, colours);
}

}  // namespace mfimport
