#include <cinttypes>

#include "parser_xdcam_ex/source/cardfile.h"
#include "parser_xdcam_ex/source/xdcamexparser.h"

bool XDCamExParser::CreateMzlFile(std::string const& out_file_name) {
  std::string const name = out_file_name.empty() ? "clip.mzl" : out_file_name;
  FilePtr const list = openFile(name, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, "wb");
  if (!list) {
    error_text = "Unable to create mzl file : " + name;
    return false;
  }
  std::fputs("XMP4\r\n", list.get());

  std::size_t listed = 0;
  for (std::string const& clip : clip_list) {
    std::string const path = root_dir + clip;
    if (verbose > 0) std::printf("process : %s\t", path.c_str());

    FilePtr const file = openFile(path, O_RDONLY, "rb");
    std::uint32_t length = 0;
    if (!file || !lengthBySeeking(file.get(), length)) continue;

    if (verbose > 0) std::printf("size : : %" PRIu32 "\n", length);
    std::fprintf(list.get(), "%s;  %" PRIu32 "\r\n", path.c_str(), length);
    ++listed;
  }
  if (listed == 0) {
    error_text = "No mp4 file found";
    return false;
  }
  return true;
}
