// Records of the bit stream information of Dolby streams.
#pragma once

#include <cstdint>

// Bit stream information of one AC-3 or E-AC-3 syncframe (ATSC A/52:2018), answered by mpegInAudioAuxinfo for
// the syncframe from which the next sample of the instance comes; in pass-through for the first one of the
// stream. Of several substreams in a packet it is the first. Every field is a little-endian int16 with the
// value as coded, kDolbyAbsent where the bit stream does not carry it; reserved fields are 0. Fields have the
// names of the standard: 5.4 describes those of AC-3, D2.3.1 those of its alternate syntax (bsid 6), E2.3.1
// those of E-AC-3.
constexpr int16_t kDolbyAbsent = -1;

struct MpegDolbyConfig {
  int16_t present;      // 1; tells a record from a buffer that was never filled
  int16_t bsid;         // 5.4.2.1: up to 10 AC-3, 11 to 16 E-AC-3
  int16_t fscod;        // 5.4.1.3: 0 48 kHz, 1 44.1, 2 32; in E-AC-3 3 for half of them, see fscod2
  int16_t fscod2;       // E2.3.1: 0 24 kHz, 1 22.05, 2 16
  int16_t frameBytes;   // of the syncframe: table 5.18 of frmsizecod, or 2 * (frmsiz + 1)
  int16_t blocks;       // of 256 samples: 6; in E-AC-3 1, 2, 3 or 6 (numblkscod)
  int16_t strmtyp;      // E2.3.1: 0 independent substream, 1 dependent, 2 converted from AC-3
  int16_t substreamid;  // E2.3.1
};
static_assert(sizeof(MpegDolbyConfig) == 16);

struct MpegDolbyGeneral {
  int16_t bsid;          // as in MpegDolbyConfig
  int16_t bsmod;         // 5.4.2.2: bit stream mode, table 5.7
  int16_t acmod;         // 5.4.2.3: audio coding mode, table 5.8
  int16_t lfeon;         // 5.4.2.7
  int16_t dialnorm;      // 5.4.2.8: dialogue level in -dB, 1 to 31; 0 is reserved and taken as 31
  int16_t compr;         // 5.4.2.10: heavy compression gain word, 7.7.2
  int16_t langcod;       // 5.4.2.12
  int16_t copyrightb;    // 5.4.2.24
  int16_t origbs;        // 5.4.2.25
  int16_t dsurmod;       // 5.4.2.6, of stereo: 1 not surround encoded, 2 surround encoded
  int16_t dsurexmod;     // D2.3.1, E2.3.1
  int16_t dheadphonmod;  // D2.3.1, E2.3.1
  int16_t dialnorm2;     // 5.4.2.16: of the second channel of dual mono (acmod 0)
  int16_t compr2;        // 5.4.2.18: likewise
  int16_t langcod2;      // 5.4.2.20: likewise
  int16_t frmsizecod;    // 5.4.1.4; in E-AC-3 that of the frame it was converted from
  int16_t chanmap;       // E2.3.1: speakers of a dependent substream, the bits of a uint16
  int16_t sourcefscod;   // E2.3.1
  int16_t convsync;      // E2.3.1
  int16_t blkid;         // E2.3.1
  int16_t xbsi2;         // D2.3.1
  int16_t encinfo;       // D2.3.1
  int16_t reserved[9];
};
static_assert(sizeof(MpegDolbyGeneral) == 62);

// Levels for mixing channels down and for mixing with a second programme.
struct MpegDolbyMix {
  int16_t cmixlev, surmixlev;  // 5.4.2.4, 5.4.2.5
  // D2.3.1 and E2.3.1.
  int16_t dmixmod;
  int16_t ltrtcmixlev, ltrtsurmixlev;
  int16_t lorocmixlev, lorosurmixlev;
  // From here on E2.3.1.
  int16_t lfemixlevcod;
  int16_t pgmscl, pgmscl2;  // the second one of dual mono
  int16_t extpgmscl;
  int16_t mixdef;                              // 1: the next three fields, 2: mixdata, 3: from mixdeflen on
  int16_t premixcmpsel, drcsrc, premixcmpscl;  // also of mixdef 3
  int16_t mixdata;                             // 12 bits
  int16_t mixdeflen;                           // bytes of the data that follow it, less 2
  int16_t extpgmlscl, extpgmcscl, extpgmrscl, extpgmlsscl, extpgmrsscl, extpgmlfescl;
  int16_t dmixscl;
  int16_t extpgmaux1scl, extpgmaux2scl;
  int16_t spchdat, spchdat1, spchan1att, spchdat2, spchan2att;
  int16_t panmean, paninfo;    // of mono and of the first channel of dual mono
  int16_t panmean2, paninfo2;  // of the second one
  int16_t blkmixcfginfo[6];    // by audio block
  int16_t reserved[2];
};
static_assert(sizeof(MpegDolbyMix) == 86);

struct MpegDolbyProduction {
  int16_t mixlevel;                         // 5.4.2.14: peak level at the mixing desk, 80 + mixlevel dB SPL
  int16_t roomtyp;                          // 5.4.2.15: 1 large room, 2 small room
  int16_t adconvtyp;                        // D2.3.1, E2.3.1
  int16_t mixlevel2, roomtyp2, adconvtyp2;  // 5.4.2.22, 5.4.2.23: of the second channel of dual mono
  int16_t reserved[14];
};
static_assert(sizeof(MpegDolbyProduction) == 40);

// Time of the syncframe, of AC-3 in its first syntax. Either half may be absent.
struct MpegDolbyTimecode {
  int16_t timecod1;        // 5.4.2.27, 14 bits:
  int16_t hours, minutes;  // 0 to 23, 0 to 59
  int16_t eights;          // steps of 8 seconds, 0 to 7
  int16_t timecod2;        // 5.4.2.28, 14 bits:
  int16_t seconds;         // 0 to 7, on top of those steps
  int16_t frames;          // 0 to 29
  int16_t fraction;        // 64ths of a frame
  int16_t reserved[14];
};
static_assert(sizeof(MpegDolbyTimecode) == 44);

// Additional bit stream information, 5.4.2.31.
struct MpegDolbyAddbsi {
  int16_t bytes;  // 1 to 64, or absent
  uint8_t data[64];
};
static_assert(sizeof(MpegDolbyAddbsi) == 66);

// User data of the auxiliary data field at the end of the syncframe, 5.4.4.
struct MpegDolbyAuxdata {
  int16_t bits;        // 0 to 16383, or absent
  uint8_t data[2048];  // the first bit is the most significant one of data[0]; what remains is 0
};
static_assert(sizeof(MpegDolbyAuxdata) == 2050);
