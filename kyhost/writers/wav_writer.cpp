#include "kyhost/writers/wav_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <vector>

#include "host/util.h"
#include "kyhost/session/failure.h"
#include "kyhost/writers/output_file.h"
#include "mediafile/lav.h"

namespace kyhost {
namespace {

constexpr int kIoBytes = 1 << 16;
constexpr int kLargest24 = 8388607;

AVCodecID codecFor(int bytesPerSample) {
  switch (bytesPerSample) {
    case 1:
      return AV_CODEC_ID_PCM_U8;
    case 2:
      return AV_CODEC_ID_PCM_S16LE;
    default:
      return AV_CODEC_ID_PCM_S24LE;
  }
}

void packTo24(unsigned char const* words, size_t count, std::vector<unsigned char>& out) {
  out.resize(count * 3);
  for (size_t i = 0; i < count; ++i) {
    int32_t value = 0;
    std::memcpy(&value, words + 4 * i, sizeof value);
    value = std::clamp(value, -kLargest24 - 1, kLargest24);
    auto const bits = static_cast<uint32_t>(value);
    out[3 * i] = static_cast<unsigned char>(bits);
    out[3 * i + 1] = static_cast<unsigned char>(bits >> 8);
    out[3 * i + 2] = static_cast<unsigned char>(bits >> 16);
  }
}

void describe(AVCodecParameters& parameters, SoundFormat const& format) {
  parameters.codec_type = AVMEDIA_TYPE_AUDIO;
  parameters.codec_id = codecFor(format.bytesPerSample);
  parameters.sample_rate = format.rate;
  parameters.bits_per_coded_sample = av_get_bits_per_sample(parameters.codec_id);
  parameters.block_align = format.channels * parameters.bits_per_coded_sample / 8;
  parameters.bit_rate = int64_t{8} * parameters.block_align * format.rate;
  if (format.discrete) {
    parameters.ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    parameters.ch_layout.nb_channels = format.channels;
  } else {
    av_channel_layout_default(&parameters.ch_layout, format.channels);
  }
}

// lav::FormatContext is for what was opened to be read.
struct FreeMuxer {
  void operator()(AVFormatContext* muxer) const { avformat_free_context(muxer); }
};

}  // namespace

struct WavWriter::Impl {
  Impl(std::filesystem::path const& output, SoundFormat const& sound) : file(output), format(sound) {}

  void check(int result) {
    if (result >= 0) return;
    if (failure) std::rethrow_exception(failure);
    throw Failure(ExitCode::Write,
                  fmt::format("{}: cannot be written ({})", file.name(), lav::errorText(result)));
  }

  static int onWrite(void* opaque, lav::AvioWriteBytes* data, int size) {
    auto* const self = static_cast<Impl*>(opaque);
    return self->guarded([&] {
      self->file.write({data, static_cast<size_t>(size)});
      return size;
    });
  }

  static int64_t onSeek(void* opaque, int64_t offset, int whence) {
    auto* const self = static_cast<Impl*>(opaque);
    if (whence != SEEK_SET) return AVERROR(EINVAL);
    return self->guarded([&] {
      self->file.seek(offset);
      return offset;
    });
  }

  // libav's frames lie between: the exception waits until they have returned.
  template <class Work>
  auto guarded(Work work) -> decltype(work()) {
    try {
      return work();
    } catch (...) {
      failure = std::current_exception();
      return AVERROR(EIO);
    }
  }

  OutputFile file;
  SoundFormat format;
  lav::Io io;
  std::unique_ptr<AVFormatContext, FreeMuxer> muxer;
  lav::Packet packet;
  std::vector<unsigned char> packed;
  std::exception_ptr failure;
  int64_t written = 0;
};

WavWriter::WavWriter(std::filesystem::path const& output, SoundFormat const& format)
    : impl_(std::make_unique<Impl>(output, format)) {
  bool const wave64 = KyUtil::getExt(Any(output.string()), true) == Any("w64");
  AVFormatContext* muxer = nullptr;
  impl_->check(avformat_alloc_output_context2(&muxer, nullptr, wave64 ? "w64" : "wav", nullptr));
  impl_->muxer.reset(muxer);
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kIoBytes));
  if (buffer) {
    impl_->io.reset(avio_alloc_context(buffer, kIoBytes, 1, impl_.get(), nullptr, &Impl::onWrite,
                                       impl_->file.seekable() ? &Impl::onSeek : nullptr));
    if (!impl_->io) av_free(buffer);
  }
  impl_->packet.reset(av_packet_alloc());
  AVStream* const stream = avformat_new_stream(muxer, nullptr);
  if (!impl_->io || !impl_->packet || !stream) impl_->check(AVERROR(ENOMEM));
  muxer->pb = impl_->io.get();
  muxer->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;

  describe(*stream->codecpar, format);
  stream->time_base = {1, format.rate};

  AVDictionary* options = nullptr;
  if (!wave64 && impl_->file.seekable()) av_dict_set(&options, "rf64", "auto", 0);
  int const result = avformat_write_header(muxer, &options);
  av_dict_free(&options);
  impl_->check(result);
}

WavWriter::~WavWriter() = default;

void WavWriter::write(unsigned char const* data, int samples) {
  Impl& impl = *impl_;
  size_t const count = static_cast<size_t>(samples) * static_cast<size_t>(impl.format.channels);
  if (impl.format.bytesPerSample == 4) {
    packTo24(data, count, impl.packed);
    data = impl.packed.data();
  }
  int const bytesPerSample = std::min(impl.format.bytesPerSample, 3);
  // The muxer only reads the bytes.
  impl.packet->data = const_cast<unsigned char*>(data);
  impl.packet->size = static_cast<int>(count) * bytesPerSample;
  impl.packet->pts = impl.packet->dts = impl.written;
  impl.packet->duration = samples;
  impl.check(av_write_frame(impl.muxer.get(), impl.packet.get()));
  impl.written += samples;
}

void WavWriter::finish() {
  impl_->check(av_write_trailer(impl_->muxer.get()));
  avio_flush(impl_->io.get());
  impl_->check(impl_->io->error);
  impl_->file.commit();
}

}  // namespace kyhost
