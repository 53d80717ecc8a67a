#include "mfimport/picture_source.h"

#include <algorithm>

#include "mfimport/classify.h"

namespace mfimport {

PictureSource::PictureSource(const MediaIndex& index, const StreamIndex& stream, mediafile::FileAccess access,
                             const HostMemory& memory, MpegDecodeStats& stats)
    : index_(index), stream_(stream), access_(std::move(access)), stats_(stats), memory_(memory) {}

bool PictureSource::open(const ThreadSetting& threads, std::string& error) {
  reader_ = PictureReader::open(index_, stream_, access_, error);
  if (!reader_) return false;
  codec_ = openVideoCodec(stream_, threads, &memory_, error);
  if (!codec_) return false;
  packet_ = lav::newPacket();
  nalLengthBytes_ = nalLengthBytes(headerSyntaxOf(stream_.codec()), lav::extradata(*stream_.parameters));
  return true;
}

bool PictureSource::begin(size_t picture) {
  const Picture& key = stream_.video.pictures[picture];
  if (fed_) {
    avcodec_flush_buffers(codec_.get());
    ++stats_.flushes;
    fed_ = false;
  }
  draining_ = false;
  unreadable_ = false;
  userData_.clear();
  if (reader_->nextPicture() != picture) {
    // The very first positioning of a reader, to the first key picture, is part of opening.
    if (reader_->nextPicture() != 0 || picture != stream_.video.firstKey) ++stats_.seeks;
    if (!reader_->position(picture)) {
      complaint_ = "the file cannot be positioned";
      return false;
    }
  }
  // Pictures before the key in presentation belong to the group of pictures before.
  const auto& shown = stream_.video.byDisplay;
  const auto from = std::lower_bound(shown.begin(), shown.end(), key.rank, [&](uint32_t at, uint32_t rank) {
    return stream_.video.pictures[at].rank < rank;
  });
  passed_ = picture == stream_.video.firstKey ? 0 : from - shown.begin();
  complaint_.clear();
  return true;
}

std::optional<DecodedPicture> PictureSource::next() {
  lav::Frame frame = spare_ ? std::move(spare_) : lav::newFrame();
  for (;;) {
    const int result = avcodec_receive_frame(codec_.get(), frame.get());
    if (result >= 0) {
      ++stats_.pictures;
      PictureMemory::received(*frame);
      const int64_t display = frame->pts;
      if (display >= passed_ && display < static_cast<int64_t>(stream_.video.frames())) {
        passed_ = display + 1;
        return DecodedPicture{std::move(frame), takeUserData(display)};
      }
      av_frame_unref(frame.get());
      continue;
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) complaint_ = lav::errorText(result);
    const bool ended = result == AVERROR_EOF || draining_;
    if (ended) {
      passed_ = static_cast<int64_t>(stream_.video.frames());
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
  const size_t unit = reader_->nextPicture();
  const PictureReader::Result result = reader_->next(*packet_);
  if (result == PictureReader::Result::error) {
    complaint_ = "the file cannot be read";
    unreadable_ = true;
  }
  if (result != PictureReader::Result::packet) return false;
  const int32_t display = stream_.video.pictures[unit].display;
  if (display != Picture::kNotShown) keepUserData(display, *packet_);
  // Pictures that are not shown get stamps of their own below all display numbers.
  packet_->pts = display != Picture::kNotShown ? display : -1 - static_cast<int64_t>(unit);
  packet_->dts = AV_NOPTS_VALUE;
  packet_->flags &= ~AV_PKT_FLAG_DISCARD;
  const int sent = avcodec_send_packet(codec_.get(), packet_.get());
  av_packet_unref(packet_.get());
  fed_ = true;
  ++stats_.packets;
  if (sent < 0 && sent != AVERROR(EAGAIN)) complaint_ = lav::errorText(sent);
  return true;
}

void PictureSource::keepUserData(int64_t display, const AVPacket& packet) {
  for (UserData& data : readUserData(headerSyntaxOf(stream_.codec()), nalLengthBytes_, lav::payload(packet)))
    userData_[display].push_back(std::move(data));
}

std::vector<UserData> PictureSource::takeUserData(int64_t display) {
  std::vector<UserData> data;
  if (const auto found = userData_.find(display); found != userData_.end()) data = std::move(found->second);
  userData_.erase(userData_.begin(), userData_.upper_bound(display));
  return data;
}

}  // namespace mfimport
