#include "mpegdecode/stream.h"

#include <algorithm>
#include <cstddef>

#include "host/codec.h"
#include "host/failure.h"

StreamTypeName const streamTypeNames[3] = {
    {kKindVideo, "video", "vids"}, {kKindAudio, "audio", "auds"}, {kKindSubpic, "subpic", "subs"}};

void MpegInStream::setIdentity(MpegStreamId const& record) {
  pid = record.pid;
  id = record.id;
  subId = record.subId;
  programNumber = record.program;
  reserved32 = record.reserved32;
  reserved16 = record.reserved16;
}

MpegInSubpicStream::MpegInSubpicStream(int streamIndex) : MpegInStream(streamIndex) { name = "Subpicture"; }

void MpegInSubpicStream::store() {
  info.set("type", 2);
  AnyDict const codecParams("id", static_cast<int>(id), "pid", static_cast<int>(pid), "sub_id",
                            static_cast<int>(subId), "program_number", static_cast<int>(programNumber));
  if (!codecParams.empty()) info.set("codecParams", codecParams);
}

MpegInStream* selectedStream(MpegInStreamList const& list, int index) {
  if (index < 0 || index >= list.size()) return nullptr;
  MpegInStream* const stream = list.at(index);
  return stream->selected ? stream : nullptr;
}

void sortFrameTimes(std::vector<FrameTime>& times) {
  std::stable_sort(times.begin(), times.end(),
                   [](FrameTime const& a, FrameTime const& b) { return a.sortKey < b.sortKey; });
}

void selectAudioStream(MpegSettings& settings, MpegIn const& counts, int streamIndex) {
  std::fill(std::begin(settings.audioStream), std::end(settings.audioStream), 0);
  int number = streamIndex;
  if (number >= 0) {
    for (int format = 0; format < kAudioFormats; ++format) {
      if (number < counts.nAudio[format]) {
        settings.audioStream[format] = number + 1;
        return;
      }
      number -= counts.nAudio[format];
    }
  }
  kyExceptionFail("./mpegdecode/mpeginutil(918)", nullptr);
}

AudioBlockBuffer::AudioBlockBuffer(MpegIn const* file, uint32_t bytesPerSampleFrame, uint32_t blocks)
    : data_(static_cast<size_t>(bytesPerSampleFrame) * kSampleFrames * blocks),
      file_(file),
      blocks_(blocks),
      bytesPerSampleFrame_(bytesPerSampleFrame) {}

void AudioBlockBuffer::resize(uint32_t bytesPerSampleFrame, uint32_t blocks) {
  constexpr size_t kBytesPerBlock = kSampleFrames * 8 * sizeof(int16_t);
  bytesPerSampleFrame_ = bytesPerSampleFrame;
  if (blocks != kKeepBlocks) blocks_ = blocks;
  data_ = std::vector<uint8_t>(blocks_ * kBytesPerBlock);
  reset();
}

int AudioBlockBuffer::reset() {
  filled_ = 0;
  for (Any& attribute : attributes_) attribute.invalidate();
  return 0;
}
