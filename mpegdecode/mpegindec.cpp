#include "mpegdecode/mpegindec.h"

#include <cstdlib>
#include <utility>

#include "host/failure.h"
#include "host/log.h"
#include "host/plugin.h"
#include "mpegdecode/callbacks.h"
#include "mpegdecode/dolbytracker.h"

MpegInDec::MpegInDec(KyModule const* module) : KyDecodePipe(module) {}

MpegInDec::~MpegInDec() {
  if (state_ == kStateOpened) MpegInDec::close();
}

int MpegInDec::init() {
  if (state_ != kStateCreated) {
    kyExceptionFail("./mpegdecode/mpegindec(266)", "mpegdec: Already initialized");
    return kResultError;
  }
  state_ = kStateInitialised;
  params_ = Parameters{};
  if (Any const rate = getAttr("forceFramerate"); rate.isInt32()) {
    params_.forceFramerate = static_cast<uint8_t>(rate.asInt32());
    ky_dbg()->info("[%s] Force framerate set to %d", name(), rate.asInt32());
  }
  auto const take = [this](char const* key, int32_t& field) {
    if (Any const value = getAttr(key); value.isInt32()) field = value.asInt32();
  };
  take("preferredSampleFormat", params_.preferredSampleFormat);
  take("preferredVideoBitDepth", params_.preferredVideoBitDepth);
  take("avDelayCorrection", params_.avDelayCorrection);
  return 0;
}

int MpegInDec::close() {
  if (state_ != kStateOpened) return 0;
  clearLists();
  shared_.reset();
  state_ = kStateInitialised;
  MemoryRegistry::instance().disable();
  return KyDecodePipe::close();
}

void MpegInDec::releaseDecoder(MpegInStream& stream) {
  MpegIn* const instance = std::exchange(stream.decoder, nullptr);
  if (!instance || instance == shared_.get()) return;
  bool const ownsMemory = std::exchange(stream.ownsDecoderMemory, false);
  mpegInClose(instance);
  mpegInFree(instance);
  if (ownsMemory) std::free(instance);
}

void MpegInDec::closeStream(MpegInVideoStream& stream) {
  releaseDecoder(stream);
  stream.frame.reset();
  stream.scratch.reset();
  stream.selected = false;
  stream.framePending = false;
}

void MpegInDec::closeStream(MpegInAudioStream& stream) {
  releaseDecoder(stream);
  stream.pcm.reset();
  stream.scratch.reset();
  stream.blocks.reset();
  stream.tracker.reset();
  stream.carry.clear();
  stream.carrySamples = 0;
  stream.syncDelaySamples = 0;
  stream.selected = false;
}

void MpegInDec::clearLists() {
  for (int i = 0; i < video_.size(); ++i) {
    std::unique_ptr<MpegInVideoStream> const stream(video(i));
    closeStream(*stream);
  }
  video_.clear();
  for (int i = 0; i < audio_.size(); ++i) {
    std::unique_ptr<MpegInAudioStream> const stream(audio(i));
    closeStream(*stream);
  }
  audio_.clear();
  for (int i = 0; i < subpic_.size(); ++i) {
    std::unique_ptr<MpegInSubpicStream> const stream(subpic(i));
    closeStream(*stream);
  }
  subpic_.clear();
}
