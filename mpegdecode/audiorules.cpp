#include "mpegdecode/audiorules.h"

#include <cstring>

#include "host/failure.h"
#include "host/log.h"
#include "mpegdecode/libcalls.h"

int bytesPerSample(int bits) {
  switch (bits) {
    case 8:
      return 1;
    case 16:
      return 2;
    case 20:
    case 24:
      return 3;
    case 32:
      return 4;
    default:
      ky_dbg()->log(kLogWarning, "mpegdec: Unsupported number of bits per audio sample (%d), assuming 16",
                    bits);
      return 2;
  }
}

int checkDolbyCodingMode(MpegIn const& instance) {
  if (instance.smartRenderOnly == 1) {
    kyAssertFail("./mpegdecode/audiorules(28)",
                 "Function should not be called for audio_pass_through_flag == 1");
    return 0;
  }
  MpegAudioInfo const& audio = instance.audio;
  // 21 and 24: 7.1 configurations of E-AC-3 with a dependent substream (ETSI TS 102 366 annex E).
  bool const knownMode = audio.acmod <= 7 || audio.acmod == 21 || audio.acmod == 24;
  if (audio.channels < 9 && knownMode) return 0;
  ky_dbg()->log(
      kLogError,
      "[mpegdec] unsupported DD coding mode/channel configuration: channels=%d, ac3_acmod=%d, ac3_lfeon=%d",
      audio.channels, audio.acmod, audio.lfeon);
  return -1;
}

int setPreferredSampleFormat(std::string_view formatName, MpegIn& instance, int code) {
  if (formatName != "AAC") return -1;

  constexpr int kFormat16Bit = 3;
  constexpr int kFormat24Bit = 7;
  if (code != kFormat16Bit && code != kFormat24Bit) {
    kyAssertFail("./mpegdecode/mpeginutil(1507)", "mpegdec: unsupported sample format for AAC");
    return -1;
  }
  int const bits = code == kFormat16Bit ? 16 : 24;
  if (instance.audio.bits == bits) return 0;

  MpegAacRequest request{};
  std::memset(request.unset, 0xFF, sizeof request.unset);
  request.none1 = -1;
  request.wordSize = bits == 16 ? 2 : 4;
  request.none2 = -1;
  request.one = 1;
  if (guardedAudioAuxinfo(&instance, kAuxSampleFormat, &request, sizeof request) != 0) {
    ky_dbg()->log(kLogError, "mpegdec: failed to set AAC output sample format");
    return -1;
  }
  instance.audio.bits = bits;
  instance.audio.blockAlign = bits / 8 * instance.audio.channels;
  return 0;
}
