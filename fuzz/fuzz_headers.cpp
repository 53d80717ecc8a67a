#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "mfimport/headers/header_info.h"

/// First byte: the syntax. Second: bytes of configuration in front of the packet.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using mfimport::HeaderSyntax;
  constexpr HeaderSyntax kSyntaxes[] = {HeaderSyntax::mpeg12, HeaderSyntax::mpeg4, HeaderSyntax::h264,
                                        HeaderSyntax::hevc};
  if (size < 2) return 0;
  HeaderSyntax const syntax = kSyntaxes[data[0] % 4];
  std::span<std::uint8_t const> const rest(data + 2, size - 2);
  std::size_t const border = data[1] < rest.size() ? data[1] : rest.size();
  auto const configuration = rest.first(border);
  auto const packet = rest.subspan(border);
  mfimport::readHeaders(syntax, configuration, packet);
  int const lengthBytes = mfimport::nalLengthBytes(syntax, configuration);
  for (auto const& unit : mfimport::readUserData(syntax, lengthBytes, packet))
    if (unit.bytes.size() > packet.size()) std::abort();
  mfimport::isIntraH263(packet);
  mfimport::isIntraMpeg4(packet);
  return 0;
}
