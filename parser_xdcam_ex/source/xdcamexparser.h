#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Turns one clip description of an XDCAM EX card (an SMI or XML file below `BPAV/`) into the take list of
/// its take: a text file that names the take's essence files in playing order.
///
/// A text scanner, not an XML parser: markers and attributes are found by exact, case-sensitive substring
/// search. All names are byte strings, taken and written as they are.
///
/// One object serves one `ProcessData`: nothing is reset between calls. Not thread-safe; progress goes to
/// standard output when `verbose` is above 0.
class XDCamExParser {
 public:
  /// Reads the description `in_file_name` and the card's catalogue, and writes the take list `out_file_name`
  /// ("clip.mzl" in the current directory when empty). Returns true when the list names at least one clip;
  /// otherwise `error_text` holds the reason, but for a file that does not begin with "<", which is refused
  /// without a text. An empty `in_file_name` is a programming error and ends the process.
  bool ProcessData(std::string in_file_name, std::string out_file_name, int verbose_level);

 protected:
  // Fields without a comment are part of the record only; no operation uses them.
  std::vector<std::string> file_list;
  std::vector<std::string> folder_list;
  /// Essence files relative to `root_dir`, in playing order.
  std::vector<std::string> clip_list;
  std::vector<std::string> meta_list;
  /// UMID of the take; while it is empty the next text parsed is searched for it.
  std::string take_umid;
  /// Card root, ending in "BPAV/".
  std::string root_dir;

 public:
  /// Console output: 0 none, above 0 progress, exactly 2 also the UMID found.
  std::int32_t verbose = 0;

 protected:
  /// Whether the description is an SMI, which names its UMID "umid", or an XML ("umidRef").
  std::int32_t is_smi = 1;
  std::string path_separator = "/";

 public:
  /// Reason of the last failure. A later success does not clear it.
  std::string error_text;

 protected:
  std::wstring wide_in_file_name;
  std::wstring wide_out_file_name;
  std::vector<std::wstring> wide_clip_list;

  /// Reads a whole file and parses its text, as far as its first NUL.
  bool ReadXmlFile(std::string const& path);

  /// The first text gives `take_umid`, the next one fills `clip_list`.
  bool ParseXml(std::string text);

  /// Writes the take list: "XMP4", then `path;  size` per clip that can be opened, lines ending in CR LF.
  /// Sizes are modulo 2^32, as the format has them. The file is created for its owner only (0600); a symbolic
  /// link of that name is refused, since the usual place is a shared temporary folder. With no clip listed
  /// the result is false and the file stays.
  bool CreateMzlFile(std::string const& out_file_name);

  // Searches. Each returns a position, or npos with `error_text` set; `out` is written on success only.

  /// From the first `fromText` up to, not including, the next `toText`. Returns the position of `fromText`.
  std::size_t getTextBetween(std::string const& text, std::string const& fromText, std::string const& toText,
                             std::string& out);

  /// Around the first `key` at or after `start`: from the last `fromText` that begins at or before it up to,
  /// not including, the next `toText`. An empty key stands at position 0. Returns the position of the key; an
  /// absent key sets no error text.
  std::size_t FindTextPartBetween(std::string const& text, std::string const& key, std::size_t start,
                                  std::string const& fromText, std::string const& toText, std::string& out);

  /// Value between the first pair of double quotes after `attributeName=`. Returns the position of the name.
  /// A longer attribute whose name ends in `attributeName` matches too.
  std::size_t getAttributeValue(std::string const& text, std::string const& attributeName, std::string& out);

 private:
  bool findTakeUmid(std::string const& text);
  bool collectClips(std::string const& catalogue);
};
