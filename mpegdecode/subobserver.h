// Writes the pictures of a bitmap subtitle stream into files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dmfdemux/dmfdemux.h"
#include "host/any.h"
#include "host/subtitles.h"

// One stream's pictures, one file each, in a temporary folder of its own that outlives the observer. The
// stream's data event is raised when a picture is complete in the fifo. Must outlive the fifo's use of it.
class SubObserver : public KyAuxInfoObserver {
 public:
  // Creates the folder. `subType` is "dxsa" or "dxsb"; `fifo`, not owned, feeds the observer.
  SubObserver(DmfStreamInfo const& stream, int titleNumber, int streamNumber, char const* subTypeName,
              KyBufStreamFifo* source);
  // Takes a picture out of the fifo into the file "<number>_<begin>_<end>.<subType>". A file that cannot be
  // created is left out. Always 0.
  int notify(void* source, int event, void* data) override;

  std::string const language;     // up to four characters
  std::string const countryCode;  // likewise
  std::string const mediaDesc;    // UTF-8
  int32_t const titleNr;
  int32_t const streamNr;  // in the title, all kinds counted
  std::string const subType;
  Any const folder;

 private:
  void reserve(int bytes);

  uint32_t fileCounter = 0;
  std::unique_ptr<unsigned char[]> buffer;
  int32_t bufferSize;
  KyBufStreamFifo* fifo;
  // Of the stream information.
  [[maybe_unused]] int32_t kind_;
  [[maybe_unused]] int32_t codec_;
};
