// User data of decoded pictures, and the captions in it.
#include <string>

#include "host/failure.h"
#include "host/mediatime.h"
#include "host/userdata.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mpegindec.h"

namespace {

enum PacketFormat { kFormatUser = 0, kFormatRegisteredSei = 1, kFormatUnregisteredSei = 2 };

// SEI payload types of ISO/IEC 14496-10 annex D.
constexpr int kSeiRegistered = 4;
constexpr int kSeiUnregistered = 5;

void collectMpeg(MpegIn* decoder, KyUserData& out) {
  MpegUserData record{};
  if (guardedVideoAuxinfo(decoder, kAuxUserDataMpeg, &record, sizeof record) != 0) return;
  for (int i = 0; i < record.count; ++i)
    if (MpegUserDataEntry const* const entry = record.entries[i])
      out.addDataPacket(entry->size, entry->data, kFormatUser, kUserDataPicture);
}

void collectSei(MpegIn* decoder, KyUserData& out) {
  constexpr int kPointerSize = 8;
  MpegSeiList const* list = nullptr;
  if (guardedVideoAuxinfo(decoder, kAuxUserDataH264, &list, kPointerSize) != 0 || !list) return;
  for (int i = 0; i < list->count; ++i) {
    MpegSeiEntry const& entry = list->entries[i];
    if (!entry.data || entry.size == 0 || (entry.type != kSeiRegistered && entry.type != kSeiUnregistered))
      continue;
    out.addDataPacket(entry.size, entry.data,
                      entry.type == kSeiRegistered ? kFormatRegisteredSei : kFormatUnregisteredSei,
                      kUserDataPicture);
  }
}

// User data of the decoder's current picture; what `out` held of this kind is replaced.
void collectUserData(MpegIn* decoder, std::string const& codec, KyUserData& out) {
  out.removePackets(kUserDataPicture);
  if (codec == "MPEG-1" || codec == "MPEG-2" || codec == "MPEG-4") collectMpeg(decoder, out);
  if (codec == "H.264") collectSei(decoder, out);
}

// 0 when captions were found, else -1.
int extractCaptions(MpegIn* decoder, std::string const& codec, MediaTime const* time, KyCcData& out) {
  out.clear();
  KyUserData data;
  collectUserData(decoder, codec, data);
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

}  // namespace

void MpegInDec::attachUserData(MpegInVideoStream& stream) {
  stream.frame->clearUserData();
  KyUserData data;
  collectUserData(stream.decoder, stream.name.asString(), data);
  if (data.countPackets(kUserDataPicture) > 0) stream.frame->setUserData(data);
}

int MpegInDec::readCcData(int subpicIndex, int, AnyDict& out) {
  out.clear();
  MpegInSubpicStream const* const entry = subpic(subpicIndex);
  if (!entry) {
    kyAssertFail("./mpegdecode/mpegindec(3042)", nullptr);
    return 0;
  }
  if (entry->info["type"].asInt32() != kSubpicTypeCaptions || !entry->captionSource) {
    kyAssertFail("./mpegdecode/mpegindec(3046)", nullptr);
    return 0;
  }
  MpegInVideoStream const& stream = *entry->captionSource;
  if (!stream.frame || !stream.decoder || stream.frame->frameNumber() < 0) return kResultNotOpened;
  MediaTime const time(stream.frame->frameNumber(), stream.info["framerate"].asFramerate());
  KyCcData captions;
  if (int const result = extractCaptions(stream.decoder, stream.name.asString(), &time, captions))
    return result;
  captions.store(out);
  return 0;
}
