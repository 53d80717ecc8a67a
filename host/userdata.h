// User data of pictures, and the closed captions in it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/any.h"
#include "host/api.h"
#include "host/mediatime.h"

// 1: user data of the coded picture.
enum KyUserDataType : int { kUserDataPicture = 1 };

// Packets of user data. The dictionary holds under "packets" a vector of dictionaries with "type", "format"
// (0 MPEG user data, 1 ITU-T T.35 registered SEI, 2 unregistered SEI) and "data" (bytes).
class KY_API KyUserData : public AnyDict {
 public:
  virtual ~KyUserData();
  KyUserData() = default;
  KyUserData(KyUserData const&) = default;
  KyUserData& operator=(KyUserData const&) = default;

  void addDataPacket(int size, void const* data, int format,
                     int type);  // nothing when size < 1 or data is null
  int countPackets(int type) const;
  // Bytes of packet `i` (0-based) of the type; null and size 0 outside the range.
  void const* packet(int type, int i, int& size, int& format) const;
  void removePackets(int type);
};

// CEA-608/708 caption bytes of one picture.
class KY_API KyCcData {
 public:
  enum Format : int {
    kFormatNone = -1,
    kFormatA53 = 0,     // ATSC A/53 part 4 cc_data behind "GA94", also inside a T.35 SEI payload
    kFormatScte20 = 1,  // ANSI/SCTE 20
    kFormatDvd = 2      // DVD-Video line 21 data behind "CC"
  };
  struct Triplet {
    uint8_t header;  // marker bits, cc_valid, cc_type as cc_data() has them
    uint8_t data1;
    uint8_t data2;
  };

  // Recognises the format of user data; kFormatNone when it carries no captions.
  static int detectBufferFmt(int size, void const* data);
  // Decodes; 0, or -1 when the bytes do not fit the format. `time` may be null.
  int fromBuffer(int format, int size, void const* data, MediaTime const* time);
  void clear();
  std::vector<Triplet> const& triplets() const { return triplets_; }
  int format() const { return format_; }
  // Writes "time" (seconds, when known), "format" (0..2) and "data" (the triplets, 3 bytes each).
  void store(AnyDict& out) const;

 private:
  int format_ = kFormatNone;
  std::optional<MediaTime> time_;
  std::vector<Triplet> triplets_;
};
