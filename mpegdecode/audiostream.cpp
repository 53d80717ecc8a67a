#include <string_view>

#include "host/failure.h"
#include "mpegdecode/audiorules.h"
#include "mpegdecode/audiostream.h"
#include "mpegdecode/dolbytracker.h"

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
      name_ = nameOfFormat(file, i);
      format = i;
      formatIndex = number;
      if (file.audioId[i]) setIdentity(file.audioId[i][number]);
      return;
    }
    number -= file.nAudio[i];
  }
  kyExceptionFail("./mpegdecode/mpeginutil(280)", nullptr);
}

MpegInAudioStream::~MpegInAudioStream() { MpegInAudioStream::close(); }

void MpegInAudioStream::close() {
  decoder_.reset();
  pcm.reset();
  scratch.reset();
  blocks.reset();
  tracker.reset();
  carry.clear();
  carrySamples = 0;
  syncDelaySamples = 0;
  selected_ = false;
}

bool MpegInAudioStream::isDolby() const { return std::string_view(static_cast<char*>(name_)) == "Dolby"; }

void MpegInAudioStream::refreshIdentity() {
  // QuickTime PCM keeps the identity that was found at construction.
  if (format < 0 || !decoder_ || name_ == Any("QT_PCM")) return;
  if (formatIndex < decoder_->nAudio[format] && decoder_->audioId[format])
    setIdentity(decoder_->audioId[format][formatIndex]);
}

void MpegInAudioStream::store() {
  static MpegIn const none{};
  if (!decoder_) kyExceptionFail("./mpegdecode/mpeginutil(288)", nullptr);
  MpegAudioInfo const& audio = (decoder_ ? *decoder_ : none).audio;

  info_.set("codec", name_);
  info_.set("audioCodec", name_);
  refreshIdentity();
  AnyDict& codecParams = info_.child("codecParams");
  codecParams.clear();
  codecParams.set("id", static_cast<int>(identity().id));
  codecParams.set("sub_id", static_cast<int>(identity().subId));
  codecParams.set("pid", static_cast<int>(identity().pid));
  codecParams.set("program_number", static_cast<int>(identity().program));
  codecParams.set("firstAPTS", Any(static_cast<long>(audio.firstPts)));
  info_.set("samplerate", audio.rate);
  info_.set("bitsPerSample", audio.bits);
  // The buffer was made for them, where there is one.
  info_.set("bytesPerSample", pcm ? pcm->bytesPerSample() : bytesPerSample(audio.bits));
  if (isDolby() && audio.bits == 32) info_.set("actualBitsPerSample", 24);
  info_.set("channels", audio.channels);
  info_.set("aBitrate", audio.bitRate);
  sampleCount = audio.samples;
  info_.set("samples", Any(static_cast<long>(sampleCount)));
  double const seconds = static_cast<double>(sampleCount) / audio.rate;
  info_.set("aDuration", seconds);
  info_.set("duration", seconds);
  info_.set("_explicitDRC", 0);
}

void selectAudioStream(MpegSettings& settings, MpegIn const& counts, int streamIndex) {
  std::fill(std::begin(settings.audioStream), std::end(settings.audioStream), 0);
  int number = streamIndex;
  if (number >= 0) {
    for (int format = 0; format < kAudioFormats; ++format) {
      if (number < counts.nAudio[format]) {
        settings.audioStream[format] = number + 1;
        return;
      }
      number -= counts.nAudio[format];
    }
  }
  kyExceptionFail("./mpegdecode/mpeginutil(918)", nullptr);
}
