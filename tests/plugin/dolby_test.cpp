// Bit stream information and channel names of Dolby streams, held against an independent reader of the bit
// stream, the options that the encoder was given, and the sound itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numbers>
#include <set>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::PipePtr;

struct Key {
  char const* name;
  int size;
};
constexpr Key kKeys[] = {{"dd_gen_info_tt", 62},       {"dd_mix_info_tt", 86},
                         {"dd_audprod_info_tt", 40},   {"dd_prod_info_tt", 40},
                         {"dd_timecode_info_tt", 44},  {"dd_addbsi_info_tt", 66},
                         {"dd_auxdata_info_tt", 2050}, {"dd_config_info_tt", 16}};

std::vector<uint8_t> bytesOf(KyDecodePipe const& pipe, char const* key, int stream = 0) {
  Any value;
  pipe.getStreamParam(kKindAudio, stream, key, value);
  if (value.kind() != Any::kGeneric) return {};
  auto const* const bytes = static_cast<uint8_t const*>(value.asGeneric());
  return {bytes, bytes + value.genericSize()};
}

template <class Record>
Record record(KyDecodePipe const& pipe, char const* key, int stream = 0) {
  Record out;
  std::memset(&out, 0, sizeof out);
  auto const bytes = bytesOf(pipe, key, stream);
  EXPECT_EQ(bytes.size(), sizeof out) << key;
  if (bytes.size() == sizeof out) std::memcpy(&out, bytes.data(), sizeof out);
  return out;
}
MpegDolbyGeneral general(KyDecodePipe const& pipe) {
  return record<MpegDolbyGeneral>(pipe, "dd_gen_info_tt");
}

std::string tones(int channels, std::string const& seconds) {
  return "-f lavfi -i sine=f=500:r=48000:d=" + seconds + " -ac " + std::to_string(channels) + " ";
}

fs::path stereoAc3() {
  return test::made("stereo.ac3", tones(2, "0.5") +
                                      "-c:a ac3 -b:a 192k -dialnorm -20 -dsur_mode on -room_type small "
                                      "-mixing_level 100 -copyright 1 -original 0 ");
}
fs::path surroundAc3() {
  return test::made("surround.mp4",
                    tones(6, "0.5") +
                        "-c:a ac3 -b:a 448k -dialnorm -24 -center_mixlev 0.5 -surround_mixlev "
                        "0.707 -room_type large -mixing_level 80 ");
}
// With the blocks of the alternate syntax.
fs::path alternateAc3() {
  return test::made("alternate.ts", tones(6, "0.5") +
                                        "-c:a ac3 -b:a 448k -dialnorm -1 -dmix_mode ltrt -ltrt_cmixlev 0.841 "
                                        "-ltrt_surmixlev 0.707 -loro_cmixlev 0.595 -loro_surmixlev 0.5 "
                                        "-dsurex_mode on -dheadphone_mode off -ad_conv_type hdcd ");
}
fs::path surroundEac3() {
  return test::made("surround_eac3.mkv",
                    tones(6, "0.5") +
                        "-c:a eac3 -b:a 448k -dialnorm -17 -dmix_mode loro -ltrt_cmixlev 0.841 "
                        "-ltrt_surmixlev 0.707 -loro_cmixlev 0.595 -loro_surmixlev 0.5 "
                        "-dsurex_mode off -room_type large -mixing_level 90 ");
}
fs::path monoEac3() { return test::made("mono.eac3", tones(1, "0.5") + "-c:a eac3 -b:a 96k -dialnorm -9 "); }

// An independent reader of the bit stream.

bool haveMediainfo() { return std::system("command -v mediainfo >/dev/null 2>&1") == 0; }

json firstAudioOf(fs::path const& file) {
  json const all = json::parse(test::run("mediainfo --Output=JSON " + test::quoted(file)));
  for (json const& track : all["media"]["track"])
    if (track["@type"] == "Audio") return track;
  return {};
}

// A number of its "extra" fields, as text; empty when it is not there.
std::string extraOf(json const& track, char const* key) {
  return track.contains("extra") ? track["extra"].value(key, "") : "";
}

