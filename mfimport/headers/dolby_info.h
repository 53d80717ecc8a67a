// Bit stream information of AC-3 and E-AC-3 (ATSC A/52:2018). Pure functions over bytes; any input is
// allowed.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mfimport/mfimport.h"

namespace mfimport {

// What one syncframe says about itself, as the records of the public interface.
struct DolbyInfo {
  MpegDolbyConfig config;
  MpegDolbyGeneral general;
  MpegDolbyMix mix;
  MpegDolbyProduction production;
  MpegDolbyTimecode timecode;
  MpegDolbyAddbsi addbsi;
  MpegDolbyAuxdata auxdata;
};

// Reads the syncframe at the beginning of `packet`. None when there is none of a known syntax, or when it is
// cut before its coding mode. Fields that lie behind a later cut are absent.
std::optional<DolbyInfo> readDolbyInfo(std::span<uint8_t const> packet);

// The bytes that answer `request`, one of the kAuxDolby codes; empty for any other. They belong to `info`.
std::span<uint8_t const> dolbyRecord(DolbyInfo const& info, int request);
// How many that are; 0 for any other code.
size_t dolbyRecordSize(int request);

}  // namespace mfimport
