#include "dmfdemux/title.h"

#include <algorithm>
#include <utility>

namespace dmfdemux {
namespace {

bool isDmfContainer(AVFormatContext const& format) {
  std::string_view const name = format.iformat->name;
  return name == "avi" || name.starts_with("matroska");
}

std::string_view metadata(AVStream const& stream, char const* key) {
  AVDictionaryEntry const* entry = av_dict_get(stream.metadata, key, nullptr, 0);
  return entry ? std::string_view(entry->value) : std::string_view();
}

// A tag of BCP 47 ("pt-BR") is cut behind its language.
void setLanguage(AVStream const& stream, std::span<uint16_t> out) {
  std::string_view language = metadata(stream, "language");
  language = language.substr(0, language.find('-'));
  toUtf16(language == "und" ? std::string_view() : language, out);
}

int32_t subtitleCodec(AVCodecParameters const& parameters) {
  switch (parameters.codec_id) {
    case AV_CODEC_ID_XSUB:
      return parameters.codec_tag == MKTAG('D', 'X', 'S', 'A') ? kDmfDxsa : kDmfDxsb;
    case AV_CODEC_ID_SUBRIP:
    case AV_CODEC_ID_TEXT:
    case AV_CODEC_ID_WEBVTT:
      return kDmfText;
    case AV_CODEC_ID_ASS: {
      auto const header = lav::extradata(parameters);
      return isSsaHeader({reinterpret_cast<char const*>(header.data()), header.size()}) ? kDmfSsa : kDmfAss;
    }
    default:
      return 0;
  }
}

StreamFacts describe(AVStream const& stream) {
  AVCodecParameters const& parameters = *stream.codecpar;
  StreamFacts facts;
  facts.source.libavIndex = stream.index;
  switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      facts.kind = kDmfVideo;
      facts.video.width = static_cast<uint32_t>(std::max(parameters.width, 0));
      facts.video.height = static_cast<uint32_t>(std::max(parameters.height, 0));
      break;
    case AVMEDIA_TYPE_AUDIO:
      facts.kind = kDmfAudio;
      facts.audio.sampleRate = static_cast<uint32_t>(std::max(parameters.sample_rate, 0));
      facts.audio.channels = static_cast<uint16_t>(std::clamp(parameters.ch_layout.nb_channels, 0, 0xFFFF));
      setLanguage(stream, facts.audio.language);
      break;
    default: {
      facts.kind = kDmfSubtitle;
      facts.subtitle.forced = (stream.disposition & AV_DISPOSITION_FORCED) != 0 ? 1 : 0;
      setLanguage(stream, facts.subtitle.language);
      toUtf16(metadata(stream, "title"), facts.subtitle.mediaDesc);
      auto const header = lav::extradata(parameters);
      facts.source.codec = subtitleCodec(parameters);
      if (facts.source.codec == kDmfAss || facts.source.codec == kDmfSsa)
        facts.source.header.assign(reinterpret_cast<char const*>(header.data()), header.size());
      break;
    }
  }
  return facts;
}

// Takes one character off non-empty UTF-8.
uint32_t takeCharacter(std::string_view& text) {
  constexpr uint32_t kReplacement = 0xFFFD;
  auto const lead = static_cast<unsigned char>(text[0]);
  text.remove_prefix(1);
  if (lead < 0x80) return lead;
  size_t const more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < more) return kReplacement;
  uint32_t code = lead & (0x3FU >> more);
  for (size_t i = 0; i < more; ++i) {
    auto const next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80) return kReplacement;
    code = code << 6 | (next & 0x3FU);
  }
  text.remove_prefix(more);
  bool const overlong = (more == 2 && code < 0x800) || (more == 3 && code < 0x10000);
  bool const surrogate = code >= 0xD800 && code <= 0xDFFF;
  return overlong || surrogate || code > 0x10FFFF ? kReplacement : code;
}

}  // namespace

void toUtf16(std::string_view text, std::span<uint16_t> out) {
  std::fill(out.begin(), out.end(), uint16_t{0});
  for (size_t at = 0; at < out.size() && !text.empty();) {
    uint32_t const code = takeCharacter(text);
    if (code < 0x10000) {
      out[at++] = static_cast<uint16_t>(code);
    } else {
      if (at + 1 == out.size()) return;
      out[at++] = static_cast<uint16_t>(0xD7C0 + (code >> 10));
      out[at++] = static_cast<uint16_t>(0xDC00 + (code & 0x3FF));
    }
  }
}

void const* StreamFacts::format() const {
  if (kind == kDmfVideo) return &video;
  return kind == kDmfAudio ? static_cast<void const*>(&audio) : &subtitle;
}

mediafile::Result<std::unique_ptr<Title>> Title::read(std::string const& fileName) {
  auto source = mediafile::FileAccess().open(fileName);
  if (!source) return source.error();
  // Opened as the import library does, so that both see the same streams.
  auto const container = mediafile::Container::open(source.take(), fileName, {});
  if (!container) return container.error();
  AVFormatContext const& format = (*container)->format();
  if (!isDmfContainer(format))
    return mediafile::Error{mediafile::Fault::format,
                            std::string("no AVI or Matroska file but ") + format.iformat->name};
  auto title = std::make_unique<Title>();
  std::vector<int> subtitles;
  for (int const index : mediafile::numberedStreams(format)) {
    title->streams_.push_back(describe(*format.streams[index]));
    if (title->streams_.back().source.codec != 0) subtitles.push_back(index);
  }
  int64_t const start = format.start_time != AV_NOPTS_VALUE ? format.start_time : 0;
  title->packets_ = std::make_unique<SubtitlePackets>(fileName, start, std::move(subtitles));
  return {std::move(title)};
}

int16_t Title::count(int32_t kind) const {
  return static_cast<int16_t>(std::count_if(streams_.begin(), streams_.end(),
                                            [&](StreamFacts const& stream) { return stream.kind == kind; }));
}

}  // namespace dmfdemux
