// Members of the decoders that no file and no call of a host reaches, for tests of what must hold all the
// same.
#pragma once

#include "mpegdecode/mpegdecwrapper.h"
#include "mpegdecode/mpegindec.h"
#include "xdcamdecode/xdcamdec.h"

namespace scripted {

// An explicit instantiation may name private members ([temp.spec.general]); the friend hands the pointer out.
template <class Tag, typename Tag::Type member>
struct Member {
  friend typename Tag::Type memberOf(Tag) { return member; }
};

struct VideoList {
  using Type = MpegInStreamList MpegInDec::*;
  friend Type memberOf(VideoList);
};
template struct Member<VideoList, &MpegInDec::video_>;

struct AudioList {
  using Type = MpegInStreamList MpegInDec::*;
  friend Type memberOf(AudioList);
};
template struct Member<AudioList, &MpegInDec::audio_>;

struct SubpicList {
  using Type = MpegInStreamList MpegInDec::*;
  friend Type memberOf(SubpicList);
};
template struct Member<SubpicList, &MpegInDec::subpic_>;

struct Shared {
  using Type = MpegInPtr MpegInDec::*;
  friend Type memberOf(Shared);
};
template struct Member<Shared, &MpegInDec::shared_>;

struct Measure {
  using Type = int (MpegInDec::*)();
  friend Type memberOf(Measure);
};
template struct Member<Measure, &MpegInDec::measureFirstStamps>;

struct Inner {
  using Type = std::unique_ptr<MpegInDec> MpegDecWrapper::*;
  friend Type memberOf(Inner);
};
template struct Member<Inner, &MpegDecWrapper::inner_>;

struct JoinedInfo {
  using Type = AnyDict MpegDecWrapper::*;
  friend Type memberOf(JoinedInfo);
};
template struct Member<JoinedInfo, &MpegDecWrapper::joinedInfo>;

struct JoinedPcm {
  using Type = KyPcm MpegDecWrapper::*;
  friend Type memberOf(JoinedPcm);
};
template struct Member<JoinedPcm, &MpegDecWrapper::joinedPcm>;

struct SilencePcm {
  using Type = KyPcm MpegDecWrapper::*;
  friend Type memberOf(SilencePcm);
};
template struct Member<SilencePcm, &MpegDecWrapper::silencePcm>;

struct StreamMap {
  using Type = AnyVector MpegDecWrapper::*;
  friend Type memberOf(StreamMap);
};
template struct Member<StreamMap, &MpegDecWrapper::streamMap>;

struct OpenAudio {
  using Type = int (MpegInDec::*)(MpegInAudioStream&, MpegIn const&);
  friend Type memberOf(OpenAudio);
};
template struct Member<OpenAudio, &MpegInDec::openAudio>;

struct CloseVideo {
  using Type = void (MpegInDec::*)(MpegInVideoStream&);
  friend Type memberOf(CloseVideo);
};
template struct Member<CloseVideo, &MpegInDec::closeStream>;

struct CloseAudio {
  using Type = void (MpegInDec::*)(MpegInAudioStream&);
  friend Type memberOf(CloseAudio);
};
template struct Member<CloseAudio, &MpegInDec::closeStream>;

struct SelectVideo {
  using Type = int (MpegInDec::*)(int);
  friend Type memberOf(SelectVideo);
};
template struct Member<SelectVideo, &MpegInDec::selectVideo>;

struct ListName {
  using Type = Any (XdcamDec::*)(Any const&) const;
  friend Type memberOf(ListName);
};
template struct Member<ListName, &XdcamDec::MakeTakeListName>;

struct LogList {
  using Type = void (XdcamDec::*)(Any const&, bool) const;
  friend Type memberOf(LogList);
};
template struct Member<LogList, &XdcamDec::LogTakeList>;

inline MpegInVideoStream& videoOf(MpegInDec& pipe, int i) {
  return *static_cast<MpegInVideoStream*>((pipe.*memberOf(VideoList{})).at(i));
}
inline MpegInAudioStream& audioOf(MpegInDec& pipe, int i) {
  return *static_cast<MpegInAudioStream*>((pipe.*memberOf(AudioList{})).at(i));
}
// Adds a subpicture entry as opening does; the pipe deletes it.
inline MpegInSubpicStream& addSubpicture(MpegInDec& pipe) {
  MpegInStreamList& list = pipe.*memberOf(SubpicList{});
  auto* const stream = new MpegInSubpicStream(list.size());
  list.append(stream);
  stream->store();
  return *stream;
}
inline MpegInSubpicStream& addCaptions(MpegInDec& pipe, int videoIndex) {
  MpegInSubpicStream& entry = addSubpicture(pipe);
  entry.captionSource = &videoOf(pipe, videoIndex);
  entry.info.set("type", kSubpicTypeCaptions);
  return entry;
}

}  // namespace scripted
