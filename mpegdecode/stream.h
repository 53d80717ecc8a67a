// Stream objects: one per elementary stream of an opened file, with its decoder and its description.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/any.h"
#include "host/frame.h"
#include "host/pcm.h"
#include "host/ptrlist.h"
#include "mfimport/mfimport.h"

// Names of the stream kinds in messages, and as keys of the collection of a kind; video, audio, subpicture.
struct StreamTypeName {
  int kind;
  char const* name;
  char const* collection;
};
extern StreamTypeName const streamTypeNames[3];

constexpr int kSubpicTypeCaptions = 4;  // description key "type" of a closed-caption entry

// Base of all stream objects. A closed stream stays in its list, so stream numbers do not move.
class MpegInStream {
 public:
  explicit MpegInStream(int streamIndex) : index(streamIndex) {}
  virtual ~MpegInStream() = default;
  MpegInStream(MpegInStream const&) = delete;
  MpegInStream& operator=(MpegInStream const&) = delete;

  // Fills `info` from the decoder's information.
  virtual void store() = 0;

  void setIdentity(MpegStreamId const& record);

  Any name;
  MpegIn* decoder = nullptr;  // own instance, or the pipe's shared one
  uint16_t pid = 0;
  uint8_t id = 0;
  uint8_t subId = 0;
  uint16_t programNumber = 0;
  uint32_t reserved32 = 0;
  uint16_t reserved16 = 0;
  int32_t index;  // number within the kind, as the file has it; -1 none
  AnyDict info;
  bool selected = false;
  bool ownsDecoderMemory = false;  // the instance's block came from malloc and goes back to free
  bool endOfStream = false;
};

struct MpegColour {
  int primaries = 2, transfer = 2, matrix = 2;  // ISO/IEC 23091-2 code points, 2 unspecified
};
// That of the stream; what it leaves unspecified is that of `otherwise`.
MpegColour colourOf(MpegVideoInfo const& video, MpegColour const& otherwise);

class MpegInVideoStream : public MpegInStream {
 public:
  MpegInVideoStream(MpegIn const& file, int streamIndex);
  void store() override;

  std::unique_ptr<KyFrame> frame;    // output
  std::unique_ptr<KyFrame> scratch;  // full picture when `frame` is a view into it
  bool framePending = false;         // the next readFrame has nothing to decode
  int64_t passedPictures = 0;        // failed to decode since `frame` was filled: the decoder is past them
  bool userDataEnabled = false;
  uint32_t colorRange = 1;
  MpegColour headerColour;  // by the headers of the file, where they describe this stream
};

// One block of 1536 sample frames is what a Dolby sync frame carries (ATSC A/52, 6 blocks of 256).
class AudioBlockBuffer {
 public:
  static constexpr uint32_t kSampleFrames = 1536;
  static constexpr uint32_t kKeepBlocks = 0xFFFFFFFF;

  AudioBlockBuffer(MpegIn const* file, uint32_t bytesPerSampleFrame, uint32_t blocks);
  // Allocates room for eight 16-bit channels in every block, whatever `bytesPerSampleFrame` is.
  void resize(uint32_t bytesPerSampleFrame, uint32_t blocks);
  int reset();

  std::vector<uint8_t> const& data() const { return data_; }
  int32_t filled() const { return filled_; }
  MpegIn const* file() const { return file_; }
  uint32_t blocks() const { return blocks_; }
  uint32_t bytesPerSampleFrame() const { return bytesPerSampleFrame_; }

 private:
  Any attributes_[2];  // of the last block
  std::vector<uint8_t> data_;
  int32_t filled_ = 0;
  MpegIn const* file_;
  uint32_t blocks_;
  uint32_t bytesPerSampleFrame_;
};

class DolbyMetadataTracker;

class MpegInAudioStream : public MpegInStream {
 public:
  MpegInAudioStream(MpegIn const& file, int streamIndex);
  ~MpegInAudioStream() override;
  void store() override;
  // By its name, which opening may change: among Dolby streams an instance may find MPEG audio.
  bool isDolby() const;

  std::unique_ptr<KyPcm> pcm;      // output
  std::unique_ptr<KyPcm> scratch;  // source of conversions
  std::unique_ptr<AudioBlockBuffer> blocks;
  std::unique_ptr<DolbyMetadataTracker> tracker;
  int32_t format = -1;       // MpegAudioFormat of the run of streams that it was listed in
  int32_t formatIndex = -1;  // number within the audio format
  int64_t sampleCount = 0;   // leading silence included
  int32_t syncDelaySamples = 0;
  uint32_t use32BitSamples = 0;
  // The one sample that an odd request of paired 24-bit samples left over.
  std::vector<uint8_t> carry;
  int carrySamples = 0;

 private:
  void refreshIdentity();
};

class MpegInSubpicStream : public MpegInStream {
 public:
  explicit MpegInSubpicStream(int streamIndex);
  void store() override;

  MpegInVideoStream* captionSource = nullptr;  // of closed captions; not owned
};

// Pointers only; the decoder deletes the streams.
class MpegInStreamList : public TPtrList<MpegInStream> {};

// The selected stream at the index, else null.
MpegInStream* selectedStream(MpegInStreamList const& list, int index);

// Place in decoding order and time of a picture.
struct FrameTime {
  int64_t sortKey;
  int64_t time;  // 27 MHz
};
// Ascending by sort key, equal keys in their order.
void sortFrameTimes(std::vector<FrameTime>& times);

// A library instance; closing and releasing is the deleter's.
struct MpegInDeleter {
  void operator()(MpegIn* instance) const { mpegInFree(instance); }
};
using MpegInPtr = std::unique_ptr<MpegIn, MpegInDeleter>;

// Sets the selection of host audio stream `streamIndex` in `settings`, by the counts of `counts`.
void selectAudioStream(MpegSettings& settings, MpegIn const& counts, int streamIndex);
