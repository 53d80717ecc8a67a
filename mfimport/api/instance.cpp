#include "mfimport/api/instance.h"

#include <algorithm>
#include <cstring>

#include "mfimport/api/open_media.h"
#include "mfimport/headers/classify.h"
#include "mfimport/video/video_codec.h"

using namespace mfimport;

int MpegInImpl::report(int result, char const* what, long long number, std::string const& error) const {
  host.error(formatted("mfimport: '%s': %s %lld: %s", name_.c_str(), what, number, error.c_str()));
  return result;
}

int MpegInImpl::reportDecoding(char const* what, long long number, Error const& error) const {
  if (error.fault == Fault::end) return kMpegEndOfStream;
  return report(decodingCode(error.fault), what, number, error.text);
}

void MpegInImpl::close() {
  video_.reset();
  overlay_.reset();
  audio_.reset();
  dolby_.reset();
  table_.reset();
  media_.reset();
  userEntries_.clear();
  userPointers_.clear();
  seiEntries_.clear();
}

int MpegInImpl::load(char const* name) {
  // Held until the file is found again, which then need not be parsed again.
  std::shared_ptr<Media const> const before = media_;
  close();
  name_ = name;
  access_ = accessOf(self.io, name_);
  auto media = openMedia(access_, name_, self.set.searchLimit, host);
  if (!media) return reportOpening(host, name_, media.error());
  media_ = media.take();
  table_ = std::make_unique<StreamTable>(*media_);
  publishCounts();
  return kMpegOk;
}

void MpegInImpl::publishCounts() {
  StreamTable const& table = *table_;
  self.containerType = media_->containerType;
  self.fileSize = media_->fileSize;
  self.nVideo = static_cast<int>(table.video.size());
  self.videoId = table.videoId.data();
  self.hasAudioDecoder = 0;
  for (int f = 0; f < kAudioFormats; ++f) {
    self.nAudio[f] = static_cast<int>(table.audio[f].size());
    self.audioId[f] = table.audioId[f].data();
    if (anyDecoder(*media_, table.audio[f])) self.hasAudioDecoder = 1;
  }
  self.nOtherAudio = 0;
  self.nSubpictures = static_cast<int>(table.subpictures.size());
  self.subpictureId = table.subpictureId.data();
  self.nUnknownVideo = table.unknownVideo;
  self.nUnknownAudio = table.unknownAudio;
  self.hasVideoDecoder = anyDecoder(*media_, table.video) ? 1 : 0;
  self.titleIsDvd = 0;
  self.dvFlag = 0;
  for (size_t const number : table.video)
    if (media_->first().streams[number].codec() == AV_CODEC_ID_DVVIDEO) self.dvFlag = 1;
}

void MpegInImpl::warnOfAbsentStreams() const {
  for (StreamIndex const& stream : media_->first().streams) {
    if (!stream.absent) continue;
    char const* kind = stream.type() == AVMEDIA_TYPE_VIDEO ? "video" : "audio";
    host.warning(
        formatted("mfimport: '%s' announces %s stream %d (%s), of which no packet is there: it is left out",
                  name_.c_str(), kind, stream.libavIndex, avcodec_get_name(stream.codec())));
  }
}

int MpegInImpl::parse(char const* name) {
  uint32_t const fourcc = self.video.fourcc;
  self.video = {};
  self.audio = {};
  self.video.fourcc = fourcc;
  if (int const result = load(name); result != kMpegOk) return result;
  warnOfAbsentStreams();
  if (!table_->video.empty()) {
    self.video = videoInfo(*media_, table_->video.front());
    self.video.fourcc = fourcc;
  }
  if (auto const first = table_->firstAudio()) {
    self.audio = audioInfo(media_, *first);
    auto const& run = table_->audio[kAudioMpegAac];
    bool const allMpeg = !run.empty() && std::all_of(run.begin(), run.end(), [&](size_t number) {
      return mpegAudioLayer(media_->first().streams[number].codec()) > 0;
    });
    self.audio.mpegAudio = allMpeg ? 1 : 0;
  }
  return kMpegOk;
}

int MpegInImpl::open(char const* name) {
  uint32_t const fourcc = self.video.fourcc;
  int const sampleFormat = self.audio.sampleFormat;
  self.video = {};
  self.audio = {};
  self.video.fourcc = fourcc;
  self.audio.sampleFormat = sampleFormat;
  threadCount_ = threadMode_ = -1;
  int result = load(name);
  if (result == kMpegOk && self.set.videoStream > 0) result = selectVideo();
  if (result == kMpegOk) result = selectAudio();
  if (result != kMpegOk) close();
  return result;
}

