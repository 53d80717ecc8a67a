#include "mfimport/clip/media_index.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>

#include "mfimport/headers/classify.h"
#include "mfimport/index/index_build.h"
#include "mfimport/index/picture_splitter.h"
#include "mfimport/subpicture/subpicture_index.h"

namespace mfimport {
namespace {

using mediafile::Container;

constexpr int kLeastSize = 16, kMostSize = 8192;  // pixels

bool formatIs(AVFormatContext const& format, char const* name) {
  char const* names = format.iformat->name;
  size_t const length = std::strlen(name);
  for (char const* at = names; (at = std::strstr(at, name)); at += length)
    if ((at == names || at[-1] == ',') && (at[length] == 0 || at[length] == ',')) return true;
  return false;
}

bool formatIsAnyOf(AVFormatContext const& format, std::initializer_list<char const*> names) {
  return std::any_of(names.begin(), names.end(), [&](char const* name) { return formatIs(format, name); });
}

bool hasStream(AVFormatContext const& format, AVMediaType type, bool (*test)(AVCodecID)) {
  std::vector<int> const numbered = mediafile::numberedStreams(format);
  return std::any_of(numbered.begin(), numbered.end(), [&](int index) {
    AVCodecParameters const& parameters = *format.streams[index]->codecpar;
    return parameters.codec_type == type && test(parameters.codec_id);
  });
}

// AVI and Matroska of the DivX profiles: their subtitles can be extracted.
bool isDmf(AVFormatContext const& format) {
  bool const fits = !hasStream(format, AVMEDIA_TYPE_VIDEO, [](AVCodecID codec) {
    return !isMpeg4Family(codec) && codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC &&
           codec != AV_CODEC_ID_VC1 && codec != AV_CODEC_ID_WMV3;
  });
  if (!fits) return false;
  bool const xsub =
      hasStream(format, AVMEDIA_TYPE_SUBTITLE, [](AVCodecID c) { return c == AV_CODEC_ID_XSUB; });
  if (formatIs(format, "matroska")) {
    bool const text = hasStream(format, AVMEDIA_TYPE_SUBTITLE, [](AVCodecID codec) {
      AVCodecDescriptor const* info = avcodec_descriptor_get(codec);
      return info && (info->props & AV_CODEC_PROP_TEXT_SUB) != 0;
    });
    return xsub || text;
  }
  if (xsub) return true;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    uint32_t const tag = format.streams[i]->codecpar->codec_tag;
    if (tag == mpegFourcc("DIVX") || tag == mpegFourcc("DX50") || tag == mpegFourcc("DIV3")) return true;
  }
  return false;
}

// A pack header of ISO/IEC 11172-1 has 0010 where that of 13818-1 has 01.
bool isMpeg1System(mediafile::ByteSource& source) {
  std::array<uint8_t, 5> head{};
  return source.readAt(0, head) == 5 && head[0] == 0 && head[1] == 0 && head[2] == 1 && head[3] == 0xBA &&
         head[4] >> 4 == 2;
}

int isoContainerType(AVFormatContext const& format) {
  AVDictionaryEntry const* brand = av_dict_get(format.metadata, "major_brand", nullptr, 0);
  return !brand || std::strcmp(brand->value, "qt  ") == 0 ? kContainerQuickTime : kContainerMp4;
}

bool isIntraHighDepth(AVFormatContext const& format) {
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    AVCodecParameters const& p = *format.streams[i]->codecpar;
    if (p.codec_id == AV_CODEC_ID_H264 && depthOf(static_cast<AVPixelFormat>(p.format)) > 8 &&
        readHeaders(HeaderSyntax::h264, lav::extradata(p), {}).intraProfile)
      return true;
  }
  return false;
}

