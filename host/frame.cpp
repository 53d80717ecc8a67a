#include "host/frame.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "host/util.h"

namespace {

constexpr int kLongestSide = 16384;  // pixels
constexpr int kAlignment = 64;       // bytes, one cache line and the widest vector

// Packed 4:2:2 shares chroma between the two pixels of a group.
struct Layout {
  int planes;       // 0: unknown
  int groupPixels;  // pixels of a group
  int groupBytes;   // bytes of a group
  int pixelBytes;   // bytes from pixel to pixel
};

Layout layoutOf(uint32_t fourcc) {
  switch (fourcc) {
    case kyFourcc("I420"):
    case kyFourcc("IYUV"):
      return {3, 1, 1, 1};
    case kyFourcc("W016"):
      return {3, 1, 2, 2};
    case kyFourcc("YUYV"):
    case kyFourcc("YUY2"):
      return {1, 2, 4, 2};
    case kyFourcc("Y216"):
      return {1, 2, 8, 4};
    case kyFourcc("BGR4"):
    case kyFourcc("BGRA"):
      return {1, 1, 4, 4};
    case kyFourcc("b64a"):
      return {1, 1, 8, 8};
    default:
      return {0, 1, 0, 0};
  }
}

int side(int pixels, int plane) { return plane == 0 ? pixels : (pixels + 1) / 2; }

int bytesOfRow(Layout const& layout, int pixels) {
  return (pixels + layout.groupPixels - 1) / layout.groupPixels * layout.groupBytes;
}

int paddedStride(int bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment + kAlignment; }

// Zeroed, with room for the alignment of `bytes`; null without memory.
std::shared_ptr<unsigned char> alignedMemory(size_t bytes) {
  // calloc takes large blocks zeroed from the system, so that nothing is touched twice.
  void* const block = std::calloc(bytes + kAlignment, 1);
  if (!block) return nullptr;
  std::shared_ptr<void> owner;
  try {
    owner = std::shared_ptr<void>(block, &std::free);
  } catch (std::bad_alloc const&) {
    return nullptr;
  }
  size_t space = bytes + kAlignment;
  void* aligned = block;
  std::align(kAlignment, bytes, aligned, space);
  return {owner, static_cast<unsigned char*>(aligned)};
}

// Planes that the caller describes by pairs of address and stride; false when one does not hold its rows.
bool takePlanes(AnyVector const& planes, int count, KyFrame_tt& tt) {
  for (int p = 0; p < count; ++p) {
    Pair const plane = planes.at(p).asPair();
    tt.plane[p] = static_cast<unsigned char*>(const_cast<void*>(plane.first.asGeneric()));
    int const stride = plane.second.asInt32();
    if (!tt.plane[p] || stride < tt.stride[p]) return false;
    tt.stride[p] = stride;
  }
  return true;
}

bool validSide(int pixels) { return pixels >= 1 && pixels <= kLongestSide; }

}  // namespace

KyFrame::KyFrame() = default;
KyFrame::~KyFrame() = default;

KyFrame::KyFrame(KyFrame&& other) noexcept
    : fourcc_(std::exchange(other.fourcc_, 0)),
      width_(std::exchange(other.width_, 0)),
      height_(std::exchange(other.height_, 0)),
      tt_(std::exchange(other.tt_, KyFrame_tt())),
      memory_(std::move(other.memory_)),
      matrix_(std::exchange(other.matrix_, KyYUVMatrix::Unknown)),
      userData_(std::move(other.userData_)) {}

KyFrame& KyFrame::operator=(KyFrame&& other) noexcept {
  KyFrame taken(std::move(other));
  std::swap(fourcc_, taken.fourcc_);
  std::swap(width_, taken.width_);
  std::swap(height_, taken.height_);
  std::swap(tt_, taken.tt_);
  std::swap(memory_, taken.memory_);
  std::swap(matrix_, taken.matrix_);
  std::swap(userData_, taken.userData_);
  return *this;
}

int KyFrame::init(unsigned fourcc, int width, int height, unsigned char* data, AnyVector const* planes) {
  destroy();
  Layout const layout = layoutOf(fourcc);
  if (layout.planes == 0 || !validSide(width) || !validSide(height)) return -1;

  KyFrame_tt tt;
  size_t offset[4] = {};
  size_t total = 0;
  for (int p = 0; p < layout.planes; ++p) {
    int const bytes = bytesOfRow(layout, side(width, p));
    tt.stride[p] = data ? bytes : paddedStride(bytes);
    offset[p] = total;
    total += static_cast<size_t>(tt.stride[p]) * static_cast<size_t>(side(height, p));
    if (!data) total += kAlignment;
  }

  std::shared_ptr<unsigned char> memory;
  if (data && planes) {
    if (!takePlanes(*planes, layout.planes, tt)) return -1;
  } else {
    if (!data) {
      memory = alignedMemory(total);
      if (!memory) return -1;
      data = memory.get();
    }
    for (int p = 0; p < layout.planes; ++p) tt.plane[p] = data + offset[p];
  }
  tt.planes = layout.planes;
  fourcc_ = fourcc;
  width_ = width;
  height_ = height;
  tt_ = tt;
  memory_ = std::move(memory);
  return 0;
}

int KyFrame::initView(KyFrame const& owner, int firstRow, int height) {
  bool const inside = !owner.empty() && firstRow >= 0 && height >= 1 && firstRow < owner.height_ &&
                      height <= owner.height_ - firstRow;
  if (!inside || (owner.is420() && firstRow % 2 != 0)) {
    destroy();
    return -1;
  }
  KyFrame view;
  view.fourcc_ = owner.fourcc_;
  view.width_ = owner.width_;
  view.height_ = height;
  view.tt_ = owner.tt_;
  view.memory_ = owner.memory_;
  view.matrix_ = owner.matrix_;
  for (int p = 0; p < view.tt_.planes; ++p) {
    int const row = p == 0 ? firstRow : firstRow / 2;
    view.tt_.plane[p] += static_cast<std::ptrdiff_t>(row) * view.tt_.stride[p];
  }
  *this = std::move(view);
  return 0;
}

void KyFrame::destroy() { *this = KyFrame(); }

int KyFrame::width(int plane) const { return plane >= 0 && plane < tt_.planes ? side(width_, plane) : 0; }

int KyFrame::height(int plane) const { return plane >= 0 && plane < tt_.planes ? side(height_, plane) : 0; }

int KyFrame::stride(int plane) const { return plane >= 0 && plane < tt_.planes ? tt_.stride[plane] : 0; }

int KyFrame::rowBytes(int plane) const {
  return plane >= 0 && plane < tt_.planes ? bytesOfRow(layoutOf(fourcc_), side(width_, plane)) : 0;
}

unsigned char* KyFrame::pixelPtr(int plane, int x, int y) const {
  if (x < 0 || y < 0 || x >= width(plane) || y >= height(plane)) return nullptr;
  return tt_.plane[plane] + static_cast<std::ptrdiff_t>(y) * tt_.stride[plane] +
         static_cast<std::ptrdiff_t>(x) * layoutOf(fourcc_).pixelBytes;
}

bool KyFrame::is420() const { return tt_.planes == 3; }

void KyFrame::changeFOURCC(unsigned fourcc) {
  if (!empty() && KyUtil::exchengeableFOURCC(static_cast<int>(fourcc_), static_cast<int>(fourcc))) {
    fourcc_ = fourcc;
  }
}

void KyFrame::setUserData(KyUserData const& data) { userData_ = std::make_unique<KyUserData>(data); }

void KyFrame::clearUserData() { userData_.reset(); }
