#include "mpegdecode/mpegindec.h"

#include "host/failure.h"
#include "mpegdecode/callbacks.h"

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
  params_ = MpegInParameters::of(*this);
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

void MpegInDec::clearLists() {
  video_.clear();
  audio_.clear();
  subpic_.clear();
}