std::string textOf(int field) { return field == kDolbyAbsent ? "" : std::to_string(field); }

// Gain of a compression word, ATSC A/52 7.7.2.2.
std::string compressionText(int word) {
  if (word == kDolbyAbsent) return "";
  int const exponent = static_cast<int8_t>(word) >> 4;
  char text[16];
  std::snprintf(text, sizeof text, "%.2f",
                20 * std::log10(std::pow(2.0, exponent + 1) * (16 + (word & 15)) / 32));
  return text;
}

void expectAgreement(fs::path const& file) {
  SCOPED_TRACE(file.string());
  json const track = firstAudioOf(file);
  ASSERT_FALSE(track.is_null());
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  MpegDolbyGeneral const info = general(*pipe);
  EXPECT_EQ(record<MpegDolbyConfig>(*pipe, "dd_config_info_tt").present, 1);
  EXPECT_EQ(textOf(info.bsid), extraOf(track, "bsid"));
  EXPECT_EQ(textOf(info.acmod), extraOf(track, "acmod"));
  EXPECT_EQ(textOf(info.lfeon), extraOf(track, "lfeon"));
  EXPECT_EQ("-" + textOf(info.dialnorm), extraOf(track, "dialnorm"));
  EXPECT_EQ(compressionText(info.compr), extraOf(track, "compr"));
  // Not indicated is left out there.
  if (info.dsurmod > 0) {
    EXPECT_EQ(textOf(info.dsurmod), extraOf(track, "dsurmod"));
  }
  constexpr char const* kServices[] = {"CM", "ME", "VI", "HI", "D", "C", "E"};
  // E-AC-3 without informational metadata counts as complete main there.
  int const service = info.bsmod == kDolbyAbsent && info.bsid > 10 ? 0 : info.bsmod;
  ASSERT_GE(service, 0);
  ASSERT_LT(service, 7);
  EXPECT_EQ(track.value("ServiceKind", ""), kServices[service]);
}

TEST(DolbyInformation, OfMadeFiles_AgreesWithAnIndependentReader) {
  if (!haveMediainfo()) GTEST_SKIP() << "the program mediainfo is not installed";
  for (fs::path const& file : {stereoAc3(), surroundAc3(), alternateAc3(), surroundEac3(), monoEac3()})
    expectAgreement(file);
}

class PublicFile : public testing::TestWithParam<char const*> {};

TEST_P(PublicFile, AgreesWithAnIndependentReader) {
  fs::path const file = fs::path(KY_MEDIA_DIR) / GetParam();
  if (!fs::exists(file)) GTEST_SKIP() << "the public media files are not at " << KY_MEDIA_DIR;
  if (!haveMediainfo()) GTEST_SKIP() << "the program mediainfo is not installed";
  expectAgreement(file);
}

