// Entries of the subpicture list for the bitmap subtitles that the import library overlays.
#include "mpegdecode/mpegindec.h"

namespace {

// Subtitles of DMF files are extracted, not overlaid.
bool overlaysSubpictures(MpegIn const& file) {
  return file.containerType != kContainerDmf && file.nSubpictures > 0;
}

}  // namespace

// Closed captions are listed already: an overlay is a number of the list, and the decoders have to know how
// many entries in front are not theirs.
void MpegInDec::createSubpictures(MpegIn const& file) {
  for (int i = 0; i < video_.size(); ++i)
    if (MpegIn* const decoder = video(i)->decoder) announceSubpictures(decoder->set, file);
  if (!overlaysSubpictures(file)) return;
  for (int i = 0; i < file.nSubpictures; ++i) {
    auto stream = std::make_unique<MpegInSubpicStream>(i);
    if (file.subpictureId) stream->setIdentity(file.subpictureId[i]);
    stream->store();
    subpic_.append(stream.release());
  }
}

void MpegInDec::announceSubpictures(MpegSettings& set, MpegIn const& file) const {
  set.decodeSubpictures = overlaysSubpictures(file) ? 1 : 0;
  set.captionEntries = 0;
  for (int i = 0; i < subpic_.size(); ++i)
    if (subpic(i)->info["type"].asInt32() == kSubpicTypeCaptions) ++set.captionEntries;
}
