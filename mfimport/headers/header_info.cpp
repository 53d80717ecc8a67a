#include "mfimport/headers/header_info.h"

#include <algorithm>

#include "mfimport/headers/coded_units.h"
#include "mfimport/headers/sequence_headers.h"

namespace mfimport {

namespace {

constexpr int kH264Sps = 7, kHevcSps = 33;  // NAL unit types

void readNal(HeaderSyntax syntax, std::span<uint8_t const> nal, HeaderInfo& info) {
  if (syntax == HeaderSyntax::h264 && nal.size() > 1 && (nal[0] & 0x1F) == kH264Sps)
    readH264Sps(nal.subspan(1), info);
  if (syntax == HeaderSyntax::hevc && nal.size() > 2 && (nal[0] >> 1 & 0x3F) == kHevcSps)
    readHevcSps(nal.subspan(2), info);
}

// Parameter sets of an AVCDecoderConfigurationRecord, ISO/IEC 14496-15 5.3.3.1.
void readAvcConfiguration(std::span<uint8_t const> record, HeaderInfo& info) {
  constexpr size_t kSets = 6;
  int const count = record[5] & 0x1F;
  size_t position = kSets;
  for (int i = 0; i < count && record.size() - position >= 2; ++i) {
    size_t const size = static_cast<size_t>(record[position]) << 8 | record[position + 1];
    position += 2;
    if (size > record.size() - position) return;
    readNal(HeaderSyntax::h264, record.subspan(position, size), info);
    position += size;
  }
}

// Arrays of an HEVCDecoderConfigurationRecord, ISO/IEC 14496-15 8.3.3.1.
void readHevcConfiguration(std::span<uint8_t const> record, HeaderInfo& info) {
  size_t position = 23;
  int const arrays = record[22];
  for (int array = 0; array < arrays && record.size() - position >= 3; ++array) {
    int const count = record[position + 1] << 8 | record[position + 2];
    position += 3;
    for (int i = 0; i < count && record.size() - position >= 2; ++i) {
      size_t const size = static_cast<size_t>(record[position]) << 8 | record[position + 1];
      position += 2;
      if (size > record.size() - position) return;
      readNal(HeaderSyntax::hevc, record.subspan(position, size), info);
      position += size;
    }
  }
}

void readUnits(HeaderSyntax syntax, int lengthBytes, std::span<uint8_t const> data, HeaderInfo& info) {
  forEachUnit(lengthBytes, data, [&](std::span<uint8_t const> unit) {
    if (syntax == HeaderSyntax::mpeg12) readMpeg12Unit(unit, info);
    if (syntax == HeaderSyntax::mpeg4) readMpeg4Unit(unit, info);
    readNal(syntax, unit, info);
  });
}

}  // namespace

int nalLengthBytes(HeaderSyntax syntax, std::span<uint8_t const> extradata) {
  // Both records start with version 1, extradata with start codes starts with 0.
  if (syntax == HeaderSyntax::h264 && extradata.size() >= 7 && extradata[0] == 1)
    return (extradata[4] & 3) + 1;
  if (syntax == HeaderSyntax::hevc && extradata.size() >= 23 && extradata[0] == 1)
    return (extradata[21] & 3) + 1;
  return 0;
}

HeaderInfo readH264Sequence(std::span<uint8_t const> unit) {
  HeaderInfo info;
  readH264Sps(unit, info);
  return info;
}

HeaderInfo readMpeg4Layer(std::span<uint8_t const> unit) {
  HeaderInfo info;
  readMpeg4Unit(unit, info);
  return info;
}

HeaderInfo readHeaders(HeaderSyntax syntax, std::span<uint8_t const> extradata,
                       std::span<uint8_t const> packet) {
  HeaderInfo info;
  if (syntax == HeaderSyntax::none) return info;
  int const lengthBytes = nalLengthBytes(syntax, extradata);
  if (lengthBytes > 0 && syntax == HeaderSyntax::h264)
    readAvcConfiguration(extradata, info);
  else if (lengthBytes > 0)
    readHevcConfiguration(extradata, info);
  else
    readUnits(syntax, 0, extradata, info);
  readUnits(syntax, lengthBytes, packet, info);
  if (info.bitRateValue && !info.mpeg2) info.chromaFormat = 1;
  return info;
}

double codedRate(HeaderInfo const& headers) {
  // ISO/IEC 13818-2 table 6-4 and 6.3.5.
  constexpr double kRates[] = {0, 24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};
  int const code = headers.codedRateCode;
  if (code >= 1 && code <= 8) return kRates[code] * headers.rateMultiplier / headers.rateDivisor;
  return headers.pictureTicks > 0 ? static_cast<double>(headers.clockTicks) / headers.pictureTicks : 0;
}

}  // namespace mfimport
