// Where the facts of a Dolby stream stand in the records that a decoder answers for its audio streams: rows
// of little-endian int16, the values as coded, kKyDolbyAbsent where the bit stream does not carry them.
// Fields have the names of ATSC A/52:2018.
#pragma once

#include <cstdint>
#include <cstring>

#include "host/any.h"

constexpr int kKyDolbyAbsent = -1;

// A record by the key that answers it, and its size in bytes.
struct KyDolbyRecord {
  char const* key;
  int bytes;
};

namespace KyDolby {

constexpr KyDolbyRecord kConfig{"dd_config_info_tt", 16};
constexpr KyDolbyRecord kGeneral{"dd_gen_info_tt", 62};
constexpr KyDolbyRecord kProduction{"dd_prod_info_tt", 40};
constexpr KyDolbyRecord kTimecode{"dd_timecode_info_tt", 44};

// Numbers of fields from the record's begin.
enum Config { kPresent = 0, kBsid = 1 };
enum General {
  kBsmod = 1,  // 5.4.2.2
  kAcmod = 2,  // 5.4.2.3
  kLfeon = 3,
  kDialnorm = 4,  // 5.4.2.8
  kCompr = 5,     // 5.4.2.10
  kCopyrightb = 7,
  kOrigbs = 8,
  kDsurmod = 9,     // 5.4.2.6
  kDialnorm2 = 12,  // of the second channel of dual mono
  kCompr2 = 13      // likewise
};
enum Production {
  kMixlevel = 0,  // 5.4.2.14
  kRoomtyp = 1,   // 5.4.2.15
  kMixlevel2 = 3,
  kRoomtyp2 = 4
};
enum Timecode {
  kTimecod1 = 0,  // 5.4.2.27: absent without the next three
  kHours = 1,
  kMinutes = 2,
  kEights = 3,    // steps of 8 seconds
  kTimecod2 = 4,  // 5.4.2.28: absent without the next two
  kSeconds = 5,   // on top of those steps
  kFrames = 6
};

// Field `number` of a record; absent where `record` holds fewer bytes.
inline int field(Any const& record, int number) {
  int16_t value = kKyDolbyAbsent;
  auto const at = static_cast<int>(sizeof value) * number;
  if (number < 0 || record.kind() != Any::kGeneric ||
      record.genericSize() < at + static_cast<int>(sizeof value))
    return kKyDolbyAbsent;
  std::memcpy(&value, static_cast<unsigned char const*>(record.asGeneric()) + at, sizeof value);
  return value;
}

}  // namespace KyDolby
