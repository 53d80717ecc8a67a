#include "mpegdecode/subpicstream.h"

#include "host/file.h"
#include "host/log.h"

namespace {

// Description key "type" of entries that the library overlays, and of closed captions.
constexpr int kTypeOverlay = 2;
constexpr int kTypeCaptions = 4;

// Of extracted bitmap subtitles.
void removeSubtitleFolder(AnyDict const& info) {
  Any const& subType = info["subType"];
  if (!(subType == Any("dxsa")) && !(subType == Any("dxsb"))) return;
  Any const& folder = info["subtitles"];
  if (!KyFile::isDir(folder)) return;
  ky_dbg()->info("Deleting temporary subtitle folder %s", folder.asString().c_str());
  KyFile::rmdir(folder);
}

}  // namespace

MpegInSubpicStream::MpegInSubpicStream(int streamIndex) : MpegInStream(streamIndex) { name_ = "Subpicture"; }

MpegInSubpicStream::MpegInSubpicStream(int streamIndex, MpegInVideoStream const& source)
    : MpegInSubpicStream(streamIndex) {
  captionSource_ = &source;
  info_.set("type", kTypeCaptions);
}

void MpegInSubpicStream::store() {
  info_.set("type", kTypeOverlay);
  AnyDict const codecParams("id", static_cast<int>(identity().id), "pid", static_cast<int>(identity().pid),
                            "sub_id", static_cast<int>(identity().subId), "program_number",
                            static_cast<int>(identity().program));
  if (!codecParams.empty()) info_.set("codecParams", codecParams);
}

void MpegInSubpicStream::close() {
  removeSubtitleFolder(info_);
  decoder_.reset();
}

bool MpegInSubpicStream::isCaptions() const { return info_["type"].asInt32() == kTypeCaptions; }
