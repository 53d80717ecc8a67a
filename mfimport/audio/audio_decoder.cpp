#include "mfimport/audio/audio_decoder.h"

#include <algorithm>
#include <cstring>

namespace mfimport {

AudioDecoder::AudioDecoder(std::shared_ptr<Media const> media, size_t streamNumber,
                           mediafile::FileAccess access, HostCallbacks const& host)
    : host_(host), track_(std::move(media), streamNumber, &host), access_(std::move(access)) {
  setLayout(naturalLayout(*track_.stream().parameters));
}

void AudioDecoder::setLayout(SampleLayout const& layout) {
  layout_ = layout;
  frameBytes_ = int64_t{track_.stream().parameters->ch_layout.nb_channels} * layout.bytes();
  source_.reset();
  part_ = SIZE_MAX;
}

Result<void> AudioDecoder::open() { return enterPart(0); }

bool AudioDecoder::seek(int64_t sample) {
  if (sample < 0 || sample >= track_.samples) return false;
  next_ = sample;
  return true;
}

Result<int64_t> AudioDecoder::read(uint8_t* out, int64_t count) {
  int64_t done = 0;
  while (done < count && next_ < track_.samples) {
    auto const got = readWithinPart(out + done * frameBytes_, count - done);
    if (!got && done == 0) return got.error();
    if (!got) break;
    done += *got;
    next_ += *got;
  }
  return done;
}

Result<void> AudioDecoder::enterPart(size_t part) {
  if (part_ == part && source_) return {};
  AudioTrack::Part const& clip = track_.parts[part];
  part_ = SIZE_MAX;
  source_.reset();
  auto source = openSampleSource(*clip.index, *clip.stream, layout_, access_, host_);
  if (!source) return source.error();
  source_ = source.take();
  part_ = part;
  sourceNext_ = 0;
  return {};
}

Result<int64_t> AudioDecoder::readWithinPart(uint8_t* out, int64_t count) {
  size_t at = part_ < track_.parts.size() ? part_ : 0;
  AudioTrack::Part const* part = &track_.parts[at];
  if (next_ < part->first || next_ >= part->first + part->samples + part->silence) {
    at = track_.partOf(next_);
    part = &track_.parts[at];
  }
  int64_t const local = next_ - part->first;
  if (local >= part->samples) {
    int64_t const silence = std::min(count, part->samples + part->silence - local);
    std::memset(out, 0, static_cast<size_t>(silence * frameBytes_));
    return silence;
  }
  if (auto const entered = enterPart(at); !entered) return entered.error();
  if (sourceNext_ != local) source_->seek(local);
  int64_t const got = source_->read(out, std::min(count, part->samples - local));
  sourceNext_ = got > 0 ? local + got : -1;
  if (got <= 0) return Error{Fault::unreadable, "the file cannot be read"};
  return got;
}

}  // namespace mfimport
