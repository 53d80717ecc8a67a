// The import library: containers opened, pictures and samples decoded by number.
//
// Two families of plain functions:
//   mpegIn*    one decoder instance per opened stream (or one that only parses): parse, decode, seek;
//   mfimport*  a container reader that lists titles, streams and access units with their time stamps.
//
// Threads: an instance or handle belongs to one thread at a time; different instances run in different
// threads without locks of the caller, also on the same file (they share one immutable index of it).
// Errors: no function throws. Texts go to the printers that the resource getter hands out.
// Time stamps are signed counts of a 27 MHz clock, the system clock of ISO/IEC 13818-1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cwchar>

#include "mfimport/requests.h"

#define MFIMPORT_API __attribute__((visibility("default")))

// Identity of one elementary stream. Transport streams: packet identifier, PES stream id, program number.
// Program streams: stream id, and the sub-stream byte of private streams in `id` and `subId`. Every other
// container: `pid` is the number of the stream among video, audio and subtitle streams in file order.
struct MpegStreamId {
  uint16_t pid;
  uint8_t id;
  uint8_t subId;
  uint16_t program;
  uint32_t reserved32;
  uint16_t reserved16;
};

// Audio numbers of a file run format by format in this order, and by file order within a format.
enum MpegAudioFormat {
  kAudioMpegAac = 0,  // MPEG-1/2 layers I to III, AAC
  kAudioLpcm = 1,
  kAudioDolby = 2,  // AC-3, E-AC-3
  kAudioAes3 = 3,   // SMPTE 302M, PCM in MXF; PCM in QuickTime
  kAudioAmr = 4,
  kAudioWma = 5,
  kAudioDts = 6,
  kAudioFormats = 7
};

// MpegIn::containerType, also the file type code of descriptions.
enum MpegContainer {
  kContainerElementary = 0,  // elementary stream, raw audio, WAV
  kContainerMpeg1System = 1,
  kContainerMpeg2Program = 2,
  kContainerTransport = 3,  // packets of 188 or 204 bytes
  kContainerMp4 = 4,        // MP4 family, and take lists of any clips
  kContainerMxf = 5,
  kContainerM2ts = 7,  // transport stream with packets of 192 bytes
  kContainerDmf = 8,
  kContainerAvi = 9,
  kContainerAsf = 10,
  kContainerDv = 11,
  kContainerGxf = 12,
  kContainerFlv = 13,
  kContainerOther = 14,
  kContainerQuickTime = 18,    // brand "qt  ", or no file type box
  kContainerMxfAvcIntra = 19,  // MXF with intra coded 10-bit H.264
  kContainerMatroska = 20
};

// System and program streams. They name their streams by `id`, every other container by `pid`.
constexpr bool mpegIsProgramStream(int containerType) {
  return containerType == kContainerMpeg1System || containerType == kContainerMpeg2Program;
}
constexpr bool mpegIsTransportStream(int containerType) {
  return containerType == kContainerTransport || containerType == kContainerM2ts;
}

// The matrix (ISO/IEC 23091-2 code) of pictures that tell none: BT.709 from 720 lines on, BT.601 below, also
// of those that carry lines of blanking (608 and 512, SMPTE ST 356).
constexpr int mpegMatrixOfHeight(int height) { return height >= 720 ? 1 : 6; }

// Facts about the video stream of an instance; all zero when there is none.
struct MpegVideoInfo {
  int present;  // 1 when the instance decodes (or, after parsing, the file holds) video

  // Coding, one flag set at most; none of them means MPEG-1, MPEG-2 (mpeg2 set) or a codec without a name.
  int mpeg2, h264, jpeg2000, vc1, hevc, dv, mpeg4;

  // Output format of decoded pictures, a FOURCC in memory order (MPEG_FOURCC). Written by the caller
  // before the first seek: I420, YUYV, BGR4, Y216, W016. Cleared before parsing; parsing a source of more
  // than 8 bits sets Y216 through kAuxExtendedHeader.
  uint32_t fourcc;

