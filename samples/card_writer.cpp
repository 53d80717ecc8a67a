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

[[noreturn]] void fail(char const* what, fs::path const& path, std::error_code const& reason) {
  throw std::runtime_error(fmt::format("cannot {} {}: {}", what, path.string(), reason.message()));
}

std::error_code lastError() { return {errno, std::generic_category()}; }

void createFolder(fs::path const& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) fail("create the folder", path, error);
}

/// The folder that a card grows in. Removes itself unless it became the card, and so does what had to be made
/// around it.
class StagedFolder {
 public:
  explicit StagedFolder(fs::path const& card) : card_(card) {
    fs::path const parent = card.parent_path();
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
  StagedFolder(StagedFolder const&) = delete;
  StagedFolder& operator=(StagedFolder const&) = delete;
  ~StagedFolder() {
    if (stage_.empty()) return;
    std::error_code ignored;
    fs::remove_all(stage_, ignored);
    removeMade();
  }

  fs::path const& path() const { return stage_; }

  void becomeCard() {
    // Private so far; cards are for everyone whom the user's mask lets in.
    mode_t const mask = ::umask(0);
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
    for (fs::path const& folder : made_)
      if (!fs::remove(folder, ignored)) return;
  }

  fs::path card_, stage_;
  /// Folders made around the card, innermost first.
  std::vector<fs::path> made_;
};

class TextWriter {
 public:
  explicit TextWriter(CardLayout const& layout) : layout_(layout) {}

  void operator()(fs::path const& path, std::string const& text) const {
    std::ofstream file(path, std::ios::binary);
    if (layout_.byteOrderMarks) file << "\xEF\xBB\xBF";
    for (char const character : text) {
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

void writeCard(fs::path const& folder, std::vector<Take> const& takes, CardLayout const& layout,
               ClipDone const& done) {
  StagedFolder stage(folder / "BPAV");
  TextWriter const write(layout);

  for (Take const& take : takes) {
    for (Clip const& clip : take.clips) {
      fs::path const clipFolder = stage.path() / "CLPR" / clip.name;
      createFolder(clipFolder);
      writeClip(clipFolder / (clip.name + ".MP4"), take, clip);
      write(clipFolder / (clip.name + ".SMI"), clipSmi(take, clip, layout));
      write(clipFolder / (clip.name + "M01.XML"), sidecarXml(take, clip.firstFrame, clip.frames, layout));
      if (done) done(take, clip);
    }
    if (take.spanned() && !layout.withoutTakr) {
      fs::path const takeFolder = stage.path() / "TAKR" / take.name;
      createFolder(takeFolder);
      write(takeFolder / (take.name + ".SMI"), takeSmi(take, layout));
      write(takeFolder / (take.name + "M01.XML"), sidecarXml(take, 0, take.frames(), layout));
    }
  }
  write(stage.path() / "MEDIAPRO.XML", catalogueXml(takes, layout));
  stage.becomeCard();
}

}  // namespace samples
