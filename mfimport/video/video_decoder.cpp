#include "mfimport/video/video_decoder.h"

#include <algorithm>

namespace mfimport {
namespace {

constexpr size_t kCacheBytes = size_t{96} << 20;
constexpr int kStepsBackToCache = 2;

size_t bytesOf(AVFrame const& frame) {
  size_t bytes = 0;
  for (AVBufferRef const* buffer : frame.buf)
    if (buffer) bytes += static_cast<size_t>(buffer->size);
  return bytes;
}

}  // namespace

void PictureCache::clear() {
  entries_.clear();
  bytes_ = 0;
}

void PictureCache::add(int64_t number, std::shared_ptr<DecodedPicture const> picture) {
  if (find(number)) return;
  size_t const bytes = bytesOf(*picture->frame);
  entries_.push_back({number, bytes, std::move(picture)});
  bytes_ += bytes;
  // The oldest go first: within a group those furthest from the target, which a backward step needs last.
  while (bytes_ > kCacheBytes && entries_.size() > 1) {
    bytes_ -= entries_.front().bytes;
    entries_.pop_front();
  }
}

std::shared_ptr<DecodedPicture const> PictureCache::find(int64_t number) const {
  auto const found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](Entry const& entry) { return entry.number == number; });
  return found == entries_.end() ? nullptr : found->picture;
}

VideoDecoder::VideoDecoder(std::shared_ptr<Media const> media, size_t streamNumber,
                           mediafile::FileAccess access, HostCallbacks const& host)
    : track_(std::move(media), streamNumber), access_(std::move(access)), host_(host) {}

void VideoDecoder::setThreadCount(int count) {
  threadsChanged_ |= threadCount_ != count;
  threadCount_ = count;
}

bool VideoDecoder::setThreadMode(int mode) {
  if (mode < 0 || mode > 2) return false;
  threadsChanged_ |= threadMode_ != mode;
  threadMode_ = mode;
  return true;
}

ThreadSetting VideoDecoder::threads() const {
  ThreadSetting setting;
  setting.count = threadMode_ == 0 ? 1 : std::max(threadCount_, 1);
  AVCodecID const codec = track_.stream().codec();
  bool const byPictures = threadMode_ == 1 || (threadMode_ != 2 && codec != AV_CODEC_ID_MPEG1VIDEO &&
                                               codec != AV_CODEC_ID_MPEG2VIDEO);
  setting.type = byPictures ? FF_THREAD_FRAME : FF_THREAD_SLICE;
  return setting;
}

std::vector<UserData> const& VideoDecoder::userData() const {
  static std::vector<UserData> const none;
  return shown_ ? shown_->userData : none;
}

int VideoDecoder::seek(int64_t number, uint32_t fourcc, PictureTarget const& target, std::string& error) {
  if (number < 0) {
    error = "negative picture number";
    return kMpegError;
  }
  if (number >= track_.frames) return kMpegEndOfStream;
  stepsBack_ = number < position_ ? stepsBack_ + 1 : 0;
  sequential_ = false;
  int const result = show(number, fourcc, target, error);
  if (result == kMpegOk) position_ = number;
  return result;
}

int VideoDecoder::next(uint32_t fourcc, PictureTarget const& target, std::string& error) {
  if (position_ + 1 >= track_.frames) return kMpegEndOfStream;
  stepsBack_ = 0;
  sequential_ = true;
  ++position_;
  return show(position_, fourcc, target, error);
}

int VideoDecoder::show(int64_t number, uint32_t fourcc, PictureTarget const& target, std::string& error) {
  if (!isOutputFormat(fourcc)) {
    error = "no such output format";
    return kMpegErrorUnsupported;
  }
  if (threadsChanged_) {
    source_.reset();
    part_ = SIZE_MAX;
    threadsChanged_ = false;
  }
  std::shared_ptr<DecodedPicture const> wanted = picture(number, error);
  if (!wanted) return kMpegError;
  AVCodecParameters const& declared = *track_.stream().parameters;
  if (wanted->frame->width != declared.width || wanted->frame->height != declared.height) {
    error = "the picture has another size";
    return kMpegError;
  }
  if (!writer_.write(*wanted->frame, fourcc, target, error)) return kMpegError;
  ++stats_.conversions;
  shown_ = std::move(wanted);
  shownNumber_ = number;
  return kMpegOk;
}

