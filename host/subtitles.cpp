#include "host/subtitles.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "host/file.h"

KyAuxInfoObserver::~KyAuxInfoObserver() = default;

KySubtitleBufStreamWrite::KySubtitleBufStreamWrite(KyCodec*) {
  input_.user = this;
  input_.write = [](void* user, void const* bytes, int size) {
    auto const* const self = static_cast<KySubtitleBufStreamWrite const*>(user);
    return static_cast<int>(KyFile::fwrite_(bytes, size, self->file_));
  };
  input_.event = [](void*, int, void*) { return 0; };
}

KySubtitleBufStreamWrite::~KySubtitleBufStreamWrite() { destroy(); }

int KySubtitleBufStreamWrite::init(AnyDict const& settings) {
  destroy();
  std::string const path = settings["outfilename"].asString();
  if (path.empty() || path.find('\0') != std::string::npos) return -1;
  int const descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) return -1;
  file_ = ::fdopen(descriptor, "wb");
  if (!file_) ::close(descriptor);
  return file_ ? 0 : -1;
}

void KySubtitleBufStreamWrite::destroy() {
  KyFile::fclose(file_);
  file_ = nullptr;
}

int KyBufStreamFifo::Reader::available() const {
  return static_cast<int>(fifo_->bytes_.size() - fifo_->begin_);
}

int KyBufStreamFifo::Reader::peek(void* buffer, int bytes) const {
  int const count = std::clamp(bytes, 0, available());
  if (!buffer || count == 0) return 0;
  std::memcpy(buffer, fifo_->bytes_.data() + fifo_->begin_, static_cast<size_t>(count));
  return count;
}

int KyBufStreamFifo::Reader::skip(int bytes) {
  int const count = std::clamp(bytes, 0, available());
  fifo_->begin_ += static_cast<size_t>(count);
  if (fifo_->begin_ == fifo_->bytes_.size()) {
    fifo_->bytes_.clear();
    fifo_->begin_ = 0;
  }
  return count;
}

int KyBufStreamFifo::Reader::read(void* buffer, int bytes) { return skip(peek(buffer, bytes)); }

KyBufStreamFifo::KyBufStreamFifo(KyCodec*) : reader_(this) {
  input_.user = this;
  input_.write = [](void* user, void const* bytes, int size) {
    auto* const self = static_cast<KyBufStreamFifo*>(user);
    return bytes && size > 0 ? self->take(static_cast<unsigned char const*>(bytes), size) : 0;
  };
  input_.event = [](void* user, int event, void* data) {
    return static_cast<KyBufStreamFifo*>(user)->notify(event, data);
  };
}

KyBufStreamFifo::~KyBufStreamFifo() = default;

int KyBufStreamFifo::init(AnyDict const&) {
  bytes_.clear();
  begin_ = 0;
  return 0;
}

void KyBufStreamFifo::addObserver(KyAuxInfoObserver* observer) {
  if (observer) observers_.push_back(observer);
}

int KyBufStreamFifo::take(unsigned char const* bytes, int size) noexcept {
  constexpr size_t kMost = 0x7fffffff;  // what available() can tell
  try {
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
    if (bytes_.size() + static_cast<size_t>(size) > kMost) return 0;
    bytes_.insert(bytes_.end(), bytes, bytes + size);
    return size;
  } catch (...) {
    return 0;
  }
}

// The producer may be a C library, so what an observer throws ends here.
int KyBufStreamFifo::notify(int event, void* data) noexcept {
  int first = 0;
  for (size_t i = 0; i < observers_.size(); ++i) {
    int result = -1;
    try {
      result = observers_[i]->notify(&input_, event, data);
    } catch (...) {
    }
    if (first == 0) first = result;
  }
  return first;
}
