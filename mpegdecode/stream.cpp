#include "mpegdecode/stream.h"

#include "host/codec.h"

StreamTypeName const streamTypeNames[3] = {
    {kKindVideo, "video", "vids"}, {kKindAudio, "audio", "auds"}, {kKindSubpic, "subpic", "subs"}};

MpegInStream* selectedStream(MpegInStreamList const& list, int index) {
  if (index < 0 || index >= list.size()) return nullptr;
  MpegInStream* const stream = list.at(index);
  return stream->selected() ? stream : nullptr;
}