INSTANTIATE_TEST_SUITE_P(Dolby, PublicFile,
                         testing::Values("amx_sample_ac3.ts", "amx_sample_eac3.ts", "mp4p_ac3-sample.mp4",
                                         "shaka_s_00000.ts", "amx_sample_with_srt.mkv",
                                         "amx_sample_with_vobsub.mkv"),
                         [](auto const& parameter) {
                           std::string name = fs::path(parameter.param).stem().string();
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// What the encoder was told.

TEST(DolbyInformation, OfAStereoStream_IsWhatTheEncoderWasTold) {
  PipePtr const pipe = test::opened(stereoAc3());
  ASSERT_TRUE(pipe);
  MpegDolbyGeneral const info = general(*pipe);
  EXPECT_EQ(info.acmod, 2);
  EXPECT_EQ(info.lfeon, 0);
  EXPECT_EQ(info.dialnorm, 20);
  EXPECT_EQ(info.dsurmod, 2);
  EXPECT_EQ(info.bsmod, 0);
  EXPECT_EQ(info.copyrightb, 1);
  EXPECT_EQ(info.origbs, 0);
  EXPECT_EQ(info.compr, kDolbyAbsent);
  EXPECT_EQ(info.dialnorm2, kDolbyAbsent);
  auto const production = record<MpegDolbyProduction>(*pipe, "dd_prod_info_tt");
  EXPECT_EQ(production.mixlevel, 20);  // above 80 dB
  EXPECT_EQ(production.roomtyp, 2);
  auto const config = record<MpegDolbyConfig>(*pipe, "dd_config_info_tt");
  EXPECT_EQ(config.fscod, 0);
  EXPECT_EQ(config.frameBytes, 768);  // 192 kbit/s, 32 ms
  EXPECT_EQ(config.blocks, 6);
  EXPECT_EQ(config.strmtyp, kDolbyAbsent);
}

TEST(DolbyInformation, OfASurroundStream_IsWhatTheEncoderWasTold) {
  PipePtr const pipe = test::opened(surroundAc3());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(general(*pipe).acmod, 7);
  EXPECT_EQ(general(*pipe).lfeon, 1);
  EXPECT_EQ(general(*pipe).dialnorm, 24);
  auto const mix = record<MpegDolbyMix>(*pipe, "dd_mix_info_tt");
  EXPECT_EQ(mix.cmixlev, 2);    // -6 dB, table 5.9
  EXPECT_EQ(mix.surmixlev, 0);  // -3 dB, table 5.10
  EXPECT_EQ(mix.dmixmod, kDolbyAbsent);
  EXPECT_EQ(record<MpegDolbyProduction>(*pipe, "dd_prod_info_tt").roomtyp, 1);
}

// Codes of the levels: 0.841 -1.5 dB, 0.707 -3 dB, 0.595 -4.5 dB, 0.5 -6 dB (tables D2.3 to D2.6).
TEST(DolbyInformation, OfTheAlternateSyntax_IsWhatTheEncoderWasTold) {
  PipePtr const pipe = test::opened(alternateAc3());
  ASSERT_TRUE(pipe);
  MpegDolbyGeneral const info = general(*pipe);
  EXPECT_EQ(info.bsid, 6);
  EXPECT_EQ(info.dialnorm, 1);
  EXPECT_EQ(info.dsurexmod, 2);
  EXPECT_EQ(info.dheadphonmod, 1);
  EXPECT_EQ(record<MpegDolbyProduction>(*pipe, "dd_audprod_info_tt").adconvtyp, 1);
  auto const mix = record<MpegDolbyMix>(*pipe, "dd_mix_info_tt");
  EXPECT_EQ(mix.dmixmod, 1);
  EXPECT_EQ(mix.ltrtcmixlev, 3);
  EXPECT_EQ(mix.ltrtsurmixlev, 4);
  EXPECT_EQ(mix.lorocmixlev, 5);
  EXPECT_EQ(mix.lorosurmixlev, 6);
}

TEST(DolbyInformation, OfAnEac3Stream_IsWhatTheEncoderWasTold) {
  PipePtr const pipe = test::opened(surroundEac3());
  ASSERT_TRUE(pipe);
  MpegDolbyGeneral const info = general(*pipe);
  EXPECT_EQ(info.bsid, 16);
  EXPECT_EQ(info.acmod, 7);
  EXPECT_EQ(info.lfeon, 1);
  EXPECT_EQ(info.dialnorm, 17);
  EXPECT_EQ(info.dsurexmod, 1);
  auto const production = record<MpegDolbyProduction>(*pipe, "dd_prod_info_tt");
  EXPECT_EQ(production.mixlevel, 10);
  EXPECT_EQ(production.roomtyp, 1);
  auto const mix = record<MpegDolbyMix>(*pipe, "dd_mix_info_tt");
  EXPECT_EQ(mix.dmixmod, 2);
  EXPECT_EQ(mix.ltrtcmixlev, 3);
  EXPECT_EQ(mix.ltrtsurmixlev, 4);
  EXPECT_EQ(mix.lorocmixlev, 5);
  EXPECT_EQ(mix.lorosurmixlev, 6);
  auto const config = record<MpegDolbyConfig>(*pipe, "dd_config_info_tt");
  EXPECT_EQ(config.strmtyp, 0);
  EXPECT_EQ(config.substreamid, 0);
  EXPECT_EQ(config.frameBytes, 1792);  // 448 kbit/s, 32 ms
}

// Keys.

TEST(DolbyKeys, EachGivesABufferOfItsSize) {
  for (fs::path const& file : {stereoAc3(), surroundEac3()}) {
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    for (Key const& key : kKeys) EXPECT_EQ(bytesOf(*pipe, key.name).size(), key.size) << key.name;
    EXPECT_EQ(bytesOf(*pipe, "dd_audprod_info_tt"), bytesOf(*pipe, "dd_prod_info_tt"));
  }
}

TEST(DolbyKeys, WithoutTimeCodeAndUserData_HoldAbsentFields) {
  PipePtr const pipe = test::opened(stereoAc3());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(record<MpegDolbyTimecode>(*pipe, "dd_timecode_info_tt").timecod1, kDolbyAbsent);
  EXPECT_EQ(record<MpegDolbyAddbsi>(*pipe, "dd_addbsi_info_tt").bytes, kDolbyAbsent);
  EXPECT_EQ(record<MpegDolbyAuxdata>(*pipe, "dd_auxdata_info_tt").bits, kDolbyAbsent);
}

TEST(DolbyKeys, OnAnMpegStream_AreInvalidAndWarn) {
  PipePtr const pipe = test::opened(test::made("layer2.mpg", tones(2, "0.5") + "-c:a mp2 "));
  ASSERT_TRUE(pipe);
  for (Key const& key : kKeys) {
    test::LogLines log;
    Any value(5);
    pipe->getStreamParam(kKindAudio, 0, key.name, value);
    EXPECT_FALSE(value.valid()) << key.name;
    EXPECT_TRUE(log.contains(std::string("Failed to get ") + key.name + " for stream #0")) << key.name;
  }
}

TEST(DolbyKeys, OutsideTheStreams_AreInvalidWithoutALine) {
  PipePtr const pipe = test::opened(stereoAc3());
  ASSERT_TRUE(pipe);
  test::LogLines log;
  for (int const index : {-1, 1}) {
    Any value(5);
    pipe->getStreamParam(kKindAudio, index, "dd_prod_info_tt", value);
    EXPECT_FALSE(value.valid());
  }
  EXPECT_TRUE(log.lines.empty());
}

// The packet under the read position.

constexpr int64_t kPacketSamples = 1536;

// Two streams in a row, of dialogue levels -10 and -25 dB: raw, packets from the file, and packets through
// the demultiplexer.
struct Joined {
  fs::path file;
  int64_t joint;    // first sample of the second one
  int64_t samples;  // in all
};
Joined joined(std::string const& suffix) {
  std::string const common = tones(2, "0.64") + "-c:a ac3 -b:a 192k ";  // 20 packets
  fs::path const first = test::made("joint1.ac3", common + "-dialnorm -10 ");
  fs::path const second = test::made("joint2.ac3", common + "-dialnorm -25 ");
  fs::path const raw = test::scratchDir() / "joined.ac3";
  std::ofstream out(raw, std::ios::binary);
  for (fs::path const& part : {first, second}) out << std::ifstream(part, std::ios::binary).rdbuf();
  out.close();
  constexpr int64_t kFrameBytes = 768;
  int64_t const firstPackets = static_cast<int64_t>(fs::file_size(first)) / kFrameBytes;
  int64_t const allPackets = static_cast<int64_t>(fs::file_size(raw)) / kFrameBytes;
  fs::path const file =
      suffix == "ac3" ? raw : test::made("joined." + suffix, "-i " + test::quoted(raw) + " -c copy ");
  return {file, firstPackets * kPacketSamples, allPackets * kPacketSamples};
}

class OverAJoint : public testing::TestWithParam<char const*> {};

TEST_P(OverAJoint, ASeekGivesTheRecordOfItsPacket) {
  Joined const file = joined(GetParam());
  PipePtr const pipe = test::opened(file.file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(test::info(*pipe, kKindAudio, 0)["samples"].asInt64(), file.samples);
  EXPECT_EQ(general(*pipe).dialnorm, 10);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  struct Place {
    int64_t sample;
    int dialnorm;
  };
  Place const places[] = {{file.samples - 1, 25}, {0, 10},
                          {file.joint, 25},       {file.joint - 1, 10},
                          {file.joint + 1, 25},   {file.joint - kPacketSamples, 10}};
  for (Place const& place : places) {
    ASSERT_EQ(pipe->seekToSample(place.sample, 0), 0) << place.sample;
    EXPECT_EQ(general(*pipe).dialnorm, place.dialnorm) << place.sample;
    EXPECT_EQ(bytesOf(*pipe, "dd_config_info_tt").size(), 16U);
  }
}

TEST_P(OverAJoint, ReadingOnChangesTheRecordAtTheJointAndNotTheSound) {
  test::ScopedAttribute const tracker("dolbyMetadataTracker", Any(0));
  Joined const file = joined(GetParam());
  PipePtr const asked = test::opened(file.file), silent = test::opened(file.file);
  ASSERT_TRUE(asked && silent);
  auto const expected = test::readAllSamples<int32_t>(*silent, 0, 500);
  ASSERT_EQ(asked->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(asked->seekToSample(0, 0), 0);
  constexpr int kBlock = 500;  // does not divide a packet
  std::vector<int32_t> words;
  for (int64_t at = 0; at < file.samples;) {
    ASSERT_EQ(general(*asked).dialnorm, at < file.joint ? 10 : 25) << at;
    asked->readSamples(kBlock, 0);
    KyPcm const& pcm = *asked->audioPcm(0);
    ASSERT_GT(pcm.nSamples, 0) << at;
    auto const* const got = reinterpret_cast<int32_t const*>(pcm.ptr());
    words.insert(words.end(), got, got + pcm.nSamples * 2);
    at += pcm.nSamples;
  }
  // At the end, the last packet.
  EXPECT_EQ(general(*asked).dialnorm, 25);
  EXPECT_TRUE(words == expected);
}

TEST_P(OverAJoint, PassedThrough_TheRecordIsThatOfTheFirstPacket) {
  Joined const file = joined(GetParam());
  PipePtr const pipe =
      test::opened(file.file, AnyDict("openParameters", AnyDict("forceAudioSmartRender", 1)));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(general(*pipe).dialnorm, 10);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->seekToSample(file.joint + 5, 0), 0);
  EXPECT_EQ(general(*pipe).dialnorm, 10);
  for (Key const& key : kKeys) EXPECT_EQ(bytesOf(*pipe, key.name).size(), key.size) << key.name;
}

INSTANTIATE_TEST_SUITE_P(Containers, OverAJoint, testing::Values("ac3", "mp4", "mkv", "ts"),
                         [](auto const& parameter) { return std::string(parameter.param); });

// Channels by name: every one has a tone of its own.

struct Layout {
  char const* label;
  char const* speakers;  // of the encoder's input, in its order
  int acmod, lfeon;
  std::vector<char const*> names;  // of those speakers in the bit stream
};

std::ostream& operator<<(std::ostream& out, Layout const& layout) { return out << layout.label; }

Layout const kLayouts[] = {
    {"1_0", "FC", 1, 0, {"C"}},
    {"2_0", "FL+FR", 2, 0, {"L", "R"}},
    {"3_0", "FL+FR+FC", 3, 0, {"L", "R", "C"}},
    {"2_1", "FL+FR+BC", 4, 0, {"L", "R", "S"}},
    {"3_1", "FL+FR+FC+BC", 5, 0, {"L", "R", "C", "S"}},
    {"2_2", "FL+FR+SL+SR", 6, 0, {"L", "R", "Ls", "Rs"}},
    {"3_2", "FL+FR+FC+SL+SR", 7, 0, {"L", "R", "C", "Ls", "Rs"}},
    {"1_0_lfe", "FC+LFE", 1, 1, {"C", "LFE"}},
    {"2_0_lfe", "FL+FR+LFE", 2, 1, {"L", "R", "LFE"}},
    {"3_0_lfe", "FL+FR+FC+LFE", 3, 1, {"L", "R", "C", "LFE"}},
    {"2_1_lfe", "FL+FR+LFE+BC", 4, 1, {"L", "R", "LFE", "S"}},
    {"3_1_lfe", "FL+FR+FC+LFE+BC", 5, 1, {"L", "R", "C", "LFE", "S"}},
    {"3_2_lfe", "FL+FR+FC+LFE+SL+SR", 7, 1, {"L", "R", "C", "LFE", "Ls", "Rs"}},
};

int toneOf(char const* name, size_t place) {
  return std::string(name) == "LFE" ? 60 : 500 + 300 * static_cast<int>(place);
}

// Energy of a tone in one channel of interleaved words.
double energyAt(std::vector<int32_t> const& words, int channels, int channel, int hertz) {
  double real = 0, imaginary = 0;
  for (size_t at = 0; at * static_cast<size_t>(channels) < words.size(); ++at) {
    double const phase = 2 * std::numbers::pi * hertz * static_cast<double>(at) / 48000;
    double const word = words[at * static_cast<size_t>(channels) + static_cast<size_t>(channel)];
    real += word * std::cos(phase);
    imaginary += word * std::sin(phase);
  }
  return real * real + imaginary * imaginary;
}

class ChannelLayout : public testing::TestWithParam<std::tuple<char const*, Layout>> {};

TEST_P(ChannelLayout, TheNamedChannelHoldsItsTone) {
  auto const& [codec, layout] = GetParam();
  std::string sources;
  for (size_t i = 0; i < layout.names.size(); ++i)
    sources += (i ? "|" : "") + ("0.2*sin(2*PI*" + std::to_string(toneOf(layout.names[i], i)) + "*t)");
  fs::path const file = test::made(std::string("layout_") + layout.label + "." + codec,
                                   "-f lavfi -i \"aevalsrc=" + sources + ":c=" + layout.speakers +
                                       ":s=48000:d=1\" -b:a 640k -c:a " + codec + " ");
  test::ScopedAttribute const tracker("dolbyMetadataTracker", Any(0));
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  auto const channels = static_cast<int>(layout.names.size());
  ASSERT_EQ(test::info(*pipe, kKindAudio, 0)["channels"].asInt32(), channels);
  EXPECT_EQ(general(*pipe).acmod, layout.acmod);
  EXPECT_EQ(general(*pipe).lfeon, layout.lfeon);

  Any value = 0;
  ASSERT_EQ(pipe->getParam("dolby", value), 0);
  AnyDict const dictionary = value.asDict();
  ASSERT_EQ(dictionary.size(), channels);
  value = 0;
  ASSERT_EQ(pipe->getParam("DecoderChannelsMappingKY", value), 0);
  AnyVector const mapping = value.asVector();
  ASSERT_EQ(mapping.size(), channels);

  auto const words = test::readAllSamples<int32_t>(*pipe, 0, 4096);
  std::set<int> places;
  for (size_t i = 0; i < layout.names.size(); ++i) {
    SCOPED_TRACE(layout.names[i]);
    ASSERT_TRUE(dictionary.contains(layout.names[i]));
    int const place = dictionary[layout.names[i]].asInt32();
    ASSERT_GE(place, 0);
    ASSERT_LT(place, channels);
    places.insert(place);
    double const own = energyAt(words, channels, place, toneOf(layout.names[i], i));
    for (size_t other = 0; other < layout.names.size(); ++other) {
      if (other == i) continue;
      EXPECT_GT(own, 1000 * energyAt(words, channels, place, toneOf(layout.names[other], other)))
          << layout.names[other];
    }
    if (channels > 2) {
      Any name = place;
      ASSERT_EQ(pipe->getParam("channelName", name), 0);
      EXPECT_EQ(name.asString(), layout.names[i]);
    }
  }
  EXPECT_EQ(places.size(), layout.names.size());
  for (int i = 0; i < channels; ++i) EXPECT_EQ(mapping[i], dictionary.getEntry(i).value);
}

INSTANTIATE_TEST_SUITE_P(Codecs, ChannelLayout,
                         testing::Combine(testing::Values("ac3", "eac3"), testing::ValuesIn(kLayouts)),
                         [](auto const& parameter) {
                           return std::string(std::get<0>(parameter.param)) + "_" +
                                  std::get<1>(parameter.param).label;
                         });

}  // namespace
