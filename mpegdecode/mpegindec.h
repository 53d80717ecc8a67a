// One media file through the import library: streams, decoded pictures, samples.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/codec.h"
#include "host/frame.h"
#include "mpegdecode/audiostream.h"
#include "mpegdecode/parameters.h"
#include "mpegdecode/subpicstream.h"
#include "mpegdecode/videostream.h"

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

  // Parameters (mpegindec_params.cpp, mpegindec_overrides.cpp, streamparams.cpp, dolbychannels.cpp).
  bool getFact(char const* key, Any const& argument, Any& value) const;
  AnyVector tsStructure() const;
  void guessedProfile(Any& value) const;
  std::string typeName() const;
  void getSrParams(Any const& argument, Any& value) const;
  void getSrAudioParams(Any const& argument, Any& value) const;
  MpegInAudioStream const* dolbyStream(Any const& argument) const;
  void getDolbyParam(Any const& argument, Any& value) const;
  void getChannelMapping(Any const& argument, Any& value) const;
  Any channelName(int streamIndex, int channel) const;
  int getAudioParam(MpegInAudioStream const& stream, int index, char const* key, Any& value) const;
  int setOverlay(int videoIndex, int overlay);
  int applyOverride(MpegInVideoStream& stream, char const* key, Any const& value);

  // Streams (mpegindec_streams.cpp).
  int selectVideo(int index);
  int selectAudio(int index);
  int selectSubpic(int index);

  // Takes back an opening that does not succeed, also when the host's failure handler throws out of it.
  class Unwind {
   public:
    explicit Unwind(MpegInDec& pipe) : pipe_(&pipe) {}
    ~Unwind() {
      if (pipe_) pipe_->abandon();
    }
    Unwind(Unwind const&) = delete;
    Unwind& operator=(Unwind const&) = delete;
    void succeeded() { pipe_ = nullptr; }

   private:
    MpegInDec* pipe_;
  };

  // Opening (mpegindec_open*.cpp). A failing step leaves what it was given to its owner and the error set.
  void abandon();
  int checkReadable() const;
  int parseFile(MpegInPtr& file);
  int setupExternalIo(MpegExternalIo& io);
  static MpegExternalIo streamIo(MpegIn const& file);
  int refuseDv(MpegIn& file);
  void createStreams(MpegIn const& file);
  int checkStreams(MpegIn const& file);
  void clearLists();
  int openVideo(MpegInVideoStream& stream, MpegIn const& file);
  void configureVideo(MpegIn& instance, MpegInVideoStream const& stream, MpegIn const& file) const;
  uint32_t chooseFourcc(MpegIn const& instance) const;
  bool createFrames(MpegInVideoStream& stream, MpegIn& instance) const;
  void applyThreading(MpegIn& instance, MpegInVideoStream const& stream) const;
  void setSmpMode(MpegIn& instance, int mode) const;
  void setThreads(MpegIn& instance, int threads) const;
  int openAudio(MpegInAudioStream& stream, MpegIn const& file);
  void createSubpictures(MpegIn const& file);
  void announceSubpictures(MpegSettings& set, MpegIn const& file) const;
  bool dolbyTrackerWanted() const;
  int startAudio(MpegInAudioStream& stream, MpegIn& instance);
  int passThrough(MpegInAudioStream const& stream, MpegIn& instance);
  int prepareDecoding(MpegInAudioStream& stream, MpegIn& instance);
  int createPcm(MpegInAudioStream& stream, MpegIn& instance);
  // First stamps and delays (mpegindec_sync.cpp); a stream that cannot be measured keeps its reported stamp.
  int measureFirstStamps();
  void measureFirstStamp(MfHandle* handle, int title, int number);
  bool avSyncWanted(MpegIn const& file) const;
  void correctAvDelay();
  static void delaySound(MpegInAudioStream& stream, int32_t samples);
  void addDmfStreams();

  // Closed captions (mpegindec_captions.cpp). Every video stream that carries some gets an entry.
  void createCaptionEntries();

  // Reading and seeking (mpegindec_read.cpp, mpegindec_seek.cpp, mpegindec_userdata.cpp).
  int addLeadingSilence(MpegInAudioStream& stream, int want);
  int readDecoded(MpegInAudioStream& stream, int count);
  template <class Convert>
  int readWords(MpegInAudioStream& stream, int count, Convert convert);
  int readPaired(MpegInAudioStream& stream, int count);
  int reopenForBackwardSeek(MpegInAudioStream& stream);
  void rewind(MpegInAudioStream& stream, int64_t sample);
  void attachUserData(MpegInVideoStream& stream);
  void correctSwing(MpegInVideoStream& stream);

  MpegInParameters params_;
  MpegInPtr shared_;
  StreamsOf<MpegInVideoStream> video_;
  StreamsOf<MpegInAudioStream> audio_;
  StreamsOf<MpegInSubpicStream> subpic_;
  YSwingCorrect swing_;
  int trace_ = 0;
  MpegColour colour_;    // of the first video stream, by the file's headers
  bool avSync_ = false;  // of the file that is open or being opened: late sound is delayed
};