int MpegInImpl::selectVideo() {
  auto const wanted = static_cast<size_t>(self.set.videoStream) - 1;
  if (wanted >= table_->video.size())
    return report(kMpegErrorNoStream, "video stream", self.set.videoStream, "it does not exist");
  size_t const number = table_->video[wanted];
  uint32_t const fourcc = self.video.fourcc;
  self.video = videoInfo(*media_, number);
  self.video.fourcc = fourcc;
  if (self.set.forceFrameRate == 1 && self.video.containerFps > 0)
    self.video.rate = self.video.secondRate = self.video.containerFps;
  else if (self.set.forceFrameRate != 0 && self.video.streamFps > 0)
    self.video.rate = self.video.secondRate = self.video.streamFps;
  // The decoder proper opens at the first seek, when its threads are known; whether it can is told now.
  if (auto const codec = openVideoCodec(media_->first().streams[number], 0, {}, nullptr); !codec)
    return report(kMpegErrorNoDecoder, "video stream", self.set.videoStream, codec.error().text);
  video_ = std::make_unique<VideoDecoder>(media_, number, access_, host);
  overlay_ = std::make_unique<Overlay>(media_, number, table_->subpictures, access_, host);
  return kMpegOk;
}

int MpegInImpl::selectAudio() {
  int const* selected = std::find_if(std::begin(self.set.audioStream), std::end(self.set.audioStream),
                                     [](int number) { return number > 0; });
  if (selected == std::end(self.set.audioStream)) return kMpegOk;
  auto const& run = table_->audio[selected - std::begin(self.set.audioStream)];
  auto const wanted = static_cast<size_t>(*selected) - 1;
  if (wanted >= run.size()) return report(kMpegErrorNoStream, "audio stream", *selected, "it does not exist");
  self.audio = audioInfo(media_, run[wanted]);
  self.audio.decoderReady = 1;
  if (selected - std::begin(self.set.audioStream) == kAudioDolby)
    dolby_ = std::make_unique<DolbyPackets>(media_, run[wanted], access_);
  if (self.smartRenderOnly) return kMpegOk;
  audio_ = std::make_unique<AudioDecoder>(media_, run[wanted], access_, host);
  auto const opened = audio_->open();
  if (opened) return kMpegOk;
  audio_.reset();
  dolby_.reset();
  self.audio.decoderReady = 0;
  return report(kMpegErrorNoDecoder, "audio stream", *selected, opened.error().text);
}

namespace {

PictureTarget targetOf(MpegIn const& instance) {
  PictureTarget target{};
  std::copy_n(instance.target.plane, 4, target.plane);
  std::copy_n(instance.target.stride, 4, target.stride);
  return target;
}

}  // namespace

int MpegInImpl::seekFrame(int frame) {
  if (!video_) return kMpegErrorNoStream;
  return shown(video_->seek(frame, self.video.fourcc, targetOf(self)), frame);
}

int MpegInImpl::nextFrame() {
  if (!video_) return kMpegErrorNoStream;
  auto const result = video_->next(self.video.fourcc, targetOf(self));
  return shown(result, video_->position());
}

int MpegInImpl::shown(Result<void> const& result, long long number) {
  if (!result) return reportDecoding("picture", number, result.error());
  drawSubpicture();
  return kMpegOk;
}

// Into the target alone: decoded pictures may be referred to by others, and are kept for backward steps.
void MpegInImpl::drawSubpicture() {
  MpegSettings const& set = self.set;
  if (!set.displaySubpictures || !set.decodeSubpictures || set.overlay <= set.captionEntries) return;
  std::span<uint8_t const> palette;
  if (set.dvdPalette) palette = set.palette;
  overlay_->draw(video_->position(), set.overlay - set.captionEntries - 1, palette, self.video.fourcc,
                 targetOf(self));
}

int MpegInImpl::seekSample(int64_t sample) {
  if (!audio_) return kMpegErrorNoStream;
  // An empty stream can be opened, and so stands at its beginning.
  if (audio_->seek(sample) || sample == 0) return kMpegOk;
  return report(kMpegError, "sample", sample, "out of range");
}

int MpegInImpl::nextSamples(void* buffer, int count) {
  if (!audio_) return kMpegErrorNoStream;
  if (count < 0 || (count > 0 && !buffer)) return kMpegError;
  auto const got = audio_->read(static_cast<uint8_t*>(buffer), count);
  return got ? static_cast<int>(*got) : reportDecoding("samples, wanted", count, got.error());
}

