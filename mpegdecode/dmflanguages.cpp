#include "mpegdecode/dmflanguages.h"

#include "host/log.h"
#include "mpegdecode/dmftext.h"

namespace {

bool matches(MpegInStream const& stream, int number, int title) {
  Any const& pid = stream.info().descendant("codecParams.pid", nullptr);
  Any const& program = stream.info().descendant("codecParams.program_number", nullptr);
  return pid.isInt32() && program.isInt32() && pid.asInt32() == number && program.asInt32() == title;
}

MpegInStream* findStream(MpegInStreamList const& streams, int number, int title) {
  for (int i = 0; i < streams.size(); ++i)
    if (matches(*streams.at(i), number, title)) return streams.at(i);
  return nullptr;
}

}  // namespace

void attachLanguage(DmfStreamInfo const& info, int title, int stream, MpegInStreamList const& streams) {
  if (!info.format) {
    ky_log()->warning("DMF demuxer can not find audio format for %d", stream);
    return;
  }
  MpegInStream* const audio = findStream(streams, stream, title);
  if (!audio) {
    ky_log()->warning("DMF demuxer can not find matching audio stream for %d:%d", title, stream);
    return;
  }
  auto const& format = *static_cast<DmfAudioFormat const*>(info.format);
  if (format.language[0] == 0) {
    ky_dbg()->info("Stream %d (%d:%d), language not set", audio->index(), title, stream);
    return;
  }
  std::string const code = dmfCode(format.language);
  audio->info().set("languageDescriptor", AnyDict("ISO_639_language_code", code));
  ky_dbg()->info("Stream %d (%d:%d), language=%s", audio->index(), title, stream, code.c_str());
}
