#include "mfimport/video/picture_memory.h"

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

// What stands at the first bytes of each block before it is decoded, in steps of the smallest coding tree
// block (ITU-T H.265, 7.4.3.2.1: 16 samples). Filters at the edges of decoded blocks do not reach so far into
// others.
constexpr int kBlock = 16;
constexpr std::array<uint8_t, 8> kUnwritten{0xa3, 0x1c, 0xf9, 0x46, 0x6a, 0xd5, 0x08, 0xb7};

// Calls `visit` with the first byte of each block until it answers false.
template <typename Visit>
bool everyBlock(AVFrame const& frame, Visit visit) {
  AVPixFmtDescriptor const& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  ptrdiff_t const step = ptrdiff_t{kBlock} * format.comp[0].step;
  ptrdiff_t const end =
      ptrdiff_t{frame.width} * format.comp[0].step - static_cast<ptrdiff_t>(kUnwritten.size());
  for (int y = 0; y < frame.height; y += kBlock) {
    uint8_t* const row = frame.data[0] + ptrdiff_t{y} * frame.linesize[0];
    for (ptrdiff_t x = 0; x <= end; x += step)
      if (!visit(row + x)) return false;
  }
  return true;
}

size_t aligned(size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

// A block of the caller's memory. The pool hands it out again and again, so its first contents are cleared
// once: what a damaged stream leaves unwritten is the same in every run.
AVBufferRef* newBlock(void* opaque, size_t bytes) {
  auto const& memory = *static_cast<HostMemory const*>(opaque);
  void* const start = memory.allocate(bytes + kAlignment);
  if (!start) return nullptr;
  std::memset(start, 0, bytes + kAlignment);
  handOver(start);
  auto const release = [](void* where, uint8_t* block) { reinterpret_cast<void (*)(void*)>(where)(block); };
  AVBufferRef* const reference = av_buffer_create(static_cast<uint8_t*>(start), bytes + kAlignment, release,
                                                  reinterpret_cast<void*>(memory.release), 0);
  if (!reference) memory.release(start);
  return reference;
}

}  // namespace

void PictureMemory::serve(AVCodecContext& decoder) {
  decoder.opaque = this;
  decoder.get_buffer2 = &onGetBuffer;
  if (followsRows_) {
    decoder.draw_horiz_band = &onRows;
    decoder.slice_flags = SLICE_FLAG_ALLOW_FIELD | SLICE_FLAG_CODED_ORDER;
  }
  lav::allowCallbacksInThreads(decoder);
}

void PictureMemory::received(AVFrame const& frame) {
  if (frame.buf[0]) takeOver(frame.buf[0]->data);
}

int PictureMemory::onGetBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  return static_cast<PictureMemory*>(decoder->opaque)->fill(*decoder, *frame, flags);
}

void PictureMemory::onRows(AVCodecContext* decoder, AVFrame const* frame, int*, int y, int structure,
                           int rows) {
  auto& self = *static_cast<PictureMemory*>(decoder->opaque);
  std::lock_guard const guard(self.lock_);
  auto const found = self.work_.find(frame->pts);
  if (found == self.work_.end() || y >= found->second.height) return;
  int& next = found->second.next[static_cast<size_t>(structure) & 3];
  found->second.disordered |= y != next;
  next = y + rows;
}

bool PictureMemory::Progress::complete() const {
  auto const done = [this](size_t structure) { return next[structure] >= height; };
  if (height > 0 && (disordered || !(done(3) || (done(1) && done(2))))) return false;
  return !watched || everyBlock(*watched, [](uint8_t const* block) {
    return std::memcmp(block, kUnwritten.data(), kUnwritten.size()) != 0;
  });
}

PictureMemory::Work PictureMemory::workOf(int64_t stamp) {
  auto const node = [&] {
    std::lock_guard const guard(lock_);
    return work_.extract(stamp);
  }();
  return node ? Work{node.mapped().pictures, node.mapped().complete()} : Work{};
}

void PictureMemory::forgetWork() {
  std::lock_guard const guard(lock_);
  work_.clear();
}

bool PictureMemory::layoutFor(AVCodecContext& decoder, AVFrame const& frame, Layout& layout) {
  auto const format = static_cast<AVPixelFormat>(frame.format);
  AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
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
    std::lock_guard const guard(lock_);
    Progress& work = work_[frame.pts];
    ++work.pictures;
    if (followsRows_) work.height = decoder.height;
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
  if (watchesBlocks_) watch(frame);
  return 0;
}

void PictureMemory::watch(AVFrame const& frame) {
  everyBlock(frame, [](uint8_t* block) {
    std::memcpy(block, kUnwritten.data(), kUnwritten.size());
    return true;
  });
  lav::Frame reference = lav::newFrame();
  if (av_frame_ref(reference.get(), &frame) < 0) return;
  std::lock_guard const guard(lock_);
  lav::Frame& watched = work_[frame.pts].watched;
  // The picture itself comes first, then those that are made up for it to refer to.
  if (!watched) watched = std::move(reference);
}

AVBufferRef* PictureMemory::block(size_t bytes) {
  std::lock_guard const guard(lock_);
  if (!pool_ || poolBytes_ != bytes) {
    auto* const memory = new (std::nothrow) HostMemory(memory_);
    if (!memory) return nullptr;
    auto const release = [](void* opaque) { delete static_cast<HostMemory*>(opaque); };
    pool_.reset(av_buffer_pool_init2(bytes, memory, &newBlock, release));
    if (!pool_) delete memory;
    poolBytes_ = bytes;
  }
  return pool_ ? av_buffer_pool_get(pool_.get()) : nullptr;
}

}  // namespace mfimport
