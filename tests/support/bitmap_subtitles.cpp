#include "tests/support/bitmap_subtitles.h"

#include <fstream>

#include "tests/support/media.h"

namespace test {

namespace {

using Bytes = std::vector<uint8_t>;

enum Segment : uint8_t { kPalette = 0x14, kObject = 0x15, kComposition = 0x16, kWindow = 0x17, kEnd = 0x80 };

void put(Bytes& out, int bytes, int64_t value) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

void append(Bytes& out, int milliseconds, Segment type, Bytes const& payload) {
  out.push_back('P');
  out.push_back('G');
  put(out, 4, int64_t{milliseconds} * 90);
  put(out, 4, 0);
  out.push_back(type);
  put(out, 2, static_cast<int64_t>(payload.size()));
  out.insert(out.end(), payload.begin(), payload.end());
}

Bytes composition(int width, int height, int number, bool begins) {
  Bytes out;
  put(out, 2, width);
  put(out, 2, height);
  out.push_back(0x10);  // frame rate
  put(out, 2, number);
  out.push_back(begins ? 0x80 : 0x00);  // epoch start, normal case
  put(out, 2, 0);                       // no palette update, palette 0
  out.push_back(begins ? 1 : 0);        // objects
  return out;
}

Bytes runLengths(SubtitleEvent const& event) {
  Bytes out;
  for (int y = 0; y < event.height; ++y) {
    for (int x = 0; x < event.width; ++x) {
      int const colour = event.pixel(x, y);
      if (colour == 0)
        put(out, 2, 0x0001);  // a run of one pixel of colour 0
      else
        out.push_back(static_cast<uint8_t>(colour));
    }
    put(out, 2, 0);
  }
  return out;
}

void appendEvent(Bytes& out, int width, int height, int number, SubtitleEvent const& event) {
  Bytes begin = composition(width, height, number, true);
  put(begin, 4, 0);  // object 0 in window 0, not cropped
  put(begin, 2, event.x);
  put(begin, 2, event.y);
  append(out, event.begin, kComposition, begin);

  Bytes window = {1, 0};
  for (int value : {event.x, event.y, event.width, event.height}) put(window, 2, value);
  append(out, event.begin, kWindow, window);

  Bytes palette = {0, 0};
  for (size_t i = 0; i < event.colours.size(); ++i) {
    SubtitleColour const& colour = event.colours[i];
    palette.push_back(static_cast<uint8_t>(i));
    palette.insert(palette.end(), {colour.y, colour.cr, colour.cb, colour.alpha});
  }
  append(out, event.begin, kPalette, palette);

  Bytes const pixels = runLengths(event);
  Bytes object = {0, 0, 0, 0xC0};  // first and last piece
  put(object, 3, static_cast<int64_t>(pixels.size()) + 4);
  put(object, 2, event.width);
  put(object, 2, event.height);
  object.insert(object.end(), pixels.begin(), pixels.end());
  append(out, event.begin, kObject, object);
  append(out, event.begin, kEnd, {});
}

}  // namespace

std::vector<uint8_t> presentationGraphics(int width, int height, std::vector<SubtitleEvent> const& events) {
  Bytes out;
  int number = 0;
  for (SubtitleEvent const& event : events) {
    appendEvent(out, width, height, ++number, event);
    append(out, event.end, kComposition, composition(width, height, ++number, false));
    append(out, event.end, kEnd, {});
  }
  return out;
}

std::filesystem::path subtitleFile(int variant) {
  std::vector<SubtitleColour> const colours = {
      {16, 128, 128, 0}, {235, 128, 128, 255}, {81, 240, 90, 160}, {41, 110, 240, 80}};
  int const x = variant == 0 ? 9 : 60, y = variant == 0 ? 70 : 6;
  std::vector<SubtitleEvent> const events = {
      {400, 1400, x, y, 60, 24, colours, [](int u, int v) { return (u / 8 + v / 6) % 4; }},
      {1600, 2800, x + 12, y / 2 + 5, 50, 40, colours, [](int u, int v) { return (u / 5 + v / 7 + 1) % 4; }}};
  std::filesystem::path const file = scratchDir() / ("subtitles" + std::to_string(variant) + ".sup");
  Bytes const bytes = presentationGraphics(160, 120, events);
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file;
}

std::filesystem::path subtitledFile(std::string const& name, std::vector<int> const& variants,
                                    std::string const& codec, std::string const& options) {
  std::string arguments = "-f lavfi -i testsrc2=s=160x120:r=25:d=4 ", maps = "-map 0 ";
  // The program moves each input to 0, and gives subtitles an end only when told to look for it.
  for (size_t i = 0; i < variants.size(); ++i) {
    arguments += "-itsoffset 0.4 -fix_sub_duration -i " + quoted(subtitleFile(variants[i])) + " ";
    maps += "-map " + std::to_string(i + 1) + " ";
  }
  return made(
      name, arguments + maps + "-c:v mpeg2video -g 10 -bf 2 -qscale:v 3 -c:s " + codec + " " + options + " ");
}

}  // namespace test
