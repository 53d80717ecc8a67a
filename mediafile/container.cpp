#include "mediafile/container.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace mediafile {
namespace {

// Large enough for few calls, small enough that payload is read past it and so can be skimmed.
constexpr int kIoBuffer = 32 << 10;

constexpr char kFormats[] =
    "mpeg,mpegts,mpegvideo,m4v,h264,hevc,vc1,mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,mxf,gxf,asf,flv,dv,"
    "wav,w64,aiff,ac3,eac3,dts,aac,mp3,amr";

// Decoder names, not codec names: that is what libavcodec compares with.
constexpr char kDecoders[] =
    "mpeg1video,mpeg2video,mpegvideo,mpeg4,msmpeg4v1,msmpeg4v2,msmpeg4,h263,h263i,h263p,h264,hevc,vc1,wmv3,"
    "jpeg2000,libopenjpeg,dvvideo,mp1,mp1float,mp2,mp2float,mp3,mp3float,aac,aac_latm,ac3,eac3,dca,"
    "pcm_s16le,pcm_s16be,pcm_s24le,pcm_s24be,pcm_s32le,pcm_s32be,pcm_f32le,pcm_f32be,pcm_f64le,pcm_f64be,"
    "pcm_u8,pcm_s8,pcm_alaw,pcm_mulaw,pcm_dvd,pcm_bluray,pcm_lxf,s302m,amrnb,amrwb,wmav1,wmav2,wmapro,"
    "wmalossless,wmavoice,dvdsub,dvbsub,pgssub,xsub,mov_text,ass,ssa,srt,subrip,text,webvtt";

int refuseToOpen(AVFormatContext*, AVIOContext**, char const*, int, AVDictionary**) { return AVERROR(EPERM); }

uint32_t bigEndian32(uint8_t const* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}

struct Box {
  int64_t start, header, size;
  std::array<char, 4> type;
};

bool readBox(ByteSource& source, int64_t position, int64_t end, Box& box) {
  std::array<uint8_t, 16> head{};
  int64_t const got = source.readAt(position, head);
  if (got < 8) return false;
  box = {position, 8, bigEndian32(head.data()), {}};
  std::memcpy(box.type.data(), head.data() + 4, 4);
  if (box.size == 1 && got == 16) {
    box.header = 16;
    box.size = static_cast<int64_t>(static_cast<uint64_t>(bigEndian32(head.data() + 8)) << 32 |
                                    bigEndian32(head.data() + 12));
  } else if (box.size == 0) {
    box.size = end - position;
  }
  return box.size >= box.header && box.size <= end - position;
}

bool is(Box const& box, char const (&type)[5]) { return std::memcmp(box.type.data(), type, 4) == 0; }

bool holdsMvex(ByteSource& source, Box const& moov) {
  constexpr int kMostBoxes = 4096;
  int64_t const end = moov.start + moov.size;
  int64_t position = moov.start + moov.header;
  for (int i = 0; i < kMostBoxes && position < end; ++i) {
    Box box;
    if (!readBox(source, position, end, box)) return false;
    if (is(box, "mvex")) return true;
    position += box.size;
  }
  return false;
}

}  // namespace

Container::Container(std::shared_ptr<ByteSource> source) : source_(std::move(source)) {}

Container::~Container() = default;

Result<std::unique_ptr<Container>> Container::open(std::shared_ptr<ByteSource> source,
                                                   std::string const& name, ContainerOptions const& options) {
  std::unique_ptr<Container> container(new Container(std::move(source)));
  int const result = container->start(name, options);
  if (result >= 0) return {std::move(container)};
  bool const unreadable = result == AVERROR(EIO) || result == AVERROR_EXIT;
  return Error{unreadable ? Fault::unreadable : Fault::format, lav::errorText(result)};
}

int Container::start(std::string const& name, ContainerOptions const& options) {
  int const result = openAndExamine(name, options);
  return failure_ != 0 ? failure_ : result;
}

