#include "tests/scripted/scriptedlib.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

struct MfHandle {
  bool open = false;
};
struct MfStream {
  scripted::Track const* track;
  size_t next = 0;
};

namespace scripted {
namespace {

Library* current = nullptr;

// What the library keeps for an instance that is alive.
struct State {
  Instance* record;
  MpegResourceGetter getter;
  std::vector<MpegStreamId> videoId;
  std::vector<MpegStreamId> audioId[kAudioFormats];
  std::vector<MpegStreamId> subpictureId;
  Video const* video = nullptr;
  Audio const* audio = nullptr;
  int frame = -1;     // shown last
  int position = -1;  // which the next picture follows
  int64_t sample = 0;
  void* block = nullptr;
  std::vector<MpegUserDataEntry> entries;
  std::vector<MpegUserDataEntry*> entryPointers;
  std::vector<MpegSeiEntry> seiEntries;
  MpegSeiList seiList{};
};
std::map<MpegIn*, State> states;

State* stateOf(MpegIn* instance) {
  auto const found = states.find(instance);
  if (found != states.end()) return &found->second;
  ++current->misused;
  return nullptr;
}

void expectReserved(bool zero) {
  if (!zero) ++current->misused;
}

void describe(MpegIn& instance, State& state) {
  Library const& lib = *current;
  state.videoId.clear();
  for (Video const& video : lib.video) state.videoId.push_back(video.id);
  for (auto& ids : state.audioId) ids.clear();
  for (Audio const& audio : lib.audio) state.audioId[audio.format].push_back(audio.id);
  state.subpictureId.assign(static_cast<size_t>(lib.subpictures), MpegStreamId{});
  instance.containerType = lib.containerType;
  instance.dvFlag = lib.dvFlag;
  instance.nVideo = static_cast<int>(lib.video.size());
  instance.videoId = state.videoId.data();
  for (int format = 0; format < kAudioFormats; ++format) {
    instance.nAudio[format] = static_cast<int>(state.audioId[format].size());
    instance.audioId[format] = state.audioId[format].data();
  }
  instance.nSubpictures = lib.subpictures;
  instance.subpictureId = state.subpictureId.data();
  instance.nUnknownVideo = lib.unknownVideo;
  instance.nUnknownAudio = lib.unknownAudio;
  instance.fileSize = lib.fileSize;
  instance.titleIsDvd = lib.titleIsDvd;
  instance.hasVideoDecoder = lib.hasVideoDecoder;
  instance.hasAudioDecoder = lib.hasAudioDecoder;
}

void report(MpegIn& instance, State const& state) {
  // The output format is the caller's.
  uint32_t const fourcc = instance.video.fourcc;
  instance.video = state.video ? state.video->info : MpegVideoInfo{};
  instance.video.fourcc = fourcc;
  instance.audio = state.audio ? state.audio->info : MpegAudioInfo{};
}

int show(MpegIn& instance, State& state, int frame) {
  if (!state.video || frame >= state.video->info.frames) return kMpegEndOfStream;
  state.frame = state.position = frame;
  uint8_t* const pixels = instance.target.plane[0];
  if (!pixels) return kMpegError;
  std::memcpy(pixels, &frame, sizeof frame);
  pixels[sizeof frame] = static_cast<uint8_t>(instance.set.displaySubpictures ? instance.set.overlay : 0);
  return kMpegOk;
}

size_t numberOf(Instance const* record) {
  auto const& all = current->instances;
  auto const found =
      std::find_if(all.begin(), all.end(), [record](auto const& one) { return one.get() == record; });
  return static_cast<size_t>(found - all.begin());
}

int bytesOf(MpegAudioInfo const& info) { return info.bits == 20 ? 3 : info.bits / 8; }

void writeSample(uint8_t* to, MpegAudioInfo const& info, int64_t number) {
  auto value = static_cast<int32_t>(number);
  if (info.bits == 32 && info.isFloat) {
    float const scaled = static_cast<float>(value) / 8388608.0F;
    std::memcpy(to, &scaled, sizeof scaled);
    return;
  }
  if (info.bits == 32) value *= 256;
  std::memcpy(to, &value, static_cast<size_t>(bytesOf(info)));
}

Packets::mapped_type const& packetsOf(Packets const& packets, int frame) {
  static Packets::mapped_type const none;
  auto const found = packets.find(frame);
  return found == packets.end() ? none : found->second;
}

int fillUserData(State& state, MpegUserData& out) {
  auto const& packets = packetsOf(state.video->userData, state.frame);
  state.entries.clear();
  state.entryPointers.clear();
  state.entries.reserve(packets.size());
  for (Packet const& packet : packets) {
    state.entries.push_back({static_cast<int32_t>(packet.bytes.size()), packet.bytes.data()});
    state.entryPointers.push_back(packet.null ? nullptr : &state.entries.back());
  }
  out.count = static_cast<int32_t>(packets.size());
  out.entries = state.entryPointers.data();
  return kMpegOk;
}

int fillSei(State& state, MpegSeiList const*& out) {
  state.seiEntries.clear();
  for (Packet const& packet : packetsOf(state.video->sei, state.frame))
    state.seiEntries.push_back({packet.null ? nullptr : packet.bytes.data(), packet.type,
                                static_cast<int32_t>(packet.bytes.size())});
  state.seiList = {state.seiEntries.data(), static_cast<int32_t>(state.seiEntries.size())};
  out = &state.seiList;
  return kMpegOk;
}

Track const* trackAt(int title, int stream) {
  auto const& titles = current->titles;
  if (title < 0 || title >= static_cast<int>(titles.size())) return nullptr;
  auto const& tracks = titles[static_cast<size_t>(title)];
  if (stream < 0 || stream >= static_cast<int>(tracks.size())) return nullptr;
  return &tracks[static_cast<size_t>(stream)];
}

void forget(void* reader) {
  if (reader && current->readers.erase(reader) == 0) ++current->misused;
}

}  // namespace

Library::Library() { current = this; }

Library::~Library() {
  for (auto& [instance, state] : states) std::free(instance);
  states.clear();
  current = nullptr;
}

Video& Library::addVideo() {
  Video stream{};
  MpegVideoInfo& info = stream.info;
  info.present = info.mpeg2 = info.progressive = 1;
  info.width = info.containerWidth = 64;
  info.height = info.containerHeight = 48;
  info.bitRate = 1e6;
  info.rate = info.secondRate = info.containerFps = info.streamFps = 25.0;
  info.frames = 100;
  info.gopN = 12;
  info.gopM = 3;
  info.primaries = info.transfer = info.matrix = 2;
  info.aspectCode = 1;
  info.chromaFormat = 1;
  info.sourceDepth = 8;
  auto const number = static_cast<int>(video.size());
  stream.id.pid = static_cast<uint16_t>(number);
  stream.id.id = static_cast<uint8_t>(0xE0 + number);
  return video.emplace_back(std::move(stream));
}

Audio& Library::addAudio(MpegAudioFormat format) {
  Audio stream{};
  stream.format = format;
  MpegAudioInfo& info = stream.info;
  info.rate = 48000;
  info.channels = 2;
  info.bits = 16;
  info.blockAlign = 4;
  info.bitRate = 128000;
  info.samples = 100000;
  info.decoderReady = 1;
  auto const number = static_cast<int>(audio.size());
  stream.id.pid = static_cast<uint16_t>(16 + number);
  stream.id.id = static_cast<uint8_t>(0xC0 + number);
  return audio.emplace_back(std::move(stream));
}

void Library::give(Function function, int result, int call) {
  at_[function][calls_[function] + call] = {result, false};
}
void Library::giveAlways(Function function, int result) {
  always_[function] = std::make_unique<Outcome>(Outcome{result, false});
}
void Library::raise(Function function, int call) { at_[function][calls_[function] + call] = {0, true}; }
void Library::raiseAlways(Function function) {
  always_[function] = std::make_unique<Outcome>(Outcome{0, true});
}
void Library::behave(Function function) {
  at_[function].clear();
  always_[function].reset();
}

int Library::alive() const {
  auto const count =
      std::count_if(instances.begin(), instances.end(), [](auto const& i) { return i->alive; });
  return static_cast<int>(count + static_cast<long>(readers.size()));
}

Library::Outcome const* Library::enter(Function function) {
  int const call = ++calls_[function];
  if (onCall) onCall(function);
  auto const found = at_[function].find(call);
  Outcome const* const outcome = found != at_[function].end() ? &found->second : always_[function].get();
  if (outcome && outcome->raises) throw Raised{};
  return outcome;
}

}  // namespace scripted

