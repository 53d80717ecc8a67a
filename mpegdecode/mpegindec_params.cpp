// Parameters: settings in, settings and facts of the open file out.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/failure.h"
#include "host/log.h"
#include "host/registry.h"
#include "host/util.h"
#include "mpeg12/mpegutil.h"
#include "mpegdecode/mpegindec.h"

namespace {

// Profile of an audio-only file that calls its stream "H.264".
constexpr int kProfileAudioH264 = 10240;

int integerOr(Any const& value, int otherwise) { return value.isInt32() ? value.asInt32() : otherwise; }

}  // namespace

int MpegInDec::setParam(char const* key, Any const& value) {
  if (std::string_view(key) == "filename" && state_ == kStateInitialised) {
    params_.fileName = value;
    return 0;
  }
  if (static_cast<bool>(ky_registry()->getDbgOption("log_setparam")))
    KyUtil::debugOutSetParam(this, key, value);
  if (auto const result = params_.set(key, value)) return *result;
  return KyDecodePipe::setParam(key, value);
}

int MpegInDec::getParam(char const* key, Any& value) const {
  Any const argument = value;
  value.invalidate();
  if (params_.get(key, value) || getFact(key, argument, value)) return 0;
  return KyDecodePipe::getParam(key, value);
}

bool MpegInDec::getFact(char const* key, Any const& argument, Any& value) const {
  std::string_view const wanted = key;
  if (wanted == "tsStructure") {
    value = tsStructure();
  } else if (wanted == "program_stream_flag") {
    MpegInStream const* const first =
        file_.video.empty() ? file_.audio.list().at(0) : file_.video.list().at(0);
    if (first && first->decoder()) value = first->decoder()->containerType;
  } else if (wanted == "dolby") {
    AnyDict names;
    for (auto const& [speaker, place] : dolbyChannelsOf(argument)) names.set(speaker, place);
    if (!names.empty()) value = names;
  } else if (wanted == "DecoderChannelsMappingKY") {
    AnyVector places;
    for (auto const& [speaker, place] : dolbyChannelsOf(argument)) places.append(place);
    if (!places.empty()) value = places;
  } else if (wanted == "channelName") {
    if (argument.isInt32())
      value = channelName(argument.asInt32() >> 8, argument.asInt32() & 63);
    else
      value = "which stream/channel?";
  } else if (wanted == "guessProfile") {
    guessedProfile(value);
  } else if (wanted == "srParams") {
    getSrParams(argument, value);
  } else if (wanted == "srAudioParams") {
    getSrAudioParams(argument, value);
  } else if (wanted == "typeName") {
    value = typeName().c_str();
  } else {
    return false;
  }
  return true;
}

AnyVector MpegInDec::tsStructure() const {
  struct Entry {
    int kind, index, program;
    Any pid;
  };
  std::vector<Entry> entries;
  std::vector<int> programs;
  for (StreamTypeName const& type : streamTypeNames) {
    for (int i = 0; i < countStreams(type.kind); ++i) {
      Any codecParams;
      getStreamParam(type.kind, i, "codecParams", codecParams);
      if (codecParams.kind() != Any::kDict) continue;
      AnyDict const& values = codecParams.asDict();
      int const program = integerOr(values["program_number"], 0);
      entries.push_back({type.kind, i, program, values["pid"]});
      if (std::find(programs.begin(), programs.end(), program) == programs.end()) programs.push_back(program);
    }
  }
  AnyVector structure;
  if (programs.empty() || (programs.size() == 1 && programs.front() == 0)) return structure;
  std::sort(programs.begin(), programs.end());
  for (int program : programs) {
    AnyDict description("program_number", program);
    for (StreamTypeName const& type : streamTypeNames) {
      AnyVector streams;
      for (Entry const& entry : entries)
        if (entry.program == program && entry.kind == type.kind)
          streams.append(AnyDict("pid", entry.pid, "nr", entry.index));
      description.set(type.collection, streams);
    }
    structure.append(description);
  }
  return structure;
}

void MpegInDec::guessedProfile(Any& value) const {
  if (MpegInVideoStream const* const stream = file_.video.at(0)) {
    if (stream->decoder())
      value = static_cast<int>(guessProfile(stream->decoder()->containerType, stream->decoder()->video));
  } else if (MpegInAudioStream const* const sound = file_.audio.at(0)) {
    if (sound->info()["codec"] == Any("H.264"))
      value = kProfileAudioH264;
    else if (sound->decoder())
      value = static_cast<int>(guessProfile(sound->decoder()->containerType, sound->decoder()->video));
  }
}

std::string MpegInDec::typeName() const {
  MpegInVideoStream const* const stream = file_.video.at(0);
  if (!stream) return "";
  std::string codec = stream->info()["codec"].asString();
  if (codec == "H.264") return "H.264/AVC";
  for (char const* same : {"DivX", "MPEG-4", "VC-1", "JPEG2000", "HEVC"})
    if (codec == same) return codec;
  return stream->decoder() ? profileName(stream->decoder()->video.profileType) : "";
}

void MpegInDec::getSrParams(Any const& argument, Any& value) const {
  bool const isPair = argument.kind() == Any::kPair;
  Pair const pair = argument.asPair();
  int const kind = isPair ? pair.first.asInt32() : kKindVideo;
  int const index = isPair ? pair.second.asInt32() : integerOr(argument, 0);
  MpegInStreamList const* const list = listOf(kind);
  if (!list) {
    kyExceptionFail("./mpegdecode/mpegindec(558)", nullptr);
    return;
  }
  MpegInStream const* const stream = list->at(index);
  if (!stream) {
    kyExceptionFail(isPair ? "./mpegdecode/mpegindec(561)" : "./mpegdecode/mpegindec(576)",
                    "mpegdec: invalid stream no. for 'srParams'");
    return;
  }
  value = AnyDict("decoder_struct", Any(static_cast<void const*>(stream->decoder()), 0), "decoder_name",
                  name(), "codec_name", stream->info()["codec"]);
}

// The index is checked against the audio streams and then taken among the video streams.
void MpegInDec::getSrAudioParams(Any const& argument, Any& value) const {
  int const index = integerOr(argument, 0);
  if (!file_.audio.at(index)) {
    kyExceptionFail("./mpegdecode/mpegindec(590)", "mpegdec: invalid stream no. for 'srParams'");
    return;
  }
  MpegInVideoStream const* const stream = file_.video.at(index);
  if (!stream) return;
  value =
      AnyDict("decoder_struct", Any(static_cast<void const*>(stream->decoder()), 0), "decoder_name", name());
}

NamedChannels MpegInDec::dolbyChannelsOf(Any const& argument) const {
  int const index = integerOr(argument, 0);
  if (index < 0) {
    ky_dbg()->log(kLogError, "[mpegdec] get 'dolby' - invalid stream number %d", index);
    return {};
  }
  MpegInAudioStream const* const stream = file_.audio.at(index);
  return stream ? stream->namedChannels() : NamedChannels();
}

Any MpegInDec::channelName(int streamIndex, int channel) const {
  if (MpegInAudioStream const* const stream = file_.audio.at(streamIndex))
    return stream->channelName(channel);
  char text[32];
  std::snprintf(text, sizeof text, "Error: invalid stream %d", streamIndex);
  return text;
}