std::shared_ptr<DecodedPicture const> VideoDecoder::picture(int64_t number, std::string& error) {
  if (number == shownNumber_ && shown_) {
    ++stats_.cacheHits;
    return shown_;
  }
  if (auto cached = cache_.find(number)) {
    ++stats_.cacheHits;
    return cached;
  }
  cache_.clear();
  size_t const part = track_.partOf(number);
  if (!enterPart(part, error)) return nullptr;
  return decode(number - track_.parts[part].first, error);
}

bool VideoDecoder::enterPart(size_t part, std::string& error) {
  if (part_ == part && source_) return true;
  held_.reset();
  exact_.reset();
  part_ = SIZE_MAX;
  begun_ = false;
  VideoTrack::Part const& clip = track_.parts[part];
  source_ = std::make_unique<PictureSource>(*clip.index, *clip.stream, access_, host_.memory(), stats_);
  if (!source_->open(threads(), error)) {
    source_.reset();
    return false;
  }
  part_ = part;
  return true;
}

// True when `local` lies ahead and decoding on gets there no later than beginning anew would.
bool VideoDecoder::canDecodeOn(int64_t local) const {
  if (!begun_) return false;
  if (local <= lastOut_) return false;
  if (held_ && held_->frame->pts == local) return true;
  // Numbers between the last picture out and the held one are known to be missing. Reading on does not search
  // for them; a seek may find them by beginning earlier.
  if (local < source_->passed()) return sequential_;
  VideoIndex const& video = track_.parts[part_].stream->video;
  return video.startFor(static_cast<size_t>(local)) <= source_->nextPicture();
}

std::shared_ptr<DecodedPicture const> VideoDecoder::decode(int64_t local, std::string& error) {
  std::shared_ptr<DecodedPicture const> found = decodeQuickly(local);
  if (source_->unreadable()) {
    begun_ = false;
    error = source_->complaint();
    return nullptr;
  }
  return found && !damaged(local) ? found : decodeExactly(local, error);
}

bool VideoDecoder::damaged(int64_t local) const {
  VideoIndex const& video = track_.parts[part_].stream->video;
  return source_->damagedSince(video.startFor(static_cast<size_t>(local)));
}

std::shared_ptr<DecodedPicture const> VideoDecoder::decodeQuickly(int64_t local) {
  if (canDecodeOn(local)) return decodeOnTo(local);
  VideoIndex const& video = track_.parts[part_].stream->video;
  std::shared_ptr<DecodedPicture const> found;
  size_t start = source_->startFor(static_cast<size_t>(local));
  for (int beginning = 0; beginning < kMostBeginnings; ++beginning) {
    held_.reset();
    begun_ = source_->begin(start);
    if (!begun_) break;
    lastOut_ = source_->passed() - 1;
    found = decodeOnTo(local);
    if (found && source_->beganEarlyEnoughFor(static_cast<size_t>(local))) break;
    if (start == video.firstKey || source_->unreadable() || source_->damagedSince(start)) break;
    start = video.keyBefore(start);
  }
  return found;
}

std::shared_ptr<DecodedPicture const> VideoDecoder::decodeExactly(int64_t local, std::string& error) {
  cache_.clear();
  VideoTrack::Part const& clip = track_.parts[part_];
  if (!exact_) exact_ = std::make_unique<ExactPictures>(*clip.index, *clip.stream, access_, host_.memory());
  std::shared_ptr<DecodedPicture const> found = exact_->find(static_cast<size_t>(local), error);
  // A decoder that has lost its way where there is no damage finds it at the next beginning.
  if (!exact_->metDamage()) begun_ = false;
  if (!found && !warned_) {
    warned_ = true;
    host_.warning(formatted("mfimport: '%s': picture %s is missing or damaged; such pictures fail",
                            clip.index->name.c_str(), std::to_string(clip.first + local).c_str()));
  }
  return found;
}

// Decodes until `local` comes out. Null when it does not.
std::shared_ptr<DecodedPicture const> VideoDecoder::decodeOnTo(int64_t local) {
  int64_t const base = track_.parts[part_].first;
  for (;;) {
    if (!held_) {
      std::optional<DecodedPicture> decoded = source_->next();
      if (!decoded) return nullptr;
      held_ = std::make_shared<DecodedPicture const>(std::move(*decoded));
    }
    int64_t const number = held_->frame->pts;
    if (number > local) return nullptr;
    std::shared_ptr<DecodedPicture const> picture = std::move(held_);
    held_.reset();
    lastOut_ = number;
    if (stepsBack_ >= kStepsBackToCache && !damaged(number) &&
        source_->beganEarlyEnoughFor(static_cast<size_t>(number)))
      cache_.add(base + number, picture);
    if (number == local) return picture;
  }
}

}  // namespace mfimport
