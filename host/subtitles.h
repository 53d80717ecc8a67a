// Byte streams between a demultiplexer and who uses its subtitles. One thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "host/any.h"
#include "host/api.h"

class KyCodec;

// Told of events in a byte stream. `source` is the stream's input.
class KY_API KyAuxInfoObserver {
 public:
  virtual ~KyAuxInfoObserver();
  virtual int notify(void* source, int event, void* data) = 0;
};

// Where a producer puts bytes and raises events; plain functions, so that libraries which know nothing of the
// host can use it. `write` returns bytes taken; `event` passes `data` on to the observers.
struct KyStreamInput {
  int (*write)(void* user, void const* bytes, int size);
  int (*event)(void* user, int event, void* data);
  void* user;
};

// Writes what it is given into a text file.
class KY_API KySubtitleBufStreamWrite {
 public:
  explicit KySubtitleBufStreamWrite(KyCodec* codec);  // may be null
  ~KySubtitleBufStreamWrite();
  KySubtitleBufStreamWrite(KySubtitleBufStreamWrite const&) = delete;
  KySubtitleBufStreamWrite& operator=(KySubtitleBufStreamWrite const&) = delete;

  // "outfilename": the file to create, 0600, which must not exist; "format": address of the stream's format
  // block, kept unread. 0, or -1 when the file cannot be created.
  int init(AnyDict const& settings);
  KyStreamInput* input() { return &input_; }
  void destroy();  // completes the file

 private:
  std::FILE* file_ = nullptr;
  KyStreamInput input_;
};

// Bytes in the order of arrival, with observers told of events synchronously, in the order in which they were
// added. An event's result is the first that is not 0; what an observer throws ends there and counts as -1.
class KY_API KyBufStreamFifo {
 public:
  class KY_API Reader final {
   public:
    explicit Reader(KyBufStreamFifo* fifo) : fifo_(fifo) {}
    virtual int available() const;                    // bytes
    virtual int peek(void* buffer, int bytes) const;  // copies without removing; bytes copied
    virtual int skip(int bytes);                      // bytes removed
    virtual int read(void* buffer, int bytes);        // copies and removes; bytes copied

   private:
    friend class KyBufStreamFifo;
    KyBufStreamFifo* fifo_;
  };

  explicit KyBufStreamFifo(KyCodec* codec);  // may be null
  ~KyBufStreamFifo();
  KyBufStreamFifo(KyBufStreamFifo const&) = delete;
  KyBufStreamFifo& operator=(KyBufStreamFifo const&) = delete;

  int init(AnyDict const& settings);
  KyStreamInput* input() { return &input_; }
  void addObserver(KyAuxInfoObserver* observer);  // not owned
  Reader* reader() { return &reader_; }

 private:
  int take(unsigned char const* bytes, int size) noexcept;
  int notify(int event, void* data) noexcept;

  KyStreamInput input_;
  Reader reader_;
  std::vector<KyAuxInfoObserver*> observers_;
  std::vector<unsigned char> bytes_;
  size_t begin_ = 0;
};
