#include "mfimport/video/picture_source.h"

#include <algorithm>

#include "mfimport/headers/classify.h"

namespace mfimport {
PictureSource::PictureSource(ClipFacts const& index, StreamIndex const& stream, ClipAccess access,
                             HostMemory const& memory, MpegDecodeStats& stats, Care care)
    : index_(index),
      stream_(stream),
      access_(std::move(access)),
      stats_(stats),
      memory_(memory, care == Care::exact),
      care_(care) {}

Result<void> PictureSource::open(ThreadSetting const& threads) {
  auto reader = PictureReader::open(index_, stream_, stream_.video().pictures, access_);
  if (!reader) return reader.error();
  reader_ = reader.take();
  threads_ = threads;
  if (care_ == Care::exact) threads_.count = 1;
  // H.264 marks pictures that it conceals when they come out, behind others that refer to them, and its frame
  // threads lose the marks.
  if (care_ == Care::quick && stream_.codec() == AV_CODEC_ID_H264) memory_.followRows();
  if (stream_.codec() == AV_CODEC_ID_HEVC) memory_.watchBlocks();
  auto codec = openVideoCodec(stream_, stream_.video().reorderDepth, threads_, &memory_);
  if (!codec) return codec.error();
  codec_ = codec.take();
  packet_ = lav::newPacket();
  nalLengthBytes_ = nalLengthBytes(headerSyntaxOf(stream_.codec()), lav::extradata(*stream_.parameters));
  return {};
}

bool PictureSource::begin(size_t picture) {
  Picture const& key = stream_.video().pictures[picture];
  if (fed_ && !startAnew()) return false;
  draining_ = false;
  failuresAtEnd_ = 0;
  unreadable_ = false;
  userData_.clear();
  beginning_ = checked_ = sent_ = picture;
  memory_.forgetWork();
  damage_ = -1;
  first_ = true;
  broken_.clear();
  preceded_.clear();
  if (reader_->nextPicture() != picture) {
    // The very first positioning of a reader, to the first key picture, is part of opening.
    if (reader_->nextPicture() != 0 || picture != stream_.video().firstKey) ++stats_.seeks;
    if (!reader_->position(picture)) {
      complaint_ = "the file cannot be positioned";
      return false;
    }
  }
  // Pictures before the key in presentation belong to the group of pictures before.
  auto const& shown = stream_.video().byDisplay;
  auto const from = std::lower_bound(shown.begin(), shown.end(), key.rank, [&](uint32_t at, uint32_t rank) {
    return stream_.video().pictures[at].rank < rank;
  });
  passed_ = picture == stream_.video().firstKey ? 0 : from - shown.begin();
  complaint_.clear();
  return true;
}

// A decoder keeps more than its pictures: what it knows of motion fills in damaged ones. A new one has
// nothing to remember.
bool PictureSource::startAnew() {
  fed_ = false;
  if (care_ == Care::exact) {
    auto codec = openVideoCodec(stream_, stream_.video().reorderDepth, threads_, &memory_);
    if (!codec) {
      complaint_ = codec.error().text;
      return false;
    }
    codec_ = codec.take();
    return true;
  }
  avcodec_flush_buffers(codec_.get());
  ++stats_.flushes;
  return true;
}

std::optional<DecodedPicture> PictureSource::next() {
  lav::Frame frame = spare_ ? std::move(spare_) : lav::newFrame();
  for (;;) {
    int const result = avcodec_receive_frame(codec_.get(), frame.get());
    if (result >= 0) {
      ++stats_.pictures;
      PictureMemory::received(*frame);
      int64_t const display = frame->pts;
      size_t const picture = pictureOf(*frame);
      if (lav::damaged(*frame)) noteDamage(picture);
      noteUnfinished(picture);
      noteRefresh(picture, *frame);
      if (preceded_.contains(picture) && !lav::keyFrame(*frame)) noteDamage(picture);
      if (display >= passed_ && display < static_cast<int64_t>(stream_.video().frames())) {
        passed_ = display + 1;
        return DecodedPicture{std::move(frame), takeUserData(display), !broken_.contains(picture)};
      }
      av_frame_unref(frame.get());
      continue;
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
      complaint_ = lav::errorText(result);
      noteDamage(sent_);
      // At the end every thread may still hold a picture behind the one that failed.
      if (draining_ && ++failuresAtEnd_ <= kMostThreads) continue;
    }
    bool const ended = result == AVERROR_EOF || draining_;
    if (ended) {
      passed_ = static_cast<int64_t>(stream_.video().frames());
      spare_ = std::move(frame);
      return std::nullopt;
    }
    if (sendOne()) continue;
    if (unreadable_) {
      spare_ = std::move(frame);
      return std::nullopt;
    }
    draining_ = true;
    fed_ = true;
    avcodec_send_packet(codec_.get(), nullptr);
  }
}

// Sends the next picture to the decoder. False when there is none left or it cannot be read.
bool PictureSource::sendOne() {
  size_t const picture = reader_->nextPicture();
  PictureReader::Outcome const result = reader_->next(*packet_);
  if (result == PictureReader::Outcome::error) {
    complaint_ = "the file cannot be read";
    unreadable_ = true;
  }
  if (result != PictureReader::Outcome::packet) return false;
  int32_t const display = stream_.video().pictures[picture].display;
  if (display != Picture::kNotShown) keepUserData(display, *packet_);
  // Pictures that are not shown get stamps of their own below all display numbers.
  packet_->pts = display != Picture::kNotShown ? display : -1 - static_cast<int64_t>(picture);
  packet_->dts = AV_NOPTS_VALUE;
  // A leap in the counts of a transport stream need not have lost a byte of the picture.
  packet_->flags &= ~(AV_PKT_FLAG_DISCARD | AV_PKT_FLAG_CORRUPT);
  sent_ = picture;
  int const sent = avcodec_send_packet(codec_.get(), packet_.get());
  av_packet_unref(packet_.get());
  fed_ = true;
  ++stats_.packets;
  if (sent < 0 && sent != AVERROR(EAGAIN)) {
    complaint_ = lav::errorText(sent);
    noteDamage(picture);
  }
  return true;
}

size_t PictureSource::startFor(size_t display) const {
  return furtherBack(stream_.video().startFor(display));
}

bool PictureSource::damagedSince(size_t picture) const {
  return damage_ >= static_cast<int64_t>(furtherBack(picture));
}

size_t PictureSource::furtherBack(size_t key) const {
  for (int beginning = 1; gradual_ && beginning < kMostBeginnings; ++beginning)
    key = stream_.video().keyBefore(key);
  return key;
}

size_t PictureSource::pictureOf(AVFrame const& frame) const {
  if (frame.pts < 0) return static_cast<size_t>(-1 - frame.pts);
  auto const display = static_cast<size_t>(frame.pts);
  return display < stream_.video().frames() ? stream_.video().byDisplay[display] : sent_;
}

// What is wrong with pictures that decoding passes over, those shown before the one it began at, harms no
// other.
void PictureSource::noteDamage(size_t picture) {
  auto const& pictures = stream_.video().pictures;
  if (picture > beginning_ && pictures[picture].rank < pictures[beginning_].rank) return;
  broken_.insert(picture);
  damage_ = std::max(damage_, static_cast<int64_t>(picture));
}

// What came out was sent to a thread after all that were decoded before it, and results keep that order:
// those are finished, and rows that they lack stay missing. Decoders make up pictures that are referred to
// and not there. A key picture may be preceded by some: it refers to none of them.
void PictureSource::noteUnfinished(size_t last) {
  auto const& pictures = stream_.video().pictures;
  for (; checked_ <= last; ++checked_) {
    Picture const& picture = pictures[checked_];
    int64_t const stamp =
        picture.display != Picture::kNotShown ? picture.display : -1 - static_cast<int64_t>(checked_);
    PictureMemory::Work const work = memory_.workOf(stamp);
    if (work.pictures > 1 && picture.key) preceded_.insert(checked_);
    if (!work.complete || (work.pictures > 1 && !picture.key)) noteDamage(checked_);
  }
}

// libavcodec's H.264 decoder withholds what follows a recovery point until the refresh is said to be complete
// (ISO/IEC 14496-10, D.2.8). When decoding began before, the key picture comes out and is not coded on its
// own; the second field of one that is may refer to the first.
void PictureSource::noteRefresh(size_t picture, AVFrame const& frame) {
  if (stream_.codec() != AV_CODEC_ID_H264) return;
  auto const& pictures = stream_.video().pictures;
  if (pictures[picture].rank < pictures[beginning_].rank) return;
  gradual_ |= first_ && picture != beginning_ && damage_ < 0;
  gradual_ |= pictures[picture].key && frame.pict_type == AV_PICTURE_TYPE_P && !lav::interlaced(frame);
  first_ = false;
}

void PictureSource::keepUserData(int64_t display, AVPacket const& packet) {
  for (UserData& data : readUserData(headerSyntaxOf(stream_.codec()), nalLengthBytes_, lav::payload(packet)))
    userData_[display].push_back(std::move(data));
}

std::vector<UserData> PictureSource::takeUserData(int64_t display) {
  std::vector<UserData> data;
  if (auto const found = userData_.find(display); found != userData_.end()) data = std::move(found->second);
  userData_.erase(userData_.begin(), userData_.upper_bound(display));
  return data;
}

}  // namespace mfimport