int containerTypeOf(Container& container) {
  AVFormatContext& format = container.format();
  if (mediafile::isIsoMedia(format)) return isoContainerType(format);
  if (formatIs(format, "mpegts")) {
    int64_t bytes = 0;
    av_opt_get_int(&format, "ts_packetsize", AV_OPT_SEARCH_CHILDREN, &bytes);
    return bytes == 192 ? kContainerM2ts : kContainerTransport;
  }
  if (formatIs(format, "mpeg"))
    return isMpeg1System(container.source()) ? kContainerMpeg1System : kContainerMpeg2Program;
  if (mediafile::isMxf(format)) return isIntraHighDepth(format) ? kContainerMxfAvcIntra : kContainerMxf;
  if (formatIs(format, "avi")) return isDmf(format) ? kContainerDmf : kContainerAvi;
  if (formatIs(format, "matroska")) return isDmf(format) ? kContainerDmf : kContainerMatroska;
  if (formatIs(format, "asf")) return kContainerAsf;
  if (formatIs(format, "dv")) return kContainerDv;
  if (formatIs(format, "gxf")) return kContainerGxf;
  if (formatIs(format, "flv")) return kContainerFlv;
  if (formatIsAnyOf(format, {"mpegvideo", "m4v", "h264", "hevc", "vc1", "wav", "w64", "aiff", "ac3", "eac3",
                             "dts", "aac", "mp3", "amr"}))
    return kContainerElementary;
  return kContainerOther;
}

MpegStreamId programStreamId(AVStream const& stream) {
  // libavformat: 0x1E0 video, 0x1C0 MPEG audio, a bare sub-stream byte for private streams.
  MpegStreamId id{};
  id.id = static_cast<uint8_t>(stream.id & 0xFF);
  if ((stream.id & 0x100) == 0) id.subId = id.id;
  return id;
}

MpegStreamId transportStreamId(AVFormatContext& format, AVStream const& stream) {
  MpegStreamId id{};
  id.pid = static_cast<uint16_t>(stream.id);
  AVCodecParameters const& p = *stream.codecpar;
  id.id = p.codec_type == AVMEDIA_TYPE_VIDEO ? 0xE0 : mpegAudioLayer(p.codec_id) ? 0xC0 : 0xBD;
  if (AVProgram const* program = av_find_program_from_stream(&format, nullptr, stream.index))
    id.program = static_cast<uint16_t>(program->program_num);
  return id;
}

MpegStreamId identityOf(AVFormatContext& format, AVStream const& stream, size_t number, int containerType) {
  if (containerType == kContainerMpeg1System || containerType == kContainerMpeg2Program)
    return programStreamId(stream);
  if (containerType == kContainerTransport || containerType == kContainerM2ts)
    return transportStreamId(format, stream);
  MpegStreamId id{};
  id.pid = static_cast<uint16_t>(number);
  return id;
}

bool hasDropFrameTimecode(AVFormatContext const& format, AVStream const& stream) {
  for (AVDictionary const* metadata : {stream.metadata, format.metadata}) {
    AVDictionaryEntry const* entry = av_dict_get(metadata, "timecode", nullptr, 0);
    if (entry) return std::strchr(entry->value, ';') != nullptr;
  }
  return false;
}

bool isKnown(AVCodecParameters const& p, int containerType) {
  switch (p.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return isKnownVideo(p.codec_id) && p.width >= kLeastSize && p.height >= kLeastSize &&
             p.width <= kMostSize && p.height <= kMostSize;
    case AVMEDIA_TYPE_AUDIO:
      return audioFormatOf(p.codec_id, containerType).has_value() && p.sample_rate > 0 &&
             p.ch_layout.nb_channels > 0 && p.ch_layout.nb_channels <= 64;
    case AVMEDIA_TYPE_SUBTITLE:
      return true;
    default:
      return false;
  }
}

StreamIndex describeStream(Container& container, int libavIndex, size_t number, int containerType,
                           HostMemory const& memory) {
  AVFormatContext& format = container.format();
  AVStream const& from = *format.streams[libavIndex];
  StreamIndex stream(memory);
  stream.libavIndex = libavIndex;
  stream.id = identityOf(format, from, number, containerType);
  stream.parameters = lav::copy(*from.codecpar);
  stream.timeBase = from.time_base;
  if (from.avg_frame_rate.den > 0) stream.averageRate = av_q2d(from.avg_frame_rate);
  if (from.r_frame_rate.den > 0) stream.baseRate = av_q2d(from.r_frame_rate);
  stream.containerWidth = container.declaredWidth(static_cast<size_t>(libavIndex));
  stream.containerHeight = container.declaredHeight(static_cast<size_t>(libavIndex));
  if (stream.containerWidth <= 0) stream.containerWidth = from.codecpar->width;
  if (stream.containerHeight <= 0) stream.containerHeight = from.codecpar->height;
  stream.dropFrame = hasDropFrameTimecode(format, from);
  stream.known = isKnown(*from.codecpar, containerType);
  return stream;
}