using scripted::current;
using scripted::State;
using scripted::stateOf;

MpegIn* mpegInNew(MpegResourceGetter getter, int reserved) {
  scripted::expectReserved(reserved == 0);
  if (current->enter(scripted::kNew)) return nullptr;
  // As a plain block, so that a test can leave it to the caller's free.
  auto* const instance = new (std::calloc(1, sizeof(MpegIn))) MpegIn{};
  current->instances.push_back(std::make_unique<scripted::Instance>());
  State state{};
  state.record = current->instances.back().get();
  state.getter = getter;
  scripted::states.emplace(instance, std::move(state));
  if (current->onNew) current->onNew(*instance);
  return instance;
}

int mpegInGetInfo(MpegIn* instance) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  ++state->record->parsed;
  state->record->set = instance->set;
  state->record->io = instance->io;
  state->record->fourcc = instance->video.fourcc;
  if (auto const* outcome = current->enter(scripted::kGetInfo)) return outcome->result;
  scripted::describe(*instance, *state);
  state->video = current->video.empty() ? nullptr : &current->video.front();
  state->audio = current->audio.empty() ? nullptr : &current->audio.front();
  scripted::report(*instance, *state);
  if (current->onInfo) current->onInfo(*instance);
  return kMpegOk;
}

int mpegInOpen(MpegIn* instance, char const*) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  scripted::Instance& record = *state->record;
  ++record.opened;
  record.set = instance->set;
  record.io = instance->io;
  record.fourcc = instance->video.fourcc;
  record.primaries = instance->video.primaries;
  record.transfer = instance->video.transfer;
  record.matrix = instance->video.matrix;
  if (current->onOpening) current->onOpening(*instance);
  if (auto const* outcome = current->enter(scripted::kOpen)) return outcome->result;
  if (current->blockBytes && !state->block)
    state->block = reinterpret_cast<void* (*)(size_t)>(state->getter("malloc"))(current->blockBytes);
  scripted::describe(*instance, *state);
  state->video = nullptr;
  state->audio = nullptr;
  int const wanted = instance->set.videoStream;
  if (wanted > 0 && wanted <= instance->nVideo)
    state->video = &current->video[static_cast<size_t>(wanted - 1)];
  for (int format = 0; format < kAudioFormats; ++format) {
    int number = instance->set.audioStream[format];
    for (scripted::Audio const& audio : current->audio)
      if (audio.format == format && --number == 0) state->audio = &audio;
  }
  scripted::report(*instance, *state);
  if (current->onOpen) current->onOpen(*instance);
  return kMpegOk;
}

