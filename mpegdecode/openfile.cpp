#include "mpegdecode/openfile.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "host/codec.h"
#include "host/failure.h"
#include "host/file.h"
#include "host/log.h"
#include "host/util.h"
#include "mpegdecode/dmfsubtitles.h"
#include "mpegdecode/externalio.h"
#include "mpegdecode/firststamps.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mfreader.h"
#include "mpegdecode/parameters.h"

namespace {

constexpr int kResultUnreadable = -9;

std::string textOf(Any const& name) { return KyFile::osFname(name).asString(); }

int countAudioStreams(MpegIn const& file) {
  int count = 0;
  for (int n : file.nAudio) count += n;
  return count;
}

MpegInPtr newParser(PipeView const& pipe) {
  MpegInPtr parser(guardedNew());
  if (!parser) {
    pipe.codec._setErr(kResultError, "Failed to create mfimport instance.");
    return nullptr;
  }
  if (setupExternalIo(pipe.codec, pipe.params, parser->io) != 0) return nullptr;
  MpegSettings& set = parser->set;
  set.searchMode = pipe.params.searchMode;
  if (pipe.params.searchLimit != 0) set.searchLimit = pipe.params.searchLimit;
  set.fastAccess = pipe.params.fastAccess;
  for (int& setting : set.fixed) setting = 1;
  parser->video.fourcc = 0;
  return parser;
}

// Facts of the video that only the headers of the file tell. False when the library raised something: an
// instance that threw halfway cannot be trusted any more.
bool readHeaders(OpenedFile& file) {
  MpegIn& parsed = *file.shared;
  MpegExtendedHeader const* header = nullptr;
  auto const described = guardedVideoAuxinfo(&parsed, kAuxExtendedHeader, &header, sizeof *header);
  if (!described) return false;
  bool const hasHeader = *described == kMpegOk && header;
  if (hasHeader && header->sourceDepth > 8) parsed.video.fourcc = mpegFourcc("Y216");
  MpegVideoInfo const& video = parsed.video;
  file.colour = hasHeader ? MpegColour{header->primaries, header->transfer, header->matrix}
                          : MpegColour{video.primaries, video.transfer, video.matrix};
  return true;
}

// DV is imported only as the audio of a P2 card, whose pictures another importer reads.
bool refusesDv(MpegIn& file, Any const& fileName) {
  AnyDict folders;
  if (KyUtil::getP2FolderStructure(fileName, folders)) {
    file.nVideo = 0;
    file.set.videoStream = 0;
    return false;
  }
  mpegInClose(&file);
  ky_dbg()->info("Refusing to open dv with mfimport");
  return true;
}

int parse(PipeView const& pipe, OpenedFile& file) {
  std::string const fileName = textOf(pipe.params.fileName);
  file.shared = newParser(pipe);
  if (!file.shared) return kResultError;
  MpegIn& parsed = *file.shared;
  if (int const result = guardedGetInfo(&parsed, pipe.params.fileName))
    return pipe.codec._setErr(result, "Failed to parse '%s'", fileName.c_str());
  if (!readHeaders(file)) return pipe.codec._setErr(kResultError, "Failed to open '%s'", fileName.c_str());
  if (parsed.dvFlag && refusesDv(parsed, pipe.params.fileName))
    return pipe.codec._setErr(kResultError, "Failed to parse '%s'", fileName.c_str());
  if (parsed.nVideo + countAudioStreams(parsed) == 0)
    return pipe.codec._setErr(kResultError, "No audio/video streams found in ''%s", fileName.c_str());
  return 0;
}

void checkCounts(MpegIn const& file) {
  if (file.nVideo + countAudioStreams(file) < 1) kyExceptionFail("./mpegdecode/mpegindec(983)", nullptr);
  if (file.nSubpictures > 0 && file.nVideo == 0)
    kyExceptionFail("./mpegdecode/mpegindec(985)", "mpegdec: subpic without video stream not supported");
}

// A stream that does not open is left out; later ones keep their number in the file and move up in the list.
void createStreams(PipeView const& pipe, OpenedFile& file) {
  MpegIn const& parsed = *file.shared;
  for (int i = 0; i < parsed.nVideo; ++i) {
    auto stream = std::make_unique<MpegInVideoStream>(parsed, i);
    if (stream->open(file.source(pipe)) == 0) file.video.add(std::move(stream));
  }
  int const audioStreams = countAudioStreams(parsed);
  for (int i = 0; i < audioStreams; ++i) {
    auto stream = std::make_unique<MpegInAudioStream>(parsed, i);
    if (stream->open(file.source(pipe)) == 0) file.audio.add(std::move(stream));
  }
}

int checkStreams(PipeView const& pipe, OpenedFile const& file) {
  KyCodec const& codec = pipe.codec;
  MpegIn const& parsed = *file.shared;
  if (!pipe.params.ignoreUnknownStreams && parsed.nUnknownVideo != 0)
    return codec._setErr(kResultError, "Found %d unknown video streams, giving up.", parsed.nUnknownVideo);
  if (!pipe.params.ignoreUnknownStreams && parsed.nUnknownAudio != 0)
    return codec._setErr(kResultError, "Found %d unknown audio streams, giving up.", parsed.nUnknownAudio);
  if (file.video.empty() && file.audio.empty())
    return codec._setErr(kResultError, "No video/audio streams can be decoded.");
  std::string const extension = KyFile::getExt(pipe.params.fileName, true).asString();
  if (file.video.empty() && extension == "mov")
    return codec._setErr(kResultError, "No video streams found in '.%s' file, giving up.", extension.c_str());
  return 0;
}

// Every video stream that carries captions gets an entry.
void createCaptionEntries(OpenedFile& file) {
  for (int i = 0; i < file.video.size(); ++i) {
    MpegInVideoStream& stream = *file.video.at(i);
    if (stream.carriesCaptions())
      file.subpic.add(std::make_unique<MpegInSubpicStream>(file.subpic.size(), stream));
  }
}

// Closed captions are listed already: an overlay is a number of the list, and the decoders have to know how
// many entries in front are not theirs.
void createSubpictures(OpenedFile& file) {
  MpegIn const& parsed = *file.shared;
  for (int i = 0; i < file.video.size(); ++i)
    if (MpegIn* const decoder = file.video.at(i)->decoder())
      announceSubpictures(decoder->set, parsed, file.subpic);
  if (!overlaysSubpictures(parsed)) return;
  for (int i = 0; i < parsed.nSubpictures; ++i) {
    auto stream = std::make_unique<MpegInSubpicStream>(i);
    if (parsed.subpictureId) stream->setIdentity(parsed.subpictureId[i]);
    stream->store();
    file.subpic.add(std::move(stream));
  }
}

void addDmfStreams(OpenedFile& file, Any const& fileName) {
  if (file.shared->io.on) {
    // The demultiplexer opens files by their names in the file system, where this one need not be.
    ky_log()->warning("No subtitles and languages of %s: it is opened through external file access.",
                      textOf(fileName).c_str());
    return;
  }
  parseDmfFile(file.audio.list(), file.subpic.list(), fileName);
}

}  // namespace

int checkReadable(MpegInParameters const& params) {
  if (externalIoWanted(params)) return 0;
  if (std::FILE* const file = kyfopen(params.fileName, "r")) {
    std::fclose(file);
    return 0;
  }
  ky_dbg()->log(kLogError, "[MpegInDec] Can not open %s for reading", textOf(params.fileName).c_str());
  return kResultUnreadable;
}

std::variant<OpenedFile, int> openFile(PipeView const& pipe) {
  OpenedFile file;
  if (int const error = parse(pipe, file)) return error;
  MpegIn const& parsed = *file.shared;
  file.avSync = avSyncWanted(pipe.codec, parsed);
  checkCounts(parsed);
  createStreams(pipe, file);
  if (int const error = checkStreams(pipe, file)) return error;
  if (!pipe.params.disableCc) createCaptionEntries(file);
  createSubpictures(file);
  return file;
}

void refineOpened(PipeView const& pipe, OpenedFile& file) {
  int const containerType = file.shared->containerType;
  if (hasMeasuredStamps(containerType)) measureFirstStamps(file, pipe.params.fileName);
  if (file.avSync) correctAvDelay(file, pipe.codec);
  if (containerType == kContainerDmf) addDmfStreams(file, pipe.params.fileName);
}
