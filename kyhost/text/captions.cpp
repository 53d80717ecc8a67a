#include "kyhost/text/captions.h"

#include <fmt/format.h>
#include <libzvbi.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace kyhost {
namespace {

constexpr uint8_t kParity = 0x80;
constexpr CaptionBytes::Pair kNothing{kParity, kParity};

bool near(double a, double b) { return std::fabs(a - b) < 1e-3; }

void appendUtf8(unsigned code, std::string& out) {
  auto const tail = [&](unsigned shift) { out += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | code >> 6);
    tail(0);
  } else {
    out += static_cast<char>(0xE0 | (code >> 12 & 0xF));
    tail(6);
    tail(0);
  }
}

// Rows with text, without the spaces around them.
std::string textOf(vbi_page const& page) {
  std::string text;
  for (int row = 0; row < page.rows; ++row) {
    std::string line;
    for (int column = 0; column < page.columns; ++column)
      appendUtf8(page.text[row * page.columns + column].unicode, line);
    size_t const first = line.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    if (!text.empty()) text += '\n';
    text += line.substr(first, line.find_last_not_of(' ') - first + 1);
  }
  return text;
}

// What one channel shows, as it changes.
class CueList {
 public:
  void show(std::string text, double now) {
    if (text == current_.text) return;
    if (grows(text, now)) {
      current_.text = std::move(text);
      return;
    }
    close(now);
    current_ = {now, now, std::move(text)};
  }
  std::vector<Cue> finish(double end) {
    close(std::max(end, current_.from));
    return std::move(cues_);
  }

 private:
  // Text that is sent while it is shown comes word by word, and becomes one cue for each line.
  bool grows(std::string_view text, double now) const {
    constexpr double kJustShown = 0.5;
    std::string_view const before = current_.text;
    if (before.empty() || !text.starts_with(before)) return false;
    return now - current_.from < kJustShown ||
           text.substr(before.size()).find('\n') == std::string_view::npos;
  }
  void close(double now) {
    current_.to = now;
    if (!current_.text.empty()) cues_.push_back(std::move(current_));
    current_ = {};
  }

  Cue current_{};
  std::vector<Cue> cues_;
};

class Decoder {
 public:
  Decoder() : decoder_(vbi_decoder_new()) {
    if (!decoder_ || !vbi_event_handler_register(decoder_.get(), VBI_EVENT_CAPTION, &Decoder::note, this))
      throw std::runtime_error("the caption decoder cannot be made");
  }

  // One slot. `shown`: when its effect is seen, seconds.
  void decode(CaptionBytes::Pair const* first, CaptionBytes::Pair const* second, double shown) {
    constexpr unsigned kLine[] = {21, 284};
    vbi_sliced lines[2]{};
    int count = 0;
    for (auto const* pair : {first, second}) {
      if (!pair) continue;
      lines[count].id = VBI_SLICED_CAPTION_525;
      lines[count].line = kLine[pair == second];
      lines[count].data[0] = (*pair)[0];
      lines[count++].data[1] = (*pair)[1];
    }
    changed_ = {};
    // The decoder takes a leap in time for a change of channel, so it gets a steady clock.
    constexpr double kSlotSeconds = 1001.0 / 30000.0;
    clock_ += kSlotSeconds;
    vbi_decode(decoder_.get(), lines, count, clock_);
    for (int channel = 0; channel < kCaptionChannels; ++channel) {
      vbi_page page;
      auto const index = static_cast<size_t>(channel);
      if (changed_[index] && vbi_fetch_cc_page(decoder_.get(), &page, channel + 1, TRUE))
        lists_[index].show(textOf(page), shown);
    }
  }

  std::array<std::vector<Cue>, kCaptionChannels> finish(double end) {
    std::array<std::vector<Cue>, kCaptionChannels> all;
    for (size_t i = 0; i < all.size(); ++i) all[i] = lists_[i].finish(end);
    return all;
  }

 private:
  static void note(vbi_event* event, void* self) {
    int const channel = event->ev.caption.pgno - 1;  // 1 to 4 captions, 5 to 8 text
    if (channel >= 0 && channel < kCaptionChannels)
      static_cast<Decoder*>(self)->changed_[static_cast<size_t>(channel)] = true;
  }

  struct Delete {
    void operator()(vbi_decoder* decoder) const { vbi_decoder_delete(decoder); }
  };
  std::unique_ptr<vbi_decoder, Delete> decoder_;
  double clock_ = 0.0;
  std::array<bool, kCaptionChannels> changed_{};
  std::array<CueList, kCaptionChannels> lists_;
};

using Slots = std::vector<std::optional<CaptionBytes::Pair>>;

