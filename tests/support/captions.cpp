#include "tests/support/captions.h"

#include <fstream>
#include <sstream>

#include "tests/support/media.h"

namespace test {

namespace fs = std::filesystem;

namespace {

fs::path cueFile(CaptionKind kind) {
  fs::path const file = scratchDir() / (kind == CaptionKind::Spoken ? "spoken.srt" : "silent.srt");
  std::ofstream out(file);
  int number = 0;
  if (kind == CaptionKind::Silent) return file;
  for (CaptionText const& cue : captionTexts())
    out << ++number << '\n' << cue.from << " --> " << cue.to << '\n' << cue.text << "\n\n";
  return file;
}

}  // namespace

std::vector<CaptionText> const& captionTexts() {
  static std::vector<CaptionText> const texts = {
      {"00:00:01,001", "00:00:02,503", "Hello, world!\nSecond line here."},
      {"00:00:02,903", "00:00:04,004", "\u266a Se\u00f1or, \u00bfqu\u00e9? \u266a"},
      {"00:00:04,805", "00:00:05,506", "It's 100% odd"}};
  return texts;
}

fs::path plainStream(std::string const& codec, int pictures) {
  std::string const input = "-f lavfi -i testsrc2=s=96x64:r=30000/1001 -frames:v " + std::to_string(pictures);
  bool const mpeg2 = codec == "mpeg2";
  return made(codec + "-" + std::to_string(pictures) + (mpeg2 ? ".m2v" : ".264"),
              input + (mpeg2 ? " -vf setfield=tff -c:v mpeg2video -flags +ildct -bf 2 -g 15 -f mpeg2video"
                             : " -c:v libx264 -bf 3 -g 40 -x264-params open-gop=1 -f h264"));
}

fs::path captioned(std::string const& name, std::string const& codec, int pictures,
                   std::string const& options, CaptionKind kind) {
  fs::path const file = scratchDir() / name;
  if (fs::exists(file)) return file;
  std::string const ending = file.extension();
  bool const direct = ending == ".ts" || ending == ".m2v" || ending == ".264";
  fs::path const written = direct ? file : fs::path(file).concat(".ts");
  run("python3 -B " KY_SAMPLES_DIR "/captions.py " + quoted(plainStream(codec, pictures)) + " " +
      quoted(written) + " " + quoted(cueFile(kind)) + " " + options);
  return direct ? file
                : made(name, "-i " + quoted(written) + " -c copy" + (ending == ".mpg" ? " -f vob" : ""));
}

std::vector<std::string> captionBytes(fs::path const& file) {
  std::istringstream lines(run(KY_BIN_DIR "/caption_bytes " + quoted(file)));
  std::vector<std::string> all;
  for (std::string line; std::getline(lines, line);) all.push_back(line);
  return all;
}

}  // namespace test