// The pass over all packets.
class PacketPass {
 public:
  // Packets of the streams marked in `split` are taken apart and put together to pictures.
  PacketPass(Container& container, MediaIndex& index, std::vector<bool> const& split)
      : container_(container), index_(index), needsSplitting_(split), beginnings_(split.size()) {
    splitters_.resize(split.size());
    byLibavIndex_.assign(container.format().nb_streams, -1);
    notes_.resize(index.streams.size());
    inspectors_.resize(index.streams.size());
    verified_.assign(index.streams.size(), 0);
    mismatched_.assign(index.streams.size(), false);
    for (size_t i = 0; i < index.streams.size(); ++i) {
      StreamIndex const& stream = index.streams[i];
      byLibavIndex_[static_cast<size_t>(stream.libavIndex)] = static_cast<int>(i);
      if (split[i])
        splitters_[i] = std::make_unique<PictureSplitter>(*stream.parameters);
      else if (stream.type() == AVMEDIA_TYPE_VIDEO && (!index.packetsAsTheyLie || tellsTooLittle(stream)))
        inspectors_[i] = std::make_unique<PictureInspector>(*stream.parameters);
    }
    for (unsigned i = 0; i < container.format().nb_streams; ++i)
      if (byLibavIndex_[i] < 0) container.format().streams[i]->discard = AVDISCARD_ALL;
  }

  // Lists every packet. With `skim`, payload is left unread once the beginning has been compared with the
  // file. Ends where a read fails.
  void run(mediafile::Skim skim, bool compareWithFile) {
    constexpr int kMostErrors = 64;
    lav::Packet const packet = lav::newPacket();
    int errors = 0, count = 0;
    bool skimming = false;
    while (errors < kMostErrors) {
      if (!skimming && comparedEnough(count)) {
        if (judgeBeginnings()) return;
        container_.setSkim(skim);
        skimming = true;
      }
      int const result = container_.read(*packet);
      if (result == AVERROR_EOF || container_.broken()) break;
      if (result < 0) {
        ++errors;
        continue;
      }
      errors = 0;
      ++count;
      take(*packet, compareWithFile && !skimming);
      av_packet_unref(packet.get());
    }
    container_.setSkim(mediafile::Skim::off);
    if (judgeBeginnings()) return;
    for (size_t i = 0; i < index_.streams.size(); ++i) {
      if (splitters_[i]) splitPackets(index_.streams[i], notes_[i], *splitters_[i]);
      if (stampsMayBeOfDecoding(index_.streams[i])) inspectLater(i);
    }
    for (size_t i = 0; i < index_.streams.size(); ++i)
      finish(index_.streams[i], verified_[i], mismatched_[i]);
  }

  std::vector<PacketNote> const& notes(size_t stream) const { return notes_[stream]; }

  // By stream: packets are no pictures. When that has changed, the pass ended early and is to be repeated.
  std::vector<bool> const& needsSplitting() const { return needsSplitting_; }

 private:
  // The demultiplexer marks no key pictures of H.264 and HEVC in MXF, and not all files tell their order.
  bool tellsTooLittle(StreamIndex const& stream) const {
    return mediafile::isMxf(container_.format()) &&
           (stream.codec() == AV_CODEC_ID_H264 || stream.codec() == AV_CODEC_ID_HEVC);
  }

  // Streams that begin late are not waited for: they go through the demultiplexer.
  bool comparedEnough(int count) const {
    constexpr int kMostCompared = 64;
    if (count >= kMostCompared) return true;
    for (size_t i = 0; i < verified_.size(); ++i)
      if (index_.streams[i].known && index_.streams[i].type() != AVMEDIA_TYPE_SUBTITLE && !mismatched_[i] &&
          verified_[i] < kPacketsCompared)
        return false;
    return true;
  }

