// Decoded pictures of one clip, in display order from a chosen beginning. Mechanism only: when to begin where
// is the video decoder's decision.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mfimport/clip/clip_file.h"
#include "mfimport/clip/media_index.h"
#include "mfimport/clip/picture_reader.h"
#include "mfimport/video/picture_memory.h"
#include "mfimport/video/video_codec.h"

namespace mfimport {

struct DecodedPicture {
  lav::Frame frame;  // its display number in frame->pts
  std::vector<UserData> userData;
  bool whole = true;  // false: errors in its own data, or pictures that it refers to are not there
};

// Where a key picture only starts a gradual refresh, pictures behind it come out whole only when decoding
// began before: so many key pictures are tried, each before the other.
constexpr int kMostBeginnings = 3;

enum class Care {
  quick,  // several threads; a damaged picture, and those that refer to it, may come out in more than one way
  exact   // the same pictures and the same errors whenever decoding begins at the same key picture
};

// One thread at a time; index and stream must outlive it.
class PictureSource {
 public:
  PictureSource(ClipFacts const& index, StreamIndex const& stream, ClipAccess access,
                HostMemory const& memory, MpegDecodeStats& stats, Care care = Care::quick);

  // Opens file and decoder.
  Result<void> open(ThreadSetting const& threads);

  // Prepares to decode from `picture`, a key picture.
  bool begin(size_t picture);

  // The next decoded picture that is shown; none at the end of the clip or when the file could not be read,
  // which unreadable() then tells and begin() ends. Pictures come in ascending order;
  // one that cannot be decoded is missing.
  std::optional<DecodedPicture> next();

  bool unreadable() const { return unreadable_; }

  // The picture to begin at for the one shown as number `display`, as far as is known from what has been
  // decoded. Where pictures are refreshed gradually that is two key pictures further back: what damage that
  // no decoder notices refers to is to have been refreshed once when it is met.
  size_t startFor(size_t display) const;
  // Whether decoding began there, or before.
  bool beganEarlyEnoughFor(size_t display) const { return beginning_ <= startFor(display); }

  // The picture that will be sent to the decoder next.
  size_t nextPicture() const { return reader_->nextPicture(); }
  // Pictures with a smaller number have come out or never will, until begin() is called.
  int64_t passed() const { return passed_; }
  // True when since begin() there was damage in `picture` or behind it in decoding, or may have been: several
  // threads tell of errors later than they happen, never earlier. Where pictures are refreshed gradually,
  // also for damage that they may still show of the key pictures before.
  bool damagedSince(size_t picture) const;
  // Why a picture was missing: the last complaint of reader or decoder.
  std::string const& complaint() const { return complaint_; }

 private:
  bool startAnew();
  bool sendOne();
  void noteDamage(size_t picture);
  void noteUnfinished(size_t last);
  void noteRefresh(size_t picture, AVFrame const& frame);
  size_t pictureOf(AVFrame const& frame) const;
  size_t furtherBack(size_t key) const;
  void keepUserData(int64_t display, AVPacket const& packet);
  std::vector<UserData> takeUserData(int64_t display);

  ClipFacts const& index_;
  StreamIndex const& stream_;
  ClipAccess access_;
  MpegDecodeStats& stats_;
  std::unique_ptr<PictureReader> reader_;
  PictureMemory memory_;
  ThreadSetting threads_;
  lav::CodecContext codec_;
  lav::Packet packet_;
  lav::Frame spare_;
  int nalLengthBytes_ = 0;
  bool fed_ = false;  // packets were sent since the decoder was opened or flushed
  bool draining_ = false;
  int failuresAtEnd_ = 0;
  bool unreadable_ = false;
  int64_t passed_ = 0;
  Care care_;
  size_t beginning_ = 0;       // the picture that decoding began at
  size_t checked_ = 0;         // pictures before it are known to be complete or not
  size_t sent_ = 0;            // the one sent last
  int64_t damage_ = -1;        // the last picture in decoding that had any
  bool first_ = true;          // nothing has come out since begin()
  bool gradual_ = false;       // some key picture only begins a gradual refresh
  std::set<size_t> broken_;    // pictures, in decoding order
  std::set<size_t> preceded_;  // key pictures that the decoder made up references for
  std::string complaint_;
  std::map<int64_t, std::vector<UserData>> userData_;  // of pictures inside the decoder
};

}  // namespace mfimport
