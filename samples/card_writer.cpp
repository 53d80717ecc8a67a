#include "samples/card_writer.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "samples/card_xml.h"
#include "samples/clip_writer.h"

namespace samples {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void fail(const char* what, const fs::path& path, const std::error_code& reason) {
  throw std::runtime_error(fmt::format("cannot {} {}: {}", what, path.string(), reason.message()));
}

std::error_code lastError() { return {errno, std::generic_category()}; }

void createFolder(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) fail("create the folder", path, error);
}

/// The folder that a card grows in. Removes itself unless it became the card, and so does what had to be made
/// around it.
class StagedFolder {
 public:
  explicit StagedFolder(const fs::path& card) : card_(card) {
    const fs::path parent = card.parent_path();
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(card, ignored)))
      fail("create", card, std::make_error_code(std::errc::file_exists));
    for (fs::path missing = parent; !missing.empty() && !fs::exists(missing, ignored);
         missing = missing.parent_path())
      made_.push_back(missing);
    std::string name = (parent / ".BPAV.XXXXXX").string();
    std::error_code error;
    fs::create_directories(parent, error);
    if (!error && ::mkdtemp(name.data()) == nullptr) error = lastError();
    if (error) {
      removeMade();
      fail("create a folder in", parent, error);
    }
    stage_ = name;
  }
  StagedFolder(const StagedFolder&) = delete;
  StagedFolder& operator=(const StagedFolder&) = delete;
  ~StagedFolder() {
    if (stage_.empty()) return;
    std::error_code ignored;
    fs::remove_all(stage_, ignored);
    removeMade();
  }

  const fs::path& path() const { return stage_; }

  void becomeCard() {
    // Private so far; cards are for everyone whom the user's mask lets in.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    std::error_code error;
    fs::permissions(stage_, static_cast<fs::perms>(0777 & ~mask), error);
    if (!error) fs::rename(stage_, card_, error);
    if (error) fail("create", card_, error);
    stage_.clear();
  }

 private:
  /// Only while empty: somebody else may have put something there meanwhile.
  void removeMade() const {
    std::error_code ignored;
    for (const fs::path& folder : made_)
      if (!fs::remove(folder, ignored)) return;
  }

  fs::path card_, stage_;
  /// Folders made around the card, innermost first.
  std::vector<fs::path> made_;
};

class TextWriter {
 public:
  explicit TextWriter(const CardLayout& layout) : layout_(layout) {}

  void operator()(const fs::path& path, const std::string& text) const {
    std::ofstream file(path, std::ios::binary);
    if (layout_.byteOrderMarks) file << "\xEF\xBB\xBF";
    for (const char character : text) {
      if (character == '\n' && layout_.carriageReturns) file.put('\r');
      file.put(character);
    }
    file.close();
    if (!file) fail("write", path, lastError());
  }

 private:
  CardLayout layout_;
};

}  // namespace

void writeCard(const fs::path& folder, const std::vector<Take>& takes, const CardLayout& layout,
               const ClipDone& done) {
  StagedFolder stage(folder / "BPAV");
  const TextWriter write(layout);

  for (const Take& take : takes) {
    for (const Clip& clip : take.clips) {
      const fs::path clipFolder = stage.path() / "CLPR" / clip.name;
      createFolder(clipFolder);
      writeClip(clipFolder / (clip.name + ".MP4"), take, clip);
      write(clipFolder / (clip.name + ".SMI"), clipSmi(take, clip, layout));
      write(clipFolder / (clip.name + "M01.XML"), sidecarXml(take, clip.firstFrame, clip.frames, layout));
      if (done) done(take, clip);
    }
    if (take.spanned() && !layout.withoutTakr) {
      const fs::path takeFolder = stage.path() / "TAKR" / take.name;
      createFolder(takeFolder);
      write(takeFolder / (take.name + ".SMI"), takeSmi(take, layout));
      write(takeFolder / (take.name + "M01.XML"), sidecarXml(take, 0, take.frames(), layout));
    }
  }
  write(stage.path() / "MEDIAPRO.XML", catalogueXml(takes, layout));
  stage.becomeCard();
}

}  // namespace samples
