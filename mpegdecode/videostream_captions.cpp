// Closed captions: which video streams carry them, and those of the current picture.
#include <algorithm>
#include <string>

#include "host/failure.h"
#include "host/log.h"
#include "host/mediatime.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"
#include "mpegdecode/userdatapackets.h"

namespace {

// Captions that begin later are not worth the time that a longer search adds to every opening.
constexpr int kSearchedFrames = 10;

// 0 when the current picture has captions, else -1. `out` is empty before.
int extractCaptions(MpegInVideoStream const& stream, MediaTime const* time, KyCcData& out) {
  KyUserData data;
  collectUserData(stream.decoder(), stream.name().asString(), data);
  int const packets = data.countPackets(kUserDataPicture);
  for (int i = 0; i < packets; ++i) {
    int size = 0;
    int packetFormat = 0;
    void const* const bytes = data.packet(kUserDataPicture, i, size, packetFormat);
    int const format = KyCcData::detectBufferFmt(size, bytes);
    if (format < 0) continue;
    out.fromBuffer(format, size, bytes, time);
    return 0;
  }
  return kResultError;
}

// Line 21 captions belong to the 60 Hz world.
bool mayHaveCaptions(MpegInVideoStream const& stream) {
  std::string const codec = stream.name().asString();
  return (codec == "MPEG-1" || codec == "MPEG-2" || codec == "H.264") &&
         !stream.info()["framerate"].asFramerate().isPAL();
}

// Moves the stream's decoder.
bool findCaptions(MpegInVideoStream const& stream) {
  int const frames = stream.info()["frames"].asInt32();
  int const searched = frames > kSearchedFrames ? kSearchedFrames : frames - 1;
  KyCcData captions;
  guardedSeekFrame(stream.decoder(), 0);
  for (int k = 0; k < searched; ++k) {
    if (extractCaptions(stream, nullptr, captions) == 0) {
      ky_dbg()->log(kLogTrace, "Found cc in frame nr %d", k);
      return true;
    }
    guardedNextFrame(stream.decoder());
  }
  return false;
}

// Null when the stream carries no captions. Its decoder is at the first picture again.
std::unique_ptr<MpegInSubpicStream> captionEntry(MpegInVideoStream& stream, int number) {
  if (!mayHaveCaptions(stream)) return nullptr;
  ky_dbg()->log(kLogTrace, "parsing frames for cc data");
  bool const found = findCaptions(stream);
  guardedSeekFrame(stream.decoder(), 0);
  if (!found) return nullptr;
  auto entry = std::make_unique<MpegInSubpicStream>(number, stream);
  ky_dbg()->log(kLogTrace, "parsing frames for cc data done");
  return entry;
}

}  // namespace

void MpegInDec::createCaptionEntries() {
  if (params_.disableCc) return;
  int number = 0;
  for (int i = 0; i < video_.size(); ++i) {
    if (auto entry = captionEntry(*video_.at(i), number)) {
      subpic_.add(std::move(entry));
      ++number;
    }
  }
}

int MpegInDec::readCcData(int subpicIndex, int, AnyDict& out) {
  out.clear();
  MpegInSubpicStream const* const entry = subpic_.at(subpicIndex);
  if (!entry) {
    kyAssertFail("./mpegdecode/mpegindec(3042)", nullptr);
    return 0;
  }
  if (!entry->isCaptions() || !entry->captionSource()) {
    kyAssertFail("./mpegdecode/mpegindec(3046)", nullptr);
    return 0;
  }
  MpegInVideoStream const& stream = *entry->captionSource();
  if (!stream.frame || !stream.decoder() || stream.frame->frameNumber() < 0) return kResultNotOpened;
  MediaTime const time(stream.frame->frameNumber(), stream.info()["framerate"].asFramerate());
  KyCcData captions;
  if (int const result = extractCaptions(stream, &time, captions)) return result;
  captions.store(out);
  return 0;
}
