// Bases of decoders.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "host/any.h"
#include "host/api.h"
#include "host/mediatime.h"

class KyFrame;
class KyModule;
class KyPcm;

// Kinds of streams, also the bits of a kind mask.
enum KyStreamKind : int { kKindVideo = 1, kKindAudio = 2, kKindSubpic = 4 };

enum KyCodecState : int { kStateCreated = 1, kStateInitialised = 2, kStateOpened = 3 };

// Results of decode pipes beside 0.
enum KyResult : int {
  kResultError = -1,
  kResultEndOfStream = -4,
  kResultInvalidParam = -5,
  kResultInvalidOverlay = -12,
  kResultInvalidStream = -13,
  kResultNotOpened = -18
};

class KY_API KyCodec {
 public:
  explicit KyCodec(KyModule const* module);
  virtual ~KyCodec();
  KyCodec(KyCodec const&) = delete;
  KyCodec& operator=(KyCodec const&) = delete;

  virtual int init();  // state 2
  // The base knows no key and raises the invalid-parameter error.
  virtual int setParam(char const* key, Any const& value);
  virtual int getParam(char const* key, Any& value) const;
  virtual int setParamDict(
      AnyDict const& params);  // setParam for every entry; the first failure is returned, all are tried
  virtual int open();          // 0
  virtual int close();         // 0
  virtual int process();
  virtual void* getInterface(int id) const;  // null
  virtual char const* name() const;          // of the module, or "codec"
  virtual int store(AnyDict& out) const;     // "name"
  virtual int restore(AnyDict const& in);    // setParam for every entry but "name"
  virtual int call(char const* function, Any const& argument, Any& result);  // -1

  int state() const { return state_; }

  // Record code and formatted text as the instance's error and return the code. Error state is not part of
  // the value of the codec, so constant operations may fail too.
  int _setErr(int code, char const* format, ...) const KY_PRINTF(3, 4);
  int setError(int code, char const* format, ...) const KY_PRINTF(3, 4);
  int errorCode() const { return errorCode_; }
  char const* errorDesc() const { return errorDesc_.c_str(); }
  int _raiseInvalidParam(char const* key) const;  // "Invalid parameter '<key>'", kResultInvalidParam

  Any getAttr(char const* key) const;  // attribute of the module, invalid when absent
  KyModule const* module() const { return module_; }

  // Callbacks by name for libraries: "malloc", "free", "err_printf", "wrn_printf", "inf_printf",
  // "prg_printf".
  static void* get_rc(char const* name);
  static void* get_rc_ex(void* context, char const* name);  // the context is not used

 protected:
  int state_ = kStateCreated;

 private:
  KyModule const* module_;
  mutable int errorCode_ = 0;
  mutable std::string errorDesc_;
};

class KyElementaryStream;
class KyStreamTimestamps;

// One opened file as streams of pictures and samples. A pipe belongs to one thread at a time.
//
// Stream numbers are 0-based within a kind. Results: 0, or a KyResult with errorDesc() set.
class KY_API KyDecodePipe : public KyCodec {
 public:
  explicit KyDecodePipe(KyModule const* module);
  ~KyDecodePipe() override;

  virtual int countStreams(int kindMask) const;
  virtual int elementaryStream(int kind, int index, KyElementaryStream* out) const;
  virtual int getStreamParam(int kind, int index, char const* key, Any& value) const;
  virtual int streamInfo(int kind, int index, AnyDict& info) const;
  virtual int setStreamParam(int kind, int index, char const* key, Any const& value);
  virtual int seekToSample(int64_t sample, int audioIndex);
  virtual int seekToFrame(int64_t frame, int videoIndex);
  virtual int readFrame(int videoIndex);
  virtual int readSamples(int count, int audioIndex);
  virtual int frameCount(int videoIndex) const;
  virtual int64_t sampleCount(int audioIndex) const;
  virtual int readCcData(int subpicIndex, int reserved, AnyDict& out);
  // Positions one stream at a time; `kind` 1 or 2. The base turns time into a frame or sample number.
  virtual int seek(MediaTime const& time, int kind, int index);
  virtual int seekAll(MediaTime const& time);  // every selected video and audio stream
  virtual MediaTime duration(int kind, int index) const;
  virtual KyFrame* videoFrame(int videoIndex);
  virtual KyPcm* audioPcm(int audioIndex);
  virtual int selectStream(int kind, int index);
  virtual int deselectStream(int kind, int index);
  virtual int selected(AnyDict& out) const;
  virtual bool isSelected(int kind, int index) const;
  virtual AnyVector overrideKeys(int kind) const;
  virtual int setOverride(int kind, int index, char const* key, Any const& value);
  virtual Any const& override(int kind, int index, char const* key) const;
  virtual AnyVector overrides(int kind) const;  // dictionaries {"index", "key", "value"}
  virtual int encodedFrameSize(int videoIndex);
  virtual int readEncodedFrame(int videoIndex, unsigned char* buffer);
  virtual int setUserDataEnabled(int kind, int index, int on);
  virtual int readUserData(int kind, int index) const;
  virtual KyStreamTimestamps* frameTimestamps(int videoIndex);  // owned by the caller, or null

 private:
  std::map<std::tuple<int, int, std::string>, Any> overrides_;
};
