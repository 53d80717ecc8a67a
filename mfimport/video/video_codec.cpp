#include "mfimport/video/video_codec.h"

#include <algorithm>

#include "mfimport/headers/classify.h"
#include "mfimport/video/picture_memory.h"

namespace mfimport {
namespace {

constexpr int64_t kMostPixels = int64_t{8192} * 8192;

bool isMpeg12(AVCodecID codec) { return codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO; }

// The kind that was asked for, or the other where the codec lacks it.
int threadTypeFor(AVCodec const& codec, int wanted) {
  bool const frames = (codec.capabilities & AV_CODEC_CAP_FRAME_THREADS) != 0;
  bool const slices = (codec.capabilities & AV_CODEC_CAP_SLICE_THREADS) != 0;
  if (wanted == FF_THREAD_FRAME && !frames && slices) return FF_THREAD_SLICE;
  if (wanted == FF_THREAD_SLICE && !slices && frames) return FF_THREAD_FRAME;
  // Between their slice threads H.264 and HEVC lose track of damage.
  if (codec.id == AV_CODEC_ID_H264 || codec.id == AV_CODEC_ID_HEVC) return FF_THREAD_FRAME;
  return wanted;
}

}  // namespace

bool hasDecoder(AVCodecID codec) { return avcodec_find_decoder(codec) != nullptr; }

Result<lav::CodecContext> openVideoCodec(StreamFacts const& stream, int reorderDepth,
                                         ThreadSetting const& threads, PictureMemory* memory) {
  AVCodec const* codec = avcodec_find_decoder(stream.codec());
  if (!codec)
    return Error{Fault::noDecoder, std::string("no decoder for ") + avcodec_get_name(stream.codec())};
  lav::CodecContext context(lav::checked(avcodec_alloc_context3(codec)));
  int result = avcodec_parameters_to_context(context.get(), stream.parameters.get());
  // Later versions copy the container's; what stands here behind is the coded rate.
  context->framerate = {0, 1};
  // Threads of MPEG-4 and its relatives hand pictures on before they are marked as damaged.
  context->thread_count = isMpeg4Family(codec->id) ? 1 : std::clamp(threads.count, 1, kMostThreads);
  context->thread_type = threadTypeFor(*codec, threads.type);
  context->max_pixels = kMostPixels;
  // A picture with errors ends with one. What HEVC cannot read it leaves as it was and says so in no other
  // way; slice threads of MPEG-2 mark the picture when others that refer to it have come out.
  bool const slicesOfMpeg2 = isMpeg12(codec->id) && context->thread_count > 1;
  if (codec->id == AV_CODEC_ID_HEVC || slicesOfMpeg2) context->err_recognition |= AV_EF_EXPLODE;
  lav::quieten(*context);
  if (memory) memory->serve(*context);
  context->pkt_timebase = {1, 1};
  // A decoder that learns the depth only on the way would hand out the first pictures in the wrong order.
  context->has_b_frames = std::max(context->has_b_frames, std::min(reorderDepth, 16));
  if (result >= 0) result = avcodec_open2(context.get(), codec, nullptr);
  if (result < 0) return Error{Fault::noDecoder, lav::errorText(result)};
  return context;
}

}  // namespace mfimport
