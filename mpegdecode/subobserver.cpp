#include "mpegdecode/subobserver.h"

#include <cstdio>

#include "host/file.h"
#include "mpegdecode/dmftext.h"

namespace {

constexpr int32_t kFirstBufferSize = 8192;  // bytes; most pictures fit

DmfSubtitleFormat formatOf(DmfStreamInfo const& stream) {
  return stream.format ? *static_cast<DmfSubtitleFormat const*>(stream.format) : DmfSubtitleFormat{};
}

Any temporaryFolder(int title, int stream, std::string const& subType, std::string const& language) {
  char base[64];
  std::snprintf(base, sizeof base, "%d_%d_%s_%s", title, stream, subType.c_str(), language.c_str());
  return KyFile::tempFileName(base, nullptr);
}

}  // namespace

SubObserver::SubObserver(DmfStreamInfo const& stream, int titleNumber, int streamNumber,
                         char const* subTypeName, KyBufStreamFifo* source)
    : language(dmfCode(formatOf(stream).language)),
      countryCode(dmfCode(formatOf(stream).countryCode)),
      mediaDesc(dmfText(formatOf(stream).mediaDesc)),
      titleNr(titleNumber),
      streamNr(streamNumber),
      subType(subTypeName),
      folder(temporaryFolder(titleNr, streamNr, subType, language)),
      buffer(std::make_unique_for_overwrite<unsigned char[]>(kFirstBufferSize)),
      bufferSize(kFirstBufferSize),
      fifo(source),
      kind_(stream.kind),
      codec_(stream.codec) {
  KyFile::mkdir(folder);
}

int SubObserver::notify(void*, int event, void* data) {
  if (event != kDmfDataEvent || !data) return 0;
  auto const* const times = static_cast<int64_t const*>(data);
  char name[128];
  std::snprintf(name, sizeof name, "%d_%ld_%ld.%s", static_cast<int>(fileCounter), times[0], times[1],
                subType.c_str());
  ++fileCounter;
  int const bytes = fifo->reader()->available();
  reserve(bytes);
  int const taken = fifo->reader()->read(buffer.get(), bytes);
  if (std::FILE* const file = KyFile::fopen(KyFile::joinPath(folder, name), "wb")) {
    KyFile::fwrite_(buffer.get(), taken, file);
    KyFile::fclose(file);
  }
  return 0;
}

void SubObserver::reserve(int bytes) {
  if (bytes <= bufferSize) return;
  // Freed first, so that two pictures never lie in memory; without memory for the new one nothing fits.
  buffer.reset();
  bufferSize = 0;
  buffer = std::make_unique_for_overwrite<unsigned char[]>(static_cast<size_t>(bytes));
  bufferSize = bytes;
}
