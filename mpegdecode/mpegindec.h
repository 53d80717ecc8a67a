// One media file through the import library, as the decode pipe that hosts drive.
#pragma once

#include <cstdint>
#include <string>

#include "host/codec.h"
#include "mpegdecode/openedfile.h"
#include "mpegdecode/parameters.h"

// Keeps the settings and the open file; what concerns one stream is that stream's to do.
class MpegInDec : public KyDecodePipe {
 public:
  explicit MpegInDec(KyModule const* module);
  ~MpegInDec() override;

  int init() override;
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
  int readSamples(int count, int audioIndex) override;
  int frameCount(int videoIndex) const override;
  int64_t sampleCount(int audioIndex) const override;
  int readCcData(int subpicIndex, int reserved, AnyDict& out) override;
  KyFrame* videoFrame(int videoIndex) override;
  KyPcm* audioPcm(int audioIndex) override;
  int selectStream(int kind, int index) override;
  int deselectStream(int kind, int index) override;
  int selected(AnyDict& out) const override;
  bool isSelected(int kind, int index) const override;
  AnyVector overrideKeys(int kind) const override;
  int setOverride(int kind, int index, char const* key, Any const& value) override;
  int setUserDataEnabled(int kind, int index, int on) override;
  KyStreamTimestamps* frameTimestamps(int videoIndex) override;

  int userDataEnabled(int kind, int index) const;

 private:
  MpegInStreamList const* listOf(int kind) const;
  StreamSource source() const { return file_.source(view_); }

  // Facts of the open file (mpegindec_params.cpp).
  bool getFact(char const* key, Any const& argument, Any& value) const;
  AnyVector tsStructure() const;
  void guessedProfile(Any& value) const;
  std::string typeName() const;
  void getSrParams(Any const& argument, Any& value) const;
  void getSrAudioParams(Any const& argument, Any& value) const;
  NamedChannels dolbyChannelsOf(Any const& argument) const;
  Any channelName(int streamIndex, int channel) const;

  // Single streams (mpegindec_streams.cpp, mpegindec_streamparams.cpp).
  int selectVideo(int index);
  int selectAudio(int index);
  int selectSubpic(int index);
  int setOverlay(int videoIndex, int overlay);

  MpegInParameters params_;
  PipeView view_{*this, params_};
  OpenedFile file_;  // without anything while the pipe is not open
};