  void take(AVPacket const& packet, bool compare) {
    auto const at = static_cast<size_t>(packet.stream_index);
    if (at >= byLibavIndex_.size() || byLibavIndex_[at] < 0 || packet.size <= 0) return;
    auto const number = static_cast<size_t>(byLibavIndex_[at]);
    StreamIndex& stream = index_.streams[number];
    // In the tables of MP4 a packet is only marked so when the file ends within it.
    if (index_.packetsAsTheyLie && (packet.flags & AV_PKT_FLAG_CORRUPT) != 0) return;
    PacketNote note;
    note.duration = packet.duration;
    note.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    note.discard = (packet.flags & AV_PKT_FLAG_DISCARD) != 0;
    readSkip(packet, note);
    // AVC-Intra has 10 KB of padded headers and messages before its first slice.
    constexpr int kUpToTheSlice = 16384;
    if (inspectors_[number]) inspectors_[number]->inspect(packet, beginningOf(packet, kUpToTheSlice), note);
    if (splitters_[number])
      splitters_[number]->add(lav::payload(packet));
    else if (stream.type() == AVMEDIA_TYPE_VIDEO)
      verifyKey(packet, stream.codec(), note);
    keepBeginning(packet, number);
    uint32_t const fingerprint = index_.packetsAsTheyLie ? 0 : fingerprintOf(lav::payload(packet));
    stream.packets.push_back({packet.pts, packet.dts, packet.pos, packet.size, 0, fingerprint});
    if (isBitmapSubtitle(stream.codec())) noteSubpicture(stream, lav::payload(packet));
    notes_[number].push_back(note);
    if (!lav::sideData(packet, AV_PKT_DATA_NEW_EXTRADATA).empty() ||
        !lav::sideData(packet, AV_PKT_DATA_ENCRYPTION_INFO).empty() ||
        !lav::sideData(packet, AV_PKT_DATA_PALETTE).empty())
      mismatched_[number] = true;
    if ((compare || splitters_[number]) && !mismatched_[number]) compareOne(packet, number);
  }

