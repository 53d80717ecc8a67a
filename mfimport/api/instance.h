// What stands behind a MpegIn.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mfimport/api/border.h"
#include "mfimport/api/stream_info.h"
#include "mfimport/audio/audio_decoder.h"
#include "mfimport/audio/dolby_packets.h"
#include "mfimport/caller/host_callbacks.h"
#include "mfimport/mfimport.h"
#include "mfimport/subpicture/overlay.h"
#include "mfimport/takelist/media.h"
#include "mfimport/video/video_decoder.h"

// The library's side of one instance. Every operation returns a MpegResult unless told otherwise and has
// printed the reason of a failure.
struct MpegInImpl {
  MpegInImpl(MpegResourceGetter getter, MpegIn& owner) : self(owner), host(getter) {}

  int parse(char const* name);
  int open(char const* name);
  void close();

  int seekFrame(int frame);
  int nextFrame();
  int seekSample(int64_t sample);
  int nextSamples(void* buffer, int count);

  int videoRequest(int request, void* record, int value);
  int audioRequest(int request, void* record, int size);

  MpegIn& self;
  mfimport::HostCallbacks host;

 private:
  int load(char const* name);
  int selectVideo();
  int selectAudio();
  void publishCounts();
  void warnOfAbsentStreams() const;
  void drawSubpicture();
  int stats(void* record, int size) const;
  int extendedHeader(void* record);
  int userDataMpeg(void* record, int size);
  int userDataH264(void* record);
  int sampleFormat(void const* record, int size);
  int dolbyInfo(int request, void* record, int size);
  int shown(mfimport::Result<void> const& result, long long number);
  int report(int result, char const* what, long long number, std::string const& error) const;
  int reportDecoding(char const* what, long long number, mfimport::Error const& error) const;

  std::string name_;
  mediafile::FileAccess access_;
  std::shared_ptr<mfimport::Media const> media_;
  std::unique_ptr<mfimport::StreamTable> table_;
  std::unique_ptr<mfimport::VideoDecoder> video_;
  std::unique_ptr<mfimport::Overlay> overlay_;
  std::unique_ptr<mfimport::AudioDecoder> audio_;
  std::unique_ptr<mfimport::DolbyPackets> dolby_;  // of the selected audio stream, if it is a Dolby one
  int threadCount_ = -1, threadMode_ = -1;

  MpegExtendedHeader header_{};
  std::vector<MpegUserDataEntry> userEntries_;
  std::vector<MpegUserDataEntry*> userPointers_;
  std::vector<MpegSeiEntry> seiEntries_;
  MpegSeiList seiList_{};
};
