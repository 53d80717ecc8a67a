// Headers of whole sequences, one function for each syntax. Fields that they give are set, others stay.
#pragma once

#include <cstdint>
#include <span>

#include "mfimport/headers/header_info.h"

namespace mfimport {

// Behind the start code, its value first.
void readMpeg12Unit(std::span<uint8_t const> unit, HeaderInfo& info);
void readMpeg4Unit(std::span<uint8_t const> unit, HeaderInfo& info);

// Sequence parameter sets, behind the NAL header.
void readH264Sps(std::span<uint8_t const> unit, HeaderInfo& info);
void readHevcSps(std::span<uint8_t const> unit, HeaderInfo& info);

}  // namespace mfimport