  // The first packets of a stream whose pictures the demultiplexer does not tell apart itself, as long as
  // payload is read anyway.
  void keepBeginning(AVPacket const& packet, size_t number) {
    constexpr size_t kMostPackets = 16, kMostBytes = size_t{4} << 20;
    StreamIndex const& stream = index_.streams[number];
    Beginning& beginning = beginnings_[number];
    if (splitters_[number] || beginning.judged || index_.bytePositions || !stream.known ||
        stream.type() != AVMEDIA_TYPE_VIDEO)
      return;
    std::span<uint8_t const> const payload = lav::payload(packet);
    beginning.bytes += payload.size();
    beginning.packets.emplace_back(payload.begin(), payload.end());
    beginning.packets.back().resize(payload.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    if (beginning.packets.size() >= kMostPackets || beginning.bytes >= kMostBytes) judge(number);
  }

  void judge(size_t number) {
    Beginning& beginning = beginnings_[number];
    if (!beginning.judged && !arePictures(*index_.streams[number].parameters, beginning.packets))
      needsSplitting_[number] = true;
    beginning.judged = true;
    beginning.packets = {};
  }

  // True when packets of a stream turned out to be no pictures.
  bool judgeBeginnings() {
    bool found = false;
    for (size_t i = 0; i < beginnings_.size(); ++i) {
      judge(i);
      found |= needsSplitting_[i] && !splitters_[i];
    }
    return found;
  }

  // Reads the headers of pictures that were passed over, where the stamps alone do not tell their order. Of
  // a long stream a part is read first: without bidirectional pictures there is nothing to find.
  void inspectLater(size_t number) {
    StreamIndex& stream = index_.streams[number];
    if (!index_.packetsAsTheyLie || inspectors_[number] || splitters_[number]) return;
    constexpr size_t kMostRead = 2048, kRun = 4, kRuns = 64;
    size_t const packets = stream.packets.size();
    if (packets > kMostRead) {
      bool reordered = false;
      for (size_t run = 0; run < kRuns && !reordered; ++run) {
        size_t const from = run * (packets - kRun) / kRuns;
        reordered = inspectRange(number, from, from + kRun);
      }
      if (!reordered) return;
    }
    inspectRange(number, 0, packets);
  }

  // True when a bidirectional picture is among them.
  bool inspectRange(size_t number, size_t from, size_t to) {
    constexpr int kUpToTheSlice = 2048;
    StreamIndex const& stream = index_.streams[number];
    PictureInspector inspector(*stream.parameters);
    lav::Packet const packet = lav::newPacket();
    bool reordered = false;
    for (size_t i = from; i < to; ++i) {
      PacketEntry const& entry = stream.packets[i];
      packet->pts = entry.pts;
      packet->dts = entry.dts;
      packet->pos = entry.position;
      packet->size = entry.size;
      if (entry.position < 0) continue;
      PacketNote note = notes_[number][i];
      inspector.inspect(*packet, beginningOf(*packet, kUpToTheSlice), note);
      note.key = notes_[number][i].key;
      notes_[number][i] = note;
      reordered |= note.bidirectional;
    }
    packet->size = 0;
    return reordered;
  }

  static void noteSubpicture(StreamIndex& stream, std::span<uint8_t const> payload) {
    auto const number = static_cast<uint32_t>(stream.packets.size() - 1);
    bool const further = number > 0 && continuesSubpicture(*stream.parameters, payload);
    stream.packets.back().unit = further ? stream.packets[number - 1].unit : number;
    if (beginsSubpictures(*stream.parameters, payload)) stream.subpictureStarts.push_back(number);
  }

  // Marks of the container are checked where they are known to lie: phones mark H.263 and MPEG-4 pictures
  // that are no beginnings, and MXF without an index table marks none.
  void verifyKey(AVPacket const& packet, AVCodecID codec, PacketNote& note) {
    switch (codec) {
      case AV_CODEC_ID_H263:
        note.key = isIntraH263(beginningOf(packet)).value_or(note.key);
        break;
      case AV_CODEC_ID_MPEG4:
        if (note.key) note.key = isIntraMpeg4(beginningOf(packet)).value_or(true);
        break;
      case AV_CODEC_ID_MPEG2VIDEO:
        if (!note.key && mediafile::isMxf(container_.format()))
          note.key = beginsSequence(beginningOf(packet));
        break;
      default:
        break;
    }
  }

  // The headers of a picture, straight from the file where the demultiplexer may skim it.
  std::span<uint8_t const> beginningOf(AVPacket const& packet, int most = 1024) {
    if (!index_.packetsAsTheyLie || packet.pos < 0) return lav::payload(packet);
    auto const wanted = static_cast<size_t>(std::min(packet.size, most));
    buffer_.assign(wanted + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    int64_t const got = container_.source().readAt(packet.pos, std::span(buffer_).first(wanted));
    return std::span(buffer_).first(static_cast<size_t>(std::max<int64_t>(got, 0)));
  }

  static void readSkip(AVPacket const& packet, PacketNote& note) {
    auto const skip = lav::sideData(packet, AV_PKT_DATA_SKIP_SAMPLES);
    if (skip.size() < 8) return;
    auto const little = [&](size_t at) {
      return static_cast<uint32_t>(skip[at]) | static_cast<uint32_t>(skip[at + 1]) << 8 |
             static_cast<uint32_t>(skip[at + 2]) << 16 | static_cast<uint32_t>(skip[at + 3]) << 24;
    };
    note.hasSkip = true;
    note.skipBegin = little(0);
    note.skipEnd = little(4);
  }

  void compareOne(AVPacket const& packet, size_t number) {
    if (verified_[number] >= kPacketsCompared) return;
    buffer_.resize(static_cast<size_t>(packet.size));
    bool const equal = packet.pos >= 0 && container_.source().readAt(packet.pos, buffer_) == packet.size &&
                       std::equal(buffer_.begin(), buffer_.end(), packet.data);
    if (equal)
      ++verified_[number];
    else
      mismatched_[number] = true;
  }

  void finish(StreamIndex& stream, int verified, bool mismatched) const {
    stream.packets.shrink_to_fit();
    stream.direct = verified > 0 && !mismatched;
    for (PacketEntry const& entry : stream.packets)
      if (entry.position < 0 || entry.size > index_.fileSize - entry.position) stream.direct = false;
  }

  static constexpr int kPacketsCompared = 2;

  struct Beginning {
    std::vector<std::vector<uint8_t>> packets;  // padded
    size_t bytes = 0;
    bool judged = false;
  };

  Container& container_;
  MediaIndex& index_;
  std::vector<int> byLibavIndex_;  // stream number, -1 for none
  std::vector<std::vector<PacketNote>> notes_;
  std::vector<std::unique_ptr<PictureInspector>> inspectors_;
  std::vector<std::unique_ptr<PictureSplitter>> splitters_;
  std::vector<bool> needsSplitting_;
  std::vector<Beginning> beginnings_;
  std::vector<int> verified_;  // packets found equal to the file
  std::vector<bool> mismatched_;
  std::vector<uint8_t> buffer_;
};

mediafile::Skim skimOf(Container& container) {
  if (mediafile::isIsoMedia(container.format()))
    return mediafile::hasMovieFragments(container.source()) ? mediafile::Skim::largeReads
                                                            : mediafile::Skim::everything;
  return mediafile::isMxf(container.format()) ? mediafile::Skim::largeReads : mediafile::Skim::off;
}

Result<std::unique_ptr<Container>> openContainer(mediafile::FileAccess const& access, std::string const& name,
                                                 mediafile::ContainerOptions const& options) {
  auto source = access.open(name);
  if (!source) return source.error();
  return Container::open(source.take(), name, options);
}

Result<std::shared_ptr<MediaIndex>> buildFrom(mediafile::FileAccess const& access, std::string const& name,
                                              int searchLimitMiB, HostCallbacks const& host) {
  auto index = std::make_shared<MediaIndex>();
  index->name = name;
  mediafile::ContainerOptions options;
  if (searchLimitMiB > 0) options.probeBytes = int64_t{std::min(searchLimitMiB, 2000)} << 20;
  index->probeBytes = options.probeBytes;

  auto opened = openContainer(access, name, options);
  if (!opened) return opened.error();
  std::unique_ptr<Container> container = opened.take();
  index->fileSize = container->source().size();

  AVFormatContext& format = container->format();
  bool const iso = mediafile::isIsoMedia(format);
  index->containerType = containerTypeOf(*container);
  index->packetsAsTheyLie = container->unparsed();
  index->bytePositions = formatIsAnyOf(format, {"mpegts", "mpeg", "mpegvideo", "m4v", "h264", "hevc", "vc1"});
  for (unsigned i = 0; i < format.nb_streams; ++i)
    if (format.streams[i]->codecpar->codec_id == AV_CODEC_ID_DVD_NAV) index->dvdNavigation = true;
  for (int const at : mediafile::numberedStreams(format))
    index->streams.push_back(
        describeStream(*container, at, index->streams.size(), index->containerType, host.memory()));

  bool const plainLayout = iso || formatIsAnyOf(format, {"wav", "w64", "aiff"});
  std::vector<bool> split(index->streams.size(), false);
  auto pass = std::make_unique<PacketPass>(*container, *index, split);
  pass->run(skimOf(*container), plainLayout);
  while (pass->needsSplitting() != split) {
    split = pass->needsSplitting();
    pass.reset();
    container.reset();
    opened = openContainer(access, name, options);
    if (!opened) return opened.error();
    container = opened.take();
    for (StreamIndex& stream : index->streams) stream.packets.clear();
    pass = std::make_unique<PacketPass>(*container, *index, split);
    pass->run(mediafile::Skim::off, plainLayout);
  }
  for (size_t i = 0; i < index->streams.size(); ++i) {
    StreamIndex& stream = index->streams[i];
    // A stream that holds nothing is neither known nor unknown. Subtitles may be silent.
    stream.absent = stream.packets.empty() && stream.type() != AVMEDIA_TYPE_SUBTITLE;
    if (stream.absent) stream.known = false;
    if (!stream.known) continue;
    if (stream.type() == AVMEDIA_TYPE_VIDEO) buildVideoIndex(*index, stream, pass->notes(i), access);
    if (stream.type() == AVMEDIA_TYPE_AUDIO) buildAudioIndex(*index, stream, pass->notes(i), access);
  }
  return index;
}

// Whatever reads failed on the way, an index made in spite of it would be that of a shorter film.
Result<std::shared_ptr<MediaIndex>> build(mediafile::FileAccess const& access, std::string const& name,
                                          int searchLimitMiB, HostCallbacks const& host) {
  auto const watch = std::make_shared<mediafile::ReadWatch>();
  auto index = buildFrom(access.watchedBy(watch), name, searchLimitMiB, host);
  if (watch->failed()) return Error{Fault::unreadable, watch->reason()};
  return index;
}

// One entry per file content. The slot's own lock lets a second opener of a file wait for the first instead
// of indexing it again, without holding up those of other files.
struct Slot {
  std::mutex mutex;
  std::weak_ptr<MediaIndex const> index;
};

class IndexCache {
 public:
  std::shared_ptr<Slot> slot(std::string const& identity) {
    std::lock_guard const lock(mutex_);
    std::erase_if(slots_, [](auto const& entry) {
      if (entry.second.use_count() != 1) return false;
      std::unique_lock const idle(entry.second->mutex, std::try_to_lock);
      return idle && entry.second->index.expired();
    });
    std::shared_ptr<Slot>& slot = slots_[identity];
    if (!slot) slot = std::make_shared<Slot>();
    return slot;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Slot>> slots_;
};

IndexCache& cache() {
  static IndexCache instance;
  return instance;
}

}  // namespace

uint32_t fingerprintOf(std::span<uint8_t const> packet) {
  constexpr size_t kBegin = 192, kEnd = 64;
  constexpr uint32_t kOffset = 2166136261U, kPrime = 16777619U;  // FNV-1a
  uint32_t hash = kOffset;
  auto const add = [&](std::span<uint8_t const> bytes) {
    for (uint8_t const byte : bytes) hash = (hash ^ byte) * kPrime;
  };
  add(packet.first(std::min(packet.size(), kBegin)));
  if (packet.size() > kBegin) add(packet.last(std::min(packet.size() - kBegin, kEnd)));
  return hash != 0 ? hash : 1;
}

size_t VideoIndex::startFor(size_t display) const {
  size_t const target = byDisplay[display];
  // libavcodec's H.264 decoder withholds what follows a recovery point when the stream ends before that has
  // come out.
  size_t const held = reorderDepth > 0 ? static_cast<size_t>(reorderDepth) + 2 : 0;
  for (size_t i = target + 1; i-- > firstKey;)
    if (pictures[i].key && pictures[i].rank <= pictures[target].rank && pictures.size() - i > held) return i;
  return firstKey;
}

size_t VideoIndex::keyBefore(size_t picture) const {
  for (size_t i = picture; i-- > firstKey;)
    if (pictures[i].key) return i;
  return firstKey;
}

size_t AudioIndex::packetOf(int64_t sample) const {
  // Spans that keep nothing share their first sample with the span after; the last of equals delivers.
  auto const after =
      std::upper_bound(spans.begin(), spans.end(), sample,
                       [](int64_t wanted, SampleSpan const& span) { return wanted < span.first; });
  auto at = static_cast<size_t>(after - spans.begin()) - 1;
  while (at > 0 && spans[at].keep == 0) --at;
  return at;
}

Result<std::shared_ptr<MediaIndex const>> acquireMediaIndex(mediafile::FileAccess const& access,
                                                            std::string const& name, int searchLimitMiB,
                                                            HostCallbacks const& host) {
  std::string const identity = access.identity(name);
  std::shared_ptr<Slot> const slot = identity.empty()
                                         ? std::make_shared<Slot>()
                                         : cache().slot(identity + " " + std::to_string(searchLimitMiB));
  std::lock_guard const lock(slot->mutex);
  if (auto known = slot->index.lock()) return known;
  auto built = build(access, name, searchLimitMiB, host);
  if (!built) return built.error();
  std::shared_ptr<MediaIndex const> index = built.take();
  slot->index = index;
  return index;
}

}  // namespace mfimport
