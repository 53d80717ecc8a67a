#include "kyhost/pictures/planes.h"

namespace kyhost {

std::optional<PlanarLayout> planarLayout(uint32_t fourcc) {
  switch (fourcc) {
    case kyFourcc("I420"):
    case kyFourcc("IYUV"):
      return PlanarLayout{Chroma::k420, 1};
    case kyFourcc("W016"):
      return PlanarLayout{Chroma::k420, 2};
    case kyFourcc("YUYV"):
    case kyFourcc("YUY2"):
      return PlanarLayout{Chroma::k422, 1};
    case kyFourcc("Y216"):
      return PlanarLayout{Chroma::k422, 2};
    default:
      return std::nullopt;
  }
}

std::array<Planes::Plane, 3> const& Planes::of(KyFrame const& frame) {
  if (frame.planes() == 1) {
    if (planarLayout(frame.fourcc())->bytes == 1) {
      unpack<uint8_t>(frame);
    } else {
      unpack<uint16_t>(frame);
    }
    return planes_;
  }
  for (int i = 0; i < 3; ++i) {
    planes_[static_cast<size_t>(i)] = {frame.pixelPtr(i, 0, 0), frame.stride(i), frame.width(i),
                                       frame.height(i)};
  }
  return planes_;
}

template <class Component>
void Planes::unpack(KyFrame const& frame) {
  int const width = frame.width();
  int const height = frame.height();
  int const chromaWidth = (width + 1) / 2;
  for (size_t i = 0; i < planes_.size(); ++i) {
    // The last pair of an odd width is written whole.
    int const components = i == 0 ? 2 * chromaWidth : chromaWidth;
    int const stride = components * static_cast<int>(sizeof(Component));
    memory_[i].resize(static_cast<size_t>(stride) * static_cast<size_t>(height));
    planes_[i] = {memory_[i].data(), stride, i == 0 ? width : chromaWidth, height};
  }
  for (int row = 0; row < height; ++row) {
    auto const at = [&](size_t plane) {
      return reinterpret_cast<Component*>(memory_[plane].data() +
                                          static_cast<ptrdiff_t>(row) * planes_[plane].stride);
    };
    auto const* from = reinterpret_cast<Component const*>(frame.pixelPtr(0, 0, row));
    Component* const y = at(0);
    Component* const u = at(1);
    Component* const v = at(2);
    for (int x = 0; x < chromaWidth; ++x, from += 4) {
      y[2 * x] = from[0];
      u[x] = from[1];
      y[2 * x + 1] = from[2];
      v[x] = from[3];
    }
  }
}

}  // namespace kyhost
