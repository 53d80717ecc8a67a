// Members of the decoders that no file and no call of a host reaches, for tests of what must hold all the
// same.
#pragma once

#include "mpegdecode/mpegdecwrapper.h"
#include "mpegdecode/mpegindec.h"
#include "tests/support/stream_state.h"
#include "xdcamdecode/xdcamdec.h"

namespace scripted {

using test::stateOf;

// An explicit instantiation may name private members ([temp.spec.general]); the friend hands the pointer out.
template <class Tag, typename Tag::Type member>
struct Member {
  friend typename Tag::Type memberOf(Tag) { return member; }
};

struct VideoList {
  using Type = StreamsOf<MpegInVideoStream> MpegInDec::*;
  friend Type memberOf(VideoList);
};
template struct Member<VideoList, &MpegInDec::video_>;

struct AudioList {
  using Type = StreamsOf<MpegInAudioStream> MpegInDec::*;
  friend Type memberOf(AudioList);
};
template struct Member<AudioList, &MpegInDec::audio_>;

struct SubpicList {
  using Type = StreamsOf<MpegInSubpicStream> MpegInDec::*;
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

inline MpegInVideoStream& videoOf(MpegInDec& pipe, int i) { return *(pipe.*memberOf(VideoList{})).at(i); }
inline MpegInAudioStream& audioOf(MpegInDec& pipe, int i) { return *(pipe.*memberOf(AudioList{})).at(i); }
// Adds a subpicture entry as opening does.
inline MpegInSubpicStream& addSubpicture(MpegInDec& pipe) {
  auto& list = pipe.*memberOf(SubpicList{});
  list.add(std::make_unique<MpegInSubpicStream>(list.size()));
  MpegInSubpicStream& entry = *list.at(list.size() - 1);
  entry.store();
  return entry;
}
inline void addCaptions(MpegInDec& pipe, int videoIndex) {
  auto& list = pipe.*memberOf(SubpicList{});
  list.add(std::make_unique<MpegInSubpicStream>(list.size(), videoOf(pipe, videoIndex)));
}

}  // namespace scripted
