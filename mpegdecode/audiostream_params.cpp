// What a host asks and sets of one audio stream.
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/colour.h"
#include "host/dolby.h"
#include "host/log.h"
#include "mpegdecode/audiostream.h"
#include "mpegdecode/libcalls.h"

namespace {

// Records of Dolby bitstream metadata; the same one has two names.
struct DolbyRecord {
  std::string_view key;
  int request;
  int size;
};
constexpr DolbyRecord kDolbyRecords[] = {
    {"dd_gen_info_tt", kAuxDolbyGeneral, 62},        {"dd_mix_info_tt", kAuxDolbyMix, 86},
    {"dd_audprod_info_tt", kAuxDolbyProduction, 40}, {"dd_prod_info_tt", kAuxDolbyProduction, 40},
    {"dd_timecode_info_tt", kAuxDolbyTimecode, 44},  {"dd_addbsi_info_tt", kAuxDolbyAddbsi, 66},
    {"dd_auxdata_info_tt", kAuxDolbyAuxdata, 2050},  {"dd_config_info_tt", kAuxDolbyConfig, 16}};

// What hosts are told of the records, and of colours, is what the library does.
#define KY_SAME_FIELD(Record, field, number)                             \
  static_assert(offsetof(Record, field) == sizeof(int16_t) * (number) && \
                sizeof(Record::field) == sizeof(int16_t))
KY_SAME_FIELD(MpegDolbyConfig, present, KyDolby::kPresent);
KY_SAME_FIELD(MpegDolbyConfig, bsid, KyDolby::kBsid);
KY_SAME_FIELD(MpegDolbyGeneral, bsmod, KyDolby::kBsmod);
KY_SAME_FIELD(MpegDolbyGeneral, acmod, KyDolby::kAcmod);
KY_SAME_FIELD(MpegDolbyGeneral, lfeon, KyDolby::kLfeon);
KY_SAME_FIELD(MpegDolbyGeneral, dialnorm, KyDolby::kDialnorm);
KY_SAME_FIELD(MpegDolbyGeneral, compr, KyDolby::kCompr);
KY_SAME_FIELD(MpegDolbyGeneral, copyrightb, KyDolby::kCopyrightb);
KY_SAME_FIELD(MpegDolbyGeneral, origbs, KyDolby::kOrigbs);
KY_SAME_FIELD(MpegDolbyGeneral, dsurmod, KyDolby::kDsurmod);
KY_SAME_FIELD(MpegDolbyGeneral, dialnorm2, KyDolby::kDialnorm2);
KY_SAME_FIELD(MpegDolbyGeneral, compr2, KyDolby::kCompr2);
KY_SAME_FIELD(MpegDolbyProduction, mixlevel, KyDolby::kMixlevel);
KY_SAME_FIELD(MpegDolbyProduction, roomtyp, KyDolby::kRoomtyp);
KY_SAME_FIELD(MpegDolbyProduction, mixlevel2, KyDolby::kMixlevel2);
KY_SAME_FIELD(MpegDolbyProduction, roomtyp2, KyDolby::kRoomtyp2);
KY_SAME_FIELD(MpegDolbyTimecode, timecod1, KyDolby::kTimecod1);
KY_SAME_FIELD(MpegDolbyTimecode, hours, KyDolby::kHours);
KY_SAME_FIELD(MpegDolbyTimecode, minutes, KyDolby::kMinutes);
KY_SAME_FIELD(MpegDolbyTimecode, eights, KyDolby::kEights);
KY_SAME_FIELD(MpegDolbyTimecode, timecod2, KyDolby::kTimecod2);
KY_SAME_FIELD(MpegDolbyTimecode, seconds, KyDolby::kSeconds);
KY_SAME_FIELD(MpegDolbyTimecode, frames, KyDolby::kFrames);
#undef KY_SAME_FIELD
static_assert(KyDolby::kConfig.bytes == sizeof(MpegDolbyConfig));
static_assert(KyDolby::kGeneral.bytes == sizeof(MpegDolbyGeneral));
static_assert(KyDolby::kProduction.bytes == sizeof(MpegDolbyProduction));
static_assert(KyDolby::kTimecode.bytes == sizeof(MpegDolbyTimecode));
static_assert(kKyDolbyAbsent == kDolbyAbsent);

constexpr bool sameMatrixOfEveryHeight() {
  constexpr int kTallest = 16384, kCodeOfBt709 = 1;  // ISO/IEC 23091-2
  for (int height = 1; height <= kTallest; ++height)
    if ((kyMatrixOfHeight(height) == KyYUVMatrix::Bt709) != (mpegMatrixOfHeight(height) == kCodeOfBt709))
      return false;
  return true;
}
static_assert(sameMatrixOfEveryHeight());

Any channelNumber(int channel) {
  char text[32];
  std::snprintf(text, sizeof text, "channel %d", channel);
  return text;
}

Any aacChannelName(int channel, int channels) {
  switch (channel) {
    case 0:
      return "front left";
    case 1:
      return "front right";
    case 2:
      return "front center";
    case 3:
      return channels == 4 ? "back center" : channels == 5 ? "back left" : "subwoofer";
    case 4:
      return channels == 5 ? "back right" : "back left";
    case 5:
      return "back right";
    case 6:
      return "side left";
    case 7:
      return "side right";
    default:
      return channelNumber(channel);
  }
}

}  // namespace

bool MpegInAudioStream::getDolbyRecord(char const* key, Any& value) const {
  if (!isDolby()) return false;
  std::string_view const wanted = key;
  for (DolbyRecord const& record : kDolbyRecords) {
    if (wanted != record.key) continue;
    std::vector<unsigned char> buffer(static_cast<size_t>(record.size));
    guardedAudioAuxinfo(decoder_.get(), record.request, buffer.data(), record.size);
    value.set(buffer.data(), record.size);
    return true;
  }
  if (wanted != "dd_parser_settings") return false;
  ky_log()->error("Cannot get dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
  value.invalidate();
  return true;
}

bool MpegInAudioStream::setParam(char const* key, Any const& value) {
  if (!isDolby()) return false;
  std::string_view const wanted = key;
  if (wanted == "dd_parser_settings") {
    ky_log()->error("Cannot set dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
  } else if (wanted == "_use32BitSamples") {
    use32BitSamples_ = value.isInt32() ? static_cast<uint32_t>(value.asInt32()) : 0;
  } else {
    return wanted == "dd_drc_params";
  }
  return true;
}

NamedChannels MpegInAudioStream::namedChannels() const {
  if (!isDolby() || !decoder_ || decoder_->smartRenderOnly) return {};
  return dolbyChannels(decoder_->audio);
}

Any MpegInAudioStream::channelName(int channel) const {
  int const channels = info_["channels"].asInt32();
  if (channels == 1) return "mono";
  if (channels == 2) return channel == 0 ? "left" : "right";
  if (name_ == Any("AAC")) return aacChannelName(channel, channels);
  for (auto const& [speaker, place] : namedChannels())
    if (place == channel) return speaker;
  return channelNumber(channel);
}
