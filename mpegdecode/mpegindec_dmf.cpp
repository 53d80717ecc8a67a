// Subtitles and languages of DMF files.
#include "host/file.h"
#include "host/log.h"
#include "mpegdecode/dmfsubtitles.h"
#include "mpegdecode/mpegindec.h"

void MpegInDec::addDmfStreams() {
  if (shared_->io.on) {
    // The demultiplexer opens files by their names in the file system, where this one need not be.
    ky_log()->warning("No subtitles and languages of %s: it is opened through external file access.",
                      KyFile::osFname(params_.fileName).asString().c_str());
    return;
  }
  parseDmfFile(audio_, subpic_, params_.fileName);
}

void MpegInDec::closeStream(MpegInSubpicStream& stream) {
  removeSubtitleFolder(stream.info);
  releaseDecoder(stream);
}
