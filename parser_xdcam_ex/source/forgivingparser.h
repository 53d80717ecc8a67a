#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parser_xdcam_ex/source/cardcatalogue.h"
#include "parser_xdcam_ex/source/xdcamexparser.h"

/// The card parser for cards that the text scan cannot read. The scan goes first; where it fails, lists a
/// clip twice in a row, or lists a description in a clip's place, the card is read again by its elements.
/// Then a byte-order mark is passed over, a UMID ends at its closing quote, an entry counts by its components
/// whatever else names "./CLPR/", and a clip named twice in a row is listed once. Line breaks may stand
/// between all attributes.
///
/// A description that names a part's own UMID opens the take that the part belongs to; one that names no UMID
/// of the catalogue opens what the entry holds that names the description itself. Names of files and folders
/// may be spelled in another case than the catalogue spells them.
class ForgivingCardParser : public XDCamExParser {
 public:
  /// As `ProcessData`. Where the second reading fails too, result, list and `error_text` are those of the
  /// first. Only the first prints progress.
  bool ProcessForgiving(std::string const& in_file_name, std::string const& out_file_name, int verbose_level);

  /// What the second reading forgave, for people; empty when the list is the first one's.
  std::vector<std::string> const& forgiven() const { return forgiven_; }

 private:
  bool listIsUsable() const;
  /// Fills `root_dir` and `clip_list`.
  bool readAgain(std::string const& in_file_name);
  /// Of the entry with that UMID, or else of the one that names the description's file, as it lies on the
  /// card.
  std::optional<std::vector<std::string>> clipsFor(std::optional<DescribedUmid> const& umid,
                                                   std::string const& file, CardCatalogue const& catalogue);
  std::optional<std::string> readDocument(std::string const& path, std::string_view what);

  std::vector<std::string> forgiven_;
};
