#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <limits>
#include <span>
#include <string_view>

#include "dmfdemux/packets.h"
#include "dmfdemux/script.h"
#include "mfimport/subpicture/subpicture_index.h"

namespace {

using dmfdemux::Piece;
using dmfdemux::Times;

// Packets cut out of the input: a byte of length, two of times, the text.
void addPackets(dmfdemux::ScriptWriter& writer, std::span<std::uint8_t const> bytes) {
  std::deque<Piece> out;
  writer.begin(out);
  while (bytes.size() > 3) {
    std::size_t const length = std::min<std::size_t>(bytes[0], bytes.size() - 3);
    Times times{static_cast<std::int8_t>(bytes[1]) * std::int64_t{3600000000},
                bytes[2] * std::int64_t{999999}};
    if (bytes[1] == 0x7F) times.begin = std::numeric_limits<std::int64_t>::min();
    if (bytes[2] == 0xFF) times.end = std::numeric_limits<std::int64_t>::max();
    writer.add({reinterpret_cast<char const*>(bytes.data() + 3), length}, times, out);
    bytes = bytes.subspan(3 + length);
  }
  writer.end(out);
  for (Piece const& piece : out)
    if (piece.isEvent && (piece.text.empty() || piece.text.back() != '\n')) std::abort();
}

void readBitmapPacket(std::span<std::uint8_t const> packet) {
  AVCodecParameters* stream = avcodec_parameters_alloc();
  if (!stream) return;
  for (AVCodecID const codec :
       {AV_CODEC_ID_DVD_SUBTITLE, AV_CODEC_ID_HDMV_PGS_SUBTITLE, AV_CODEC_ID_DVB_SUBTITLE}) {
    stream->codec_id = codec;
    mfimport::beginsSubpictures(*stream, packet);
    mfimport::continuesSubpicture(*stream, packet);
  }
  avcodec_parameters_free(&stream);
  auto const canvas = mfimport::dvbDisplay(packet);
  if (canvas && (canvas->width < 1 || canvas->height < 1)) std::abort();
}

}  // namespace

/// Subtitle packets of any content become pieces of a script that end their line; bitmap packets
/// are read without being decoded. The first byte chooses.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::span<std::uint8_t const> const bytes(data + 1, size - 1);
  switch (data[0] % 4) {
    case 0:
      addPackets(*dmfdemux::makeSubRipWriter(), bytes);
      break;
    case 1:
      addPackets(*dmfdemux::makeSubStationWriter("[Script Info]\n[V4+ Styles]\n[Events]\n"), bytes);
      break;
    case 2:
      if (auto const times = dmfdemux::xsubTimes(bytes); times && times->begin < 0) std::abort();
      break;
    default:
      readBitmapPacket(bytes);
  }
  return 0;
}