// Control codes are sent twice for safety and count once (CTA-608). The caption decoder knows that of field 1
// and of neighbouring slots only; at 24 pictures a second an empty slot can lie between.
Slots withoutRepeats(Slots slots) {
  constexpr size_t kFurthest = 2;
  CaptionBytes::Pair before = kNothing;
  size_t beforeAt = 0;
  for (size_t i = 0; i < slots.size(); ++i) {
    if (!slots[i]) continue;
    unsigned const code = (*slots[i])[0] & ~kParity;
    bool const control = code >= 0x10 && code <= 0x1F;
    if (control && *slots[i] == before && i - beforeAt <= kFurthest) {
      slots[i].reset();
      before = kNothing;
      continue;
    }
    before = *slots[i];
    beforeAt = i;
  }
  return slots;
}

std::string srtTime(double seconds) {
  auto const milliseconds = std::llround(seconds * 1000.0);
  return fmt::format("{:02}:{:02}:{:02},{:03}", milliseconds / 3600000, milliseconds / 60000 % 60,
                     milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace

CaptionBytes::CaptionBytes(double pictureRate)
    : wholeRate_(near(pictureRate, 30.0) || near(pictureRate, 60.0)) {}

void CaptionBytes::add(double seconds, std::span<uint8_t const> triplets) {
  constexpr uint8_t kValid = 0x04, kType = 0x03;  // types 0 and 1 are the fields, 2 and 3 CEA-708
  auto const now = static_cast<size_t>(std::max(0.0, std::floor(seconds / this->seconds(1) + 0.01)));
  for (; triplets.size() >= 3; triplets = triplets.subspan(3)) {
    Pair const pair{triplets[1], triplets[2]};
    unsigned const type = triplets[0] & kType;
    if (!(triplets[0] & kValid) || type > 1) continue;
    if ((pair[0] & ~kParity) == 0 && (pair[1] & ~kParity) == 0) continue;
    auto& slots = fields_[type];
    slots.resize(std::max(slots.size(), now));
    slots.push_back(pair);
  }
}

int64_t CaptionBytes::slots() const {
  return static_cast<int64_t>(std::max(fields_[0].size(), fields_[1].size()));
}

double CaptionBytes::seconds(int64_t slot) const {
  return static_cast<double>(slot) * (wholeRate_ ? 1.0 / 30.0 : 1001.0 / 30000.0);
}

std::string CaptionBytes::timecode(int64_t slot) const {
  if (!wholeRate_) {
    // Two numbers are left out at the begin of every minute but each tenth (SMPTE 12M).
    constexpr int64_t kTenMinutes = 17982, kMinute = 1798;
    int64_t const within = slot % kTenMinutes;
    slot += 18 * (slot / kTenMinutes) + (within >= 2 ? 2 * ((within - 2) / kMinute) : 0);
  }
  int64_t const total = slot / 30;
  return fmt::format("{:02}:{:02}:{:02}{}{:02}", total / 3600, total / 60 % 60, total % 60,
                     wholeRate_ ? ':' : ';', slot % 30);
}

std::array<std::vector<Cue>, kCaptionChannels> decodeCaptions(CaptionBytes const& bytes, double end) {
  Decoder decoder;
  Slots const first = withoutRepeats(bytes.field(1)), second = withoutRepeats(bytes.field(2));
  auto const at = [](Slots const& slots, int64_t slot) -> CaptionBytes::Pair const* {
    if (slots.empty()) return nullptr;
    auto const index = static_cast<size_t>(slot);
    return index < slots.size() && slots[index] ? &*slots[index] : &kNothing;
  };
  // A few empty slots at the end complete a word that is still open.
  constexpr int64_t kTail = 4;
  for (int64_t slot = 0; slot < bytes.slots() + kTail; ++slot) {
    // What a picture sends is seen from the next one on.
    decoder.decode(at(first, slot), at(second, slot), std::min(end, bytes.seconds(slot + 1)));
  }
  return decoder.finish(end);
}

std::string srtText(std::vector<Cue> const& cues) {
  std::string out;
  int number = 0;
  for (Cue const& cue : cues)
    out += fmt::format("{}\n{} --> {}\n{}\n\n", ++number, srtTime(cue.from), srtTime(cue.to), cue.text);
  return out;
}

std::string sccText(CaptionBytes const& bytes, int field) {
  Slots const& slots = bytes.field(field);
  std::string out = "Scenarist_SCC V1.0\n\n";
  bool open = false;
  for (size_t i = 0; i < slots.size(); ++i) {
    // A single empty slot does not end the line.
    bool const bridged = open && i + 1 < slots.size() && slots[i + 1];
    if (!slots[i] && !bridged) {
      if (open) out += "\n\n";
      open = false;
      continue;
    }
    auto const& pair = slots[i].value_or(kNothing);
    out += open ? std::string(" ") : bytes.timecode(static_cast<int64_t>(i)) + "\t";
    out += fmt::format("{:02x}{:02x}", pair[0], pair[1]);
    open = true;
  }
  if (open) out += "\n\n";
  return out;
}

}  // namespace kyhost
