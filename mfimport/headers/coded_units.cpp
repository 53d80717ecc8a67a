#include "mfimport/headers/coded_units.h"

#include <algorithm>

namespace mfimport {

void forEachStartCode(std::span<uint8_t const> data,
                      std::function<void(std::span<uint8_t const>)> const& unit) {
  size_t start = data.size();
  auto const end = [&](size_t position) {
    if (start < position) unit(data.subspan(start, position - start));
  };
  for (size_t i = 0; i + 3 < data.size(); ++i) {
    if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) continue;
    end(i);
    start = i + 3;
    i += 2;
  }
  end(data.size());
}

void forEachLengthPrefixed(std::span<uint8_t const> data, int lengthBytes,
                           std::function<void(std::span<uint8_t const>)> const& unit) {
  auto const width = static_cast<size_t>(std::clamp(lengthBytes, 1, 4));
  while (data.size() > width) {
    size_t size = 0;
    for (size_t i = 0; i < width; ++i) size = size << 8 | data[i];
    data = data.subspan(width);
    if (size > data.size()) return;
    if (size > 0) unit(data.first(size));
    data = data.subspan(size);
  }
}

void forEachUnit(int lengthBytes, std::span<uint8_t const> data,
                 std::function<void(std::span<uint8_t const>)> const& unit) {
  if (lengthBytes > 0)
    forEachLengthPrefixed(data, lengthBytes, unit);
  else
    forEachStartCode(data, unit);
}

}  // namespace mfimport
