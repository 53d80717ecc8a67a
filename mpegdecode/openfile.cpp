#include <string>

#include "host/codec.h"
#include "host/failure.h"
#include "host/file.h"
#include "host/log.h"
#include "host/registry.h"
#include "host/text.h"
#include "host/timer.h"
#include "host/util.h"
#include "mpegdecode/callbacks.h"
#include "mpegdecode/dmfsubtitles.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/mfreader.h"
#include "mpegdecode/mpegindec.h"

namespace {

constexpr int kResultUnreadable = -9;

std::string textOf(Any const& name) { return KyFile::osFname(name).asString(); }

int countAudioStreams(MpegIn const& file) {
  int count = 0;
  for (int n : file.nAudio) count += n;
  return count;
}

// Subtitles of DMF files are extracted, not overlaid.
bool overlaysSubpictures(MpegIn const& file) {
  return file.containerType != kContainerDmf && file.nSubpictures > 0;
}

}  // namespace

int MpegInDec::open() {
  if (state_ == kStateOpened) close();
  if (state_ != kStateInitialised) return _setErr(kResultError, "Codec not initialized");
  if (!params_.fileName.isText()) return _setErr(kResultError, "Filename not set");
  if (int const result = checkReadable()) return result;
  Any const trace = ky_registry()->getDbgOption("log_progress");
  trace_ = trace.isInt32() ? trace.asInt32() : 0;
  MemoryRegistry::instance().enable(params_.estimateMemory);
  KyTimer timer;
  timer.start();

  MpegInPtr file;
  Unwind unwind(*this);
  if (int const result = parseFile(file)) return result;
  avSync_ = avSyncWanted(*file);
  int const videoStreams = file->nVideo;
  if (videoStreams + countAudioStreams(*file) < 1) kyExceptionFail("./mpegdecode/mpegindec(983)", nullptr);
  if (file->nSubpictures > 0 && videoStreams == 0)
    kyExceptionFail("./mpegdecode/mpegindec(985)", "mpegdec: subpic without video stream not supported");
  createStreams(*file);
  if (int const result = checkStreams(*file)) return result;
  createCaptionEntries();
  createSubpictures(*file);
  shared_ = std::move(file);
  state_ = kStateOpened;
  params_.fileSize = shared_->fileSize;
  if (hasMeasuredStamps(shared_->containerType)) measureFirstStamps();
  if (avSync_) correctAvDelay();
  if (shared_->containerType == kContainerDmf) addDmfStreams();
  unwind.succeeded();
  ky_dbg()->log(kLogTrace, "mpegdec: opened in %f sec.", timer.stop());
  return KyDecodePipe::open();
}

void MpegInDec::abandon() {
  clearLists();
  shared_.reset();
  state_ = kStateInitialised;
}

int MpegInDec::checkReadable() const {
  KyExternalDecoderIO const* const external = ky_registry()->externalDecoderIO();
  if (params_.useExternalIo || (external && external->enabled)) return 0;
  if (std::FILE* const file = kyfopen(params_.fileName, "r")) {
    std::fclose(file);
    return 0;
  }
  ky_dbg()->log(kLogError, "[MpegInDec] Can not open %s for reading", textOf(params_.fileName).c_str());
  return kResultUnreadable;
}

int MpegInDec::parseFile(MpegInPtr& file) {
  std::string const fileName = textOf(params_.fileName);
  MpegInPtr parsed(guardedNew());
  if (!parsed) return _setErr(kResultError, "Failed to create mfimport instance.");
  if (int const result = setupExternalIo(parsed->io)) return result;
  MpegSettings& set = parsed->set;
  set.searchMode = params_.searchMode;
  if (params_.searchLimit != 0) set.searchLimit = params_.searchLimit;
  set.fastAccess = params_.fastAccess;
  for (int& setting : set.fixed) setting = 1;
  parsed->video.fourcc = 0;

  if (int const result = guardedGetInfo(parsed.get(), params_.fileName))
    return _setErr(result, "Failed to parse '%s'", fileName.c_str());
  MpegExtendedHeader const* header = nullptr;
  auto const described = guardedVideoAuxinfo(parsed.get(), kAuxExtendedHeader, &header, sizeof *header);
  // An instance that threw halfway cannot be trusted any more.
  if (!described) return _setErr(kResultError, "Failed to open '%s'", fileName.c_str());
  bool const hasHeader = *described == kMpegOk && header;
  if (hasHeader && header->sourceDepth > 8) parsed->video.fourcc = mpegFourcc("Y216");
  MpegVideoInfo const& video = parsed->video;
  colour_ = hasHeader ? MpegColour{header->primaries, header->transfer, header->matrix}
                      : MpegColour{video.primaries, video.transfer, video.matrix};
  if (parsed->dvFlag) {
    if (int const result = refuseDv(*parsed)) return result;
  }
  if (parsed->nVideo + countAudioStreams(*parsed) == 0)
    return _setErr(kResultError, "No audio/video streams found in ''%s", fileName.c_str());
  file = std::move(parsed);
  return 0;
}

// DV is imported only as the audio of a P2 card, whose pictures another importer reads.
int MpegInDec::refuseDv(MpegIn& file) {
  AnyDict folders;
  if (KyUtil::getP2FolderStructure(params_.fileName, folders)) {
    file.nVideo = 0;
    file.set.videoStream = 0;
    return 0;
  }
  mpegInClose(&file);
  ky_dbg()->info("Refusing to open dv with mfimport");
  return _setErr(kResultError, "Failed to parse '%s'", textOf(params_.fileName).c_str());
}

