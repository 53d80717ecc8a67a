#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "mfimport/dolby_info.h"

/// Any packet gives fields in their range, and the same ones again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace mfimport;
  const std::span<const std::uint8_t> packet(data, size);
  const auto info = readDolbyInfo(packet);
  if (!info) return 0;
  const MpegDolbyGeneral& general = info->general;
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
