// What mpegInVideoAuxinfo and mpegInAudioAuxinfo can be asked for, and the records that they answer with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mfimport/dolby.h"

// Request codes of mpegInVideoAuxinfo.
enum MpegVideoAux {
  kAuxExtendedHeader = 0x10001,  // pointer to a const MpegExtendedHeader*, size of the record
  kAuxStats = 0x10002,           // MpegDecodeStats to fill, its size
  kAuxUserDataMpeg = 0x101b2,    // MpegUserData to fill, 16
  kAuxUserDataH264 = 0x101b6,    // pointer to a const MpegSeiList*, 8
  kAuxThreads = 65973,           // pointer unused, value = number of threads (1 or more)
  kAuxSmpMode = 65975            // pointer unused, value = 0 none, 1 by pictures, 2 by slices
};

// Request codes of mpegInAudioAuxinfo.
enum MpegAudioAux {
  kAuxSampleFormat = 0x10202,     // MpegAacRequest, 128
  kAuxDolbyConfig = 0x20001,      // MpegDolbyConfig to fill, 16 bytes
  kAuxDolbyGeneral = 0x20002,     // MpegDolbyGeneral, 62
  kAuxDolbyMix = 0x20003,         // MpegDolbyMix, 86
  kAuxDolbyProduction = 0x20004,  // MpegDolbyProduction, 40
  kAuxDolbyTimecode = 0x20005,    // MpegDolbyTimecode, 44
  kAuxDolbyAddbsi = 0x20006,      // MpegDolbyAddbsi, 66
  kAuxDolbyAuxdata = 0x20007      // MpegDolbyAuxdata, 2050
};

struct MpegExtendedHeader {
  int primaries, transfer, matrix;  // ISO/IEC 23091-2
  int sourceDepth;                  // bits per component
  int chromaFormat;                 // 1, 2, 3
  uint32_t fourcc;                  // "Y216" for sources of more than 8 bits, else 0
};

// What an instance did since it was opened; tests hold it against what an operation should cost.
struct MpegDecodeStats {
  int64_t seeks;        // repositionings in the file
  int64_t flushes;      // decoder restarts
  int64_t packets;      // packets sent to the decoder
  int64_t pictures;     // pictures received from the decoder
  int64_t conversions;  // pictures written to the target
  int64_t cacheHits;    // pictures served from the cache of decoded pictures
  int64_t subpictures;  // packets sent to the decoder of subpictures
};

// User data of the current picture, ISO/IEC 13818-2 6.2.2.2.2: bytes after the start code.
struct MpegUserDataEntry {
  int32_t size;
  uint8_t const* data;
};
struct MpegUserData {
  int32_t count;
  MpegUserDataEntry* const* entries;
};
static_assert(sizeof(MpegUserData) == 16);

// SEI messages of the current picture, ISO/IEC 14496-10 annex D: payloads without emulation bytes.
struct MpegSeiEntry {
  uint8_t const* data;
  int32_t type;  // 4 registered by ITU-T T.35, 5 unregistered
  int32_t size;
};
struct MpegSeiList {
  MpegSeiEntry const* entries;
  int32_t count;
};

// AAC output word size: 16 or 24 bit, asked for before the first sample is read.
struct MpegAacRequest {
  uint8_t unset[16];  // 0xFF each
  uint8_t zero1[48];
  int32_t none1;     // -1
  int32_t wordSize;  // 2: 16 bit, 4: 24 bit packed in 3 bytes
  int32_t none2;     // -1
  int32_t one;       // 1
  uint8_t zero2[48];
};
static_assert(sizeof(MpegAacRequest) == 128);
