#include "host/userdata.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace {

using Bytes = std::span<uint8_t const>;

// Reader of bit fields, most significant bit first. Past the end it gives zeros and remembers that.
class Bits {
 public:
  explicit Bits(Bytes bytes) : bytes_(bytes) {}

  unsigned take(int count) {
    unsigned value = 0;
    for (; count > 0; --count, ++position_) {
      size_t const byte = position_ / 8;
      unsigned const bit = byte < bytes_.size() ? bytes_[byte] >> (7 - position_ % 8) & 1U : 0U;
      value = value << 1 | bit;
    }
    return value;
  }
  bool overrun() const { return position_ > bytes_.size() * 8; }

 private:
  Bytes bytes_;
  size_t position_ = 0;
};

uint8_t reversed(unsigned byte) {
  unsigned out = 0;
  for (int i = 0; i < 8; ++i) out = out << 1 | (byte >> i & 1U);
  return static_cast<uint8_t>(out);
}

bool startsWith(Bytes data, std::initializer_list<uint8_t> start) {
  return data.size() >= start.size() && std::equal(start.begin(), start.end(), data.begin());
}

Bytes bytesOf(int size, void const* data) {
  if (!data || size < 1) return {};
  return {static_cast<uint8_t const*>(data), static_cast<size_t>(size)};
}

// Without an MPEG user data start code (ISO/IEC 13818-2, 6.2.2.2) or the ITU-T T.35 codes of the United
// States and of ATSC, which may stand before the identifier.
Bytes payload(Bytes data) {
  if (startsWith(data, {0x00, 0x00, 0x01, 0xB2})) return data.subspan(4);
  if (startsWith(data, {0xB5, 0x00, 0x31})) return data.subspan(3);
  return data;
}

// "GA94", user_data_type_code 3; then process_cc_data_flag and cc_count, em_data and the triplets.
constexpr size_t kA53Header = 7;

bool isA53(Bytes data) {
  return data.size() >= kA53Header && startsWith(data, {'G', 'A', '9', '4', 0x03}) && (data[5] & 0x40) != 0 &&
         (data[5] & 0x1F) != 0;
}

// user_data_type_code 3, seven reserved bits, vbi_data_flag, cc_count in five bits. The first reserved bit is
// met both set and clear.
bool isScte20(Bytes data) {
  return data.size() >= 3 && data[0] == 0x03 && (data[1] & 0x7F) == 0x01 && (data[2] & 0xF8) != 0;
}

// "CC", two constant bytes, flags and count; the triplets start at byte 5.
constexpr size_t kDvdHeader = 5;

bool isDvdTriplet(Bytes data, size_t at) { return at + 3 <= data.size() && (data[at] & 0xFE) == 0xFE; }

bool isDvd(Bytes data) { return startsWith(data, {'C', 'C', 0x01, 0xF8}) && isDvdTriplet(data, kDvdHeader); }

using Triplets = std::vector<KyCcData::Triplet>;

bool readA53(Bytes data, Triplets& out) {
  if (!isA53(data)) return false;
  size_t const count = data[5] & 0x1FU;
  if (data.size() < kA53Header + 3 * count) return false;
  for (size_t i = 0; i < count; ++i) {
    Bytes const triplet = data.subspan(kA53Header + 3 * i, 3);
    out.push_back({triplet[0], triplet[1], triplet[2]});
  }
  return true;
}

bool readScte20(Bytes data, Triplets& out) {
  if (!isScte20(data)) return false;
  Bits bits(data.subspan(2));
  for (unsigned count = bits.take(5); count > 0; --count) {
    bits.take(2);  // cc_priority
    unsigned const field = bits.take(2);
    bits.take(5);  // line_offset
    // Line 21 is sent least significant bit first, and these bytes are in the order of the line.
    uint8_t const data1 = reversed(bits.take(8));
    uint8_t const data2 = reversed(bits.take(8));
    bits.take(1);  // marker_bit
    if (bits.overrun()) return false;
    // 1 first field, 2 second, 3 first field repeated; 0 is forbidden.
    if (field != 0) out.push_back({static_cast<uint8_t>(field == 2 ? 0xFD : 0xFC), data1, data2});
  }
  return true;
}

bool readDvd(Bytes data, Triplets& out) {
  if (!isDvd(data)) return false;
  // The count in the header is often wrong, the marker of a triplet is not: 0xFF first field, 0xFE second.
  for (size_t at = kDvdHeader; isDvdTriplet(data, at); at += 3) {
    out.push_back({static_cast<uint8_t>(data[at] == 0xFF ? 0xFC : 0xFD), data[at + 1], data[at + 2]});
  }
  return true;
}

}  // namespace

KyUserData::~KyUserData() = default;

void KyUserData::addDataPacket(int size, void const* data, int format, int type) {
  if (size < 1 || !data) return;
  AnyDict entry("type", type, "format", format);
  entry.set("data", Any(data, size));
  childVector("packets").append(entry);
}

int KyUserData::countPackets(int type) const {
  AnyVector const& packets = get("packets").asVector();
  return static_cast<int>(std::count_if(packets.begin(), packets.end(), [type](Any const& entry) {
    return entry.asDict()["type"].asInt32() == type;
  }));
}

void const* KyUserData::packet(int type, int i, int& size, int& format) const {
  size = 0;
  format = 0;
  if (i < 0) return nullptr;
  for (Any const& entry : get("packets").asVector()) {
    AnyDict const& dict = entry.asDict();
    if (dict["type"].asInt32() != type || i-- > 0) continue;
    size = dict["data"].genericSize();
    format = dict["format"].asInt32();
    return size > 0 ? dict["data"].asGeneric() : nullptr;
  }
  return nullptr;
}

void KyUserData::removePackets(int type) {
  if (!contains("packets")) return;
  AnyVector& packets = childVector("packets");
  for (int i = packets.size() - 1; i >= 0; --i) {
    if (packets[i].asDict()["type"].asInt32() == type) packets.remove(i);
  }
}

int KyCcData::detectBufferFmt(int size, void const* data) {
  Bytes const bytes = payload(bytesOf(size, data));
  if (isA53(bytes)) return kFormatA53;
  if (isScte20(bytes)) return kFormatScte20;
  return isDvd(bytes) ? kFormatDvd : kFormatNone;
}

int KyCcData::fromBuffer(int format, int size, void const* data, MediaTime const* time) {
  clear();
  Bytes const bytes = payload(bytesOf(size, data));
  bool const done = (format == kFormatA53 && readA53(bytes, triplets_)) ||
                    (format == kFormatScte20 && readScte20(bytes, triplets_)) ||
                    (format == kFormatDvd && readDvd(bytes, triplets_));
  if (!done) {
    clear();
    return -1;
  }
  format_ = format;
  if (time) time_ = *time;
  return 0;
}

void KyCcData::clear() {
  format_ = kFormatNone;
  time_.reset();
  triplets_.clear();
}

void KyCcData::store(AnyDict& out) const {
  if (time_) out.set("time", time_->seconds());
  out.set("format", format_);
  static_assert(sizeof(Triplet) == 3, "triplets are stored as they lie in memory");
  out.set("data", Any(static_cast<void const*>(triplets_.data()), static_cast<int>(triplets_.size() * 3)));
}
