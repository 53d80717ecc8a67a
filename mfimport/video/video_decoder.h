// Pictures of a track by number.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "mediafile/source.h"
#include "mfimport/takelist/media.h"
#include "mfimport/video/exact_pictures.h"
#include "mfimport/video/picture_source.h"
#include "mfimport/video/pixel_out.h"

namespace mfimport {

// Pictures decoded on the way to a target while the caller steps backward, by number within the track.
class PictureCache {
 public:
  void clear();
  void add(int64_t number, std::shared_ptr<DecodedPicture const> picture);
  std::shared_ptr<DecodedPicture const> find(int64_t number) const;

 private:
  struct Entry {
    int64_t number;
    size_t bytes;
    std::shared_ptr<DecodedPicture const> picture;
  };
  std::deque<Entry> entries_;
  size_t bytes_ = 0;
};

// One thread at a time. Policy:
//   - a picture ahead with no key picture nearer to it than the decoding position is reached by decoding on;
//   - any other begins at the key picture that it depends on;
//   - only the picture asked for is converted, and only after it has been decoded;
//   - after two steps backward in a row, the pictures before the target are kept decoded;
//   - at the border of two clips decoding begins afresh;
//   - a picture with damage between its beginning and itself is decoded a second time in the one exact way,
//   and
//     fails when it is not whole; the host is warned of the first one.
class VideoDecoder {
 public:
  VideoDecoder(std::shared_ptr<Media const> media, size_t streamNumber, mediafile::FileAccess access,
               HostCallbacks const& host);

  // In force from the next picture on; a change reopens the decoder.
  void setThreadCount(int count);
  // 0 none, 1 by pictures, 2 by slices; others are refused.
  bool setThreadMode(int mode);

  // Writes picture `number` into `target` as `fourcc`. On failure the target and the position are what they
  // were; Fault::end behind the last picture.
  Result<void> seek(int64_t number, uint32_t fourcc, PictureTarget const& target);
  // The picture after the last one. A picture that cannot be decoded is passed over by the next call.
  Result<void> next(uint32_t fourcc, PictureTarget const& target);

  // The picture that next() follows, -1 before the first.
  int64_t position() const { return position_; }
  MpegDecodeStats const& stats() const { return stats_; }
  // User data of the picture shown last.
  std::vector<UserData> const& userData() const;

 private:
  using Picture = std::shared_ptr<DecodedPicture const>;
  enum class Approach { search, readOn };  // asked for by number, or as the next one

  ThreadSetting threads() const;
  Result<void> show(int64_t number, uint32_t fourcc, PictureTarget const& target, Approach approach);
  Result<Picture> picture(int64_t number, Approach approach);
  Result<void> enterPart(size_t part);
  Result<Picture> decode(int64_t local, Approach approach);
  // Whether damage may have touched the picture that comes out as number `local` of the part.
  bool damaged(int64_t local) const;
  Picture decodeQuickly(int64_t local, Approach approach);
  Result<Picture> decodeExactly(int64_t local);
  Picture decodeOnTo(int64_t local);
  bool canDecodeOn(int64_t local, Approach approach) const;

  VideoTrack track_;
  mediafile::FileAccess access_;
  HostCallbacks const& host_;
  int threadCount_ = -1, threadMode_ = -1;  // -1 unset
  bool threadsChanged_ = false;
  MpegDecodeStats stats_{};
  PixelWriter writer_;

  size_t part_ = SIZE_MAX;                 // the clip that source_ decodes
  std::unique_ptr<PictureSource> source_;  // null until the first picture is asked for
  std::unique_ptr<ExactPictures> exact_;   // of the same clip; null until there is damage
  bool warned_ = false;
  bool begun_ = false;
  int64_t lastOut_ = -1;                        // within the clip, since decoding began
  std::shared_ptr<DecodedPicture const> held_;  // came out of the decoder beyond the target
  std::shared_ptr<DecodedPicture const> shown_;
  int64_t shownNumber_ = -1;
  int64_t position_ = -1;  // picture that next() follows
  int stepsBack_ = 0;
  PictureCache cache_;
};

}  // namespace mfimport