  int width, height;                    // pixels of decoded pictures
  int containerWidth, containerHeight;  // pixels as the container's sample entry says
  double bitRate;                       // bits per second, 0 unknown
  double rate;                          // coded pictures per second (F)
  double secondRate;                    // displayed pictures per second (R); equals rate without repeats
  double containerFps, streamFps;       // as reported by the container, by the elementary stream
  int frames;                           // pictures that can be shown, exact
  int progressive, topFieldFirst, dropFrame;          // 0 or 1
  int gopN, gopM;                                     // distance of key pictures, of anchors, in pictures
  int primaries, transfer, matrix;                    // ISO/IEC 23091-2 code points, 2 unspecified
  int frameDct;                                       // picture_coding_extension frame_pred_frame_dct
  int vbvDelay;                                       // vbv_delay of the first picture, 65535 for VBR
  int64_t firstPts;                                   // of the first shown picture, 27 MHz
  int cbr;                                            // H.264 HRD cbr_flag
  int aspectCode;                                     // MPEG-1/2 aspect_ratio_information
  int displayExtension, displayWidth, displayHeight;  // MPEG-2 sequence_display_extension
  int aspectPresent, aspectIdc, sarWidth, sarHeight;  // MPEG-4, H.264, HEVC: VUI aspect ratio
  int chromaFormat;                                   // 1 4:2:0, 2 4:2:2 (and 4:1:1), 3 4:4:4
  int sourceDepth;                                    // bits per component of the source
  int highPrecision;                                  // output of more than 8 bits whatever the source
  uint32_t profileType;                               // code of the profile name table
  int selB, selC, selA;  // b: 1 program stream; c: 6 HD, 5 SIF, 4 other; a: chroma format
};

// Facts about the audio stream of an instance; all zero when there is none.
struct MpegAudioInfo {
  int64_t firstPts;  // of the first sample, 27 MHz
  int64_t samples;   // per channel, exact, priming and padding trimmed
  int rate;          // Hz
  int bits;          // per delivered sample: 16, 20 and 24 (both packed in 3 bytes), 32
  int isFloat;       // 1 when 32-bit samples are floats of full scale 1.0
  int channels;
  uint64_t speakers;   // of the channels, in rising order, bits as WAVE numbers speakers; 0 unknown
  int bitRate;         // bits per second
  int blockAlign;      // bytes per delivered sample of all channels
  int mpegAudio;       // layer of an MPEG-1/2 audio stream, else 0; after parsing alone: 1 when every stream
                       // of the MPEG/AAC run is MPEG audio
  int acmod, lfeon;    // AC-3 audio coding mode 0..7 and LFE flag, ATSC A/52 5.4.2
  int leadingSamples;  // priming samples before the first one delivered; 0, trimming is done inside
  int decoderReady;    // 1 after opening when samples, or in pass-through packets, can be read
  int sampleFormat;    // sample format code last asked for with kAuxSampleFormat, 0 none
};

// File access supplied by the caller, used by every handle that the instance opens. `user` comes first in
// all of them; mode 0 opens for reading; whence as fseek has it, seek returns the new position, negative on
// error; read returns bytes, 0 at the end, negative on error. openW is never called: names are narrow.
struct MpegExternalIo {
  int on;  // 1 to use the functions below
  void* user;
  int64_t size;  // bytes, of the file named in the opening call
  void* (*open)(void* user, char const* name, int mode);
  void* (*openW)(void* user, wchar_t const* name, int mode);
  int64_t (*seek)(void* user, void* handle, int64_t position, int whence);
  int (*read)(void* user, void* handle, void* buffer, int bytes);
  int (*close)(void* user, void* handle);
};

// What the caller writes before parsing or opening.
struct MpegSettings {
  int searchMode;                  // hint
  int searchLimit;                 // MiB of the file that probing may read, 0 the default
  int fastAccess;                  // hint
  int fixed[3];                    // hints, 1 each
  int forceFrameRate;              // 0 as measured, 1 container rate, other: elementary stream rate
  int videoStream;                 // 1-based video stream to decode, 0 none
  int audioStream[kAudioFormats];  // 1-based within the format; at most one of them is not 0
  int decodeVideo[2];              // video decoded beside audio to keep both in step
  int decodingMode;                // hint: 4 decoded audio, 7 packets for pass-through
  int decode[3];                   // hints of audio decoding, cleared for pass-through
  int dvdTitle;                    // the file is a DVD-style title
  int dvdPalette;                  // `palette` below is in force
  uint8_t palette[64];             // 16 default subpicture colours of 4 bytes (0, Y, Cr, Cb)
  int decodeSubpictures;           // subpictures can be overlaid
  int displaySubpictures;          // overlay now; may change at any time, as the two below
  int overlay;                     // 1-based entry of the caller's list of subpictures shown, 0 none
  int captionEntries;              // entries of that list in front of the file's own; those are not drawn
};

