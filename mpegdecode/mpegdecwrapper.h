// A decode pipe over MpegInDec that can present the mono audio streams of a file as one.
#pragma once

#include <memory>
#include <vector>

#include "host/any.h"
#include "host/codec.h"
#include "host/pcm.h"

class MpegInDec;

// Camera files carry one mono stream per channel. With "joinMonoStreams" set, two or more of them appear as
// one stream with a channel each, in the place of the first of them; other audio streams keep their order
// around it, and audio stream numbers of this class are outward ones. A file with a Dolby stream is never
// joined. Everything else is the inner decoder's. One thread at a time, as every pipe.
//
// The error is that of the last call that failed, and none when that call gave none.
class MpegDecWrapper : public KyDecodePipe {
 public:
  explicit MpegDecWrapper(KyModule const* module);
  ~MpegDecWrapper() override;

  int init() override;
  // "joinMonoStreams" (bool) takes effect at the next open.
  int setParam(char const* key, Any const& value) override;
  int getParam(char const* key, Any& value) const override;
  int open() override;
  int close() override;
  int countStreams(int kindMask) const override;
  int getStreamParam(int kind, int index, char const* key, Any& value) const override;
  int streamInfo(int kind, int index, AnyDict& info) const override;
  int setStreamParam(int kind, int index, char const* key, Any const& value) override;
  int seekToSample(int64_t sample, int audioIndex) override;
  int seekToFrame(int64_t frame, int videoIndex) override;
  int readFrame(int videoIndex) override;
  // Of the joined stream: the largest count that one of its streams delivered. A stream that delivered less
  // is silent for the whole block.
  int readSamples(int count, int audioIndex) override;
  int frameCount(int videoIndex) const override;
  int64_t sampleCount(int audioIndex) const override;
  int readCcData(int subpicIndex, int reserved, AnyDict& out) override;
  KyFrame* videoFrame(int videoIndex) override;
  KyPcm* audioPcm(int audioIndex) override;
  int selectStream(int kind, int index) override;
  int deselectStream(int kind, int index) override;
  bool isSelected(int kind, int index) const override;
  AnyVector overrideKeys(int kind) const override;
  int setOverride(int kind, int index, char const* key, Any const& value) override;
  Any const& override(int kind, int index, char const* key) const override;
  AnyVector overrides(int kind) const override;
  int setUserDataEnabled(int kind, int index, int on) override;
  KyStreamTimestamps* frameTimestamps(int videoIndex) override;

 private:
  // Stands in `streamMap` for the joined stream: no inner audio stream has this number.
  static constexpr int kJoinedStream = 999;

  bool joining() const { return !streamMap.empty(); }
  bool shouldJoinMonoStreams() const;
  void joinMonoStreams();
  // 0, or the error -13 for a number outside this pipe's own audio streams.
  int validateAudioStream(int index) const;
  int mapped(int index) const { return streamMap.at(index).asInt32(); }
  AnyVector const& joinedStreams() const { return joinedInfo.get("_joined").asVector(); }
  bool isJoined(int kind, int index) const { return kind == kKindAudio && mapped(index) == kJoinedStream; }
  int innerIndex(int kind, int index) const { return kind == kKindAudio ? mapped(index) : index; }
  int readJoined(int count);
  int deselectJoined();

  // Makes calls of the inner decoder. When they fail (or a check in them throws out to the host), the error
  // that they leave there becomes this pipe's, since a host asks this one; no earlier one does.
  template <class Call, class Failed>
  auto forwarded(Call call, Failed failed) const {
    forgetInnerError();
    try {
      auto const result = call();
      if (failed(result)) takeInnerError();
      return result;
    } catch (...) {
      takeInnerError();
      throw;
    }
  }
  // Of a call that gives 0 for success.
  template <class Call>
  int forwarded(Call call) const {
    return forwarded(call, [](int result) { return result != 0; });
  }
  // Of one that gives a number, or a negative value.
  template <class Call>
  auto forwardedCount(Call call) const {
    return forwarded(call, [](auto result) { return result < 0; });
  }
  void forgetInnerError() const;
  void takeInnerError() const;

  // Parameters (mpegdecwrapper_params.cpp).
  int innerParam(char const* key, Any& value) const;
  void storeParams(Any& value) const;
  Any joinedChannelName(int channel) const;
  int audioParam(char const* key, Any& value) const;

  std::unique_ptr<MpegInDec> inner_;
  AnyDict joinedInfo;  // description of the joined stream; empty when nothing is joined
  KyPcm joinedPcm;
  KyPcm silencePcm;  // one channel, never written
  bool joinMonoStreams_ = false;
  AnyVector streamMap;  // by outward number: inner number or kJoinedStream; empty when nothing is joined

  struct Delivery {
    int stream;  // inner number
    int result;  // of its read
  };
  // Kept between reads for their memory.
  std::vector<Delivery> deliveries_;
  AnyVector channelBuffers_;
};
