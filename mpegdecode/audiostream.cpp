#include <string_view>

#include "host/failure.h"
#include "mpegdecode/audiorules.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/stream.h"

namespace {

char const* nameOfFormat(MpegIn const& file, int format) {
  switch (format) {
    case kAudioMpegAac:
      return file.audio.mpegAudio ? "MPEG" : "AAC";
    case kAudioLpcm:
      return "LPCM";
    case kAudioDolby:
      return "Dolby";
    case kAudioAes3:
      return file.containerType == kContainerQuickTime ? "QT_PCM" : "AES3";
    case kAudioAmr:
      return "AMR";
    case kAudioWma:
      return "WMA";
    default:
      return "DTS";
  }
}

}  // namespace

int DolbyMetadataTracker::read() {
  kyAssertFail("./mpegdecode/mpeginutil(1932)", nullptr);
  return -1;
}

MpegInAudioStream::MpegInAudioStream(MpegIn const& file, int streamIndex) : MpegInStream(streamIndex) {
  int sum = 0;
  for (int count : file.nAudio) sum += count;
  if (streamIndex < 0 || streamIndex >= sum) kyExceptionFail("./mpegdecode/mpeginutil(223)", nullptr);
  int number = streamIndex;
  for (int i = 0; i < kAudioFormats && number >= 0; ++i) {
    if (number < file.nAudio[i]) {
      name = nameOfFormat(file, i);
      format = i;
      formatIndex = number;
      if (file.audioId[i]) setIdentity(file.audioId[i][number]);
      return;
    }
    number -= file.nAudio[i];
  }
  kyExceptionFail("./mpegdecode/mpeginutil(280)", nullptr);
}

MpegInAudioStream::~MpegInAudioStream() = default;

bool MpegInAudioStream::isDolby() const { return std::string_view(static_cast<char*>(name)) == "Dolby"; }

void MpegInAudioStream::refreshIdentity() {
  // QuickTime PCM keeps the identity that was found at construction.
  if (format < 0 || !decoder || name == Any("QT_PCM")) return;
  if (formatIndex < decoder->nAudio[format] && decoder->audioId[format])
    setIdentity(decoder->audioId[format][formatIndex]);
}

void MpegInAudioStream::store() {
  static MpegIn const none{};
  if (!decoder) kyExceptionFail("./mpegdecode/mpeginutil(288)", nullptr);
  MpegAudioInfo const& audio = (decoder ? *decoder : none).audio;

  info.set("codec", name);
  info.set("audioCodec", name);
  refreshIdentity();
  AnyDict& codecParams = info.child("codecParams");
  codecParams.clear();
  codecParams.set("id", static_cast<int>(id));
  codecParams.set("sub_id", static_cast<int>(subId));
  codecParams.set("pid", static_cast<int>(pid));
  codecParams.set("program_number", static_cast<int>(programNumber));
  codecParams.set("firstAPTS", Any(static_cast<long>(audio.firstPts)));
  info.set("samplerate", audio.rate);
  info.set("bitsPerSample", audio.bits);
  // The buffer was made for them, where there is one.
  info.set("bytesPerSample", pcm ? pcm->bytesPerSample() : bytesPerSample(audio.bits));
  if (isDolby() && audio.bits == 32) info.set("actualBitsPerSample", 24);
  info.set("channels", audio.channels);
  info.set("aBitrate", audio.bitRate);
  sampleCount = audio.samples;
  info.set("samples", Any(static_cast<long>(sampleCount)));
  double const seconds = static_cast<double>(sampleCount) / audio.rate;
  info.set("aDuration", seconds);
  info.set("duration", seconds);
  info.set("_explicitDRC", 0);
}
