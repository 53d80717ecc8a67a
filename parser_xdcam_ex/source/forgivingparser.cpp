#include "parser_xdcam_ex/source/forgivingparser.h"

#include <algorithm>
#include <utility>

#include "parser_xdcam_ex/source/cardfile.h"
#include "parser_xdcam_ex/source/cardpath.h"

namespace {

// UTF-8 form of U+FEFF.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr std::string_view kCatalogue = "MEDIAPRO.XML";

bool hasExtension(std::string_view name, std::string_view extension) {
  return name.size() >= extension.size() &&
         std::equal(extension.begin(), extension.end(),
                    name.end() - static_cast<std::ptrdiff_t>(extension.size()), [](char wanted, char found) {
                      return wanted == (found >= 'A' && found <= 'Z' ? found + 32 : found);
                    });
}

}  // namespace

bool ForgivingCardParser::ProcessForgiving(std::string const& in_file_name, std::string const& out_file_name,
                                           int verbose_level) {
  bool const read = ProcessData(in_file_name, out_file_name, verbose_level);
  if (read && listIsUsable()) return true;

  std::vector<std::string> const clips = clip_list;
  std::string const text = error_text;
  verbose = 0;
  if (readAgain(in_file_name)) {
    if (CreateMzlFile(out_file_name)) return true;
    clip_list = clips;
    if (read) CreateMzlFile(out_file_name);
  }
  forgiven_.clear();
  error_text = text;
  return read;
}

bool ForgivingCardParser::listIsUsable() const {
  return std::adjacent_find(clip_list.begin(), clip_list.end()) == clip_list.end() &&
         std::none_of(clip_list.begin(), clip_list.end(), isAboutAClip);
}

bool ForgivingCardParser::readAgain(std::string const& in_file_name) {
  auto path = splitCardPath(in_file_name);
  if (!path) return false;
  root_dir = std::move(path->root);

  auto const description = readDocument(in_file_name, "the description");
  if (!description) return false;
  std::string const catalogueName = spelledAsThere(root_dir, kCatalogue);
  auto const catalogue = readDocument(root_dir + catalogueName, "the catalogue");
  if (!catalogue) return false;

  auto const umid = findDescribedUmid(*description, hasExtension(in_file_name, ".smi"));
  if (umid && umid->followed) forgiven_.emplace_back("attributes behind the UMID");
  auto clips = clipsFor(umid, path->file, CardCatalogue(*catalogue));
  if (!clips) return false;
  if (!listIsUsable()) forgiven_.emplace_back("a clip named more than once");

  bool respelled = catalogueName != kCatalogue || !root_dir.ends_with("BPAV/");
  for (std::string& clip : *clips) {
    std::string spelled = spelledAsThere(root_dir, clip);
    respelled |= spelled != clip;
    clip = std::move(spelled);
  }
  if (respelled) forgiven_.emplace_back("the case of file names");
  clip_list = std::move(*clips);
  if (forgiven_.empty()) forgiven_.emplace_back("the layout of its tags");
  return true;
}

std::optional<std::vector<std::string>> ForgivingCardParser::clipsFor(
    std::optional<DescribedUmid> const& umid, std::string const& file, CardCatalogue const& catalogue) {
  CardCatalogue::Entry const* entry = umid ? catalogue.entryOf(umid->value) : nullptr;
  if (!entry) {
    entry = catalogue.entryNaming(file);
    if (!entry) return std::nullopt;
    forgiven_.emplace_back("a description without the UMID of its entry");
  }
  auto clips = catalogue.clipsOf(*entry);
  if (!clips || clips->size() == 1) {
    CardCatalogue::Entry const* take = catalogue.takeWith(*entry);
    auto whole = take ? catalogue.clipsOf(*take) : std::nullopt;
    if (whole && whole->size() > 1) {
      forgiven_.emplace_back("a description that names its part, not its take");
      entry = take;
      clips = std::move(whole);
    }
  }
  if (entry->namesClipFirst)
    forgiven_.emplace_back("an entry that names \"./CLPR/\" before its first component");
  return clips;
}

std::optional<std::string> ForgivingCardParser::readDocument(std::string const& path, std::string_view what) {
  FilePtr const file = openFile(path, O_RDONLY, "rb");
  std::uint32_t length = 0;
  std::string text;
  if (!file || !lengthBySeeking(file.get(), length) || !readText(file.get(), length, text))
    return std::nullopt;
  if (text.starts_with(kByteOrderMark)) {
    text.erase(0, kByteOrderMark.size());
    forgiven_.push_back("a byte-order mark before " + std::string(what));
  }
  if (!text.starts_with('<')) return std::nullopt;
  return text;
}
