#include "mfimport/index/picture_splitter.h"

#include <algorithm>

namespace mfimport {
namespace {

int lengthBytesOf(AVCodecParameters const& parameters) {
  std::span<uint8_t const> const extradata = lav::extradata(parameters);
  if (parameters.codec_id == AV_CODEC_ID_H264) return nalLengthBytes(HeaderSyntax::h264, extradata);
  if (parameters.codec_id == AV_CODEC_ID_HEVC) return nalLengthBytes(HeaderSyntax::hevc, extradata);
  return 0;
}

// The parameters of the same stream with start codes: parsers join pieces only of those.
lav::CodecParameters withStartCodes(AVCodecParameters const& parameters) {
  lav::CodecParameters result = lav::copy(parameters);
  if (lengthBytesOf(parameters) == 0) return result;
  bool const h264 = parameters.codec_id == AV_CODEC_ID_H264;
  AVBitStreamFilter const* filter = av_bsf_get_by_name(h264 ? "h264_mp4toannexb" : "hevc_mp4toannexb");
  AVBSFContext* context = nullptr;
  if (!filter || av_bsf_alloc(filter, &context) < 0) return result;
  if (avcodec_parameters_copy(context->par_in, &parameters) >= 0 && av_bsf_init(context) >= 0)
    result = lav::copy(*context->par_out);
  av_bsf_free(&context);
  return result;
}

}  // namespace

PictureSplitter::PictureSplitter(AVCodecParameters const& parameters)
    : PictureSplitter(withStartCodes(parameters), lengthBytesOf(parameters)) {}

PictureSplitter::PictureSplitter(lav::CodecParameters const& byteStream, int lengthBytes)
    : lengthBytes_(lengthBytes),
      parser_(av_parser_init(byteStream->codec_id)),
      context_(lav::checked(avcodec_alloc_context3(nullptr))),
      headers_(*byteStream) {
  // A shorter field has no room for a start code.
  constexpr int kStartCodeBytes = 3;
  bool const fits = lengthBytes == 0 || lengthBytes >= kStartCodeBytes;
  if (!fits || avcodec_parameters_to_context(context_.get(), byteStream.get()) < 0) parser_.reset();
}

// Start codes in the place of length fields.
std::span<uint8_t const> PictureSplitter::asByteStream(std::span<uint8_t const> packet) {
  if (lengthBytes_ == 0) return packet;
  auto const width = static_cast<size_t>(lengthBytes_);
  buffer_.assign(packet.begin(), packet.end());
  buffer_.resize(packet.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  for (size_t at = 0; packet.size() - at > width;) {
    size_t size = 0;
    for (size_t i = 0; i < width; ++i) {
      size = size << 8 | buffer_[at + i];
      buffer_[at + i] = i + 1 == width ? 1 : 0;
    }
    starts_.push_back({given_ + static_cast<int64_t>(at), lengthBytes_ - 1});
    if (size > packet.size() - at - width) break;
    at += width + size;
  }
  return std::span(buffer_).first(packet.size());
}

void PictureSplitter::add(std::span<uint8_t const> packet) {
  auto const leading = std::find_if(packet.begin(), packet.end(), [](uint8_t byte) { return byte != 0; });
  starts_.push_back({given_, static_cast<int>(leading - packet.begin())});
  auto const size = static_cast<int64_t>(packet.size());
  packet = asByteStream(packet);
  given_ += size;
  while (parser_ && !packet.empty()) {
    int const used = parse(packet);
    if (used < 0) return;
    packet = packet.subspan(std::min(static_cast<size_t>(used), packet.size()));
  }
}

std::vector<PictureSplitter::Coded> const& PictureSplitter::finish() {
  if (parser_ && !finished_) parse({});
  finished_ = true;
  // Parsers may leave zeros before a start code to the picture before.
  for (Coded& coded : coded_) {
    auto const after =
        std::upper_bound(starts_.begin(), starts_.end(), coded.begin,
                         [](int64_t position, Start const& start) { return position < start.position; });
    if (after == starts_.begin()) continue;
    if (coded.begin - after[-1].position <= after[-1].zeros) coded.begin = after[-1].position;
  }
  return coded_;
}

// The bytes taken, negative when no more can be told.
int PictureSplitter::parse(std::span<uint8_t const> bytes) {
  uint8_t* out = nullptr;
  int size = 0;
  int const used = av_parser_parse2(parser_.get(), context_.get(), &out, &size, bytes.data(),
                                    static_cast<int>(bytes.size()), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
  if (size > 0) {
    Coded coded{parsed_, {}};
    // Parsers that tell no beginnings leave it to the type.
    coded.note.key = parser_->key_frame < 0 && parser_->pict_type == AV_PICTURE_TYPE_I;
    readNote(*parser_, headers_, pairs_, {out, static_cast<size_t>(size)}, coded.note);
    coded_.push_back(coded);
    parsed_ += size;
  }
  return used;
}

void splitPackets(PacketList& stream, std::vector<PacketNote>& notes, PictureSplitter& splitter) {
  std::vector<PictureSplitter::Coded> const& coded = splitter.finish();
  std::vector<PacketEntry> entries;
  std::vector<PacketNote> notesOfEntries;
  bool severalInOne = false;
  int64_t begin = 0;    // of the packet, in the bytes of all
  size_t upcoming = 0;  // the next that has not begun
  for (size_t number = 0; number < stream.packets.size(); ++number) {
    PacketEntry const& packet = stream.packets[number];
    int64_t const end = begin + packet.size;
    int begun = 0;
    for (int64_t at = begin; at < end;) {
      bool const begins = upcoming < coded.size() && coded[upcoming].begin <= at;
      PictureSplitter::Coded const* const own = begins ? &coded[upcoming++] : nullptr;
      int64_t const next = upcoming < coded.size() ? std::min(coded[upcoming].begin, end) : end;
      if (next <= at) continue;  // one without bytes
      PacketEntry entry = packet;
      entry.offset = static_cast<uint32_t>(at - begin);
      entry.size = static_cast<int32_t>(next - at);
      if (packet.position >= 0) entry.position += at - begin;
      if (entry.offset > 0) entry.pts = AV_NOPTS_VALUE;
      PacketNote note = notes[number];
      if (own) {
        bool const discard = note.discard;
        int64_t const duration = note.duration;
        note = own->note;
        note.discard = discard;
        note.duration = duration;
        if (!note.secondField && note.coded) ++begun;
      } else {
        note.key = false;
        note.continues = true;
      }
      entries.push_back(entry);
      notesOfEntries.push_back(note);
      at = next;
    }
    severalInOne |= begun > 1;
    begin = end;
  }
  stream.packets.assign(entries.begin(), entries.end());
  notes = std::move(notesOfEntries);
  // What is counted by packets says nothing about pictures.
  if (!severalInOne) return;
  for (PacketEntry& entry : stream.packets) entry.pts = AV_NOPTS_VALUE;
}

bool arePictures(AVCodecParameters const& parameters, std::span<std::span<uint8_t const> const> packets) {
  PictureSplitter splitter(parameters);
  if (!splitter.works()) return true;
  std::vector<int64_t> begins;
  int64_t begin = 0;
  for (std::span<uint8_t const> const packet : packets) {
    begins.push_back(begin);
    splitter.add(packet);
    begin += static_cast<int64_t>(packet.size());
  }
  std::vector<int64_t> pictures;
  for (PictureSplitter::Coded const& coded : splitter.finish())
    if (!coded.note.secondField) pictures.push_back(coded.begin);
  return pictures == begins;
}

}  // namespace mfimport