int mpegInVideoAuxinfo(MpegIn* instance, int reserved, int request, void* record, int value) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  scripted::expectReserved(reserved == 0);
  state->record->videoAux.emplace_back(request, value);
  if (auto const* outcome = current->enter(scripted::kVideoAux)) {
    // Filled all the same: who is told of a failure may not look at it.
    if (outcome->result != kMpegOk && request == kAuxUserDataMpeg && state->video)
      scripted::fillUserData(*state, *static_cast<MpegUserData*>(record));
    return outcome->result;
  }
  switch (request) {
    case kAuxExtendedHeader:
      *static_cast<MpegExtendedHeader const**>(record) = &current->header;
      return kMpegOk;
    case kAuxUserDataMpeg:
      if (!state->video) return kMpegErrorUnsupported;
      return scripted::fillUserData(*state, *static_cast<MpegUserData*>(record));
    case kAuxUserDataH264:
      if (!state->video) return kMpegErrorUnsupported;
      return scripted::fillSei(*state, *static_cast<MpegSeiList const**>(record));
    case kAuxThreads:
    case kAuxSmpMode:
      return kMpegOk;
    default:
      return kMpegErrorUnsupported;
  }
}

int mpegInAudioAuxinfo(MpegIn* instance, int reserved, int request, void* record, int size) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  scripted::expectReserved(reserved == 0);
  auto* const bytes = static_cast<uint8_t*>(record);
  state->record->audioAux.emplace_back(request, std::vector<uint8_t>(bytes, bytes + size));
  if (auto const* outcome = current->enter(scripted::kAudioAux)) return outcome->result;
  // Dolby records tell which one they are.
  if (request != kAuxSampleFormat) std::memset(record, request & 0xFF, static_cast<size_t>(size));
  return kMpegOk;
}

int mpegInSeekFrame(MpegIn* instance, int frame) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  state->record->frames.push_back(frame);
  if (auto const* outcome = current->enter(scripted::kSeekFrame)) return outcome->result;
  return scripted::show(*instance, *state, frame);
}

int mpegInGetNextFrame(MpegIn* instance) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  int const next = state->position + 1;
  if (!state->video || next >= state->video->info.frames) return kMpegEndOfStream;
  // Before anything fails: the next call gives the picture after this one.
  state->position = next;
  auto const* const outcome = current->enter(scripted::kNextFrame);
  if (!outcome) return scripted::show(*instance, *state, next);
  if (outcome->result == kMpegEndOfStream) --state->position;
  return outcome->result;
}

int mpegInSeekSample64(MpegIn* instance, int reserved1, int64_t sample, int reserved2) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  scripted::expectReserved(reserved1 == 0 && reserved2 == 0);
  state->record->samples.push_back(sample);
  if (auto const* outcome = current->enter(scripted::kSeekSample)) return outcome->result;
  state->sample = sample;
  return kMpegOk;
}

