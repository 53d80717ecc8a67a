#include "kyhost/text/dolby_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "mfimport/mfimport.h"

namespace kyhost {
namespace {

// False when the decoder does not answer with a record of that size.
template <class Record>
bool fetch(KyDecodePipe const& pipe, int index, char const* key, Record& record) {
  Any value;
  if (pipe.getStreamParam(kKindAudio, index, key, value) != 0) return false;
  if (value.kind() != Any::kGeneric || value.genericSize() != static_cast<int>(sizeof record)) return false;
  std::memcpy(&record, value.asGeneric(), sizeof record);
  return true;
}

bool given(int field) { return field != kDolbyAbsent; }

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

void addTimecode(AnyDict& facts, MpegDolbyTimecode const& time) {
  if (!given(time.timecod1)) return;
  int const seconds = time.eights * 8 + (given(time.timecod2) ? time.seconds : 0);
  std::string text = fmt::format("{:02}:{:02}:{:02}", time.hours, time.minutes, seconds);
  if (given(time.timecod2)) text += fmt::format(":{:02}", time.frames);
  facts.set("timeCode", text);
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
  MpegDolbyConfig config;
  MpegDolbyGeneral general;
  if (!fetch(pipe, index, "dd_config_info_tt", config) || config.present != 1) return facts;
  if (!fetch(pipe, index, "dd_gen_info_tt", general)) return facts;
  facts.set("syntax", config.bsid > 10 ? "E-AC-3" : "AC-3");
  facts.set("bsid", static_cast<int>(config.bsid));
  facts.set("codingMode", codingModeText(general.acmod, general.lfeon == 1));
  if (given(general.bsmod)) facts.set("bitStreamMode", bitStreamModeText(general.bsmod, general.acmod));
  addLevels(facts, "", general.dialnorm, general.compr);
  addLevels(facts, "2", general.dialnorm2, general.compr2);
  if (given(general.dsurmod)) facts.set("surroundEncoded", general.dsurmod == 2);
  if (given(general.copyrightb)) facts.set("copyright", general.copyrightb == 1);
  if (given(general.origbs)) facts.set("original", general.origbs == 1);
  MpegDolbyProduction production;
  if (fetch(pipe, index, "dd_prod_info_tt", production)) {
    addProduction(facts, "", production.mixlevel, production.roomtyp);
    addProduction(facts, "2", production.mixlevel2, production.roomtyp2);
  }
  MpegDolbyTimecode time;
  if (fetch(pipe, index, "dd_timecode_info_tt", time)) addTimecode(facts, time);
  return facts;
}

}  // namespace kyhost
