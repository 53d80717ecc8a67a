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

Result<void> VideoDecoder::seek(int64_t number, uint32_t fourcc, PictureTarget const& target) {
  if (number < 0) return failed("negative picture number");
  if (number >= track_.frames) return Error{Fault::end, {}};
  stepsBack_ = number < position_ ? stepsBack_ + 1 : 0;
  auto shown = show(number, fourcc, target, Approach::search);
  if (shown) position_ = number;
  return shown;
}

Result<void> VideoDecoder::next(uint32_t fourcc, PictureTarget const& target) {
  if (position_ + 1 >= track_.frames) return Error{Fault::end, {}};
  stepsBack_ = 0;
  ++position_;
  return show(position_, fourcc, target, Approach::readOn);
}

Result<void> VideoDecoder::show(int64_t number, uint32_t fourcc, PictureTarget const& target,
                                Approach approach) {
  if (!isOutputFormat(fourcc)) return Error{Fault::unsupported, "no such output format"};
  if (threadsChanged_) {
    source_.reset();
    part_ = SIZE_MAX;
    threadsChanged_ = false;
  }
  auto wanted = picture(number, approach);
  if (!wanted) return wanted.error();
  AVFrame const& frame = *(*wanted)->frame;
  AVCodecParameters const& declared = *track_.stream().parameters;
  if (frame.width != declared.width || frame.height != declared.height)
    return failed("the picture has another size");
  if (auto written = writer_.write(frame, fourcc, target); !written) return written;
  ++stats_.conversions;
  shown_ = wanted.take();
  shownNumber_ = number;
  return {};
}

Result<VideoDecoder::Picture> VideoDecoder::picture(int64_t number, Approach approach) {
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
  if (auto const entered = enterPart(part); !entered) return entered.error();
  return decode(number - track_.parts[part].first, approach);
}

Result<void> VideoDecoder::enterPart(size_t part) {
  if (part_ == part && source_) return {};
  held_.reset();
  exact_.reset();
  part_ = SIZE_MAX;
  begun_ = false;
  VideoTrack::Part const& clip = track_.parts[part];
  source_ = std::make_unique<PictureSource>(*clip.index, *clip.stream, access_, host_.memory(), stats_);
  if (auto opened = source_->open(threads()); !opened) {
    source_.reset();
    return opened;
  }
  part_ = part;
  return {};
}

// True when `local` lies ahead and decoding on gets there no later than beginning anew would.
bool VideoDecoder::canDecodeOn(int64_t local, Approach approach) const {
  if (!begun_) return false;
  if (local <= lastOut_) return false;
  if (held_ && held_->frame->pts == local) return true;
  // Numbers between the last picture out and the held one are known to be missing. Reading on does not search
  // for them; a seek may find them by beginning earlier.
  if (local < source_->passed()) return approach == Approach::readOn;
  VideoIndex const& video = track_.parts[part_].stream->video();
  return video.startFor(static_cast<size_t>(local)) <= source_->nextPicture();
}

Result<VideoDecoder::Picture> VideoDecoder::decode(int64_t local, Approach approach) {
  Picture found = decodeQuickly(local, approach);
  if (source_->unreadable()) {
    begun_ = false;
    return Error{Fault::unreadable, source_->complaint()};
  }
  if (found && !damaged(local)) return found;
  return decodeExactly(local);
}

bool VideoDecoder::damaged(int64_t local) const {
  VideoIndex const& video = track_.parts[part_].stream->video();
  return source_->damagedSince(video.startFor(static_cast<size_t>(local)));
}

VideoDecoder::Picture VideoDecoder::decodeQuickly(int64_t local, Approach approach) {
  if (canDecodeOn(local, approach)) return decodeOnTo(local);
  VideoIndex const& video = track_.parts[part_].stream->video();
  Picture found;
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

Result<VideoDecoder::Picture> VideoDecoder::decodeExactly(int64_t local) {
  cache_.clear();
  VideoTrack::Part const& clip = track_.parts[part_];
  if (!exact_) exact_ = std::make_unique<ExactPictures>(*clip.index, *clip.stream, access_, host_.memory());
  auto found = exact_->find(static_cast<size_t>(local));
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
VideoDecoder::Picture VideoDecoder::decodeOnTo(int64_t local) {
  int64_t const base = track_.parts[part_].first;
  for (;;) {
    if (!held_) {
      std::optional<DecodedPicture> decoded = source_->next();
      if (!decoded) return nullptr;
      held_ = std::make_shared<DecodedPicture const>(std::move(*decoded));
    }
    int64_t const number = held_->frame->pts;
    if (number > local) return nullptr;
    Picture picture = std::move(held_);
    held_.reset();
    lastOut_ = number;
    if (stepsBack_ >= kStepsBackToCache && !damaged(number) &&
        source_->beganEarlyEnoughFor(static_cast<size_t>(number)))
      cache_.add(base + number, picture);
    if (number == local) return picture;
  }
}

}  // namespace mfimport
