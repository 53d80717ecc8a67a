#include "mfimport/index/packet_note.h"

#include <algorithm>

namespace mfimport {

bool FieldPairs::completes(PictureHeader const& header) {
  bool const second = open_ && completesFrame(*open_, header);
  open_.reset();
  if (!second && header.structure != PictureStructure::frame) open_ = header;
  return second;
}

void readNote(AVCodecParserContext const& parser, PictureHeaderReader& headers, FieldPairs& pairs,
              std::span<uint8_t const> picture, PacketNote& note) {
  note.key = note.key || parser.key_frame == 1;
  note.bidirectional = parser.pict_type == AV_PICTURE_TYPE_B;
  note.order = parser.output_picture_number;
  if (parser.repeat_pict > 0) note.fields = static_cast<uint8_t>(std::min(1 + parser.repeat_pict, 8));
  std::optional<PictureHeader> const header = headers.read(picture);
  if (!header) return;
  if (header->kind != PictureKind::unknown) note.bidirectional = header->kind == PictureKind::bidirectional;
  note.coded = header->coded;
  note.restarts = header->restarts;
  note.secondField = pairs.completes(*header);
}

PictureInspector::PictureInspector(AVCodecParameters const& parameters)
    : parser_(av_parser_init(parameters.codec_id)),
      context_(lav::checked(avcodec_alloc_context3(nullptr))),
      headers_(parameters) {
  if (parser_) parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  if (avcodec_parameters_to_context(context_.get(), &parameters) < 0) parser_.reset();
}

void PictureInspector::inspect(AVPacket const& packet, std::span<uint8_t const> beginning, PacketNote& note) {
  if (!parser_) {
    std::optional<PictureHeader> const header = headers_.read(beginning);
    note.bidirectional = header && header->kind == PictureKind::bidirectional;
    return;
  }
  uint8_t* out = nullptr;
  int size = 0;
  av_parser_parse2(parser_.get(), context_.get(), &out, &size, beginning.data(),
                   static_cast<int>(beginning.size()), packet.pts, packet.dts, packet.pos);
  readNote(*parser_, headers_, pairs_, beginning, note);
}

}  // namespace mfimport
