// A decoded picture as separate planes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/frame.h"

namespace kyhost {

enum class Chroma { k420, k422 };

// Planar form of a picture layout; none for the RGB layouts.
struct PlanarLayout {
  Chroma chroma;
  int bytes;  // of a component: 1, or 2 little-endian
};
std::optional<PlanarLayout> planarLayout(uint32_t fourcc);

// Y, U and V of a picture. Layouts that are planar are referred to, packed ones are taken apart into memory
// of the object, which is used again for the next picture.
class Planes {
 public:
  struct Plane {
    unsigned char const* data = nullptr;
    int stride = 0;  // bytes
    int width = 0;   // components in a row
    int height = 0;
  };

  // `frame` has a planar layout and lives as long as the planes are used.
  std::array<Plane, 3> const& of(KyFrame const& frame);

 private:
  template <class Component>
  void unpack(KyFrame const& frame);

  std::array<std::vector<unsigned char>, 3> memory_;
  std::array<Plane, 3> planes_;
};

}  // namespace kyhost
