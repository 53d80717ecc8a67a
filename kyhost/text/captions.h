// CEA-608 captions: from the bytes of pictures to text, and both as files.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kyhost {

// The byte pairs of both fields of a stream, one slot for each frame of line 21: 30000/1001 a second, or 30
// where the pictures come at 30 or 60.
class CaptionBytes {
 public:
  using Pair = std::array<uint8_t, 2>;  // with parity

  // `pictureRate` of the stream that carries the captions, pictures per second.
  explicit CaptionBytes(double pictureRate);

  // Bytes of the picture that is shown at `seconds`, as ATSC A/53 part 4 has them, three for each pair:
  // marker with cc_valid and cc_type, then the pair. Pictures in order of presentation. Pairs of which one
  // picture brings several (24 pictures a second, groups of a DVD) take the slots that follow.
  void add(double seconds, std::span<uint8_t const> triplets);

  // Slots of field 1 or 2 from the first to the last that holds something; none where nothing was sent.
  std::vector<std::optional<Pair>> const& field(int field) const { return fields_[field == 2]; }
  int64_t slots() const;                     // of both fields
  double seconds(int64_t slot) const;        // its begin
  std::string timecode(int64_t slot) const;  // SMPTE 12M "00:00:10;02", drop frame but at 30 a second

 private:
  std::array<std::vector<std::optional<Pair>>, 2> fields_;
  bool wholeRate_;
};

struct Cue {
  double from;
  double to;         // seconds
  std::string text;  // UTF-8, lines ended by \n but for the last
};

constexpr int kCaptionChannels = 4;
// The text of CC1 to CC4, in this order. `end` closes what is shown last, seconds.
std::array<std::vector<Cue>, kCaptionChannels> decodeCaptions(CaptionBytes const& bytes, double end);

std::string srtText(std::vector<Cue> const& cues);
// Scenarist closed caption file with the bytes of the field.
std::string sccText(CaptionBytes const& bytes, int field);

}  // namespace kyhost
