#include "mpegdecode/userdatapackets.h"

#include "mpegdecode/libcalls.h"

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
    if (entry.type != kSeiRegistered && entry.type != kSeiUnregistered) continue;
    out.addDataPacket(entry.size, entry.data,
                      entry.type == kSeiRegistered ? kFormatRegisteredSei : kFormatUnregisteredSei,
                      kUserDataPicture);
  }
}

}  // namespace

void collectUserData(MpegIn* decoder, std::string const& codec, KyUserData& out) {
  out.removePackets(kUserDataPicture);
  if (codec == "MPEG-1" || codec == "MPEG-2" || codec == "MPEG-4") collectMpeg(decoder, out);
  if (codec == "H.264") collectSei(decoder, out);
}