// A stream that does not open is left out; later ones keep their number in the file and move up in the list.
void MpegInDec::createStreams(MpegIn const& file) {
  for (int i = 0; i < file.nVideo; ++i) {
    auto stream = std::make_unique<MpegInVideoStream>(file, i);
    if (openVideo(*stream, file) == 0) video_.add(std::move(stream));
  }
  int const audioStreams = countAudioStreams(file);
  for (int i = 0; i < audioStreams; ++i) {
    auto stream = std::make_unique<MpegInAudioStream>(file, i);
    if (openAudio(*stream, file) == 0) audio_.add(std::move(stream));
  }
}

int MpegInDec::checkStreams(MpegIn const& file) {
  if (!params_.ignoreUnknownStreams && file.nUnknownVideo != 0)
    return _setErr(kResultError, "Found %d unknown video streams, giving up.", file.nUnknownVideo);
  if (!params_.ignoreUnknownStreams && file.nUnknownAudio != 0)
    return _setErr(kResultError, "Found %d unknown audio streams, giving up.", file.nUnknownAudio);
  if (countStreams(kKindVideo | kKindAudio) == 0)
    return _setErr(kResultError, "No video/audio streams can be decoded.");
  std::string const extension = KyFile::getExt(params_.fileName, true).asString();
  if (video_.empty() && extension == "mov")
    return _setErr(kResultError, "No video streams found in '.%s' file, giving up.", extension.c_str());
  return 0;
}

int MpegInDec::setupExternalIo(MpegExternalIo& io) {
  KyExternalDecoderIO const* const external = ky_registry()->externalDecoderIO();
  if (!external) {
    if (!params_.useExternalIo) return 0;
    ky_dbg()->error("Canb not use external IO, none set.");
    return _setErr(kResultError, "External IO error.");
  }
  if (!params_.useExternalIo && !external->enabled) return 0;

  struct Required {
    bool present;
    char const* missing;
  };
  for (Required const& function :
       {Required{external->externalOpen != nullptr, "[mpegindec] externalOpen not set."},
        Required{external->externalOpenW != nullptr, "[mpegindec] externalOpenW not set."},
        Required{external->externalSeek != nullptr, "[mpegindec] externalSeek not set."},
        Required{external->externalRead != nullptr, "[mpegindec] externalRead not set."},
        Required{external->externalClose != nullptr, "[mpegindec] externalClose not set."},
        Required{external->externalFileSize != nullptr, "[mpegindec] externalFileSize not set."},
        Required{external->externalFileSizeW != nullptr, "[mpegindec] externalFileSizeW not set."}}) {
    if (!function.present) return _setErr(kResultError, "%s", function.missing);
  }

  Any const& fileName = params_.fileName;
  ky_dbg()->info("[mpegindec]Opening %s using external file IO", textOf(fileName).c_str());
  io.on = 1;
  io.user = params_.appData ? params_.appData : external->userData;
  ky_dbg()->info("[mpegindec] user data set to %x",
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(io.user)));
  if (fileName.kind() == Any::kString) {
    io.size = external->externalFileSize(io.user, fileName.asString().c_str());
  } else {
    char utf8[4096];
    KyText::utf32ToUtf8(fileName.asWString().c_str(), utf8, sizeof utf8);
    io.size = external->externalFileSize(io.user, utf8);
  }
  ky_dbg()->info("[mpegindec] file size is %ld bytes", static_cast<long>(io.size));
  io.open = external->externalOpen;
  io.openW = external->externalOpenW;
  io.seek = external->externalSeek;
  io.read = external->externalRead;
  io.close = external->externalClose;
  return 0;
}

// What further instances and readers of the file get: the access that it was parsed with, whatever the host
// offers by now, and the size that the parsing found.
MpegExternalIo MpegInDec::streamIo(MpegIn const& file) {
  MpegExternalIo io = file.io;
  if (io.on && file.fileSize >= 1) io.size = file.fileSize;
  return io;
}

void MpegInDec::addDmfStreams() {
  if (shared_->io.on) {
    // The demultiplexer opens files by their names in the file system, where this one need not be.
    ky_log()->warning("No subtitles and languages of %s: it is opened through external file access.",
                      textOf(params_.fileName).c_str());
    return;
  }
  parseDmfFile(audio_.list(), subpic_.list(), params_.fileName);
}

// Closed captions are listed already: an overlay is a number of the list, and the decoders have to know how
// many entries in front are not theirs.
void MpegInDec::createSubpictures(MpegIn const& file) {
  for (int i = 0; i < video_.size(); ++i)
    if (MpegIn* const decoder = video_.at(i)->decoder()) announceSubpictures(decoder->set, file);
  if (!overlaysSubpictures(file)) return;
  for (int i = 0; i < file.nSubpictures; ++i) {
    auto stream = std::make_unique<MpegInSubpicStream>(i);
    if (file.subpictureId) stream->setIdentity(file.subpictureId[i]);
    stream->store();
    subpic_.add(std::move(stream));
  }
}

void MpegInDec::announceSubpictures(MpegSettings& set, MpegIn const& file) const {
  set.decodeSubpictures = overlaysSubpictures(file) ? 1 : 0;
  set.captionEntries = 0;
  for (int i = 0; i < subpic_.size(); ++i)
    if (subpic_.at(i)->isCaptions()) ++set.captionEntries;
}