struct MpegInImpl;

// One decoder instance. The caller configures `fileName`, `set`, `io`, `target` and the fields marked so;
// everything else is the library's to write and stays valid until the next opening, mpegInClose or
// mpegInFree. Strings and arrays are owned by the library.
struct MpegIn {
  char const* fileName;  // written around mpegInGetInfo, UTF-8 or bytes of the file system
  MpegSettings set;
  MpegExternalIo io;

  // Where decoded pictures are written: planes top-down, strides in bytes. Must stay valid while pictures
  // are decoded. Rows may be written up to the stride.
  struct {
    uint8_t* plane[4];
    int stride[4];
  } target;

  int containerType;          // MpegContainer
  int dvFlag;                 // 1 when the video is DV
  int nVideo;                 // video streams that can be named
  int nAudio[kAudioFormats];  // audio streams by format
  int nOtherAudio;            // further decodable audio streams
  int nSubpictures;           // bitmap subtitle streams; 0 without video
  int nUnknownVideo, nUnknownAudio;
  int64_t fileSize;             // bytes; of take lists the sum of their clips
  int titleIsDvd;               // 1 for a DVD-style title
  int hasVideoDecoder;          // a decoder exists for at least one video stream
  int hasAudioDecoder;          // likewise for audio
  int smartRenderOnly;          // written by the caller: packets are passed through, nothing is decoded
  MpegVideoInfo video;          // of the selected stream; after parsing alone, of the first
  MpegAudioInfo audio;          // likewise
  MpegStreamId const* videoId;  // nVideo records
  MpegStreamId const* audioId[kAudioFormats];  // nAudio[f] records each
  MpegStreamId const* subpictureId;            // nSubpictures records

  MpegInImpl* impl;
};

// Results of mpegIn* calls beside 0 and the operation's own.
enum MpegResult {
  kMpegOk = 0,
  kMpegError = -1,
  kMpegEndOfStream = 2,
  kMpegErrorOpen = -101,         // file cannot be opened or read
  kMpegErrorFormat = -102,       // no known container, or not allowed
  kMpegErrorNoStream = -103,     // the selected stream does not exist
  kMpegErrorNoDecoder = -104,    // no decoder for the selected stream
  kMpegErrorTakeList = -105,     // take list with clips that do not fit together, or missing
  kMpegErrorUnsupported = -106,  // request that the stream does not support
  kMpegErrorMemory = -107
};

