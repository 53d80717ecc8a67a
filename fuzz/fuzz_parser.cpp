#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "parser_xdcam_ex/source/cardcatalogue.h"
#include "parser_xdcam_ex/source/xdcamexparser.h"
#include "parser_xdcam_ex/source/xmltext.h"

namespace {

struct OpenParser : XDCamExParser {
  using XDCamExParser::clip_list;
  using XDCamExParser::is_smi;
  using XDCamExParser::ParseXml;
  using XDCamExParser::take_umid;
};

void require(bool condition) {
  if (!condition) std::abort();
}

/// The reading by elements, as far as it goes without files.
void readByElements(std::string_view description, std::string_view texts, bool smi) {
  auto const umid = findDescribedUmid(description, smi);
  CardCatalogue const catalogue(texts);
  auto const* entry = catalogue.entryOf(umid ? umid->value : "1");
  if (!entry) return;
  auto const clips = catalogue.clipsOf(*entry);
  require(!clips || clips->size() <= entry->components.size());
  if (auto const* take = catalogue.takeWith(*entry)) {
    require(take != entry);
    catalogue.clipsOf(*take);
  }
}

}  // namespace

/// First byte: bit 0 says whether the description is an SMI. Then the description and, after the first byte
/// 1, the catalogue.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) return 0;
  std::string_view const input(reinterpret_cast<char const*>(data) + 1, size - 1);
  std::size_t const border = input.find('\1');

  readByElements(input.substr(0, border), input, (data[0] & 1) != 0);

  OpenParser parser;
  parser.is_smi = data[0] & 1;
  bool const described = parser.ParseXml(std::string(input.substr(0, border)));
  require(described || parser.take_umid.empty());
  if (!described || border == std::string_view::npos) return 0;

  parser.ParseXml(std::string(input.substr(border + 1)));

  std::string text(input);
  replaceAll(text, "&amp;", "&");
  require(text.size() <= input.size());
  return 0;
}
