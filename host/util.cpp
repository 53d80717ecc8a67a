#include "host/util.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>

#include "host/codec.h"
#include "host/file.h"
#include "host/frame.h"
#include "host/log.h"

namespace {

namespace fs = std::filesystem;

bool sameName(std::string_view a, std::string_view b) {
  auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// Card file systems fold case, so a copy may carry the folder under any spelling. Empty when there is none.
std::string folderNamed(fs::path const& parent, std::string_view name) {
  std::error_code error;
  if (fs::is_directory(parent / name, error)) return (parent / name).string();
  for (fs::directory_iterator i(parent, error), end; !error && i != end; i.increment(error)) {
    std::error_code ofEntry;
    if (sameName(i->path().filename().string(), name) && i->is_directory(ofEntry)) return i->path().string();
  }
  return {};
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool fillP2(Any const& path, AnyDict& out) {
  std::error_code error;
  fs::path const file = fs::absolute(path.asString(), error).lexically_normal();
  if (error || path.asString().find('\0') != std::string::npos) return false;
  fs::path const folder = file.parent_path();
  fs::path const contents = folder.parent_path();
  bool const isAudio = sameName(folder.filename().string(), "AUDIO");
  bool const isVideo = sameName(folder.filename().string(), "VIDEO");
  if (!(isAudio || isVideo) || !sameName(contents.filename().string(), "CONTENTS")) return false;
  if (!sameName(file.extension().string(), ".MXF")) return false;

  std::string clipName = file.stem().string();
  if (isAudio) {
    size_t const length = clipName.size();
    if (length < 3 || !isDigit(clipName[length - 1]) || !isDigit(clipName[length - 2])) return false;
    clipName.resize(length - 2);
  }
  std::string const clip = folderNamed(contents, "CLIP");
  if (clip.empty()) return false;

  auto const sibling = [&](std::string_view name, bool holdsFile) {
    std::string const found = holdsFile ? folder.string() : folderNamed(contents, name);
    return found.empty() ? (contents / name).string() : found;
  };
  out.set("root", contents.parent_path().string());
  out.set("contents", contents.string());
  out.set("audio", sibling("AUDIO", isAudio));
  out.set("video", sibling("VIDEO", isVideo));
  out.set("clip", clip);
  out.set("clipName", clipName);
  return true;
}

uint32_t layoutOf(uint32_t fourcc) {
  switch (fourcc) {
    case kyFourcc("YUY2"):
      return kyFourcc("YUYV");
    case kyFourcc("IYUV"):
      return kyFourcc("I420");
    case kyFourcc("BGRA"):
      return kyFourcc("BGR4");
    default:
      return fourcc;
  }
}

}  // namespace

Any KyUtil::getExt(Any const& name, bool lower) { return KyFile::getExt(name, lower); }

void KyUtil::debugOutSetParam(KyCodec const* codec, char const* key, Any const& value) {
  ky_dbg()->info("[%s] setParam %s=%s", codec ? codec->name() : "codec", key ? key : "",
                 value.toString().asString().c_str());
}

bool KyUtil::equ(double a, double b, double eps) { return std::fabs(a - b) <= eps; }

bool KyUtil::exchengeableFOURCC(int a, int b) {
  return layoutOf(static_cast<uint32_t>(a)) == layoutOf(static_cast<uint32_t>(b));
}

bool KyUtil::getP2FolderStructure(Any const& path, AnyDict& out) {
  try {
    return fillP2(path, out);
  } catch (fs::filesystem_error const&) {
    return false;
  }
}

bool KyUtil::isProfile2(int profile) { return profile >= 0x2030000 && profile <= 0x216ffff; }

int KyUtil::pts2FrameNr(long pts, double rate, bool nearest) {
  if (!(rate > 0.0)) return 0;
  constexpr long double kClock = 27000000.0L;
  long double const position = static_cast<long double>(pts) * static_cast<long double>(rate) / kClock;
  long double const number = std::floor(position + (nearest ? 0.5L : 0.001L));
  if (number >= 0x1p31L) return std::numeric_limits<int>::max();
  if (number <= -0x1p31L) return std::numeric_limits<int>::min();
  return static_cast<int>(number);
}

bool KyNum::equ(double a, double b, double eps) { return KyUtil::equ(a, b, eps); }
