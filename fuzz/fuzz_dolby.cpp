#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "mfimport/headers/dolby_info.h"

/// Any packet gives fields in their range, and the same ones again.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace mfimport;
  std::span<std::uint8_t const> const packet(data, size);
  auto const info = readDolbyInfo(packet);
  if (!info) return 0;
  MpegDolbyGeneral const& general = info->general;
  if (info->config.present != 1 || general.acmod < 0 || general.acmod > 7) std::abort();
  if (general.lfeon < 0 || general.lfeon > 1) std::abort();
  if (info->addbsi.bytes != kDolbyAbsent && (info->addbsi.bytes < 1 || info->addbsi.bytes > 64)) std::abort();
  if (info->auxdata.bits < kDolbyAbsent || info->auxdata.bits > 16383) std::abort();
  // User data needs the whole frame.
  if (info->auxdata.bits >= 0 && static_cast<std::size_t>(info->config.frameBytes) > size) std::abort();
  for (int request = kAuxDolbyConfig; request <= kAuxDolbyAuxdata; ++request)
    if (dolbyRecord(*info, request).size() != dolbyRecordSize(request)) std::abort();
  return 0;
}
