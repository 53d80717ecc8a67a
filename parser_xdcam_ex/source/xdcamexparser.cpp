#include "parser_xdcam_ex/source/xdcamexparser.h"

#include <cstdlib>
#include <utility>

#include "parser_xdcam_ex/source/cardfile.h"
#include "parser_xdcam_ex/source/xmltext.h"

namespace {

constexpr auto kNotFound = std::string::npos;

void printDashes() {
  static std::string const line = std::string(73, '-') + "\n";
  std::fputs(line.c_str(), stdout);
}

/// As assert does, but in release builds too.
[[noreturn]] void failAssertion(char const* source, char const* function, char const* expression) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: %s: Assertion `%s' failed.\n", source, function, expression);
  std::abort();
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): taken by value, as its callers know it
bool XDCamExParser::ProcessData(std::string in_file_name, std::string out_file_name, int verbose_level) {
  if (in_file_name.empty())
    failAssertion("./parser_xdcam_ex/source/XDCamExParser",
                  "bool XDCamExParser::ProcessData(std::string, std::string, int)", "!in_file_name.empty ()");
  verbose = verbose_level;
  if (verbose > 0) printDashes();

  if (in_file_name.find("SMI") == kNotFound) {
    if (in_file_name.find("XML") == kNotFound) {
      error_text = "Invalid input file !! Must be SMI or XML";
      return false;
    }
    is_smi = 0;
  }
  std::size_t const root = in_file_name.rfind("BPAV");
  if (root == kNotFound) {
    error_text = "Invalid root !! Should be ..\\BPAV\\";
    return false;
  }
  root_dir = in_file_name.substr(0, root) + "BPAV/";

  if (!ReadXmlFile(in_file_name)) return false;
  if (!ReadXmlFile(root_dir + "MEDIAPRO.XML")) return false;
  if (!CreateMzlFile(out_file_name)) return false;
  if (verbose > 0) printDashes();
  return true;
}

bool XDCamExParser::ReadXmlFile(std::string const& path) {
  FilePtr const file = openFile(path, O_RDONLY, "rb");
  if (!file) {
    error_text = "Unable to open " + path;
    return false;
  }
  if (verbose > 0) std::printf("Opened successfuly : %s\n", path.c_str());

  std::uint32_t length = 0;
  std::string text;
  if (!lengthBySeeking(file.get(), length) || !readText(file.get(), length, text)) {
    error_text = "Unable to read file  " + path;
    return false;
  }
  return ParseXml(std::move(text));
}

bool XDCamExParser::ParseXml(std::string text) {
  // An empty text already fails here, so the text below is out of reach; the two tests stay in this order.
  if (text.c_str()[0] != '<') return false;
  if (text.empty()) {
    error_text = "Empty XML as input !";
    return false;
  }
  text.erase(0, 1);

  // "&amp;" goes first, so "&amp;lt;" ends as "<". The second "&quot;" never matches; kept in order.
  replaceAll(text, "&amp;", "&");
  replaceAll(text, "&quot;", "\"");
  replaceAll(text, "&quot;", "\\");
  replaceAll(text, "&lt;", "<");
  replaceAll(text, "&gt;", ">");

  return take_umid.empty() ? findTakeUmid(text) : collectClips(text);
}

bool XDCamExParser::findTakeUmid(std::string const& text) {
  std::string const key = is_smi != 0 ? "umid" : "umidRef";
  std::size_t const hit = text.find(key);
  // The "=" and the opening quote are skipped unseen; at the far end the closing quote and the "/" of "/>".
  std::size_t const value = hit == kNotFound ? kNotFound : hit + key.size() + 2;
  std::size_t const tagEnd = value <= text.size() ? text.find('>', value) : kNotFound;
  if (tagEnd == kNotFound || tagEnd - value < 2) {
    error_text = "No UMID available !";
    return false;
  }
  take_umid = text.substr(value, tagEnd - value - 2);
  if (verbose == 2) std::printf("\nFound UMID %s\n\n", take_umid.c_str());
  return true;
}

bool XDCamExParser::collectClips(std::string const& catalogue) {
  if (verbose > 0) printDashes();

  auto const fail = [this](char const* text) {
    error_text = text;
    return false;
  };
  std::string take;
  if (FindTextPartBetween(catalogue, take_umid, 0, "<Material ", "</Material>", take) == kNotFound)
    return fail("take umid not found!");

  std::string component, umid, clip, clipComponent, uri;
  for (std::size_t position = 0;;) {
    std::size_t const hit = FindTextPartBetween(take, "./CLPR/", position, "<Component", "/>", component);
    if (hit == kNotFound) return true;
    position = hit + 1;

    if (getAttributeValue(component, "umid", umid) == kNotFound) return fail("clip umid not found!");
    if (FindTextPartBetween(catalogue, umid, 0, "<Material ", "</Material>", clip) == kNotFound)
      return fail("clip Material tag not found!");
    if (getTextBetween(clip, "<Component ", "/>", clipComponent) == kNotFound)
      return fail("clip component in clip Material tag not found!");
    // A uri too short for its leading "./" is as good as none.
    if (getAttributeValue(clipComponent, "uri", uri) == kNotFound || uri.size() < 2)
      return fail("clip uri attribute value not found!");
    clip_list.push_back(uri.substr(2));
  }
}
