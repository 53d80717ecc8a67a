#include "mfimport/audio/audio_codec.h"

#include "mfimport/headers/classify.h"

namespace mfimport {
namespace {

// The fixed-point decoders of MPEG audio dither, which makes samples depend on where decoding began.
AVCodec const* findAudioDecoder(AVCodecID id) {
  char const* const name = id == AV_CODEC_ID_MP1 ? "mp1float" : id == AV_CODEC_ID_MP2 ? "mp2float" : nullptr;
  AVCodec const* const exact = name ? avcodec_find_decoder_by_name(name) : nullptr;
  return exact ? exact : avcodec_find_decoder(id);
}

}  // namespace

Result<lav::CodecContext> openAudioCodec(AVCodecParameters const& parameters, AVRational timeBase) {
  AVCodec const* codec = findAudioDecoder(parameters.codec_id);
  if (!codec)
    return Error{Fault::noDecoder, std::string("no decoder for ") + avcodec_get_name(parameters.codec_id)};
  lav::CodecContext context(lav::checked(avcodec_alloc_context3(codec)));
  int result = avcodec_parameters_to_context(context.get(), &parameters);
  context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  lav::quieten(*context);
  context->pkt_timebase = timeBase;
  context->thread_count = 1;
  // Dither of AC-3 that depends on the packet alone, not on where decoding began.
  av_opt_set_int(context.get(), "cons_noisegen", 1, AV_OPT_SEARCH_CHILDREN);
  if (result >= 0) result = avcodec_open2(context.get(), codec, nullptr);
  if (result < 0) return Error{Fault::noDecoder, lav::errorText(result)};
  return context;
}

SampleLayout naturalLayout(AVCodecParameters const& parameters) {
  switch (parameters.codec_id) {
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
    case AV_CODEC_ID_DTS:
    case AV_CODEC_ID_PCM_F32LE:
    case AV_CODEC_ID_PCM_F32BE:
    case AV_CODEC_ID_PCM_F64LE:
    case AV_CODEC_ID_PCM_F64BE:
      return {32, true};
    case AV_CODEC_ID_PCM_S32LE:
    case AV_CODEC_ID_PCM_S32BE:
      return {32, false};
    case AV_CODEC_ID_PCM_S24LE:
    case AV_CODEC_ID_PCM_S24BE:
      return {24, false};
    case AV_CODEC_ID_PCM_DVD:
    case AV_CODEC_ID_PCM_BLURAY:
    case AV_CODEC_ID_S302M:
    case AV_CODEC_ID_PCM_LXF:
      if (parameters.bits_per_raw_sample == 20 || parameters.bits_per_coded_sample == 20) return {20, false};
      if (parameters.bits_per_raw_sample == 24 || parameters.bits_per_coded_sample == 24) return {24, false};
      return {16, false};
    default:
      return {16, false};
  }
}

}  // namespace mfimport
