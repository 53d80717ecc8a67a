// What the streams of all kinds have in common, and the lists that hold them.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "host/any.h"
#include "host/ptrlist.h"
#include "mfimport/mfimport.h"
#include "mpegdecode/decoderhandle.h"

// Names of the stream kinds in messages, and as keys of the collection of a kind; video, audio, subpicture.
struct StreamTypeName {
  int kind;
  char const* name;
  char const* collection;
};
extern StreamTypeName const streamTypeNames[3];

// Base of all stream objects: one per elementary stream of an opened file, with its decoder and its
// description. A closed stream stays in its list, so stream numbers do not move.
class MpegInStream {
 public:
  explicit MpegInStream(int streamIndex) : index_(streamIndex) {}
  virtual ~MpegInStream() = default;
  MpegInStream(MpegInStream const&) = delete;
  MpegInStream& operator=(MpegInStream const&) = delete;

  // Fills the description from the decoder's information.
  virtual void store() = 0;

  Any const& name() const { return name_; }
  // Number within the kind, as the file has it; -1 none.
  int32_t index() const { return index_; }
  // Null while the stream is closed.
  MpegIn* decoder() const { return decoder_.get(); }
  // Decodes with an instance of somebody else, which must outlive the stream or its closing.
  void share(MpegIn& instance) { decoder_.share(instance); }
  MpegStreamId const& identity() const { return identity_; }
  void setIdentity(MpegStreamId const& record) { identity_ = record; }
  // The description, which hosts see.
  AnyDict& info() { return info_; }
  AnyDict const& info() const { return info_; }
  // Of "codecParams" of the description; invalid when absent.
  Any const& codecParam(char const* key) const { return info_.descendant("codecParams", key, nullptr); }
  bool selected() const { return selected_; }
  // The decoder stays open.
  void deselect() { selected_ = false; }

 protected:
  Any name_;
  DecoderHandle decoder_;
  AnyDict info_;
  bool selected_ = false;
  bool endOfStream_ = false;

 private:
  MpegStreamId identity_{};
  int32_t index_;
};

// Pointers only; who fills a list deletes the streams.
class MpegInStreamList : public TPtrList<MpegInStream> {};

// The selected stream at the index, else null.
MpegInStream* selectedStream(MpegInStreamList const& list, int index);

// The streams of one kind, in a list of their own that ends them.
template <class Stream>
class StreamsOf {
 public:
  StreamsOf() = default;
  ~StreamsOf() { clear(); }
  StreamsOf(StreamsOf&& other) noexcept { std::swap(list_, other.list_); }
  StreamsOf& operator=(StreamsOf&& other) noexcept {
    std::swap(list_, other.list_);
    return *this;
  }

  void add(std::unique_ptr<Stream> stream) {
    list_.append(stream.get());
    static_cast<void>(stream.release());  // the list's now
  }
  // Closes and deletes them one by one; they are listed until the last one is gone.
  void clear() {
    for (int i = 0; i < size(); ++i) {
      std::unique_ptr<Stream> const stream(at(i));
      stream->close();
    }
    list_.clear();
  }
  int size() const { return list_.size(); }
  bool empty() const { return list_.empty(); }
  Stream* at(int i) const { return static_cast<Stream*>(list_.at(i)); }  // null outside the list
  Stream* selected(int i) const { return static_cast<Stream*>(selectedStream(list_, i)); }
  // For those who treat all kinds alike. What is added to it belongs to this.
  MpegInStreamList& list() { return list_; }
  MpegInStreamList const& list() const { return list_; }

 private:
  MpegInStreamList list_;
};
