// Caption bytes as a file may bring them: format detection, then decoding as every format.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "host/userdata.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  int const bytes = static_cast<int>(size);
  int const detected = KyCcData::detectBufferFmt(bytes, data);
  for (int format = KyCcData::kFormatNone; format <= KyCcData::kFormatDvd; ++format) {
    KyCcData captions;
    MediaTime const time(1.0);
    bool const decoded = captions.fromBuffer(format, bytes, data, &time) == 0;
    // Only what is recognised can be decoded, and what fails leaves nothing.
    if (decoded && format != detected) std::abort();
    if (!decoded && !captions.triplets().empty()) std::abort();
    AnyDict stored;
    captions.store(stored);
  }
  KyUserData packets;
  packets.addDataPacket(bytes, data, 0, kUserDataPicture);
  if (packets.countPackets(kUserDataPicture) != (size > 0 ? 1 : 0)) std::abort();
  return 0;
}
