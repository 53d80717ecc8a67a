#include "mpegdecode/subpicstream.h"

#include "host/file.h"
#include "host/log.h"
#include "mpegdecode/subpicdescription.h"

namespace {

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
  describe(CaptionFacts{}, info_);
}

void MpegInSubpicStream::store() { describe(OverlayFacts{identity()}, info_); }

void MpegInSubpicStream::close() {
  removeSubtitleFolder(info_);
  decoder_.reset();
}

bool MpegInSubpicStream::isCaptions() const { return info_["type"].asInt32() == kSubpicTypeCaptions; }

bool overlaysSubpictures(MpegIn const& file) {
  return file.containerType != kContainerDmf && file.nSubpictures > 0;
}

void announceSubpictures(MpegSettings& set, MpegIn const& file, StreamsOf<MpegInSubpicStream> const& list) {
  set.decodeSubpictures = overlaysSubpictures(file) ? 1 : 0;
  set.captionEntries = 0;
  for (int i = 0; i < list.size(); ++i)
    if (list.at(i)->isCaptions()) ++set.captionEntries;
}
