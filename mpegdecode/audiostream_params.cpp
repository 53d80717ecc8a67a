// Parameters of single streams.
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/colour.h"
#include "host/dolby.h"
#include "host/failure.h"
#include "host/log.h"
#include "host/timer.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"

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

int MpegInDec::getStreamParam(int kind, int index, char const* key, Any& value) const {
  if (index < 0 || index >= countStreams(kind)) {
    value.invalidate();
    return 0;
  }
  switch (kind) {
    case kKindVideo: {
      AnyDict const& info = video_.at(index)->info();
      if (std::string_view(key) == "subpicOverlay")
        value = info["_displaySubpics"].asInt32() != 0 && info["_subpicOverlay"].isInt32()
                    ? info["_subpicOverlay"].asInt32()
                    : -1;
      else
        value = info[key];
      return 0;
    }
    case kKindAudio:
      return getAudioParam(*audio_.at(index), index, key, value);
    case kKindSubpic:
      value = subpic_.at(index)->info()[key];
      return 0;
    default:
      value.invalidate();
      kyExceptionFail("./mpegdecode/mpegindec(2611)", nullptr);
      return 0;
  }
}

int MpegInDec::getAudioParam(MpegInAudioStream const& stream, int index, char const* key, Any& value) const {
  std::string_view const wanted = key;
  if (stream.isDolby()) {
    for (DolbyRecord const& record : kDolbyRecords) {
      if (wanted != record.key) continue;
      std::vector<unsigned char> buffer(static_cast<size_t>(record.size));
      guardedAudioAuxinfo(stream.decoder(), record.request, buffer.data(), record.size);
      value.set(buffer.data(), record.size);
      return 0;
    }
    if (wanted == "dd_parser_settings") {
      ky_log()->error("Cannot get dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
      value.invalidate();
      return 0;
    }
  }
  value = stream.info()[key];
  if (!value.valid()) ky_dbg()->warning("[%s] Failed to get %s for stream #%d", name(), key, index);
  return 0;
}

Any MpegInDec::channelName(int streamIndex, int channel) const {
  MpegInAudioStream const* const stream = audio_.at(streamIndex);
  if (!stream) {
    char text[32];
    std::snprintf(text, sizeof text, "Error: invalid stream %d", streamIndex);
    return text;
  }
  int const channels = stream->info()["channels"].asInt32();
  if (channels == 1) return "mono";
  if (channels == 2) return channel == 0 ? "left" : "right";
  if (stream->name() == Any("AAC")) return aacChannelName(channel, channels);
  if (stream->isDolby()) {
    Any answer = streamIndex;
    getParam("dolby", answer);
    AnyDict const& names = answer.asDict();
    for (int i = 0; i < names.size(); ++i)
      if (names.getEntry(i).value == Any(channel)) return names.getEntry(i).key;
  }
  return channelNumber(channel);
}

void MpegInDec::correctSwing(MpegInVideoStream& stream) {
  if (static_cast<bool>(stream.info()["_needSwing"])) swing_.correct(*stream.frame);
}

int MpegInDec::setStreamParam(int kind, int index, char const* key, Any const& value) {
  std::string_view const wanted = key;
  switch (kind) {
    case kKindAudio: {
      MpegInAudioStream* const stream = audio_.at(index);
      if (!stream) return kResultError;
      if (!stream->isDolby()) break;
      if (wanted == "dd_parser_settings") {
        ky_log()->error("Cannot set dd_parser_settings, decoder was build with CFG_NO_DD_SDK");
        return 0;
      }
      if (wanted == "dd_drc_params") return 0;
      if (wanted == "_use32BitSamples") {
        stream->use32BitSamples = value.isInt32() ? static_cast<uint32_t>(value.asInt32()) : 0;
        return 0;
      }
      break;
    }
    case kKindVideo:
      if (!video_.at(index)) {
        kyExceptionFail("./mpegdecode/mpegindec(2662)", nullptr);
        return kResultError;
      }
      if (wanted == "subpicOverlay") return setOverlay(index, value.isInt32() ? value.asInt32() : -1);
      break;
    case kKindSubpic:
      if (!subpic_.at(index)) {
        kyExceptionFail("./mpegdecode/mpegindec(2705)", nullptr);
        return kResultError;
      }
      if (wanted == "palette") return 0;
      break;
    default:
      break;
  }
  return _raiseInvalidParam(key);
}

int MpegInDec::setOverlay(int videoIndex, int overlay) {
  constexpr int kNeverShown = 666;
  if (overlay < -1 || overlay >= subpic_.size()) {
    setError(kResultInvalidOverlay, "Invalid value for %d 'subpicOverlay'", overlay);
    kyExceptionFail("./mpegdecode/mpegindec(2673)", nullptr);
    return kResultInvalidOverlay;
  }
  Any shown;
  getStreamParam(kKindVideo, videoIndex, "subpicOverlay", shown);
  if (shown == Any(overlay)) return 0;

  MpegInVideoStream& stream = *video_.at(videoIndex);
  AnyDict& info = stream.info();
  MpegSettings* const set = stream.decoder() ? &stream.decoder()->set : nullptr;
  // The picture in the frame is decoded again, with or without the overlay.
  auto const refresh = [&] {
    if (stream.selected()) seekToFrame(stream.frame->frameNumber(), videoIndex);
  };
  if (overlay == -1) {
    info.set("_displaySubpics", 0);
    if (stream.selected() && set && set->displaySubpictures) {
      set->displaySubpictures = 0;
      refresh();
    }
    return 0;
  }
  Any const& last = info["_subpicOverlay"];
  if (overlay != (last.isInt32() ? last.asInt32() : kNeverShown)) {
    info.set("_subpicOverlay", overlay);
    info.set("_displaySubpics", 1);
    KyTimer timer;
    timer.start();
    if (set) {
      set->displaySubpictures = 1;
      set->overlay = overlay + 1;
    }
    refresh();
    ky_dbg()->write("[%s] Switched video #%d to subpic #%d in %f", name(), videoIndex, overlay, timer.stop());
    return 0;
  }
  info.set("_displaySubpics", 1);
  if (stream.selected() && set && !set->displaySubpictures) {
    set->displaySubpictures = 1;
    refresh();
  }
  return 0;
}
