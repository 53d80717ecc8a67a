#include "mfimport/api/border.h"

namespace mfimport {

mediafile::FileAccess accessOf(MpegExternalIo const& io, std::string const& name) {
  if (!io.on) return {};
  mediafile::ExternalFunctions functions;
  functions.user = io.user;
  functions.size = io.size;
  functions.sizedName = name;
  functions.open = io.open;
  functions.seek = io.seek;
  functions.read = io.read;
  functions.close = io.close;
  return mediafile::FileAccess(std::move(functions));
}

int openingCode(Fault fault) {
  switch (fault) {
    case Fault::unopenable:
    case Fault::unreadable:
      return kMpegErrorOpen;
    case Fault::format:
      return kMpegErrorFormat;
    case Fault::takeList:
      return kMpegErrorTakeList;
    case Fault::noStream:
      return kMpegErrorNoStream;
    case Fault::noDecoder:
      return kMpegErrorNoDecoder;
    case Fault::unsupported:
      return kMpegErrorUnsupported;
    case Fault::end:
      return kMpegEndOfStream;
    case Fault::failed:
      break;
  }
  return kMpegError;
}

int decodingCode(Fault fault) {
  if (fault == Fault::end) return kMpegEndOfStream;
  return fault == Fault::unsupported ? kMpegErrorUnsupported : kMpegError;
}

int reportOpening(HostCallbacks const& host, std::string const& name, Error const& error) {
  host.error(formatted("mfimport: cannot open '%s': %s", name.c_str(), error.text.c_str()));
  return openingCode(error.fault);
}

}  // namespace mfimport
