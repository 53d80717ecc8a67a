// How a coded stream is divided: units between start codes, or behind length fields as in MP4.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace mfimport {

// Units between start codes (00 00 01), the start code left out.
void forEachStartCode(std::span<uint8_t const> data,
                      std::function<void(std::span<uint8_t const>)> const& unit);

// Units behind length fields of `lengthBytes` (1 to 4) bytes, as in MP4. A length that does not fit ends it.
void forEachLengthPrefixed(std::span<uint8_t const> data, int lengthBytes,
                           std::function<void(std::span<uint8_t const>)> const& unit);

// Either: start codes where `lengthBytes` is 0.
void forEachUnit(int lengthBytes, std::span<uint8_t const> data,
                 std::function<void(std::span<uint8_t const>)> const& unit);

}  // namespace mfimport
