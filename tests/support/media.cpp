#include "tests/support/media.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

namespace test {

namespace fs = std::filesystem;

namespace {

struct ScratchDir {
  ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "kytest-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
    path = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  ScratchDir(ScratchDir const&) = delete;
  ScratchDir& operator=(ScratchDir const&) = delete;
  fs::path path;
};

struct PipeCloser {
  void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

std::vector<uint8_t> output(std::string const& command) {
  std::unique_ptr<std::FILE, PipeCloser> pipe(::popen(command.c_str(), "r"));
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::vector<uint8_t> bytes;
  std::array<uint8_t, 65536> buffer;
  while (size_t const n = std::fread(buffer.data(), 1, buffer.size(), pipe.get()))
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(n));
  int const status = ::pclose(pipe.release());
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error(command + " failed:\n" + std::string(bytes.begin(), bytes.end()));
  return bytes;
}

std::string hex(std::array<uint8_t, 16> const& digest) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (uint8_t byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

class Md5 {
 public:
  Md5() : state_(av_md5_alloc()) { av_md5_init(state_.get()); }
  void add(uint8_t const* bytes, size_t size) { av_md5_update(state_.get(), bytes, size); }
  std::string finish() {
    std::array<uint8_t, 16> digest{};
    av_md5_final(state_.get(), digest.data());
    return hex(digest);
  }

 private:
  struct Free {
    void operator()(AVMD5* md5) const { av_free(md5); }
  };
  std::unique_ptr<AVMD5, Free> state_;
};

}  // namespace

fs::path const& scratchDir() {
  static ScratchDir const dir;
  return dir.path;
}

std::string quoted(fs::path const& path) {
  std::string text = "'";
  for (char c : path.string()) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

std::string run(std::string const& command) {
  std::vector<uint8_t> const bytes = output(command + " 2>&1");
  return {bytes.begin(), bytes.end()};
}

fs::path made(std::string const& name, std::string const& arguments) {
  fs::path const file = scratchDir() / name;
  if (!fs::exists(file)) run("ffmpeg -v error -nostdin -y " + arguments + " " + quoted(file));
  return file;
}

fs::path sampleCard(bool small) {
  return small ? sampleCard("card-small", "--small") : sampleCard("card", "");
}

fs::path sampleCard(std::string const& name, std::string const& options) {
  fs::path const card = scratchDir() / name;
  if (!fs::exists(card)) run(std::string(KY_BIN_DIR) + "/make_card --quiet " + quoted(card) + " " + options);
  return card;
}

SampleTake spannedTake(bool small) {
  fs::path const clips = sampleCard(small) / "BPAV" / "CLPR";
  SampleTake take;
  take.description = clips / "632_0001_01" / "632_0001_01.SMI";
  for (char const* part : {"632_0001_01", "632_0001_02", "632_0001_03"})
    take.clips.push_back(clips / part / (std::string(part) + ".MP4"));
  return take;
}

std::vector<std::string> frameHashes(fs::path const& file, std::string const& options) {
  std::vector<uint8_t> const bytes =
      output("ffmpeg -v error -nostdin -i " + quoted(file) + " -map 0:v:0 -fps_mode passthrough " + options +
             " -f framemd5 -");
  std::istringstream lines(std::string(bytes.begin(), bytes.end()));
  std::vector<std::string> hashes;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == '#') continue;
    hashes.push_back(line.substr(line.find_last_of(' ') + 1));
  }
  return hashes;
}

std::vector<uint8_t> rawPictures(fs::path const& file, std::string const& pixelFormat) {
  return output("ffmpeg -v error -nostdin -i " + quoted(file) +
                " -map 0:v:0 -fps_mode passthrough -pix_fmt " + pixelFormat + " -f rawvideo -");
}

std::vector<uint8_t> samples(fs::path const& file, int stream, std::string const& format,
                             std::string const& options) {
  return output("ffmpeg -v error -nostdin -i " + quoted(file) + " -map 0:a:" + std::to_string(stream) + " " +
                options + " -f " + format + " -c:a pcm_" + format + " -");
}

std::string md5(std::span<uint8_t const> bytes) {
  Md5 hash;
  hash.add(bytes.data(), bytes.size());
  return hash.finish();
}

std::string md5(KyFrame const& frame) {
  Md5 hash;
  for (int plane = 0; plane < frame.planes(); ++plane)
    for (int y = 0; y < frame.height(plane); ++y)
      hash.add(frame.pixelPtr(plane, 0, y), static_cast<size_t>(frame.rowBytes(plane)));
  return hash.finish();
}

long openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

}  // namespace test