int mpegInGetNextSample(MpegIn* instance, void* buffer, int count) {
  State* const state = stateOf(instance);
  if (!state) return kMpegError;
  state->record->reads.push_back(count);
  auto const* const outcome = current->enter(scripted::kNextSample);
  if (outcome && outcome->result <= 0) return outcome->result;
  if (!state->audio) return kMpegError;
  int const wanted = outcome ? std::min(outcome->result, count) : count;
  MpegAudioInfo const& info = instance->audio;
  auto const left = std::max<int64_t>(state->audio->info.samples - state->sample, 0);
  auto const delivered = static_cast<int>(std::min<int64_t>(wanted, left));
  auto* to = static_cast<uint8_t*>(buffer);
  for (int i = 0; i < delivered; ++i, ++state->sample)
    for (int channel = 0; channel < info.channels; ++channel, to += scripted::bytesOf(info))
      scripted::writeSample(to, info, state->sample);
  return delivered;
}

void mpegInClose(MpegIn* instance) {
  if (!instance) return;
  if (State* const state = stateOf(instance)) ++state->record->closed;
}

void mpegInFree(MpegIn* instance) {
  if (!instance) return;
  State* const state = stateOf(instance);
  if (!state) return;
  if (current->onFree) current->onFree(scripted::numberOf(state->record));
  if (state->block) reinterpret_cast<void (*)(void*)>(state->getter("free"))(state->block);
  state->record->alive = false;
  scripted::states.erase(instance);
  if (instance != current->ownedByCaller) std::free(instance);
}

MfHandle* mfimportNew(MpegResourceGetter getter, int reserved) {
  scripted::expectReserved(!getter && reserved == 0);
  if (current->enter(scripted::kMfNew)) return nullptr;
  auto handle = std::make_unique<MfHandle>();
  current->readers.insert(handle.get());
  return handle.release();
}

int mfimportFileOpen(MfHandle* handle, char const*, MfSettings const* settings) {
  if (settings) current->readerIo = settings->io;
  if (auto const* outcome = current->enter(scripted::kMfFileOpen)) return outcome->result;
  handle->open = true;
  return kMpegOk;
}

int mfimportGetContainerInfo(MfHandle*, MfContainerInfo* info) {
  if (auto const* outcome = current->enter(scripted::kMfContainerInfo)) return outcome->result;
  *info = {static_cast<int>(current->titles.size()), current->containerType};
  return kMpegOk;
}

// Records are filled whatever comes of it: who is told of a failure may not look at them.
int mfimportGetTitleInfo(MfHandle*, int title, MfTitleInfo* info) {
  auto const* const outcome = current->enter(scripted::kMfTitleInfo);
  info->streams = static_cast<int>(current->titles[static_cast<size_t>(title)].size());
  return outcome ? outcome->result : kMpegOk;
}

int mfimportGetStreamInfo(MfHandle*, int title, int stream, MfStreamInfo* info) {
  auto const* const outcome = current->enter(scripted::kMfStreamInfo);
  scripted::Track const* const track = scripted::trackAt(title, stream);
  if (track) *info = track->info;
  if (outcome) return outcome->result;
  return track ? kMpegOk : kMpegErrorNoStream;
}

MfStream* mfimportStreamNew(MfHandle*, int title, int stream, int accessMode) {
  if (current->enter(scripted::kMfStreamNew) || accessMode != 2) return nullptr;
  scripted::Track const* const track = scripted::trackAt(title, stream);
  if (!track) return nullptr;
  auto reader = std::make_unique<MfStream>(MfStream{track});
  current->readers.insert(reader.get());
  return reader.release();
}

int mfimportStreamSeek(MfStream* stream, int64_t position, MfUnit* unit) {
  if (auto const* outcome = current->enter(scripted::kMfStreamSeek)) return outcome->result;
  auto const& units = stream->track->units;
  if (position >= static_cast<int64_t>(units.size())) return kMpegEndOfStream;
  stream->next = static_cast<size_t>(position);
  if (unit) *unit = units[stream->next++];
  return kMpegOk;
}

int mfimportStreamGetNext(MfStream* stream, MfUnit* unit) {
  if (auto const* outcome = current->enter(scripted::kMfStreamNext)) return outcome->result;
  if (stream->next >= stream->track->units.size()) return kMpegEndOfStream;
  *unit = stream->track->units[stream->next++];
  return kMpegOk;
}

void mfimportStreamFree(MfStream* stream) {
  scripted::forget(stream);
  delete stream;
}

void mfimportFileClose(MfHandle* handle) {
  if (!handle->open) ++current->misused;
  handle->open = false;
  ++current->fileCloses;
}

void mfimportFree(MfHandle* handle) {
  scripted::forget(handle);
  delete handle;
}
