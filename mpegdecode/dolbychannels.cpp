#include "mpegdecode/dolbychannels.h"

#include <bit>
#include <cstdint>
#include <iterator>
#include <span>

namespace {

// Speakers as WAVE numbers them.
struct Speaker {
  char const* name;
  uint64_t mask;
  uint64_t other = 0;  // where the first one is not there
};
constexpr Speaker kL{"L", 1}, kR{"R", 2}, kC{"C", 4};
constexpr Speaker kS{"S", 0x100};                                  // back centre
constexpr Speaker kLs{"Ls", 0x200, 0x10}, kRs{"Rs", 0x400, 0x20};  // side, else back
constexpr Speaker kLfe{"LFE", 8};
constexpr Speaker kMono[] = {kC}, kStereo[] = {kL, kR}, k30[] = {kL, kC, kR}, k21[] = {kL, kR, kS},
                  k31[] = {kL, kC, kR, kS}, k22[] = {kL, kR, kLs, kRs}, k32[] = {kL, kC, kR, kLs, kRs};
constexpr int kDualMono = 0;
constexpr std::span<Speaker const> kModes[] = {{}, kMono, kStereo, k30, k21, k31, k22, k32};

// Of dependent substreams.
constexpr Speaker kAdded[] = {
    {"Lc", 0x40},    {"Rc", 0x80},        {"Lrs", 0x10},       {"Rrs", 0x20},       {"Cs", 0x100},
    {"Ts", 0x800},   {"Lsd", 1ULL << 33}, {"Rsd", 1ULL << 34}, {"Lw", 1ULL << 31},  {"Rw", 1ULL << 32},
    {"Lvh", 0x1000}, {"Rvh", 0x4000},     {"Cvh", 0x2000},     {"LFE2", 1ULL << 35}};

}  // namespace

NamedChannels dolbyChannels(MpegAudioInfo const& audio) {
  if (audio.acmod < 0 || audio.acmod >= static_cast<int>(std::size(kModes))) return {};
  NamedChannels channels;
  uint64_t unnamed = audio.speakers;
  auto const add = [&](Speaker const& speaker) {
    uint64_t const mask = unnamed & speaker.mask ? speaker.mask : unnamed & speaker.other;
    if (mask == 0) return;
    unnamed &= ~mask;
    channels.emplace_back(speaker.name, std::popcount(audio.speakers & (mask - 1)));
  };
  if (audio.acmod == kDualMono) {
    // Two programmes, delivered as if they were left and right.
    add({"Ch1", kL.mask});
    add({"Ch2", kR.mask});
  }
  for (Speaker const& speaker : kModes[audio.acmod]) add(speaker);
  for (Speaker const& speaker : kAdded) add(speaker);
  add(kLfe);
  return channels;
}
