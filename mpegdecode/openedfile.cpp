#include "mpegdecode/openedfile.h"

void OpenedFile::close() {
  video.clear();
  audio.clear();
  subpic.clear();
  shared.reset();
}

StreamSource OpenedFile::source(PipeView const& pipe) const {
  return {pipe, *shared, colour, avSync, subpic};
}
