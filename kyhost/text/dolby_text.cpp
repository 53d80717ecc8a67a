#include "kyhost/text/dolby_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "host/dolby.h"

namespace kyhost {
namespace {

using KyDolby::field;

// Invalid when the decoder does not answer with a record of that size.
Any fetch(KyDecodePipe const& pipe, int index, KyDolbyRecord const& record) {
  Any value;
  bool const answered = pipe.getStreamParam(kKindAudio, index, record.key, value) == 0 &&
                        value.kind() == Any::kGeneric && value.genericSize() == record.bytes;
  return answered ? value : Any();
}

bool given(int field) { return field != kKyDolbyAbsent; }

int dialogueDb(int dialnorm) { return dialnorm == 0 ? -31 : -dialnorm; }

void addLevels(AnyDict& facts, std::string const& suffix, int dialnorm, int compr) {
  if (given(dialnorm)) facts.set(("dialogueLevelDb" + suffix).c_str(), dialogueDb(dialnorm));
  if (!given(compr)) return;
  facts.set(("compressionWord" + suffix).c_str(), compr);
  facts.set(("compressionDb" + suffix).c_str(), std::round(compressionDb(compr) * 100.0) / 100.0);
}

void addProduction(AnyDict& facts, std::string const& suffix, int level, int room) {
  constexpr char const* kRooms[] = {"not indicated", "large", "small", "reserved"};
  constexpr int kLowestSpl = 80;
  if (given(level)) facts.set(("mixingLevelDbSpl" + suffix).c_str(), kLowestSpl + level);
  if (given(room)) facts.set(("mixingRoom" + suffix).c_str(), kRooms[room & 3]);
}

void addTimecode(AnyDict& facts, Any const& record) {
  if (!given(field(record, KyDolby::kTimecod1))) return;
  bool const exact = given(field(record, KyDolby::kTimecod2));
  int const seconds = field(record, KyDolby::kEights) * 8 + (exact ? field(record, KyDolby::kSeconds) : 0);
  std::string text = fmt::format("{:02}:{:02}:{:02}", field(record, KyDolby::kHours),
                                 field(record, KyDolby::kMinutes), seconds);
  if (exact) text += fmt::format(":{:02}", field(record, KyDolby::kFrames));
  facts.set("timeCode", text);
}

void addGeneral(AnyDict& facts, Any const& record) {
  auto const fact = [&](int number) { return field(record, number); };
  int const acmod = fact(KyDolby::kAcmod);
  facts.set("codingMode", codingModeText(acmod, fact(KyDolby::kLfeon) == 1));
  if (int const bsmod = fact(KyDolby::kBsmod); given(bsmod))
    facts.set("bitStreamMode", bitStreamModeText(bsmod, acmod));
  addLevels(facts, "", fact(KyDolby::kDialnorm), fact(KyDolby::kCompr));
  addLevels(facts, "2", fact(KyDolby::kDialnorm2), fact(KyDolby::kCompr2));
  if (int const dsurmod = fact(KyDolby::kDsurmod); given(dsurmod)) facts.set("surroundEncoded", dsurmod == 2);
  if (int const copyright = fact(KyDolby::kCopyrightb); given(copyright))
    facts.set("copyright", copyright == 1);
  if (int const original = fact(KyDolby::kOrigbs); given(original)) facts.set("original", original == 1);
}

}  // namespace

std::string codingModeText(int acmod, bool lfe) {
  constexpr char const* kModes[] = {"1+1 Ch1 Ch2", "1/0 C",       "2/0 L R",       "3/0 L C R",
                                    "2/1 L R S",   "3/1 L C R S", "2/2 L R Ls Rs", "3/2 L C R Ls Rs"};
  if (acmod < 0 || acmod >= static_cast<int>(std::size(kModes))) return fmt::format("unknown ({})", acmod);
  return std::string(kModes[acmod]) + (lfe ? " + LFE" : "");
}

char const* bitStreamModeText(int bsmod, int acmod) {
  constexpr char const* kModes[] = {"complete main",    "music and effects", "visually impaired",
                                    "hearing impaired", "dialogue",          "commentary",
                                    "emergency"};
  constexpr int kVoiceOverOrKaraoke = 7;
  if (bsmod == kVoiceOverOrKaraoke) return acmod == 1 ? "voice over" : "karaoke";
  return bsmod >= 0 && bsmod < kVoiceOverOrKaraoke ? kModes[bsmod] : "unknown";
}

double compressionDb(int word) {
  int const exponent = word >> 4 >= 8 ? (word >> 4) - 16 : word >> 4;
  return 20.0 * std::log10(std::ldexp((16.0 + (word & 15)) / 32.0, exponent + 1));
}

AnyDict dolbyFacts(KyDecodePipe const& pipe, int index) {
  AnyDict facts;
  Any const config = fetch(pipe, index, KyDolby::kConfig);
  Any const general = fetch(pipe, index, KyDolby::kGeneral);
  if (field(config, KyDolby::kPresent) != 1 || !general.valid()) return facts;
  int const bsid = field(config, KyDolby::kBsid);
  facts.set("syntax", bsid > 10 ? "E-AC-3" : "AC-3");
  facts.set("bsid", bsid);
  addGeneral(facts, general);
  Any const production = fetch(pipe, index, KyDolby::kProduction);
  addProduction(facts, "", field(production, KyDolby::kMixlevel), field(production, KyDolby::kRoomtyp));
  addProduction(facts, "2", field(production, KyDolby::kMixlevel2), field(production, KyDolby::kRoomtyp2));
  addTimecode(facts, fetch(pipe, index, KyDolby::kTimecode));
  return facts;
}

}  // namespace kyhost
