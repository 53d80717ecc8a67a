#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "mfimport/header_info.h"

/// First byte: the syntax. Second: bytes of configuration in front of the packet.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using mfimport::HeaderSyntax;
  constexpr HeaderSyntax kSyntaxes[] = {HeaderSyntax::mpeg12, HeaderSyntax::mpeg4, HeaderSyntax::h264,
                                        HeaderSyntax::hevc};
  if (size < 2) return 0;
  const HeaderSyntax syntax = kSyntaxes[data[0] % 4];
  const std::span<const std::uint8_t> rest(data + 2, size - 2);
  const std::size_t border = data[1] < rest.size() ? data[1] : rest.size();
  const auto configuration = rest.first(border);
  const auto packet = rest.subspan(border);
  mfimport::readHeaders(syntax, configuration, packet);
  const int lengthBytes = mfimport::nalLengthBytes(syntax, configuration);
  for (const auto& unit : mfimport::readUserData(syntax, lengthBytes, packet))
    if (unit.bytes.size() > packet.size()) std::abort();
  mfimport::isIntraH263(packet);
  mfimport::isIntraMpeg4(packet);
  return 0;
}
