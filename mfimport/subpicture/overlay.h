// The overlay of one opened video stream: which subpicture belongs to a picture, drawn into the caller's
// copy.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "mediafile/source.h"
#include "mfimport/subpicture/subpicture.h"
#include "mfimport/subpicture/subpicture_blend.h"
#include "mfimport/takelist/media.h"

namespace mfimport {

// One thread at a time. Costs nothing before the first drawing; then a comparison per picture while the same
// subpicture stands.
class Overlay {
 public:
  // `subpictures` are the stream numbers of the file's bitmap subtitles. Takes of several clips have none.
  Overlay(std::shared_ptr<Media const> media, size_t videoNumber, std::vector<size_t> subpictures,
          mediafile::FileAccess access, HostCallbacks const& host);

  // Draws what subpicture stream `subpicture` (0-based) shows at the time of `picture` into `target`, which
  // holds that picture as `fourcc`. Nothing when there is no such stream. `dvdPalette`: 16 colours (0, Y, Cr,
  // Cb), or empty.
  void draw(int64_t picture, int subpicture, std::span<uint8_t const> dvdPalette, uint32_t fourcc,
            PictureTarget const& target);

  // Subpicture packets decoded since the stream was opened.
  int64_t packets() const { return packetsBefore_ + (reader_ ? reader_->packets() : 0); }

 private:
  void select(size_t subpicture, std::span<uint8_t const> dvdPalette);
  void prepare(uint32_t fourcc);

  std::shared_ptr<Media const> media_;
  StreamIndex const& video_;
  std::vector<size_t> subpictures_;
  mediafile::FileAccess access_;
  HostCallbacks const& host_;
  std::vector<int64_t> times_;  // of each picture, 27 MHz; from the first drawing on

  size_t selected_ = SIZE_MAX;
  std::unique_ptr<SubpictureReader> reader_;
  int64_t packetsBefore_ = 0;  // of readers that are gone
  std::shared_ptr<Subpicture const> shown_;
  uint32_t preparedFourcc_ = 0;
  std::optional<PreparedSubpicture> prepared_;  // shown_
};

}  // namespace mfimport