int MpegInImpl::stats(void* record, int size) const {
  if (!record || size != static_cast<int>(sizeof(MpegDecodeStats)) || !video_) return kMpegErrorUnsupported;
  MpegDecodeStats& stats = *static_cast<MpegDecodeStats*>(record);
  stats = video_->stats();
  stats.subpictures = overlay_->packets();
  return kMpegOk;
}

int MpegInImpl::extendedHeader(void* record) {
  if (!record || !self.video.present) return kMpegErrorUnsupported;
  MpegVideoInfo const& info = self.video;
  header_ = {info.primaries, info.transfer, info.matrix, info.sourceDepth, info.chromaFormat, 0};
  if (info.sourceDepth > 8) header_.fourcc = self.video.fourcc = mpegFourcc("Y216");
  *static_cast<MpegExtendedHeader const**>(record) = &header_;
  return kMpegOk;
}

int MpegInImpl::userDataMpeg(void* record, int size) {
  if (!record || size != static_cast<int>(sizeof(MpegUserData)) || !video_) return kMpegErrorUnsupported;
  userEntries_.clear();
  userPointers_.clear();
  for (UserData const& data : video_->userData())
    if (data.type == 0xB2)
      userEntries_.push_back({static_cast<int32_t>(data.bytes.size()), data.bytes.data()});
  for (MpegUserDataEntry& entry : userEntries_) userPointers_.push_back(&entry);
  auto& out = *static_cast<MpegUserData*>(record);
  out.count = static_cast<int32_t>(userPointers_.size());
  out.entries = userPointers_.data();
  return kMpegOk;
}

int MpegInImpl::userDataH264(void* record) {
  if (!record || !video_ || !self.video.h264) return kMpegErrorUnsupported;
  seiEntries_.clear();
  for (UserData const& data : video_->userData())
    seiEntries_.push_back({data.bytes.data(), data.type, static_cast<int32_t>(data.bytes.size())});
  seiList_ = {seiEntries_.data(), static_cast<int32_t>(seiEntries_.size())};
  *static_cast<MpegSeiList const**>(record) = &seiList_;
  return kMpegOk;
}

int MpegInImpl::videoRequest(int request, void* record, int value) {
  switch (request) {
    case kAuxExtendedHeader:
      return extendedHeader(record);
    case kAuxStats:
      return stats(record, value);
    case kAuxUserDataMpeg:
      return userDataMpeg(record, value);
    case kAuxUserDataH264:
      return userDataH264(record);
    case kAuxThreads:
      if (value < 1) return kMpegErrorUnsupported;
      if (video_) video_->setThreadCount(value);
      return kMpegOk;
    case kAuxSmpMode:
      if (value < 0 || value > 2) return kMpegErrorUnsupported;
      if (video_) video_->setThreadMode(value);
      return kMpegOk;
    default:
      return kMpegErrorUnsupported;
  }
}

int MpegInImpl::sampleFormat(void const* record, int size) {
  if (!record || size != static_cast<int>(sizeof(MpegAacRequest)) || !audio_ || !audio_->isAac())
    return kMpegErrorUnsupported;
  MpegAacRequest request;
  std::memcpy(&request, record, sizeof request);
  if (request.wordSize != 2 && request.wordSize != 4) return kMpegErrorUnsupported;
  SampleLayout const layout{request.wordSize == 2 ? 16 : 24, false};
  audio_->setLayout(layout);
  self.audio.bits = layout.bits;
  self.audio.isFloat = 0;
  self.audio.blockAlign = layout.bytes() * self.audio.channels;
  self.audio.sampleFormat = request.wordSize;
  return kMpegOk;
}

int MpegInImpl::dolbyInfo(int request, void* record, int size) {
  size_t const wanted = dolbyRecordSize(request);
  if (!record || wanted == 0 || size < 0 || static_cast<size_t>(size) != wanted || !dolby_)
    return kMpegErrorUnsupported;
  int64_t const sample = audio_ ? audio_->position() : 0;
  auto const info = dolby_->at(sample);
  if (!info) return reportDecoding("bit stream information at sample", sample, info.error());
  std::memcpy(record, dolbyRecord(**info, request).data(), wanted);
  return kMpegOk;
}

int MpegInImpl::audioRequest(int request, void* record, int size) {
  return request == kAuxSampleFormat ? sampleFormat(record, size) : dolbyInfo(request, record, size);
}
