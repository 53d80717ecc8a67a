// Library instances that end with who holds them.
#pragma once

#include <memory>

#include "mfimport/mfimport.h"

// An instance that parses, or one that is being opened.
struct MpegInDeleter {
  void operator()(MpegIn* instance) const { mpegInFree(instance); }
};
using MpegInPtr = std::unique_ptr<MpegIn, MpegInDeleter>;

// The instance that a stream decodes with: its own, closed and released with the handle, or one that belongs
// to somebody else, which is left alone.
class DecoderHandle {
 public:
  DecoderHandle() = default;
  ~DecoderHandle() { reset(); }
  DecoderHandle(DecoderHandle const&) = delete;
  DecoderHandle& operator=(DecoderHandle const&) = delete;

  void own(MpegInPtr instance);
  void share(MpegIn& instance);
  void reset();

  MpegIn* get() const { return instance_; }
  explicit operator bool() const { return instance_ != nullptr; }
  MpegIn* operator->() const { return instance_; }
  MpegIn& operator*() const { return *instance_; }

  // The block of the own instance came from malloc and goes back to free, behind the library.
  bool ownsDecoderMemory = false;

 private:
  MpegIn* instance_ = nullptr;
  bool shared_ = false;
};
