#include "mfimport/picture_memory.h"

#include <algorithm>
#include <cstring>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace mfimport {
namespace {

void handOver([[maybe_unused]] void* block) {
#if defined(__SANITIZE_THREAD__)
  __tsan_release(block);
#endif
}

void takeOver([[maybe_unused]] void* block) {
#if defined(__SANITIZE_THREAD__)
  __tsan_acquire(block);
#endif
}

// The widest vector registers that decoders use, in bytes; and what they may read behind a plane.
constexpr size_t kAlignment = 64;
constexpr size_t kReadBehind = 16 + kAlignment - 1;

size_t aligned(size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

// A block of the caller's memory. The pool hands it out again and again, so its first contents are cleared
// once: what a damaged stream leaves unwritten is the same in every run.
AVBufferRef* newBlock(void* opaque, size_t bytes) {
  const auto& memory = *static_cast<const HostMemory*>(opaque);
  void* const start = memory.allocate(bytes + kAlignment);
  if (!start) return nullptr;
  std::memset(start, 0, bytes + kAlignment);
  handOver(start);
  const auto release = [](void* where, uint8_t* block) { reinterpret_cast<void (*)(void*)>(where)(block); };
  AVBufferRef* const reference = av_buffer_create(static_cast<uint8_t*>(start), bytes + kAlignment, release,
                                                  reinterpret_cast<void*>(memory.release), 0);
  if (!reference) memory.release(start);
  return reference;
}

}  // namespace

void PictureMemory::serve(AVCodecContext& decoder) {
  decoder.opaque = this;
  decoder.get_buffer2 = &onGetBuffer;
  if (countsRows_) decoder.draw_horiz_band = &onRows;
#if LIBAVCODEC_VERSION_MAJOR < 60
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

void PictureMemory::received(const AVFrame& frame) {
  if (frame.buf[0]) takeOver(frame.buf[0]->data);
}

int PictureMemory::onGetBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  return static_cast<PictureMemory*>(decoder->opaque)->fill(*decoder, *frame, flags);
}

void PictureMemory::onRows(AVCodecContext* decoder, const AVFrame* frame, int*, int, int, int rows) {
  auto& self = *static_cast<PictureMemory*>(decoder->opaque);
  const std::lock_guard guard(self.lock_);
  if (const auto found = self.work_.find(frame->pts); found != self.work_.end())
    found->second.missingRows -= rows;
}

PictureMemory::Work PictureMemory::workOf(int64_t stamp) {
  const std::lock_guard guard(lock_);
  const auto node = work_.extract(stamp);
  return node ? node.mapped() : Work{};
}

void PictureMemory::forgetWork() {
  const std::lock_guard guard(lock_);
  work_.clear();
}

bool PictureMemory::layoutFor(AVCodecContext& decoder, const AVFrame& frame, Layout& layout) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  if (!description || (description->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL))) return false;
  int width = frame.width, height = frame.height;
  int alignment[AV_NUM_DATA_POINTERS] = {};
  avcodec_align_dimensions2(&decoder, &width, &height, alignment);
  // Strides of all planes come from one width, since decoders expect them in proportion.
  for (bool even = false; !even; width += width & ~(width - 1)) {
    if (av_image_fill_linesizes(layout.strides.data(), format, width) < 0) return false;
    even = true;
    for (size_t plane = 0; plane < kPlanes; ++plane)
      even = even && layout.strides[plane] % std::max(alignment[plane], 1) == 0;
  }
  ptrdiff_t strides[kPlanes];
  std::copy(layout.strides.begin(), layout.strides.end(), strides);
  size_t sizes[kPlanes] = {};
  if (av_image_fill_plane_sizes(sizes, format, height, strides) < 0) return false;
  layout.bytes = 0;
  for (size_t plane = 0; plane < kPlanes; ++plane) {
    layout.offsets[plane] = layout.bytes;
    if (sizes[plane] == 0) layout.strides[plane] = 0;
    if (sizes[plane] > 0) layout.bytes += aligned(sizes[plane] + kReadBehind);
  }
  return layout.bytes > 0;
}

int PictureMemory::fill(AVCodecContext& decoder, AVFrame& frame, int flags) {
  {
    const std::lock_guard guard(lock_);
    Work& work = work_[frame.pts];
    ++work.pictures;
    if (countsRows_) work.missingRows = decoder.height;
  }
  Layout layout;
  if (!(decoder.codec->capabilities & AV_CODEC_CAP_DR1) || !layoutFor(decoder, frame, layout))
    return avcodec_default_get_buffer2(&decoder, &frame, flags);
  frame.buf[0] = block(layout.bytes);
  if (!frame.buf[0]) return AVERROR(ENOMEM);
  uint8_t* const data = frame.buf[0]->data;
  if (clears_) std::memset(data, 0, frame.buf[0]->size);
  uint8_t* const start =
      data + (aligned(reinterpret_cast<uintptr_t>(data)) - reinterpret_cast<uintptr_t>(data));
  for (size_t plane = 0; plane < kPlanes; ++plane) {
    frame.linesize[plane] = layout.strides[plane];
    frame.data[plane] = layout.strides[plane] ? start + layout.offsets[plane] : nullptr;
  }
  frame.extended_data = frame.data;
  return 0;
}

AVBufferRef* PictureMemory::block(size_t bytes) {
  const std::lock_guard guard(lock_);
  if (!pool_ || poolBytes_ != bytes) {
    auto* const memory = new (std::nothrow) HostMemory(memory_);
    if (!memory) return nullptr;
    const auto release = [](void* opaque) { delete static_cast<HostMemory*>(opaque); };
    pool_.reset(av_buffer_pool_init2(bytes, memory, &newBlock, release));
    if (!pool_) delete memory;
    poolBytes_ = bytes;
  }
  return pool_ ? av_buffer_pool_get(pool_.get()) : nullptr;
}

}  // namespace mfimport
