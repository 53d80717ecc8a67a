#include "mpegdecode/audiostream.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "host/failure.h"
#include "mpegdecode/audiodescription.h"
#include "mpegdecode/audiorules.h"
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
      format_ = i;
      formatIndex_ = number;
      if (file.audioId[i]) setIdentity(file.audioId[i][number]);
      return;
    }
    number -= file.nAudio[i];
  }
  kyExceptionFail("./mpegdecode/mpeginutil(280)", nullptr);
}

MpegInAudioStream::~MpegInAudioStream() { MpegInAudioStream::close(); }

void MpegInAudioStream::close() {
  // First, since it writes to the buffers.
  decoder_.reset();
  pcm_.reset();
  scratch_.reset();
  blocks_.reset();
  tracker_.reset();
  carry_.clear();
  carrySamples_ = 0;
  syncDelaySamples_ = 0;
  selected_ = false;
}

bool MpegInAudioStream::isDolby() const { return std::string_view(static_cast<char*>(name_)) == "Dolby"; }

void MpegInAudioStream::refreshIdentity() {
  // QuickTime PCM keeps the identity that was found at construction.
  if (format_ < 0 || !decoder_ || name_ == Any("QT_PCM")) return;
  if (formatIndex_ < decoder_->nAudio[format_] && decoder_->audioId[format_])
    setIdentity(decoder_->audioId[format_][formatIndex_]);
}

void MpegInAudioStream::store() {
  static MpegIn const none{};
  if (!decoder_) kyExceptionFail("./mpegdecode/mpeginutil(288)", nullptr);
  MpegAudioInfo const& audio = (decoder_ ? *decoder_ : none).audio;
  refreshIdentity();
  sampleCount_ = audio.samples;
  AudioFacts facts;
  facts.codec = name_;
  facts.identity = identity();
  facts.firstPts = audio.firstPts;
  facts.rate = audio.rate;
  facts.bits = audio.bits;
  // The buffer was made for them, where there is one.
  facts.bytesPerSample = pcm_ ? pcm_->bytesPerSample() : bytesPerSample(audio.bits);
  if (isDolby() && audio.bits == 32) facts.actualBits = 24;
  facts.channels = audio.channels;
  facts.bitRate = audio.bitRate;
  facts.samples = audio.samples;
  describe(facts, info_);
}

void MpegInAudioStream::delay(int32_t samples) {
  syncDelaySamples_ = samples;
  sampleCount_ += samples;
  describeSamples(sampleCount_, info_["samplerate"].asInt32(), info_);
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
