// Memory of decoded pictures, from the caller's allocator, so that the caller's account holds what a decoder
// holds.
#pragma once

#include <array>
#include <map>
#include <mutex>
#include <span>

#include "mediafile/lav.h"
#include "mfimport/caller/host_callbacks.h"

namespace mfimport {

// Serves one decoder, whose threads may ask at the same time. Must outlive the decoder, not its pictures:
// each block is given back when the last picture in it is released and the decoder is gone, until then it is
// used again.
class PictureMemory {
 public:
  // `clears`: every picture starts from zero, also in memory that is used again, so that what a damaged one
  // leaves out never depends on what was decoded before.
  explicit PictureMemory(HostMemory const& memory, bool clears = false) : memory_(memory), clears_(clears) {}

  // From the opening of the decoder on follows which rows are decoded of each picture. For H.264, which
  // reports those that it decodes, not those that it conceals.
  void followRows() { followsRows_ = true; }

  // From the opening of the decoder on looks for blocks of pictures that nobody wrote to. For HEVC, which
  // says nothing of a slice that ends too early.
  void watchBlocks() { watchesBlocks_ = true; }

  // What decoding the packet of a stamp took.
  struct Work {
    int pictures = 0;      // that memory was asked for: its own, and those made up for it to refer to
    bool complete = true;  // all of it was decoded, as far as that is followed
  };
  // Once for each packet, when its decoding has ended.
  Work workOf(int64_t stamp);
  void forgetWork();

  // Before the decoder is opened. Codecs that bring their own memory keep it.
  void serve(AVCodecContext& decoder);

  // To be called for every picture that comes out of the decoder. Tells the thread sanitizer what
  // libavcodec's own waiting, which it does not see, has brought about: the block is this thread's now.
  static void received(AVFrame const& frame);

 private:
  static constexpr size_t kPlanes = 4;

  // Where the planes of a picture lie within its block.
  struct Layout {
    std::array<int, kPlanes> strides{};  // bytes; 0 where there is no plane
    std::array<size_t, kPlanes> offsets{};
    size_t bytes = 0;
  };

  struct Progress {
    int pictures = 0;
    int height = 0;             // rows; 0 where they are not followed
    std::array<int, 4> next{};  // row that comes next of 1: top field, 2: bottom field, 3: frame
    bool disordered = false;
    lav::Frame watched;  // null where blocks are not watched

    bool complete() const;
  };

  static void onRows(AVCodecContext* decoder, AVFrame const* frame, int* offsets, int y, int structure,
                     int rows);
  static int onGetBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
  static bool layoutFor(AVCodecContext& decoder, AVFrame const& frame, Layout& layout);
  int fill(AVCodecContext& decoder, AVFrame& frame, int flags);
  AVBufferRef* block(size_t bytes);
  void watch(AVFrame const& frame);

  struct PoolDeleter {
    void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
  };

  HostMemory memory_;
  bool clears_;
  bool followsRows_ = false;
  bool watchesBlocks_ = false;
  std::map<int64_t, Progress> work_;  // by stamp
  std::mutex lock_;
  size_t poolBytes_ = 0;
  std::unique_ptr<AVBufferPool, PoolDeleter> pool_;
};

}  // namespace mfimport
