#include "dmfdemux/parser.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace dmfdemux {
namespace {

constexpr size_t kXsubTimesSize = 27;  // "[hh:mm:ss.mmm-hh:mm:ss.mmm]"

// "hh:mm:ss.mmm"
std::optional<int64_t> xsubTime(std::span<const uint8_t> text) {
  constexpr std::string_view kForm = "00:00:00.000";
  constexpr int64_t kWeight[] = {36000000000, 3600000000, 0, 600000000, 60000000, 0,
                                 10000000,    1000000,    0, 100000,    10000,    1000};
  int64_t time = 0;
  for (size_t i = 0; i < kForm.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !digit : text[i] != kForm[i]) return std::nullopt;
    if (digit) time += (text[i] - '0') * kWeight[i];
  }
  return time;
}

int64_t saturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

}  // namespace

std::optional<Times> xsubTimes(std::span<const uint8_t> packet) {
  if (packet.size() < kXsubTimesSize || packet[0] != '[' || packet[13] != '-' || packet[26] != ']')
    return std::nullopt;
  const auto begin = xsubTime(packet.subspan(1, 12));
  const auto end = xsubTime(packet.subspan(14, 12));
  if (!begin || !end) return std::nullopt;
  return Times{*begin, *end};
}

bool Parser::add(const SubtitleStream& stream, const DmfSink& sink, bool asText) {
  if (container_ || atEnd_ || has(stream.libavIndex)) return false;
  streams_.push_back({stream, sink, asText, nullptr, {}});
  return true;
}

bool Parser::has(int libavIndex) const {
  return std::any_of(streams_.begin(), streams_.end(),
                     [&](const Stream& stream) { return stream.source.libavIndex == libavIndex; });
}

// Opening anew finds the first packet in every file; seeking needs an index, which files may lack.
void Parser::rewind() {
  container_.reset();
  atEnd_ = false;
}

bool Parser::start(std::string& error) {
  auto source = mediafile::FileAccess().open(fileName_, error);
  if (!source) return false;
  mediafile::ContainerOptions options;
  options.streamInfo = false;  // the header tells all that reading takes
  mediafile::OpenFailure failure{};
  container_ = mediafile::Container::open(std::move(source), fileName_, options, failure, error);
  if (!container_) return false;
  AVFormatContext& format = container_->format();
  for (unsigned i = 0; i < format.nb_streams; ++i)
    format.streams[i]->discard = has(static_cast<int>(i)) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  if (!packet_) packet_ = lav::newPacket();
  for (Stream& stream : streams_) {
    stream.finished.clear();
    stream.script.reset();
    if (!stream.asText) continue;
    if (stream.source.codec == kDmfText) stream.script = makeSubRipWriter();
    if (stream.source.codec == kDmfSsa || stream.source.codec == kDmfAss)
      stream.script = makeSubStationWriter(stream.source.header);
    if (stream.script) stream.script->begin(stream.finished);
  }
  return true;
}

void Parser::finish() {
  atEnd_ = true;
  container_.reset();
  for (Stream& stream : streams_)
    if (stream.script) stream.script->end(stream.finished);
}

int Parser::push(std::string& error) {
  if (!container_ && !atEnd_ && !start(error)) return -1;
  for (;;) {
    bool delivered = false;
    const int bytes = deliverFinished(delivered);
    if (delivered) return bytes;
    if (atEnd_) return 0;
    if (!read()) {
      finish();
      continue;
    }
    Stream* stream = streamOf(packet_->stream_index);
    const auto payload = lav::payload(*packet_);
    if (!stream || payload.empty()) continue;
    const Times times = timesOf(*packet_);
    if (!stream->script) return deliver(stream->sink, payload, &times);
    stream->script->add({reinterpret_cast<const char*>(payload.data()), payload.size()}, times,
                        stream->finished);
  }
}

// The next packet of any stream; false at the end. Damage is read over while anything still follows it.
bool Parser::read() {
  constexpr int kMostErrors = 64;
  for (int errors = 0; errors < kMostErrors; ++errors) {
    av_packet_unref(packet_.get());
    const int result = container_->read(*packet_);
    if (result >= 0) return true;
    if (result == AVERROR_EOF || result == AVERROR_EXIT) return false;
  }
  return false;
}

int Parser::deliverFinished(bool& delivered) {
  for (Stream& stream : streams_) {
    if (stream.finished.empty()) continue;
    delivered = true;
    const Piece piece = std::move(stream.finished.front());
    stream.finished.pop_front();
    const auto* bytes = reinterpret_cast<const uint8_t*>(piece.text.data());
    return deliver(stream.sink, {bytes, piece.text.size()}, piece.isEvent ? &piece.times : nullptr);
  }
  return 0;
}

int Parser::deliver(const DmfSink& sink, std::span<const uint8_t> bytes, const Times* times) {
  const int size = static_cast<int>(std::min<size_t>(bytes.size(), std::numeric_limits<int>::max()));
  const int taken = sink.write(sink.user, bytes.data(), size);
  if (times) {
    int64_t data[2] = {times->begin, times->end};
    sink.event(sink.user, kDmfDataEvent, data);
  }
  return taken;
}

Parser::Stream* Parser::streamOf(int libavIndex) {
  const auto found = std::find_if(streams_.begin(), streams_.end(), [&](const Stream& stream) {
    return stream.source.libavIndex == libavIndex;
  });
  return found == streams_.end() ? nullptr : &*found;
}

Times Parser::timesOf(const AVPacket& packet) const {
  // libavformat's stamps of XSUB in AVI count packets, not time.
  if (const auto written = xsubTimes(lav::payload(packet))) return *written;
  const AVRational base = container_->format().streams[packet.stream_index]->time_base;
  const int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  const int64_t duration = std::max<int64_t>(packet.duration, 0);
  Times times;
  if (stamp != AV_NOPTS_VALUE) {
    times.begin = saturatingAdd(av_rescale_q(stamp, base, AV_TIME_BASE_Q), -start_);
    times.end = saturatingAdd(av_rescale_q(saturatingAdd(stamp, duration), base, AV_TIME_BASE_Q), -start_);
  }
  return times;
}

}  // namespace dmfdemux
