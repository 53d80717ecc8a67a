// A replacement of the import library for tests: it holds no file, does what a test scripts and records what
// it is asked. A program that links scriptedlib.cpp calls it in the library's place.
//
// One Library at a time. A picture that it decodes carries its number in its first four bytes (little-endian)
// and the overlay shown in the fifth; sample n carries n in every channel.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "mfimport/mfimport.h"

namespace scripted {

// Functions whose results can be scripted. One that gives a pointer gives null for every scripted result.
enum Function {
  kNew,
  kGetInfo,
  kOpen,
  kVideoAux,
  kAudioAux,
  kSeekFrame,
  kNextFrame,
  kSeekSample,
  kNextSample,
  kMfNew,
  kMfFileOpen,
  kMfContainerInfo,
  kMfTitleInfo,
  kMfStreamInfo,
  kMfStreamNew,
  kMfStreamSeek,
  kMfStreamNext,
  kFunctions
};

// What a function throws that is told to.
struct Raised {};

struct Packet {
  std::vector<uint8_t> bytes;
  int type = 4;       // SEI payload type
  bool null = false;  // an entry without data
};
using Packets = std::map<int, std::vector<Packet>>;  // by picture number

struct Video {
  MpegVideoInfo info;
  MpegStreamId id;
  Packets userData;  // MPEG user data
  Packets sei;       // H.264
};

struct Audio {
  MpegAudioFormat format;
  MpegAudioInfo info;
  MpegStreamId id;
};

struct Track {  // of the container reader
  MfStreamInfo info;
  std::vector<MfUnit> units;
};

// What was asked of one decoder instance; kept after it is gone.
struct Instance {
  MpegSettings set;  // as the last opening found it
  MpegExternalIo io;
  uint32_t fourcc;                  // as the last opening or parsing found it
  int primaries, transfer, matrix;  // as the last opening found them
  int opened = 0;
  int parsed = 0;
  int closed = 0;
  bool alive = true;
  std::vector<std::pair<int, int>> videoAux;                   // request, value
  std::vector<std::pair<int, std::vector<uint8_t>>> audioAux;  // request, record as passed
  std::vector<int> frames;                                     // sought
  std::vector<int64_t> samples;                                // sought
  std::vector<int> reads;                                      // numbers of samples asked for
};

class Library {
 public:
  Library();
  ~Library();
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;

  // The file. Audio streams are to be added format by format, as the library numbers them.
  Video& addVideo();                        // MPEG-2, 64x48, 4:2:0, 25 pictures/s, 100 pictures, progressive
  Audio& addAudio(MpegAudioFormat format);  // 48000 Hz, 2 channels, 16 bits, 100000 samples
  std::vector<Video> video;
  std::vector<Audio> audio;
  std::vector<std::vector<Track>> titles;  // for the container reader
  int containerType = kContainerMp4;
  int dvFlag = 0;
  int subpictures = 0;
  int unknownVideo = 0;
  int unknownAudio = 0;
  int hasVideoDecoder = 1;
  int hasAudioDecoder = 1;
  int titleIsDvd = 0;
  int64_t fileSize = 123456;
  MpegExtendedHeader header{2, 2, 2, 8, 1, 0};
  size_t blockBytes = 0;            // every opening takes this much from the allocator it was handed
  MpegIn* ownedByCaller = nullptr;  // freeing this instance leaves its block, from malloc, to the caller

  // First words on an instance that was just made.
  std::function<void(MpegIn&)> onNew;
  // First words on an instance that is opened, before the opening does or fails at anything.
  std::function<void(MpegIn&)> onOpening;
  // Last words on what an instance reports after it was parsed or opened.
  std::function<void(MpegIn&)> onInfo;
  std::function<void(MpegIn&)> onOpen;
  // Before a function does anything.
  std::function<void(Function)> onCall;
  // Before the instance of this number is released.
  std::function<void(size_t)> onFree;

  // Outcomes in place of the function's own: of the `call`-th call from now on (1: the next), or of all. A
  // picture that mpegInGetNextFrame fails to decode is passed, whatever it is that fails.
  void give(Function function, int result, int call = 1);
  void giveAlways(Function function, int result);
  void raise(Function function, int call = 1);
  void raiseAlways(Function function);
  void behave(Function function);  // forgets the outcomes

  int calls(Function function) const { return calls_[function]; }
  std::vector<std::unique_ptr<Instance>> instances;  // in the order they were made
  int alive() const;                                 // instances, reader handles and reader streams
  // Instances, handles and streams that were freed twice or used after they were freed; reserved arguments
  // that were not 0.
  int misused = 0;
  int fileCloses = 0;
  MpegExternalIo readerIo{};  // as the last opening of a container reader found it

  // For the replaced functions.
  struct Outcome {
    int result = 0;
    bool raises = false;
  };
  Outcome const* enter(Function function);
  std::set<void*> readers;

 private:
  std::map<int, Outcome> at_[kFunctions];
  std::unique_ptr<Outcome> always_[kFunctions];
  int calls_[kFunctions] = {};
};

}  // namespace scripted
