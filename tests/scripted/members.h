// Members of the decoders that no file and no call of a host reaches, for tests of what must hold all the
// same.
#pragma once

#include "mpegdecode/mpegdecwrapper.h"
#include "mpegdecode/mpegindec.h"
#include "tests/support/private_member.h"
#include "tests/support/stream_state.h"
#include "xdcamdecode/xdcamdec.h"

namespace scripted {

using test::stateOf;

KY_PRIVATE_MEMBER(File, MpegInDec::file_, OpenedFile MpegInDec::*);
KY_PRIVATE_MEMBER(Inner, MpegDecWrapper::inner_, std::unique_ptr<MpegInDec> MpegDecWrapper::*);
KY_PRIVATE_MEMBER(JoinedInfo, MpegDecWrapper::joinedInfo, AnyDict MpegDecWrapper::*);
KY_PRIVATE_MEMBER(JoinedPcm, MpegDecWrapper::joinedPcm, KyPcm MpegDecWrapper::*);
KY_PRIVATE_MEMBER(SilencePcm, MpegDecWrapper::silencePcm, KyPcm MpegDecWrapper::*);
KY_PRIVATE_MEMBER(StreamMap, MpegDecWrapper::streamMap, AnyVector MpegDecWrapper::*);

KY_PRIVATE_MEMBER(Source, MpegInDec::source, StreamSource (MpegInDec::*)() const);
KY_PRIVATE_MEMBER(SelectVideo, MpegInDec::selectVideo, int (MpegInDec::*)(int));
KY_PRIVATE_MEMBER(ListName, XdcamDec::MakeTakeListName, Any (XdcamDec::*)(Any const&) const);
KY_PRIVATE_MEMBER(LogList, XdcamDec::LogTakeList, void (XdcamDec::*)(Any const&, bool) const);
inline OpenedFile& fileOf(MpegInDec& pipe) { return pipe.*memberOf(File{}); }
inline MpegInVideoStream& videoOf(MpegInDec& pipe, int i) { return *fileOf(pipe).video.at(i); }
inline MpegInAudioStream& audioOf(MpegInDec& pipe, int i) { return *fileOf(pipe).audio.at(i); }
// Adds a subpicture entry as opening does.
inline MpegInSubpicStream& addSubpicture(MpegInDec& pipe) {
  auto& list = fileOf(pipe).subpic;
  list.add(std::make_unique<MpegInSubpicStream>(list.size()));
  MpegInSubpicStream& entry = *list.at(list.size() - 1);
  entry.store();
  return entry;
}
inline void addCaptions(MpegInDec& pipe, int videoIndex) {
  auto& list = fileOf(pipe).subpic;
  list.add(std::make_unique<MpegInSubpicStream>(list.size(), videoOf(pipe, videoIndex)));
}

}  // namespace scripted
