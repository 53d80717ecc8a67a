#include "parser_xdcam_ex/source/forgivingparser.h"

#include <algorithm>
#include <utility>

#include "parser_xdcam_ex/source/cardfile.h"

namespace {

// UTF-8 form of U+FEFF.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool hasExtension(std::string_view name, std::string_view extension) {
  return name.size() >= extension.size() &&
         std::equal(extension.begin(), extension.end(),
                    name.end() - static_cast<std::ptrdiff_t>(extension.size()), [](char wanted, char found) {
                      return wanted == (found >= 'A' && found <= 'Z' ? found + 32 : found);
                    });
}

}  // namespace

bool ForgivingCardParser::ProcessForgiving(const std::string& in_file_name, const std::string& out_file_name,
                                           int verbose_level) {
  const bool read = ProcessData(in_file_name, out_file_name, verbose_level);
  if (read && listIsUsable()) return true;

  const std::vector<std::string> clips = clip_list;
  const std::string text = error_text;
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

bool ForgivingCardParser::readAgain(const std::string& in_file_name) {
  const std::size_t root = in_file_name.rfind("BPAV");
  if (root == std::string::npos) return false;
  root_dir = in_file_name.substr(0, root) + "BPAV/";

  const auto description = readDocument(in_file_name, "the description");
  if (!description) return false;
  const auto umid = findDescribedUmid(*description, hasExtension(in_file_name, ".smi"));
  if (!umid) return false;
  if (umid->followed) forgiven_.emplace_back("attributes behind the UMID");

  const auto catalogue = readDocument(root_dir + "MEDIAPRO.XML", "the catalogue");
  if (!catalogue) return false;
  auto clips = clipsFor(*umid, CardCatalogue(*catalogue));
  if (!clips || clips->empty()) return false;
  if (!listIsUsable()) forgiven_.emplace_back("a clip named more than once");
  clip_list = std::move(*clips);
  if (forgiven_.empty()) forgiven_.emplace_back("the layout of its tags");
  return true;
}

std::optional<std::vector<std::string>> ForgivingCardParser::clipsFor(const DescribedUmid& umid,
                                                                      const CardCatalogue& catalogue) {
  const CardCatalogue::Entry* entry = catalogue.entryOf(umid.value);
  if (!entry) return std::nullopt;
  auto clips = catalogue.clipsOf(*entry);
  if (!clips || clips->size() == 1) {
    const CardCatalogue::Entry* take = catalogue.takeWith(*entry);
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

std::optional<std::string> ForgivingCardParser::readDocument(const std::string& path, std::string_view what) {
  const FilePtr file = openFile(path, O_RDONLY, "rb");
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