int Container::openAndExamine(std::string const& name, ContainerOptions const& options) {
  patience_ = options.patience;
  beginOperation();
  auto* buffer = static_cast<uint8_t*>(lav::checked(av_malloc(kIoBuffer)));
  io_.reset(avio_alloc_context(buffer, kIoBuffer, 0, this, onRead, nullptr, onSeek));
  if (!io_) {
    av_free(buffer);
    return AVERROR(ENOMEM);
  }
  AVFormatContext* format = lav::checked(avformat_alloc_context());
  format->pb = io_.get();
  format->flags |= AVFMT_FLAG_CUSTOM_IO;
  format->io_open = refuseToOpen;
  format->interrupt_callback = {onInterrupt, this};
  format->probesize = options.probeBytes;
  format->max_analyze_duration = 10 * AV_TIME_BASE;
  format->max_streams = 200;
  av_opt_set(format, "format_whitelist", kFormats, 0);
  av_opt_set(format, "codec_whitelist", kDecoders, 0);
  av_opt_set(format, "protocol_whitelist", "", 0);

  // The name only helps probing; an extension can break a tie between formats, and nothing is opened by it.
  size_t const slash = name.find_last_of('/');
  std::string const base = slash == std::string::npos ? name : name.substr(slash + 1);
  int result = avformat_open_input(&format, base.c_str(), nullptr, nullptr);
  format_.reset(format);  // null after a failure
  if (result < 0) return result;

  declared_.resize(format_->nb_streams);
  for (unsigned i = 0; i < format_->nb_streams; ++i)
    declared_[i] = {format_->streams[i]->codecpar->width, format_->streams[i]->codecpar->height};
  // A parser that libavformat has once begun to use it keeps, hence before the streams are examined.
  if (isIsoMedia(*format_) || isMxf(*format_)) format_->flags |= AVFMT_FLAG_NOPARSE;
  if (options.streamInfo) {
    beginOperation();
    result = avformat_find_stream_info(format_.get(), nullptr);
    if (result < 0) return result;
  }
  // Streams of transport and program streams turn up while their beginning is examined.
  size_t const known = declared_.size();
  declared_.resize(format_->nb_streams);
  for (size_t i = known; i < declared_.size(); ++i)
    declared_[i] = {format_->streams[i]->codecpar->width, format_->streams[i]->codecpar->height};
  return 0;
}

void Container::setSkim(Skim skim) { skim_ = skim; }

void Container::selectStream(int index) {
  for (unsigned i = 0; i < format_->nb_streams; ++i)
    format_->streams[i]->discard = static_cast<int>(i) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

int Container::read(AVPacket& packet) {
  beginOperation();
  int const result = av_read_frame(format_.get(), &packet);
  return result == AVERROR_EOF && failure_ != 0 ? failure_ : result;
}

void Container::beginAnew() {
  beginOperation();
  failure_ = 0;
  io_->error = 0;  // libavformat keeps it
}

int Container::seekToTime(int index, int64_t stamp) {
  beginAnew();
  return av_seek_frame(format_.get(), index, stamp, AVSEEK_FLAG_BACKWARD);
}

int Container::seekToByte(int64_t position) {
  beginAnew();
  return avformat_seek_file(format_.get(), -1, INT64_MIN, position, INT64_MAX, AVSEEK_FLAG_BYTE);
}

int Container::onRead(void* opaque, uint8_t* buffer, int bytes) {
  auto& self = *static_cast<Container*>(opaque);
  int64_t const left = self.source_->size() - self.position_;
  if (left <= 0 || bytes <= 0) return AVERROR_EOF;
  int const wanted = static_cast<int>(std::min<int64_t>(bytes, left));
  int64_t got = wanted;
  bool const unread =
      self.skim_ == Skim::everything || (self.skim_ == Skim::largeReads && wanted > kIoBuffer);
  if (!unread) got = self.source_->readAt(self.position_, {buffer, static_cast<size_t>(wanted)});
  if (got < 0) return self.failure_ = AVERROR(EIO);
  if (got == 0) return AVERROR_EOF;
  self.position_ += got;
  self.beginOperation();
  return static_cast<int>(got);
}

int64_t Container::onSeek(void* opaque, int64_t position, int whence) {
  auto& self = *static_cast<Container*>(opaque);
  int64_t const size = self.source_->size();
  if (whence == AVSEEK_SIZE) return size;
  if (whence == SEEK_CUR) position += self.position_;
  if (whence == SEEK_END) position += size;
  if (position < 0) return AVERROR(EINVAL);
  self.position_ = position;
  return position;
}

int Container::onInterrupt(void* opaque) {
  auto& self = *static_cast<Container*>(opaque);
  if (std::chrono::steady_clock::now() - self.lastProgress_ <= self.patience_) return 0;
  self.failure_ = AVERROR_EXIT;
  self.source_->abandon("reading made no progress for too long");
  return 1;
}

std::vector<int> numberedStreams(AVFormatContext const& format) {
  std::vector<int> indexes;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    AVStream const& stream = *format.streams[i];
    AVMediaType const type = stream.codecpar->codec_type;
    bool const numbered =
        type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO || type == AVMEDIA_TYPE_SUBTITLE;
    if (numbered && !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC))
      indexes.push_back(static_cast<int>(i));
  }
  return indexes;
}

bool isIsoMedia(AVFormatContext const& format) {
  return format.iformat && std::strncmp(format.iformat->name, "mov,", 4) == 0;
}

bool isMxf(AVFormatContext const& format) {
  return format.iformat && std::strcmp(format.iformat->name, "mxf") == 0;
}

bool hasMovieFragments(ByteSource& source) {
  constexpr int kMostBoxes = 65536;
  int64_t const end = source.size();
  int64_t position = 0;
  for (int i = 0; i < kMostBoxes && position < end; ++i) {
    Box box;
    if (!readBox(source, position, end, box)) return false;
    if (is(box, "moof") || is(box, "sidx")) return true;
    if (is(box, "moov") && holdsMvex(source, box)) return true;
    position += box.size;
  }
  return false;
}

}  // namespace mediafile