constexpr uint32_t mpegFourcc(char const (&text)[5]) {
  return static_cast<uint32_t>(static_cast<unsigned char>(text[0])) |
         static_cast<uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

// The mpegInGetAPIExt query for versions.
struct MpegModuleVersion {
  int32_t type;  // -1 on entry, 1 for this full record on return
  int32_t major, minor, revision, build;
};

extern "C" {

// Hands out callbacks by name: "malloc" void*(size_t), "free" void(void*), "err_printf", "wrn_printf",
// "inf_printf" void(const char*, ...), "prg_printf" void(int, const char*, ...). An unknown name gives
// null, and a null callback is never called. Allocations may come from threads of the decoder.
typedef void* (*MpegResourceGetter)(char const* name);

// A new instance, or null. `getter` may be null. To be released with mpegInFree.
MFIMPORT_API MpegIn* mpegInNew(MpegResourceGetter getter, int reserved);

// Parses the file named by `fileName` and fills counts, identities and the facts of the first streams.
// 0, or a MpegResult.
MFIMPORT_API int mpegInGetInfo(MpegIn* instance);

// Opens the file for decoding the streams selected in `set`. 0 when ready, or a MpegResult. An instance
// opened before is closed first. `name` may be the take list of a camera card ("XMP4").
MFIMPORT_API int mpegInOpen(MpegIn* instance, char const* name);

// `request` one of MpegVideoAux. 0, or a MpegResult. Thread settings take effect at the next seek.
MFIMPORT_API int mpegInVideoAuxinfo(MpegIn* instance, int reserved, int request, void* record, int value);

// `request` one of MpegAudioAux; `size` bytes at `record`. 0, or a MpegResult.
MFIMPORT_API int mpegInAudioAuxinfo(MpegIn* instance, int reserved, int request, void* record, int size);

// Decodes picture `frame` (0-based, display order) into the target. 0, kMpegEndOfStream at or past the
// end, or a MpegResult; then the target holds what it held, and mpegInGetNextFrame goes on as without the
// call.
MFIMPORT_API int mpegInSeekFrame(MpegIn* instance, int frame);

// Decodes the picture after the last one. Results as mpegInSeekFrame. A picture that cannot be decoded
// is an error at its own place: the target and the user data stay those of the picture shown last, and the
// next call gives the picture after the one that failed.
MFIMPORT_API int mpegInGetNextFrame(MpegIn* instance);

// Positions audio so that `sample` is delivered next. 0, or a MpegResult; past the end is an error.
MFIMPORT_API int mpegInSeekSample64(MpegIn* instance, int reserved1, int64_t sample, int reserved2);

// Delivers up to `count` samples of all channels, interleaved, in the format of `audio`. The number
// delivered; 0 at the end; negative on error.
MFIMPORT_API int mpegInGetNextSample(MpegIn* instance, void* buffer, int count);

// Releases files and decoders; the instance can be opened again. Null is ignored, here and below.
MFIMPORT_API void mpegInClose(MpegIn* instance);
MFIMPORT_API void mpegInFree(MpegIn* instance);

// Component query: mpegInGetAPIExt(1) returns a `int (*)(int query, void* out)` that answers 1 (component
// name, up to 128 bytes of text), 3 (MpegModuleVersion) and 4 (version text) with 0; anything else null.
MFIMPORT_API void* mpegInGetAPIExt(int query);

// Container reader.

struct MfHandle;
struct MfStream;

struct MfSettings {
  MpegExternalIo io;
  int searchLimit;  // MiB, 0 the default
};

struct MfContainerInfo {
  int titles;
  int containerType;  // MpegContainer
};

struct MfTitleInfo {
  int streams;  // video, audio and subpicture streams
};

struct MfStreamInfo {
  int typeCode;    // 2..10 video (1 unknown), 131..140 audio, 200 subpicture, 201 data
  int identifier;  // as descriptions match it: `id` in system and program streams, else `pid`
  MpegStreamId id;
  int64_t firstPts;  // 27 MHz
  int frames;        // pictures (video) or packets
};

// One access unit.
struct MfUnit {
  int64_t pts;          // 27 MHz
  int64_t startOffset;  // from the unit's start to its first sample, 27 MHz
  int64_t sortKey;      // display number
  int64_t time;         // of the picture shown, 27 MHz
  int size;             // bytes
};

// Null on failure; released with mfimportFree, which closes first. Both arguments are reserved, 0.
MFIMPORT_API MfHandle* mfimportNew(MpegResourceGetter getter, int reserved);
// `settings` may be null. 0, or a MpegResult.
MFIMPORT_API int mfimportFileOpen(MfHandle* handle, char const* name, MfSettings const* settings);
MFIMPORT_API int mfimportGetContainerInfo(MfHandle* handle, MfContainerInfo* info);
MFIMPORT_API int mfimportGetTitleInfo(MfHandle* handle, int title, MfTitleInfo* info);
MFIMPORT_API int mfimportGetStreamInfo(MfHandle* handle, int title, int stream, MfStreamInfo* info);
// `accessMode` 2: access units in decoding order. Null on failure; released with mfimportStreamFree
// before the handle is closed.
MFIMPORT_API MfStream* mfimportStreamNew(MfHandle* handle, int title, int stream, int accessMode);
// Positions on unit `position` and reports it in `unit`, which may be null; the next mfimportStreamGetNext
// reports the unit after it if `unit` was given, else this one. 0, kMpegEndOfStream or a MpegResult.
MFIMPORT_API int mfimportStreamSeek(MfStream* stream, int64_t position, MfUnit* unit);
MFIMPORT_API int mfimportStreamGetNext(MfStream* stream, MfUnit* unit);
MFIMPORT_API void mfimportStreamFree(MfStream* stream);
MFIMPORT_API void mfimportFileClose(MfHandle* handle);
MFIMPORT_API void mfimportFree(MfHandle* handle);
}
