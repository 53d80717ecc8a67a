// Decoded pictures of one clip, in display order from a chosen beginning. Mechanism only: when to begin where
// is the video decoder's decision.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mfimport/media_index.h"
#include "mfimport/picture_memory.h"
#include "mfimport/picture_reader.h"
#include "mfimport/video_codec.h"

namespace mfimport {

struct DecodedPicture {
  lav::Frame frame;  // its display number in frame->pts
  std::vector<UserData> userData;
};

// One thread at a time; index and stream must outlive it.
class PictureSource {
 public:
  PictureSource(const MediaIndex& index, const StreamIndex& stream, mediafile::FileAccess access,
                const HostMemory& memory, MpegDecodeStats& stats);

  // Opens file and decoder. False with the reason in `error`.
  bool open(const ThreadSetting& threads, std::string& error);

  // Prepares to decode from `picture`, a key picture.
  bool begin(size_t picture);

  // The next decoded picture that is shown; none at the end of the clip or when the file could not be read,
  // which unreadable() then tells and begin() ends. Pictures come in ascending order;
  // one that cannot be decoded is missing.
  std::optional<DecodedPicture> next();

  bool unreadable() const { return unreadable_; }

  // The picture that will be sent to the decoder next.
  size_t nextPicture() const { return reader_->nextPicture(); }
  // Pictures with a smaller number have come out or never will, until begin() is called.
  int64_t passed() const { return passed_; }
  // Why a picture was missing: the last complaint of reader or decoder.
  const std::string& complaint() const { return complaint_; }

 private:
  bool sendOne();
  void keepUserData(int64_t display, const AVPacket& packet);
  std::vector<UserData> takeUserData(int64_t display);

  const MediaIndex& index_;
  const StreamIndex& stream_;
  mediafile::FileAccess access_;
  MpegDecodeStats& stats_;
  std::unique_ptr<PictureReader> reader_;
  PictureMemory memory_;
  lav::CodecContext codec_;
  lav::Packet packet_;
  lav::Frame spare_;
  int nalLengthBytes_ = 0;
  bool fed_ = false;  // packets were sent since the decoder was opened or flushed
  bool draining_ = false;
  bool unreadable_ = false;
  int64_t passed_ = 0;
  std::string complaint_;
  std::map<int64_t, std::vector<UserData>> userData_;  // of pictures inside the decoder
};

}  // namespace mfimport
